#pragma once

#include "tree/psBTree.h"

// What the collections do alike as the roots of their trees.
namespace ps::detail {

// Creates the array and the administrator of a new, empty root, and returns the administrator. For a null container, an
// unnamed one is created near the root; it is garbage-collectable when the root's own is. When the store refuses, the
// root has no array and the administrator is null.
pstRef<psTreeAdmin> constructRoot(psBTree& root, int capacity, pstHandle<psContObj> adminContainer,
                                  pstHandle<psContObj> arrayContainer, bool hasComparator = false);

// Creates the array for the values of a new root that already has its other parts. Null when the store refuses.
pstRef<psUnsortedArray> constructValues(const psBTree& root, int capacity);

// Empties a root that is being deleted. Deletes its arrays and administrator, and the containers that are then empty.
// Does nothing for a root that was not completely constructed, or when the destructor of a derived class has done this
// before.
void destroyRoot(psBTree& root) noexcept;

}  // namespace ps::detail
