#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "store/cache/PageContents.h"
#include "store/verify/ArrayOwners.h"
#include "store/verify/CatalogVerifier.h"
#include "store/verify/ClassVerifier.h"
#include "store/verify/Findings.h"
#include "store/verify/ObjectSet.h"

namespace ps::detail {

// What the pages hold of what layers above the store know.
struct FoundContent {
  std::vector<psId> wholes;  // see ContentChecker
  ObjectSet parts;
  ObjectSet sharing;                  // see ArrayOwners
  std::uint64_t foreignWholes = 0;    // objects that may be wholes, but are of classes that this program lacks
  std::vector<psId> emptyContainers;  // without a name, and not garbage-collectable
};

// Verifies the records of pages and, at the end of each container, that it has what its entry says. The chunks come in
// the order of their keys.
class PageVerifier {
 public:
  PageVerifier(Engine& engine, const CatalogVerifier& catalog, ClassVerifier& classes, Findings& findings)
      : catalog_(catalog), classes_(classes), owners_(engine, findings), findings_(findings) {}

  void verifyChunk(std::string_view key, std::string_view value);
  // After the last chunk.
  void finish();

  FoundContent& content() { return content_; }

 private:
  struct Unchecked {
    psId first;
    std::uint64_t count = 0;
  };

  void beginPage(const psId& page);
  void endPage();
  void endContainer();
  void addChunk(std::uint32_t chunk, std::string_view key, std::string_view value);
  void giveUp(const std::string& predicate);
  void verifyRecord(std::string_view record);
  std::string complaintAbout(std::string_view record);
  void verifyObject(const RecordedObject& object);
  void verifyHeld(const RecordedObject& object, const psId& id, const VerifiedForm& form);
  void verifyContainersBefore(const psId& container);
  void verifyCounts(const CatalogVerifier::Container& container, std::uint64_t objects, std::uint32_t highestPage);

  const CatalogVerifier& catalog_;
  ClassVerifier& classes_;
  ArrayOwners owners_;
  Findings& findings_;
  FoundContent content_;
  std::map<const VerifiedForm*, Unchecked> unchecked_;

  // Of the current container.
  psId container_;
  std::size_t nextContainer_ = 0;  // in the catalog's list
  std::uint64_t objects_ = 0;
  bool hasUnreadable_ = false;  // pages
  // Of the current page.
  psId page_;
  std::string record_;  // of several chunks, as far as they were read
  std::string firstKey_;
  std::vector<std::uint64_t> checksums_;
  RecordSize size_{};
  bool isDone_ = true;  // verified, or given up
  bool hasMore_ = false;
  PageContents contents_;
};

}  // namespace ps::detail
