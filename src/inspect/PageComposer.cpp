#include "inspect/PageComposer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/base/IdParts.h"
#include "store/cache/PageCache.h"
#include "store/cache/PageChunks.h"

namespace ps::detail {

PageComposer::LaidOut::LaidOut(std::uint32_t type, std::uint32_t size, std::uint16_t slot, std::uint16_t layoutNumber)
    : memory(std::make_unique<std::uint64_t[]>((sizeof(ObjectHeader) + aligned(size)) / sizeof(std::uint64_t))),
      layout(layoutNumber) {
  new (memory.get()) ObjectHeader{type, size, 0, slot, 0};
}

std::size_t PageComposer::ComposedPage::bytesWith(std::size_t size) const {
  return objectsBegin(nextSlot) + bytes + sizeof(ObjectHeader) + aligned(size);
}

std::uint16_t PageComposer::ComposedPage::add(std::uint32_t type, std::string_view body, std::uint16_t layout) {
  const auto slot = static_cast<std::uint16_t>(nextSlot++);
  LaidOut& object = objects.emplace_back(type, static_cast<std::uint32_t>(body.size()), slot, layout);
  std::memcpy(object.body(), body.data(), body.size());
  bytes += sizeof(ObjectHeader) + aligned(body.size());
  return slot;
}

void PageComposer::begin(const psId& container, std::uint32_t nextPage) {
  container_ = container;
  nextPage_ = std::max<std::uint32_t>(nextPage, 1);
  objects_ = 0;
  unused_.clear();
  pending_.clear();
  current_ = {};
  further_ = {};
}

bool PageComposer::add(const psId& id, unsigned int type, std::uint16_t layout, std::uint32_t size, Write write) {
  if (id.get_page() != current_.number) {
    if (!flush()) return false;
    for (std::uint32_t number = current_.number + 1; number < id.get_page(); ++number)
      unused_.push_back(static_cast<std::uint16_t>(number));
    current_ = {};
    current_.number = id.get_page();
  }
  pending_.push_back({id, type, layout, size, std::move(write)});
  nextPage_ = std::max<std::uint32_t>(nextPage_, id.get_page() + 1U);
  if (!isStorage(type & ~namedFlag)) ++objects_;
  return true;
}

bool PageComposer::end() {
  if (!flush()) return false;
  current_ = {};
  return further_.objects.empty() || put(further_);
}

// All objects of the page are known now, and so which slots are free, and how much room.
bool PageComposer::flush() {
  if (pending_.empty()) return true;
  current_.nextSlot = pending_.back().id.get_slot() + 1U;
  for (const Pending& object : pending_) current_.bytes += sizeof(ObjectHeader) + aligned(object.size);
  std::vector<LaidOut> storages = std::move(current_.objects);
  for (const Pending& object : pending_) {
    std::string body(object.size, '\0');
    const auto place = [this](const std::string& bytes, std::uint16_t layout) { return store(bytes, layout); };
    if (!object.write(body, place)) return false;
    LaidOut& laidOut = storages.emplace_back(object.type, object.size, object.id.get_slot(), object.layout);
    std::memcpy(laidOut.body(), body.data(), body.size());
  }
  pending_.clear();
  std::move(current_.objects.begin(), current_.objects.end(), std::back_inserter(storages));
  current_.objects = std::move(storages);
  return put(current_);
}

psId PageComposer::store(const std::string& bytes, std::uint16_t layout) {
  const bool fits = current_.nextSlot < 0xFFFF && current_.bytesWith(bytes.size()) <= pageSize_;
  if (!fits && (further_.number == 0 || further_.bytesWith(bytes.size()) > pageSize_)) {
    if (!beginFurther()) return {};
  }
  ComposedPage& page = fits ? current_ : further_;
  const std::uint16_t slot = page.add(storageType, bytes, layout);
  return psId(container_.get_DB(), container_.get_OC(), static_cast<unsigned short>(page.number), slot);
}

// Numbers that were never given out come first: a reference to what was deleted should not lead to something else.
bool PageComposer::beginFurther() {
  if (!further_.objects.empty() && !put(further_)) return false;
  further_ = {};
  if (nextPage_ <= PageCache::highestPage) {
    further_.number = nextPage_++;
  } else if (!unused_.empty()) {
    further_.number = unused_.back();
    unused_.pop_back();
  }
  return further_.number != 0;
}

bool PageComposer::put(ComposedPage& page) {
  std::vector<LaidOutObject> objects;
  for (const LaidOut& object : page.objects) objects.push_back({&object.header(), object.layout});
  EncodedPage record;
  encodeObjects(objects, static_cast<std::uint16_t>(page.nextSlot), record);
  std::vector<std::uint64_t> checksums;
  std::string value;
  const psId id(container_.get_DB(), container_.get_OC(), static_cast<unsigned short>(page.number), 0);
  const bool isPut = splitRecord(
      id, record, checksums, [&](std::size_t, std::string_view key, std::string_view payload, std::uint64_t checksum) {
        bool isNew = false;
        value.assign(reinterpret_cast<const char*>(&checksum), sizeof checksum);
        value.append(payload);
        return copy_.put(key, value, isNew);
      });
  couldNotWrite_ = couldNotWrite_ || !isPut;
  return isPut;
}

}  // namespace ps::detail
