#include "support/JavaKey.h"

// Stands in for JavaKey.cpp where there is no JDK: tests ask whyNoJava, and then make no keys.
namespace ps::test {

std::string whyNoJava() { return PS_NO_JDK; }

JavaKey::JavaKey(const ItemKey&, bool, std::uint32_t) {}
JavaKey::~JavaKey() = default;
JavaFailure::JavaFailure(std::uint64_t) {}
JavaFailure::~JavaFailure() = default;
bool JavaFailure::bit() { return false; }

}  // namespace ps::test
