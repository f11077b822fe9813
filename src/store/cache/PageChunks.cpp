#include "store/cache/PageChunks.h"

#include <xxhash.h>

#include <utility>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/cache/PageContents.h"
#include "store/cache/PageRecord.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

std::uint64_t tailHash(const std::vector<std::uint64_t>& checksums) {
  if (checksums.size() < 2) return 0;
  return XXH3_64bits(checksums.data() + 1, (checksums.size() - 1) * sizeof(std::uint64_t));
}

std::string pageText(const psId& id) {
  return "page " + std::to_string(id.get_page()) + " of " + textOf(containerOf(id));
}

StoreError damageOf(const psId& id, const char* how) {
  return {psErrorKind::damaged,
          pageText(id) + " " + how + "; restore the store from a backup, or delete the container to go on without it"};
}

Engine::Lookup PageChunks::fail(StoreError error) {
  error_ = std::move(error);
  return Engine::Lookup::failed;
}

Engine::Lookup PageChunks::read(const psId& id, std::string& record, std::vector<std::uint64_t>& checksums) {
  record.clear();
  checksums.clear();
  RecordSize size{};
  do {
    const StoreKey key = StoreKey::chunk(id, static_cast<std::uint32_t>(checksums.size()));
    std::string_view value;
    const Engine::Lookup found = engine_->get(key, value);
    if (found == Engine::Lookup::absent && checksums.empty()) return found;
    if (found == Engine::Lookup::failed) return fail(engine_->error());
    std::uint64_t checksum = 0;
    const std::string_view payload = found == Engine::Lookup::found
                                         ? noticingDisk(value, [&] { return verifiedPayload(key, value, checksum); })
                                         : std::string_view{};
    if (payload.empty()) break;
    if (checksums.empty()) size = sizeOfRecord(payload);
    record.append(payload);
    checksums.push_back(checksum);
  } while (record.size() < size.bytes);
  const bool isWhole = record.size() == size.bytes && !checksums.empty() && size.tailHash == tailHash(checksums);
  return isWhole ? Engine::Lookup::found : fail(damageOf(id, mismatch));
}

bool PageChunks::write(const psId& id, std::string& record, Page& page, bool& isWritten) {
  const std::size_t count = (record.size() + chunkPayload - 1) / chunkPayload;
  std::vector<std::uint64_t> checksums(count);
  // Backwards, since the first chunk holds the hash of the others' checksums.
  for (std::size_t i = count; i-- > 0;) {
    const StoreKey key = StoreKey::chunk(id, static_cast<std::uint32_t>(i));
    if (i == 0) sealRecord(key, tailHash(checksums), record);
    const std::string_view payload = std::string_view(record).substr(i * chunkPayload, chunkPayload);
    checksums[i] = chunkChecksum(key, payload);
    if (page.stored && i < page.checksums.size() && page.checksums[i] == checksums[i]) continue;
    chunk_.assign(reinterpret_cast<const char*>(&checksums[i]), sizeof(std::uint64_t));
    chunk_.append(payload);
    if (!engine_->put(key, chunk_)) {
      fail(engine_->error());
      return false;
    }
    isWritten = true;
  }
  if (page.checksums.size() > count && !erase(id, page, count)) return false;
  page.checksums = std::move(checksums);
  page.stored = true;
  return true;
}

bool PageChunks::erase(const psId& id, Page& page, std::size_t from) {
  for (std::size_t i = from; i < page.checksums.size(); ++i) {
    if (engine_->erase(StoreKey::chunk(id, static_cast<std::uint32_t>(i)))) continue;
    fail(engine_->error());
    return false;
  }
  page.checksums.resize(from);
  if (from == 0) page.stored = false;
  return true;
}

}  // namespace ps::detail
