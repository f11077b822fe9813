#include "DebuggerText.h"

#include <cstring>
#include <exception>
#include <string>

#include "core/KeyWalk.h"
#include "store/base/NothingThrown.h"
#include "store/base/psError.h"
#include "store/psTypeManager.h"

namespace ps::detail {

namespace {

// What the thread's error context is, is so again afterwards.
class SavedErrors {
 public:
  SavedErrors() : saved_(*pehSessionDataGetFunction()) {}
  SavedErrors(const SavedErrors&) = delete;
  SavedErrors& operator=(const SavedErrors&) = delete;
  ~SavedErrors() { *pehSessionDataGetFunction() = std::move(saved_); }

 private:
  const NothingThrown nothingThrown_;
  pehSessionData saved_;
};

void tellCollection(std::string& text, pstHandle<psCollection> collection, int elements) {
  const int size = collection->size();
  if (size < 0) return;
  text += std::to_string(size) + '\n';
  const bool isMap = MapClass::isMap(collection);
  int told = 0;
  if (elements == 0) return;
  visitPairs(collection, [&](const pstHandle<psObj>& key, const pstHandle<psObj>& value) {
    text += std::to_string(key.oid().bits());
    if (isMap) text += ' ' + std::to_string(value.oid().bits());
    text += '\n';
    return ++told < elements;
  });
}

void tell(std::string& text, const psId& id, int elements) {
  const SavedErrors errors;
  const pstHandle<psObj> object(id);
  if (object.open(pscRead) != 1) return;
  text += object->psGetTypeName();
  text += '\n';
  if (ptmIsKindOf(object.typeN(), psCollection::pstTypeN) != 0) tellCollection(text, object, elements);
}

}  // namespace

}  // namespace ps::detail

const char* psDebuggerText(std::uint64_t bits, int elements) noexcept {
  static thread_local std::string text;
  text.clear();
  try {
    psId id;
    std::memcpy(static_cast<void*>(&id), &bits, sizeof id);
    ps::detail::tell(text, id, elements);
  } catch (const std::exception&) {
    return "";
  }
  return text.c_str();
}
