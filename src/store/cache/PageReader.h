#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/cache/ClassTable.h"
#include "store/cache/Page.h"
#include "store/cache/PageChunks.h"
#include "store/cache/PageContents.h"

namespace ps::detail {

// Reads pages from the engine. Of a large object or array only the beginning is read at first. The rest is read into
// the image chunk by chunk, so that the record is never in memory beside the image.
class PageReader {
 public:
  PageReader(PageChunks& chunks, ClassTable& classes) : chunks_(chunks), classes_(classes) {}

  // Reads the record of a page, or its beginning, and the checksums of the chunks that were read.
  Engine::Lookup read(const psId& id, std::vector<std::uint64_t>& checksums);
  // What was read last.
  const PageContents& contents() const { return contents_; }
  // Reads what contents() lacks into the page, in which its object has been laid out, and adds the checksums. The
  // object is right only when this returns true. The page may not be written after read().
  bool readMissing(Page& page, std::vector<std::uint64_t>& checksums);

  // Why the last call failed.
  const StoreError& error() const { return error_; }

 private:
  bool beginsLargeObject();
  Engine::Lookup fail(StoreError error);

  PageChunks& chunks_;
  ClassTable& classes_;
  std::string record_;  // kept for its memory, as is the next
  PageContents contents_;
  StoreError error_;
};

}  // namespace ps::detail
