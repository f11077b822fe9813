#include "store/verify/ContentChecker.h"

namespace ps::detail {

namespace {

const ContentChecker* inUse = nullptr;

}  // namespace

const ContentChecker* ContentChecker::instance() { return inUse; }
void ContentChecker::use(const ContentChecker& checker) { inUse = &checker; }

}  // namespace ps::detail
