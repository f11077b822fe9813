#include "store/base/NothingThrown.h"

namespace ps::detail {

static thread_local int scopesThatThrowNothing = 0;

NothingThrown::NothingThrown() { ++scopesThatThrowNothing; }
NothingThrown::~NothingThrown() { --scopesThatThrowNothing; }
bool NothingThrown::applies() { return scopesThatThrowNothing != 0; }

}  // namespace ps::detail
