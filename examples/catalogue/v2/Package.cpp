#include "Package.h"

void convertToBytes(const psOldObject& old, Package& now) { now.bytes_ = old.get<std::int64_t>("kilobytes_") * 1024; }

PS_REGISTER_CLASS_VERSION(Package, 2)
PS_CLASS_CONVERSION(Package, 1, &convertToBytes)
