#pragma once

#include <map>
#include <string>
#include <vector>

#include "pscol/OpenStore.h"

namespace pscol {

// The names of a store's classes, by their numbers.
class ClassNames {
 public:
  explicit ClassNames(OpenStore& store);

  // "class 20001" of one that the store does not know.
  std::string operator[](unsigned int typeN) const;
  const std::vector<psStoredClass>& all() const { return classes_; }

 private:
  std::vector<psStoredClass> classes_;
  std::map<unsigned int, std::string> names_;
};

}  // namespace pscol
