#include "store/cache/PageTable.h"

#include <algorithm>
#include <cstdlib>

#include "store/cache/PageFill.h"

namespace ps::detail {

namespace {

// Stands for a database of which nothing is in memory.
DatabaseTable emptyTable;

}  // namespace

PageTable::~PageTable() {
  for (DatabaseTable* const table : databases_) {
    if (table == &emptyTable) continue;
    for (PageLink* const pages : table->pages) std::free(pages);
    std::free(table);
  }
}

PageLink* PageTable::linkFor(const psId& id) {
  if (id.get_DB() >= databases_.size()) {
    databases_.resize(id.get_DB() + 1U, &emptyTable);
    head_.databases = databases_.data();
    head_.databaseLimit = static_cast<std::uint32_t>(databases_.size());
  }
  DatabaseTable*& table = databases_[id.get_DB()];
  if (table == &emptyTable) {
    auto* const made = static_cast<DatabaseTable*>(std::calloc(1, sizeof(DatabaseTable)));
    if (made == nullptr) return nullptr;
    table = made;
  }
  if (id.get_page() == 1) return &table->firstPages[id.get_OC()];
  PageLink*& pages = table->pages[id.get_OC()];
  const std::size_t count = pageCount(pages);
  if (id.get_page() >= count) {
    const std::size_t grown = std::max<std::size_t>(id.get_page() + 1U, std::max<std::size_t>(8, 2 * count));
    auto* const more = static_cast<PageLink*>(std::realloc(pages, grown * sizeof(PageLink)));
    if (more == nullptr) return nullptr;
    std::fill(more + count, more + grown, noPage);
    more[0].frame = static_cast<std::uint32_t>(grown);
    pages = more;
  }
  return &pages[id.get_page()];
}

void PageTable::link(const Page& page) {
  *linkFor(page.frame->pageId) = {static_cast<std::uint32_t>(page.frame - frameTable),
                                  page.regularStride * std::uint32_t{alignment},
                                  reinterpret_cast<std::uintptr_t>(bodyAt(page.frame, page.regularBegin))};
}

}  // namespace ps::detail
