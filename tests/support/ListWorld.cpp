#include "support/ListWorld.h"

#include <gtest/gtest.h>

#include <memory>

#include "core/psCollectionIterator.h"

namespace ps::test {

std::string complaintsAbout(const pstHandle<psTreeList>& list, const ListModel& model) {
  if (list.open(pscRead) != 1) return "the list cannot be opened";
  std::string complaints = faultsOf(list);
  const std::unique_ptr<psCollectionIterator> iterator(list->iterator());
  for (std::size_t i = 0; i < model.size(); ++i) {
    if (!iterator->hasNext() || iterator->next(pscNoLock) != model[i])
      complaints += "element " + std::to_string(i) + " is not there\n";
  }
  if (iterator->hasNext()) complaints += "there are more elements\n";
  return complaints;
}

pstHandle<psTreeList> storedList(psSession& session) {
  pstHandle<psTreeList> list;
  static_cast<void>(list.lookupObj(session.database("test"), "list", pscRead));
  return list;
}

ListWorld::ListWorld(TempStore::Place place, int capacity) : store(place) {
  EXPECT_EQ(store->begin(pscUpdate), 1) << store->lastError();
  list = new (store.container("lists")) psTreeList(capacity);
  EXPECT_EQ(store->name(list, store->database("test"), "list"), 1) << store->lastError();
  find();
}

void ListWorld::find() {
  items_ = store.container("items");
  list = storedList(store.session());
  EXPECT_EQ(list.open(pscRead), 1);
}

void ListWorld::fill(int count) {
  for (int i = 0; i < count; ++i) {
    model.push_back(newItem(i));
    EXPECT_EQ(list->addLast(model.back()), 1);
  }
}

}  // namespace ps::test
