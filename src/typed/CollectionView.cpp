#include "typed/CollectionView.h"

#include <string>

#include "typed/CursorIterator.h"

namespace ps::detail {

void checkCollection(const psId& id, unsigned int typeN, unsigned int orderTypeN) {
  const pstHandle<psCollection> collection(id);
  if (id.isNull()) throwError(psErrorKind::absent, id, "there is no collection");
  const unsigned int type = collection.typeN();
  if (type == 0) throwWithoutClass(id);
  if (type != typeN && ptmIsKindOf(type, typeN) == 0) throwOtherClass(id, typeN);
  if (collection.open(pscRead) != 1) throwNotOpen(id);
  if (orderTypeN == anyComparator) return;
  const pstHandle<psObj> comparator(collection->comparator());
  const unsigned int is = comparator.isNull() ? 0 : comparator.typeN();
  if (is == orderTypeN) return;
  const auto text = [](unsigned int number) {
    return number == 0 ? std::string("no comparator") : "comparator class number " + std::to_string(number);
  };
  throwError(psErrorKind::usage, id,
             ("the collection is ordered by " + text(is) + ", not by " + text(orderTypeN)).c_str());
}

psId filedUnder(const pstHandle<psObj>& scope, const char* name) {
  const Watch watch;
  pstHandle<psObj> found;
  static_cast<void>(found.lookupObj(scope, name, pscNoOpen));
  watch.check(scope.oid(), "a name cannot be looked up");
  return found.oid();
}

psId requireFiled(const pstHandle<psObj>& scope, const char* name) {
  const psId found = filedUnder(scope, name);
  if (!found.isNull()) return found;
  throwError(psErrorKind::absent, scope.oid(), (std::string("nothing is filed there under \"") + name + "\"").c_str());
}

void throwNoPosition(const psId& collection) {
  throwError(psErrorKind::usage, collection, "the collection has no element at this position");
}

void file(const pstHandle<psObj>& collection, const pstHandle<psObj>& scope, const char* name) {
  if (pstNameObj(collection, scope, name) == 1) return;
  throwRefused(collection.oid(), "the collection cannot be named");
}

void throwChanged(const psId& collection) {
  throwError(psErrorKind::usage, collection,
             "the element at which an iterator stood is not there any more; position the iterator anew");
}

void requireComplete(const pstHandle<psCollection>& made, const pstHandle<psContObj>& in) {
  if (made.isNull()) throwRefused(in.oid(), "no collection can be created there");
  if (made.open(pscRead) == 1 && !made->admin().isNull()) return;
  discardAndThrow(made);
}

}  // namespace ps::detail
