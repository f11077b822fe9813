#include "tree/CountChange.h"

#include "store/base/MemoryGuard.h"
#include "tree/NodeLinks.h"

namespace ps::detail {

namespace {

// Whether the array keeps a number beside its entry, or cannot be read. Only then need it be opened for update. If not,
// gives what names the array's node in its own parent.
bool keepsNumber(const pstRef<psUnsortedArray>& array, const psId& entry, int expected, psId& name) {
  if (isResidentForUpdate(array.oid())) return true;
  const ArrayView entries(array);
  const int i = entries.findNode(entry, expected);
  if (i < 0 || entries.elementsBelow(i) != 0) return true;
  name = entries[0].oid();
  return false;
}

}  // namespace

bool CountChange::plan(const psBTree& node, psId entry, const ElementCount& number, int sign, const TreePath& path) {
  return guardMemory(false, [&] {
    if (number == 0) return true;
    std::size_t levels = 0;
    for (pstHandle<psBTree> above = node.parent(); !above.isNull(); above = above->parent()) {
      if (!isReadable(above)) return false;
      const pstRef<psUnsortedArray>& array = NodeAccess::elements(*above);
      const int expected = path.entryAbove(++levels);
      psId name;
      if (!keepsNumber(array, entry, expected, name)) {
        entry = name;
        continue;
      }
      Ancestor& ancestor = ancestors_.emplace_front(array);
      if (!ancestor.entries.isOpen()) return false;
      ancestor.index = ancestor.entries.findNode(entry, expected);
      if (ancestor.index < 0) return false;
      const bool isKept = number && keepsCounts(ancestor.entries);
      ancestor.difference = isKept ? ElementCount(*number * sign) : std::nullopt;
      entry = ancestor.entries[0].oid();
    }
    return true;
  });
}

void CountChange::carryOut() {
  for (Ancestor& ancestor : ancestors_) ancestor.entries.changeElementsBelow(ancestor.index, ancestor.difference);
}

}  // namespace ps::detail
