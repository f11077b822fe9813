#pragma once

#include <string>

#include "store/psDBObj.h"
#include "store/psFDObj.h"

namespace ps::detail {

// Creates a database. Its name is the stem with the lowest number, from 0 on, that makes the name free. A null handle,
// with the reason signalled, when the store refuses.
pstHandle<psDBObj> createNumberedDatabase(const pstHandle<psFDObj>& federation, const std::string& stem);

}  // namespace ps::detail
