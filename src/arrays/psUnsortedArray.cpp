#include "arrays/psUnsortedArray.h"

#include <algorithm>

#include "arrays/ArrayEdit.h"
#include "arrays/ArrayView.h"

using ps::detail::ArrayEdit;
using ps::detail::ArrayView;

const pstRef<psObj> nullPsObjRef;

namespace {

const pstProcessInitTermClass processInitTerm;

// Handed out where an operation must return the address of an element and there is none. Null again each time, so that
// a stray write harms nobody.
pstRef<psObj>& nobodysReference() {
  static thread_local pstRef<psObj> reference;
  reference = pstRef<psObj>();
  return reference;
}

}  // namespace

// The object is new, and so open for update without being asked for.
psUnsortedArray::psUnsortedArray(int capacity) : entries_(static_cast<unsigned int>(std::max(capacity, 0))) {}

psUnsortedArray::psUnsortedArray(int capacity, ps::detail::Rows rows)
    : psUnsortedArray(rows == ps::detail::Rows::none ? capacity : 0) {
  const auto n = static_cast<unsigned int>(std::max(capacity, 0));
  if (rows == ps::detail::Rows::none) return;
  const ps::detail::Rows fitting = ps::detail::fittingRows(rows, n * sizeof(psId));
  if (ps::detail::isInArena(this) && fitting != ps::detail::Rows::none) {
    ps::detail::provideRows(&entries_, n, fitting);
  } else {
    static_cast<void>(entries_.resize(n));
  }
}

psUnsortedArray::~psUnsortedArray() noexcept = default;

// The const operations that end here give what may be written: whoever does has opened the array for update. Of what
// will be there then nothing is known.
pstRef<psObj>& psUnsortedArray::at(int i) const {
  if (i < 0 || i >= size()) return nobodysReference();
  auto& entries = const_cast<pstVArray<pstRef<psObj>>&>(entries_);
  pstRef<psObj>* const first = entries.head();
  ps::detail::AbbreviationRow row(first);
  if (row.exists() && ps::detail::isResidentForUpdate(ps::detail::idAt(first))) row.put(i, {});
  return first[i];
}

int psUnsortedArray::add(const pstRef<psObj>& element) {
  addLast(element);
  return lastIndex_;
}

bool psUnsortedArray::addLast(const pstRef<psObj>& element) {
  ArrayEdit edit(*this);
  if (!edit.isOpen() || edit.isFull()) return false;
  edit.append(element);
  return true;
}

bool psUnsortedArray::addLast(const pstHandle<psObj>& element) { return addLast(pstRef<psObj>(element)); }

int psUnsortedArray::atPut(int i, const pstRef<psObj>& element) {
  if (i < 0 || i >= size()) return 0;
  ArrayEdit edit(*this);
  if (!edit.isOpen()) return 0;
  edit.put(i, element);
  return 1;
}

int psUnsortedArray::insertBefore(const pstHandle<psObj>& element, int i) {
  if (i < 0 || i > usedSize()) return 0;
  ArrayEdit edit(*this);
  if (!edit.isOpen() || edit.isFull()) return 0;
  edit.insert(i, element);
  return 1;
}

int psUnsortedArray::find(const pstHandle<psObj>& element) const { return ArrayView(*this).find(element.oid()); }

int psUnsortedArray::find(const void*) const { return -1; }

int psUnsortedArray::indexOf(const pstHandle<psObj>& element, int start) const {
  const ArrayView view(*this);
  for (int i = std::max(start, 0); i < view.count(); ++i) {
    if (view[i] == element) return i;
  }
  return -1;
}

int psUnsortedArray::lastIndexOf(const pstHandle<psObj>& element, int start) const {
  const ArrayView view(*this);
  for (int i = std::min(start, view.count() - 1); i >= 0; --i) {
    if (view[i] == element) return i;
  }
  return -1;
}

const pstRef<psObj>& psUnsortedArray::after(const pstHandle<psObj>& element) const {
  const int i = find(element);
  return i < lastIndex_ ? at(i + 1) : nullPsObjRef;
}

const pstRef<psObj>& psUnsortedArray::before(const pstHandle<psObj>& element) const {
  const int i = find(element);
  return i >= 1 ? at(i - 1) : nullPsObjRef;
}

bool psUnsortedArray::remove(pstHandle<psObj>& element) {
  const int i = find(element);
  return i >= 0 && removeIndex(i) == 1;
}

int psUnsortedArray::removeIndex(int i) {
  if (i < 0 || i > lastIndex_) return 0;
  ArrayEdit edit(*this);
  if (!edit.isOpen()) return 0;
  edit.erase(i);
  return 1;
}

void psUnsortedArray::removeFirst() { removeIndex(0); }

void psUnsortedArray::removeLast() { removeIndex(lastIndex_); }

void psUnsortedArray::removeAll() {
  ArrayEdit edit(*this);
  if (edit.isOpen()) edit.erase(0, edit.count());
}

void psUnsortedArray::resize(int capacity) {
  if (capacity >= usedSize()) static_cast<void>(entries_.resize(static_cast<unsigned int>(capacity)));
}
