#include "store/cache/PageReader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace ps::detail {

Engine::Lookup PageReader::read(const psId& id, std::vector<std::uint64_t>& checksums) {
  const Engine::Lookup found = chunks_.readFirst(id, record_, checksums);
  if (found == Engine::Lookup::failed) return fail(chunks_.error());
  if (found == Engine::Lookup::absent || beginsLargeObject()) return found;
  const auto append = [this](std::string_view chunk) { record_.append(chunk); };
  if (!chunks_.readOthers(id, record_, checksums, append)) return fail(chunks_.error());
  if (!readContents(record_, contents_)) return fail(damageOf(id, "contradicts itself"));
  resolve(classes_, contents_);
  return found;
}

// Whether record_ begins the record of a large object that is laid out as it is stored. contents_ has it then.
bool PageReader::beginsLargeObject() {
  if (sizeOfRecord(record_).bytes <= record_.size() || !readLargeObject(record_, contents_)) return false;
  resolve(classes_, contents_);
  return contents_.objects.front().form->change == nullptr;
}

bool PageReader::readMissing(Page& page, std::vector<std::uint64_t>& checksums) {
  if (contents_.missing == 0) return true;
  const RecordedObject& object = contents_.objects.front();
  char* const opened = liveObject(page.frame, object.slot);
  char* to = opened != nullptr ? opened : bodyAt(page.frame, page.foreign.front().offset);
  to += omitted(object.type) + object.bytes.size();
  std::size_t left = contents_.missing;
  const auto layOut = [&](std::string_view chunk) {
    const std::size_t bytes = std::min(left, chunk.size());  // the rest is padding
    std::memcpy(to, chunk.data(), bytes);
    to += bytes;
    left -= bytes;
  };
  if (chunks_.readOthers(page.frame->pageId, record_, checksums, layOut)) return true;
  fail(chunks_.error());
  return false;
}

Engine::Lookup PageReader::fail(StoreError error) {
  error_ = std::move(error);
  return Engine::Lookup::failed;
}

}  // namespace ps::detail
