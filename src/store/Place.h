#pragma once

#include <cstdint>
#include <vector>

#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/pstItr.h"

namespace ps {

// A family of containers under one name that grows by itself. A container holds 65,535 pages and no more; a place has
// as many containers as it needs, in the same database, and when that has no room in further ones, "autoDb0" and so on.
//
//   const ps::Place texts(session.database("words"), "texts");
//   pstHandle<Word> word(new (texts) Word("hello"));
//   pstHandle<psTreeSet> words(new (texts) psTreeSet(order, 200));
//
// Whatever is created through a place goes into its last container. It has one as long as that has taken 32,768 pages,
// half of what it can hold. Then the place begins another. The other half is for arrays that grow, and for what must
// lie beside older objects. Objects of an application's class that are created near an object of the place also go into
// the last container once that object's container has taken its pages. Until then a creation costs what it costs in a
// container.
//
// A collection whose object lies in a place, and that was given no other containers, keeps all its parts there.
//
// A place is only a handle to its first container, which has the name. Copy it freely; it works in the session that is
// current. A place grows in the transaction that needs it, and an abort takes that back. Do not delete its containers
// one by one.
class PS_API Place {
 public:
  // No place.
  Place() = default;
  // The place of that name in a database. An update transaction makes it when there is none; a container that exists
  // under the name becomes its first. In a read transaction, such a container counts as a place of one. No place when
  // there is none, or the store refuses.
  Place(const pstHandle<psDBObj>& database, const char* name);

  // The place in which an object lies, or to which a container belongs; no place when that is none.
  static Place of(const pstHandle<psObj>& objectOrContainer);

  bool isNull() const { return first_.isNull(); }
  explicit operator bool() const { return !isNull(); }

  // For `new`, for constructors of collections, and for whatever else takes a container.
  operator pstHandle<psContObj>() const { return first_; }
  const pstHandle<psContObj>& first() const { return first_; }

  // The place's containers in the order in which they were made. Empty when they cannot be read.
  std::vector<pstHandle<psContObj>> containers() const;
  // Number of objects in the place, without looking at them; -1 when that cannot be read.
  std::int64_t count() const;

  // Deletes all containers of the place with all that they hold, without destructors. 1 on success. 0 with nothing
  // changed when something cannot be read; when the deletion fails half way the transaction is void.
  int destroy();

 private:
  explicit Place(const psId& first) : first_(first) {}

  pstHandle<psContObj> first_;
};

inline bool operator==(const Place& a, const Place& b) { return a.first() == b.first(); }
inline bool operator!=(const Place& a, const Place& b) { return a.first() != b.first(); }

// A scan of the objects of a place, container after container; otherwise as pstItr.
//
//   ps::PlaceItr<Word> word;
//   word.scan(texts, pscRead);
//   while (word.next()) use(word->text());
template <class T>
class PlaceItr : public pstItr<T> {
 public:
  // 1; 0 when there is no place, or its containers cannot be read.
  int scan(const Place& place, psMode mode) {
    containers_ = place.containers();
    mode_ = mode;
    begun_ = 0;
    pstItr<T>::scan(pstHandle<psContObj>(), mode);
    return containers_.empty() ? 0 : 1;
  }

  bool next() override {
    while (!pstItr<T>::next()) {
      if (begun_ == containers_.size()) return false;
      pstItr<T>::scan(containers_[begun_++], mode_);
    }
    return true;
  }

 private:
  std::vector<pstHandle<psContObj>> containers_;
  std::size_t begun_ = 0;
  psMode mode_ = pscNoOpen;
};

}  // namespace ps
