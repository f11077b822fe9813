#pragma once

#include "hash/HashPosition.h"

// The operations of hash sets and maps, written once for both and for all key flavours.
namespace ps::detail {

// Gives a new set or map its administrator, directory and buckets. For a null adminContainer an unnamed one is created
// near the table, garbage-collectable when the table's own is. What a table has that could not be constructed whole
// goes when it is deleted.
void constructTable(psHashSet& table, int slots, int directorySize, pstHandle<psContObj> adminContainer,
                    pstHandle<psContObj> bucketContainer);

// Empties a table that is being deleted, and deletes its buckets and administrator with the containers that this leaves
// empty. Nothing when the destructor of a derived class has done it already.
void destroyTable(psHashSet& table) noexcept;

// Puts what is stored, an element or an entry, where its hash belongs: no test, no growth.
bool insertByHash(const psHashSet& table, const pstRef<psObj>& stored, std::uint32_t hash);

// Adds the element to a set, unless one matches; to a map as a key with a null value. When it gives false nothing has
// been added, though buckets may have been split.
bool addElement(psHashSet& table, KeyProbe&& probe, const pstRef<psObj>& element);

// Binds the key in a map. When it gives false no pair has changed, though buckets may have been split.
bool putPair(psHashSet& map, KeyProbe&& probe, const pstRef<psObj>& key, const pstRef<psObj>& value);

// The second half of that, for a key known not to be there.
bool addPair(psHashSet& map, KeyProbe& probe, std::uint32_t hash, const pstRef<psObj>& key, const pstRef<psObj>& value);

// What is stored for the key: the element that matches, or a map's entry. Null when there is none, or on failure.
pstRef<psObj> storedFor(const psHashSet& table, KeyProbe&& probe);

// Takes out what stands at the index of a bucket's slot; of a map the entry, which is deleted. False, with nothing
// changed, when there is nothing there or something could not be opened. endedChain tells whether the slot had a chain
// and has one no longer.
bool removeStored(const psHashSet& table, const pstHandle<psHashBucket>& bucket, int slot, int index,
                  bool* endedChain = nullptr);

// The same for what matches the key. value, when there is one, receives the value that a map had for it.
bool removeMatch(psHashSet& table, KeyProbe&& probe, pstRef<psObj>* value = nullptr);

}  // namespace ps::detail
