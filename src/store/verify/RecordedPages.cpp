#include "store/verify/RecordedPages.h"

#include <algorithm>

#include "store/base/IdParts.h"
#include "store/cache/StorageRows.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

RecordedPages::Found RecordedPages::find(const psId& id) {
  if (pageOf(id) != page_) read(pageOf(id));
  if (found_ != Found::object) return found_;
  const auto place =
      std::lower_bound(contents_.objects.begin(), contents_.objects.end(), id.get_slot(),
                       [](const RecordedObject& object, std::uint16_t slot) { return object.slot < slot; });
  if (place == contents_.objects.end() || place->slot != id.get_slot()) return Found::absent;
  object_ = &*place;
  return isStorage(place->type & ~namedFlag) ? Found::storage : Found::object;
}

void RecordedPages::read(const psId& page) {
  page_ = page;
  found_ = Found::absent;
  if (page.get_DB() == 0 || page.get_OC() == 0 || page.get_page() == 0) return;
  const Engine::Lookup found = chunks_.read(page, record_, checksums_);
  if (found == Engine::Lookup::absent) return;
  const bool isRead = found == Engine::Lookup::found && readContents(record_, contents_);
  found_ = isRead ? Found::object : Found::unreadable;
}

}  // namespace ps::detail
