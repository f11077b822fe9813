#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/cache/PageChunks.h"
#include "store/cache/PageContents.h"

namespace ps::detail {

// Looks up by identifier what the records of pages hold. It keeps the page that was asked for last, so ask in the order
// of identifiers.
class RecordedPages {
 public:
  explicit RecordedPages(Engine& engine) { chunks_.attach(engine); }

  enum class Found { object, storage, absent, unreadable };
  Found find(const psId& id);
  // What find has found. It is valid until the next call.
  const RecordedObject& object() const { return *object_; }
  // Whether it says that it has names, or is a scope of names.
  bool isNamed() const { return (object_->type & namedFlag) != 0; }
  // Everything in the page of the last call.
  const PageContents& contents() const { return contents_; }

 private:
  void read(const psId& page);

  PageChunks chunks_;
  psId page_;
  Found found_ = Found::absent;  // of the page
  const RecordedObject* object_ = nullptr;
  std::string record_;
  std::vector<std::uint64_t> checksums_;
  PageContents contents_;
};

}  // namespace ps::detail
