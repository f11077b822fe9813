#pragma once

#include "hash/HashPosition.h"

// The operations of hash sets and maps, written once for both and for all key flavours.
namespace ps::detail {

// Gives a new set or map its administrator, directory and buckets. For a null adminContainer, an unnamed container is
// created near the table; it is garbage-collectable when the table's own is. When a table could not be completely
// constructed, its parts are deleted with it.
void constructTable(psHashSet& table, int slots, int directorySize, pstHandle<psContObj> adminContainer,
                    pstHandle<psContObj> bucketContainer);

// Empties a table that is being deleted. Deletes its buckets and administrator, and the containers that are then empty.
// Does nothing when the destructor of a derived class has done this before.
void destroyTable(psHashSet& table) noexcept;

// Puts an element or entry where its hash belongs, without a test and without growth.
bool insertByHash(const psHashSet& table, const pstRef<psObj>& stored, std::uint32_t hash);

// Adds the element to a set, unless one matches; to a map as a key with a null value. When it returns false, nothing
// has been added, but buckets may have been split.
bool addElement(psHashSet& table, KeyProbe&& probe, const pstRef<psObj>& element);

// Puts the pair into a map. When it returns false, no pair has changed, but buckets may have been split.
bool putPair(psHashSet& map, KeyProbe&& probe, const pstRef<psObj>& key, const pstRef<psObj>& value);

// Adds the element to a set, unless one matches, or puts the pair into a map, at the place where its hash leads.
// Nothing grows.
bool addAt(psHashSet& table, KeyProbe& probe, HashPosition& position, const pstRef<psObj>& element,
           const pstRef<psObj>& value);

// The second half of putPair, for a key that is known to be absent.
bool addPair(psHashSet& map, KeyProbe& probe, std::uint32_t hash, const pstRef<psObj>& key, const pstRef<psObj>& value);

// What is stored for the key: the element that matches, or a map's entry. Null when there is none, and on failure.
pstRef<psObj> storedFor(const psHashSet& table, KeyProbe&& probe);

// Removes what is at the index of a bucket's slot; in a map also deletes the entry. False, with nothing changed, when
// there is nothing there or something could not be opened. endedChain tells whether the slot had a chain and no longer
// has one.
bool removeStored(const psHashSet& table, const pstHandle<psHashBucket>& bucket, int slot, int index,
                  bool* endedChain = nullptr);

// The same for what matches the key. value, if not null, receives the value that a map had for the key.
bool removeMatch(psHashSet& table, KeyProbe&& probe, pstRef<psObj>* value = nullptr);

}  // namespace ps::detail
