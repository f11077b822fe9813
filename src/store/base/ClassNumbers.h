#pragma once

#include <cstdint>

// Numbers of persistent classes.

// Class numbers up to the first belong to the library. Those of applications follow, up to the second.
constexpr unsigned int psHighestLibraryTypeN = 9999;
constexpr unsigned int psHighestTypeN = 0x7FFFFFFF;

namespace ps::detail {

// The store's own classes: psObj, psContObj, psGCContObj, psDBObj and psFDObj.
constexpr unsigned int objectTypeN = 1;
constexpr unsigned int containerTypeN = 2;
constexpr unsigned int collectedContainerTypeN = 3;
constexpr unsigned int databaseTypeN = 4;
constexpr unsigned int federationTypeN = 5;

// The class numbers of arrays' storage in a page: this one plus the rows that it has (store/cache/StorageRows.h). No
// scan delivers it, and its first word is data.
constexpr std::uint32_t storageType = 9;

// The class of comparators.
constexpr unsigned int comparatorTypeN = 4013;

}  // namespace ps::detail
