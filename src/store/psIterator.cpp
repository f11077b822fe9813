#include "store/psIterator.h"

#include <algorithm>

#include "store/psTypeManager.h"
#include "store/session/SessionCore.h"

using ps::detail::CatalogEntry;
using ps::detail::SessionCore;

psIterator::~psIterator() = default;

int psIteratorObjOrContObj::scan(const psHandleBase& scope, psMode mode) {
  scope_ = scope.oid();
  mode_ = mode;
  position_ = scope_;
  members_.clear();
  SessionCore* const session = SessionCore::current();
  const CatalogEntry* const entry =
      session != nullptr && session->mode() != pscNoOpen ? session->directory().entry(scope_) : nullptr;
  done_ = entry == nullptr;
  if (done_) return 0;
  if (scope_.get_OC() == 0) {
    done_ = !session->directory().membersOf(*entry, members_);
    std::reverse(members_.begin(), members_.end());
  }
  if (done_) return 0;
  return 1;
}

// The next candidate; null at the end.
psId psIteratorObjOrContObj::following() {
  SessionCore* const session = SessionCore::current();
  if (session == nullptr || session->mode() == pscNoOpen) return psId();
  if (scope_.get_OC() != 0) return session->objects().next(scope_, position_, typeN_);
  while (!members_.empty()) {
    const psId id = members_.back();
    members_.pop_back();
    if (ptmIsKindOf(session->objects().typeOf(id), typeN_) != 0) return id;
  }
  return psId();
}

bool psIteratorObjOrContObj::next() {
  while (!done_) {
    position_ = following();
    if (position_.isNull()) {
      done_ = true;
    } else if (deliver(position_, mode_)) {
      return true;
    }
  }
  return false;
}

bool psIteratorObjOrContObj::deliver(const psId& id, psMode mode) {
  return mode == pscNoOpen || psHandleBase(id).open(mode) == 1;
}
