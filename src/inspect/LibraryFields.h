#pragma once

#include <vector>

#include "store/schema/ClassShape.h"

namespace ps::detail {

// The persistent fields that one of the library's classes adds to those of its base. The store does not describe them:
// they never change. None for other classes.
const std::vector<FieldShape>& fieldsOfLibraryClass(unsigned int typeN);

}  // namespace ps::detail
