#include "hash/psHashMapEntry.h"

namespace {

const pstProcessInitTermClass processInitTerm;

}  // namespace

psHashMapEntry::psHashMapEntry(pstRef<psObj> key, pstRef<psObj> value) : key_(key), value_(value) {}

psHashMapEntry::~psHashMapEntry() noexcept = default;
