#pragma once

#include <string>

#include "check/CheckResult.h"
#include "tree/psBTree.h"

namespace ps::detail {

// Checks as much of a part that no collection owns as its own operations rely on, so that they end and stay within
// arrays. It may have lost what it belonged to, or be an application's array.
class LoosePart {
 public:
  static CheckResult check(const psId& part, const ObjectSet& taken);

 private:
  explicit LoosePart(const ObjectSet& taken) : taken_(taken) {}

  void checkNode(const pstHandle<psBTree>& node);
  void checkChildren(const pstHandle<psBTree>& node, const pstHandle<psUnsortedArray>& array);
  // Whether a node leads to an object of class T. What was deleted is no fault.
  template <class T>
  bool leadsTo(const psId& node, const pstHandle<T>& to);
  void complain(const psId& id, const std::string& what);

  CheckResult result_;
  const ObjectSet& taken_;
};

}  // namespace ps::detail
