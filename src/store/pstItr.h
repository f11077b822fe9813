#pragma once

#include "store/psIterator.h"
#include "store/pstHandle.h"

// A handle and a scan in one. After each next() that returns true, the handle names the object found, of class T or of
// a subclass. After the last object it is null.
//
//   pstItr<Word> word;
//   word.scan(container, pscRead);
//   while (word.next()) use(word->text());
template <class T>
class pstItr : public pstHandle<T>, public psIteratorObjOrContObj {
 public:
  pstItr() : psIteratorObjOrContObj(T::pstTypeN) {}

  bool next() override {
    if (psIteratorObjOrContObj::next()) return true;
    this->assign(psId());
    return false;
  }

 protected:
  bool deliver(const psId& id, psMode mode) override {
    this->assign(id);
    return this->open(mode) == 1;
  }
};
