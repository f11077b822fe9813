#include "store/cache/PageChunks.h"

#include <xxhash.h>

#include <algorithm>
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
  const Engine::Lookup found = readFirst(id, record, checksums);
  if (found != Engine::Lookup::found) return found;
  const bool isRead = readOthers(id, record, checksums, [&record](std::string_view chunk) { record.append(chunk); });
  return isRead ? found : Engine::Lookup::failed;
}

Engine::Lookup PageChunks::readFirst(const psId& id, std::string& record, std::vector<std::uint64_t>& checksums) {
  checksums.clear();
  std::string_view payload;
  const Engine::Lookup found = readChunk(id, checksums, payload);
  if (found == Engine::Lookup::found) record.assign(payload);
  return found;
}

bool PageChunks::readOthers(const psId& id, std::string_view first, std::vector<std::uint64_t>& checksums,
                            const Take& take) {
  const RecordSize size = sizeOfRecord(first);
  std::size_t bytes = first.size();
  while (bytes < size.bytes) {
    std::string_view payload;
    const Engine::Lookup found = readChunk(id, checksums, payload);
    if (found == Engine::Lookup::absent) fail(damageOf(id, mismatch));
    if (found != Engine::Lookup::found) return false;
    bytes += payload.size();
    if (bytes <= size.bytes) take(payload);
  }
  if (bytes == size.bytes && size.tailHash == tailHash(checksums)) return true;
  fail(damageOf(id, mismatch));
  return false;
}

// Reads the chunk after those whose checksums are known, and adds its checksum.
Engine::Lookup PageChunks::readChunk(const psId& id, std::vector<std::uint64_t>& checksums, std::string_view& payload) {
  const StoreKey key = StoreKey::chunk(id, static_cast<std::uint32_t>(checksums.size()));
  std::string_view value;
  const Engine::Lookup found = engine_->get(key, value);
  if (found == Engine::Lookup::failed) return fail(engine_->error());
  if (found == Engine::Lookup::absent) return found;
  std::uint64_t checksum = 0;
  payload = noticingDisk(value, [&] { return verifiedPayload(key, value, checksum); });
  if (payload.empty()) return fail(damageOf(id, mismatch));
  checksums.push_back(checksum);
  return found;
}

bool splitRecord(const psId& id, EncodedPage& record, std::vector<std::uint64_t>& checksums, const TakeChunk& take) {
  const std::size_t count = (record.size() + chunkPayload - 1) / chunkPayload;
  checksums.assign(count, 0);
  std::string part;
  // Backwards, since the first chunk holds the hash of the others' checksums.
  for (std::size_t i = count; i-- > 0;) {
    const StoreKey key = StoreKey::chunk(id, static_cast<std::uint32_t>(i));
    if (i == 0) sealRecord(key, tailHash(checksums), record.begin);
    const std::size_t at = i * chunkPayload;
    const std::string_view payload = record.part(at, std::min(chunkPayload, record.size() - at), part);
    checksums[i] = chunkChecksum(key, payload);
    if (!take(i, key, payload, checksums[i])) return false;
  }
  return true;
}

bool PageChunks::write(const psId& id, EncodedPage& record, Page& page, bool& isWritten) {
  std::vector<std::uint64_t> checksums;
  const bool isPut =
      splitRecord(id, record, checksums,
                  [&](std::size_t i, std::string_view key, std::string_view payload, std::uint64_t checksum) {
                    if (page.stored && i < page.checksums.size() && page.checksums[i] == checksum) return true;
                    chunk_.assign(reinterpret_cast<const char*>(&checksum), sizeof checksum);
                    chunk_.append(payload);
                    isWritten = true;
                    if (engine_->put(key, chunk_)) return true;
                    fail(engine_->error());
                    return false;
                  });
  if (!isPut) return false;
  const std::size_t count = checksums.size();
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
