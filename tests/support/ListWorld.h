#pragma once

#include <string>
#include <vector>

#include "list/psTreeList.h"
#include "support/Faults.h"
#include "support/Item.h"
#include "support/TempStore.h"

namespace ps::test {

// What a list ought to hold; null identifiers are elements like others.
using ListModel = std::vector<psId>;

// Everything in which the list differs from the model, in structure or elements; "" when it does not.
std::string complaintsAbout(const pstHandle<psTreeList>& list, const ListModel& model);

// A list in a store of its own, in an update transaction, beside its model.
class ListWorld {
 public:
  ListWorld(TempStore::Place place, int capacity);

  // Creates an item that is in no list yet.
  psId newItem(std::int64_t number) { return makeItem(items_, number).id; }
  // Appends new items to list and model.
  void fill(int count);
  std::string complaints() const { return complaintsAbout(list, model); }
  // Takes up the list anew, in the transaction that has begun; after a reopening.
  void find();

  TempStore store;
  ListModel model;
  pstHandle<psTreeList> list;

 private:
  pstHandle<psContObj> items_;
};

// The list that a ListWorld keeps in the store that the session has open.
pstHandle<psTreeList> storedList(psSession& session);

}  // namespace ps::test
