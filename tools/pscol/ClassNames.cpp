#include "pscol/ClassNames.h"

#include <store/base/ClassNumbers.h>

namespace pscol {

ClassNames::ClassNames(OpenStore& store) {
  require(store.session(), store.inspector().classes(classes_));
  for (const psStoredClass& known : classes_) names_[known.typeN] = known.name;
  names_[ps::detail::storageType] = "(arrays elsewhere)";
}

std::string ClassNames::operator[](unsigned int typeN) const {
  const auto found = names_.find(typeN);
  return found != names_.end() && !found->second.empty() ? found->second : "class " + std::to_string(typeN);
}

}  // namespace pscol
