#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/psCollection.h"
#include "store/Allocations.h"
#include "store/psSession.h"

namespace ps::test {

// A fixed course of a program that uses all of a store, beside a model of what it has committed. A call that fails must
// have met a failing allocation, and say so. The script then aborts, compares what the session and a fresh one see with
// the model, and does that step again, now with all memory.
class MemoryScript {
 public:
  // A store "memory:" is not reopened. throws: failures are asked for as exceptions. goesOn:
  // the script goes on to its end after the step that failed and was done again.
  MemoryScript(std::string path, bool throws, bool goesOn) : path_(std::move(path)), throws_(throws), goesOn_(goesOn) {}
  MemoryScript(const MemoryScript&) = delete;
  MemoryScript& operator=(const MemoryScript&) = delete;

  // The complaint; "" when there is none.
  std::string run();
  // What failed, if anything did: the first word of the step, and the error.
  const std::string& failure() const { return failure_; }

 private:
  struct Model {
    bool isMade = false;
    std::vector<std::int64_t> list;
    std::map<std::int64_t, std::int64_t> keyed[4];  // the keys with their values; in sets the values are 0
    std::map<std::string, std::int64_t> names;      // of items in the first container
    std::set<std::string> notes;
    int others = 0;  // objects in another container
  };
  enum Kind { sortedSet, sortedMap, hashSet, hashMap };

  template <class F>
  auto call(F f);
  void require(bool succeeds, int line = __builtin_LINE());
  template <class F>
  void step(const char* name, F body);
  template <class F>
  void update(const char* name, F body);
  void commit();
  void recover(const char* name);
  bool isKept() const { return path_ != "memory:"; }
  void open();

  void make();
  void fill(int begin, int end);
  void load(int begin, int end);
  void thin();
  void combine();
  void rename();
  void moveAndCopy();
  void noteAll(int n);
  void readAll();

  pstHandle<psContObj> container(const char* name);
  pstHandle<psObj> item(std::int64_t number);
  pstHandle<psObj> makeItem(int i);
  void find();
  std::string complaints(psSession& session);
  std::string complaintsAbout(psSession& session);

  const std::string path_;
  const bool throws_;
  const bool goesOn_;
  psSession session_;
  Model model_;
  std::map<std::int64_t, psId> ids_;  // of the items
  pstHandle<psContObj> in_;
  pstHandle<psCollection> list_;
  pstHandle<psCollection> keyed_[4];
  std::string failure_;
};

}  // namespace ps::test
