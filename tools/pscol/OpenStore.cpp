#include "pscol/OpenStore.h"

#include "pscol/Progress.h"
#include "pscol/Text.h"

namespace pscol {

void requireFile(const std::string& path) {
  if (path.rfind("memory:", 0) == 0)
    throw Failure(Status::unusable, "a store in memory is in its own process alone; name a file");
}

OpenStore::OpenStore(const std::string& path, psVerify verify, Classes classes) : classes_(classes) {
  requireFile(path);
  psSessionOptions options;
  options.readOnly = true;
  options.verify = verify;
  if (session_.open(path, options) == 1 && session_.begin(pscRead) == 1 && adopt()) return;
  const bool isDamaged = session_.lastErrorKind() == psErrorKind::damaged;
  throw Failure(isDamaged ? Status::negative : Status::unusable,
                session_.lastError() + (isDamaged ? " `pscol salvage` copies what can be read." : ""));
}

// What is not adopted is shown by what the store says of it.
bool OpenStore::adopt() { return classes_ == Classes::asStored || inspector_.adoptClasses() >= 0; }

psId OpenStore::find(const std::string& path) {
  const psId id = inspector_.find(path);
  if (id.isNull())
    throw Failure(Status::negative,
                  "there is nothing at " + inQuotes(path) +
                      ". A path is a database, a container and names, as in shop/orders/by-date, or an "
                      "identifier, as in 1-2-3-4; `pscol ls` lists them");
  return id;
}

psId OpenStore::findCollection(const std::string& path) {
  psId id = find(path);
  if (id.get_slot() != 0 || id.get_OC() == 0) return id;
  const psId database(id.get_DB(), 0, 0, 0);
  const std::string scope = inspector_.pathOf(database) + "/";
  const std::string container = inspector_.pathOf(id);
  require(session_, session_.names(pstHandle<psObj>(database), [&](const psFiling& filing) {
    const bool isMeant = filing.kind == psFiling::Kind::name && scope + filing.text == container;
    if (isMeant) id = filing.object.oid();
    return !isMeant;
  }));
  return id;
}

psSurvey OpenStore::survey() {
  psSurvey found;
  Progress progress("looked at", "records");
  require(session_, inspector_.survey(found, [&progress](std::uint64_t done, std::uint64_t total) {
    return progress.tell(done, total);
  }));
  return found;
}

bool OpenStore::verify(psVerifyReport& report) {
  require(session_, session_.abort());
  Progress records("read", "records");
  Progress collections("checked", "collections");
  const bool isWhole = session_.verify(report, [&](const psVerifyProgress& now) {
    const bool areRecords = now.phase == psVerifyProgress::Phase::records;
    return (areRecords ? records : collections).tell(now.done, now.total);
  }) == 1;
  if (!isWhole && session_.lastErrorKind() != psErrorKind::damaged) throw failureOf(session_);
  require(session_, session_.begin(pscRead));
  return isWhole;
}

std::string OpenStore::nameOf(const psId& id) {
  const std::string path = inspector_.pathOf(id);
  return path.empty() ? idText(id) : path;
}

}  // namespace pscol
