#include "store/verify/PageVerifier.h"

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/RecordBytes.h"
#include "store/cache/PageChunks.h"
#include "store/cache/PageRecord.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t keySize = 11;

std::string chunkText(std::uint32_t chunk) { return "chunk " + std::to_string(chunk) + " of its record"; }

}  // namespace

void PageVerifier::verifyChunk(std::string_view key, std::string_view value) {
  const bool isKey = key.size() == keySize;
  const psId page =
      isKey ? psId(StoreKey::numberAt(key, 1), StoreKey::numberAt(key, 3), StoreKey::numberAt(key, 5), 0) : psId();
  if (page.get_DB() == 0 || page.get_OC() == 0 || page.get_page() == 0)
    return findings_.fault(psFindingKind::page, psId(), "the record of a page has a malformed key");
  if (page != page_) {
    endPage();
    beginPage(page);
  }
  addChunk(std::uint32_t{StoreKey::numberAt(key, 7)} << 16 | StoreKey::numberAt(key, 9), key, value);
}

void PageVerifier::beginPage(const psId& page) {
  if (containerOf(page) != container_) {
    endContainer();
    container_ = containerOf(page);
    verifyContainersBefore(container_);
    if (!catalog_.hasEntry(container_))
      findings_.faultOf(psFindingKind::page, container_, "does not exist, but has pages");
  }
  ++findings_.report().pages;
  page_ = page;
  record_.clear();
  checksums_.clear();
  isDone_ = hasMore_ = false;
}

// A page of which something is wrong is not looked into.
void PageVerifier::giveUp(const std::string& predicate) {
  isDone_ = hasMore_ = true;
  hasUnreadable_ = true;
  owners_.addUnreadablePage(page_);
  findings_.faultOf(psFindingKind::page, page_, predicate);
}

void PageVerifier::addChunk(std::uint32_t chunk, std::string_view key, std::string_view value) {
  if (isDone_ && hasMore_) return;
  if (isDone_) {
    hasMore_ = true;
    return findings_.faultOf(psFindingKind::page, page_, "has " + chunkText(chunk) + ", which is behind its end");
  }
  const auto expected = static_cast<std::uint32_t>(checksums_.size());
  if (chunk != expected) return giveUp("lacks " + chunkText(expected));
  std::uint64_t checksum = 0;
  const std::string_view payload = verifiedPayload(key, value, checksum);
  if (payload.empty()) return giveUp("has " + chunkText(chunk) + " that does not match its checksum");
  checksums_.push_back(checksum);
  if (chunk == 0) {
    firstKey_ = key;
    size_ = sizeOfRecord(payload);
    if (payload.size() == size_.bytes) return verifyRecord(payload);
  }
  record_.append(payload);
  if (record_.size() > size_.bytes) return giveUp("has a record of another length than it says");
  if (record_.size() == size_.bytes) verifyRecord(record_);
}

void PageVerifier::endPage() {
  if (!isDone_) giveUp("lacks " + chunkText(static_cast<std::uint32_t>(checksums_.size())));
}

void PageVerifier::verifyRecord(std::string_view record) {
  const std::string complaint = complaintAbout(record);
  if (!complaint.empty()) return giveUp(complaint);
  isDone_ = true;
  for (const RecordedObject& object : contents_.objects) verifyObject(object);
}

// Reads the record into contents_.
std::string PageVerifier::complaintAbout(std::string_view record) {
  if (size_.tailHash != tailHash(checksums_)) return "has chunks that do not belong together";
  if (!readContents(record, contents_)) return "contradicts itself";
  if (contents_.objects.empty()) return "has a record without objects";
  if (!isFormat1(record) && !isSealed(firstKey_, record)) return "has a block that does not match its checksum";
  if (!isAddressable(contents_)) return "has more objects than fit into a page";
  return {};
}

void PageVerifier::verifyObject(const RecordedObject& object) {
  psId id = page_;
  id.set_slot(object.slot);
  const std::uint32_t type = object.type & ~namedFlag;
  const VerifiedForm& form = classes_.formOf(type, object.layout, object.size);
  if (!form.fault.empty()) findings_.faultOf(psFindingKind::object, id, form.fault);
  if (isStorage(type)) {
    ++findings_.report().arrays;
    owners_.addStorage(id);
    return;
  }
  ++findings_.report().objects;
  ++objects_;
  if (!form.fault.empty())
    owners_.addHidingObject();
  else
    verifyHeld(object, id, form);
}

// An object that is what it can be.
void PageVerifier::verifyHeld(const RecordedObject& object, const psId& id, const VerifiedForm& form) {
  if (!form.unchecked.empty()) {
    Unchecked& unchecked = unchecked_[&form];
    if (unchecked.count++ == 0) unchecked.first = id;
  }
  if (form.isWhole) content_.wholes.push_back(id);
  if (form.isPart) content_.parts.insert(id);
  if (form.isForeignWhole) ++content_.foreignWholes;
  if (form.mayHideArrays) owners_.addHidingObject();
  for (const std::uint32_t offset : form.arrays)
    owners_.addArray(id, numberIn<psId>(object.bytes.data() + offset - omitted(object.type)));
}

void PageVerifier::endContainer() {
  if (container_.isNull()) return;
  owners_.endContainer(container_);
  const std::vector<CatalogVerifier::Container>& known = catalog_.containers();
  if (nextContainer_ < known.size() && known[nextContainer_].id == container_)
    verifyCounts(known[nextContainer_++], objects_, page_.get_page());
  objects_ = 0;
  hasUnreadable_ = false;
}

// Containers that have no pages.
void PageVerifier::verifyContainersBefore(const psId& container) {
  const std::vector<CatalogVerifier::Container>& known = catalog_.containers();
  while (nextContainer_ < known.size() && orderOf(known[nextContainer_].id) < orderOf(container))
    verifyCounts(known[nextContainer_++], 0, 0);
}

void PageVerifier::verifyCounts(const CatalogVerifier::Container& container, std::uint64_t objects,
                                std::uint32_t highestPage) {
  const std::string complaint = complaintAboutCounts(container.nextPage, container.live, highestPage,
                                                     hasUnreadable_ ? container.live : objects, "objects", "page");
  if (!complaint.empty()) findings_.faultOf(psFindingKind::count, container.id, complaint);
  if (container.live == 0 && !container.mayBeEmpty) content_.emptyContainers.push_back(container.id);
}

void PageVerifier::finish() {
  endPage();
  endContainer();
  verifyContainersBefore(psId(0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF));
  owners_.finish();
  content_.sharing = owners_.sharing();
  for (const auto& [form, unchecked] : unchecked_) {
    const std::string others =
        unchecked.count > 1 ? ", and so are " + std::to_string(unchecked.count - 1) + " more objects" : "";
    findings_.note(psFindingKind::unchecked, unchecked.first,
                   textOf(unchecked.first) + ' ' + form->unchecked + others + "; their records were verified alone");
  }
}

}  // namespace ps::detail
