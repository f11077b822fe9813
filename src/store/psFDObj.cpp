#include "store/psFDObj.h"

namespace ps::detail {

static const ClassRegistration<psFDObj, &registerLibraryClass<psFDObj>> registrationOfPsFDObj("psFDObj");

}  // namespace ps::detail
