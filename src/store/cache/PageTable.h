#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/cache/Page.h"

namespace ps::detail {

// Where the images of one session's pages are, by identifier: the tables that the inlined paths read through the
// session's head. They only grow; of their memory, what is used becomes real.
class PageTable {
 public:
  explicit PageTable(SessionHead& head) : head_(head) {}
  PageTable(const PageTable&) = delete;
  PageTable& operator=(const PageTable&) = delete;
  ~PageTable();

  // The place for a page, which is made if it is not there. When there is no memory for it: null, or std::bad_alloc.
  PageLink* linkFor(const psId& id);
  // Brings the link of a page up to date, for which there is a place.
  void link(const Page& page);

  // Calls visit with each page of a container that is in memory. It may discard the page.
  template <class Visit>
  void visitContainer(std::uint16_t db, std::uint16_t oc, Visit visit) const {
    if (db >= databases_.size()) return;
    const DatabaseTable& table = *databases_[db];
    const auto visitLinked = [&visit](const PageLink& link) {
      if (link.frame != 0) visit(*frameTable[link.frame].page);
    };
    visitLinked(table.firstPages[oc]);
    for (std::size_t i = 1; i < pageCount(table.pages[oc]); ++i) visitLinked(table.pages[oc][i]);
  }

 private:
  static std::size_t pageCount(const PageLink* pages) { return pages == nullptr ? 0 : pages[0].frame; }

  SessionHead& head_;
  std::vector<DatabaseTable*> databases_;
};

}  // namespace ps::detail
