#include "store/NumberedDatabase.h"

#include "store/base/MemoryGuard.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

pstHandle<psDBObj> createNumberedDatabase(const pstHandle<psFDObj>& federation, const std::string& stem) {
  return guardMemory(pstHandle<psDBObj>(), [&] {
    SessionCore* const session = SessionCore::updating("creating a database");
    if (session == nullptr) return pstHandle<psDBObj>();
    const std::string name = stem + std::to_string(session->catalog().lowestFreeNumber(stem));
    return pstHandle<psDBObj>(new (federation) psDBObj(name.c_str(), 0, 0, nullptr, nullptr, 1, 0));
  });
}

}  // namespace ps::detail
