#include "store/cache/NothingOpened.h"

namespace ps::detail {

bool NothingOpened::applies() { return currentSession != &noSession && currentSession->serial == 0; }

}  // namespace ps::detail
