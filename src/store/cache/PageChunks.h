#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/psId.h"
#include "store/cache/Page.h"
#include "store/engine/Engine.h"

namespace ps::detail {

struct EncodedPage;

std::string pageText(const psId& id);

// The error of a page of which the store has something wrong: how is the rest of a sentence.
StoreError damageOf(const psId& id, const char* how);
constexpr const char* mismatch = "is damaged: what is stored does not match its checksum";

// The hash of the checksums of all chunks but the first; 0 when there are no others.
std::uint64_t tailHash(const std::vector<std::uint64_t>& checksums);

// Completes a record and calls take with the number, the key, the payload and the checksum of each of its chunks, the
// last one first, until it returns false. checksums gets those of all.
using TakeChunk =
    std::function<bool(std::size_t i, std::string_view key, std::string_view payload, std::uint64_t checksum)>;
bool splitRecord(const psId& id, EncodedPage& record, std::vector<std::uint64_t>& checksums, const TakeChunk& take);

// The records of pages in the engine, where each chunk of a record is a value; see PageRecord.h.
class PageChunks {
 public:
  void attach(Engine& engine) { engine_ = &engine; }

  // Reads the record of a page, and the checksums of its chunks.
  Engine::Lookup read(const psId& id, std::string& record, std::vector<std::uint64_t>& checksums);

  // The same in two steps: the first chunk, and then the others, of which take is called with one after the other. What
  // it has got is right only when the second step returns true. The page may not be written in between.
  Engine::Lookup readFirst(const psId& id, std::string& record, std::vector<std::uint64_t>& checksums);
  using Take = std::function<void(std::string_view chunk)>;
  bool readOthers(const psId& id, std::string_view first, std::vector<std::uint64_t>& checksums, const Take& take);

  // Writes what encodePage has made of a page, which is given what is stored of it then. Chunks that are stored already
  // are not written; when any was, isWritten is set.
  bool write(const psId& id, EncodedPage& record, Page& page, bool& isWritten);
  // Erases a page's chunks from one on.
  bool erase(const psId& id, Page& page, std::size_t from = 0);

  // Reads a value by a function that returns its payload. While values come from the disk, the engine is told before
  // they are read; otherwise not, since for one in the system's cache that is a fifth of the whole cost of a load.
  template <class Read>
  std::string_view noticingDisk(std::string_view value, Read read) {
    using Clock = std::chrono::steady_clock;
    if (announcements_ > 0) {
      --announcements_;
      engine_->announceReading(value);
    }
    const Clock::time_point start = Clock::now();
    const std::string_view payload = read();
    if (Clock::now() - start > leastDiskAccess) announcements_ = announcementsPerDiskAccess;
    return payload;
  }

  // Why the last call failed.
  const StoreError& error() const { return error_; }

 private:
  // Longer than any chunk takes from memory, shorter than a disk answers.
  static constexpr std::chrono::microseconds leastDiskAccess{20};
  // After a value that came from the disk, this many more are assumed to come from there too.
  static constexpr unsigned announcementsPerDiskAccess = 32;

  Engine::Lookup fail(StoreError error);
  Engine::Lookup readChunk(const psId& id, std::vector<std::uint64_t>& checksums, std::string_view& payload);

  Engine* engine_ = nullptr;
  unsigned announcements_ = 0;  // values still to be announced before they are read
  std::string chunk_;           // kept for its memory
  StoreError error_;
};

}  // namespace ps::detail
