#include "store/session/Upgrade.h"

#include <vector>

#include "store/base/MemoryGuard.h"
#include "store/cache/PageRecord.h"
#include "store/engine/StoreKey.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

class Upgrade {
 public:
  explicit Upgrade(SessionCore& session) : session_(session) {}

  bool run(const std::function<bool(const psUpgradeProgress&)>& progress) {
    std::vector<psId> containers;
    if (!changeClasses(&ClassTable::addPresent) || !session_.begin(pscRead)) return false;
    const bool listed = guardMemoryQuietly(false, [&] { return list(containers); });
    session_.abort();
    progress_.containers = containers.size();
    for (const psId& container : containers) {
      if (!listed || !convert(container)) return false;
      ++progress_.done;
      if (progress != nullptr && !progress(progress_))
        return session_.fail(psErrorKind::usage, "the upgrade was stopped; call it again to go on");
    }
    return listed && changeClasses(&ClassTable::forgetOlder);
  }

 private:
  bool list(std::vector<psId>& containers) {
    const bool done = session_.engine().scan(StoreKey::containers(), [&containers](std::string_view key, auto) {
      // What else there is is no container.
      if (key.size() != std::string_view(StoreKey::container(0, 0)).size()) return true;
      containers.emplace_back(StoreKey::numberAt(key, 1), StoreKey::numberAt(key, 3), std::uint16_t{0},
                              std::uint16_t{0});
      return true;
    });
    return done || session_.fail(session_.engine().error());
  }

  bool convert(const psId& container) {
    if (!session_.begin(pscUpdate)) return false;
    const std::uint64_t before = progress_.pagesWritten;
    if (!guardMemoryQuietly(false, [&] { return convertPages(container); })) {
      session_.abort();
      return false;
    }
    return progress_.pagesWritten == before ? session_.abort() : session_.commit();
  }

  bool convertPages(const psId& container) {
    const CatalogEntry* const entry = session_.directory().entry(container);
    if (entry == nullptr) return true;  // deleted meanwhile
    const std::uint32_t end = entry->nextNumber;
    PageCache& cache = session_.cache();
    for (std::uint32_t number = 1; number < end; ++number) {
      psId id = container;
      id.set_page(static_cast<unsigned short>(number));
      Page* page = nullptr;
      const PageCache::Fetch found = cache.fetch(id, page);
      if (found == PageCache::Fetch::absent) continue;
      ++progress_.pagesRead;
      if (found != PageCache::Fetch::present) return session_.fail(cache.error());
      if (!convert(*page)) return false;
    }
    return true;
  }

  // Has the objects of a page written in their present layouts.
  bool convert(Page& page) {
    if (page.hasOlder) {
      session_.cache().change(page);
      ++progress_.pagesWritten;
    }
    for (const ForeignObject& foreign : page.foreign) {
      const ObjectForm& form = formOf(session_.cache().classes(), page, foreign);
      if (form.keepsVersion || form.refusal.kind == psErrorKind::unknownClass) continue;
      return session_.fail(refusalOf(form, page, foreign));
    }
    return true;
  }

  bool changeClasses(bool (ClassTable::*change)()) {
    if (!session_.begin(pscUpdate)) return false;
    ClassTable& classes = session_.cache().classes();
    const bool isChanged =
        guardMemoryQuietly(false, [&] { return (classes.*change)() || session_.fail(classes.error()); });
    if (isChanged) return session_.commit();
    session_.abort();
    return false;
  }

  SessionCore& session_;
  psUpgradeProgress progress_;
};

}  // namespace

bool upgrade(SessionCore& session, const std::function<bool(const psUpgradeProgress&)>& progress) {
  return Upgrade(session).run(progress);
}

}  // namespace ps::detail
