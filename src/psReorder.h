#pragma once

#include "core/psCollection.h"
#include "core/psCompare.h"

namespace ps {

// Places all elements of a sorted or hash collection anew, as a comparator of the program's version says, and lets the
// collection keep that comparator. Use it when the class of the collection's comparator has another version than when
// the collection was made: until then its look-ups and changes are refused, and it can only be walked.
//
// Without a comparator one of the same class is made near the collection, which must have no fields. The old comparator
// stays in the store, since other collections may use it.
//
// It runs in an update transaction. 1 on success. 0 after an error was signalled: when something was refused, and when
// two elements are equal in the new order. Nothing has then changed, or the transaction can only be aborted; the error
// says which.
//
// Cost: all elements are opened and compared, as in sorting; the references of all are in memory, 16 bytes a pair.
PS_API int reorder(const pstHandle<psCollection>& collection,
                   const pstHandle<psCompare>& comparator = pstHandle<psCompare>());

}  // namespace ps
