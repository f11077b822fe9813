#pragma once

#include "tree/psBTree.h"

// What the collections, which are the roots of their trees, do alike.
namespace ps::detail {

// Makes the array of a new, empty root and its administrator, which is returned. For a null container an unnamed one is
// created near the root, garbage-collectable when the root's own is. When the store refuses, the root has no array and
// the administrator is null.
pstRef<psTreeAdmin> constructRoot(psBTree& root, int capacity, pstHandle<psContObj> adminContainer,
                                  pstHandle<psContObj> arrayContainer);

// Makes the array for the values of a new root that has its other parts already; null when the store refuses.
pstRef<psUnsortedArray> constructValues(const psBTree& root, int capacity);

// Empties a root that is being deleted, and deletes its arrays and administrator with the containers that this leaves
// empty. Nothing for a root that was not constructed whole, or for which the destructor of a derived class has done it
// already.
void destroyRoot(psBTree& root) noexcept;

}  // namespace ps::detail
