#include "pscol/OpenStore.h"

#include "pscol/Text.h"

namespace pscol {

void requireFile(const std::string& path) {
  if (path.rfind("memory:", 0) == 0)
    throw Failure(Status::unusable, "a store in memory is in its own process alone; name a file");
}

OpenStore::OpenStore(const std::string& path, psVerify verify) {
  requireFile(path);
  psSessionOptions options;
  options.readOnly = true;
  options.verify = verify;
  if (session_.open(path, options) == 1 && session_.begin(pscRead) == 1) return;
  const bool isDamaged = session_.lastErrorKind() == psErrorKind::damaged;
  throw Failure(isDamaged ? Status::negative : Status::unusable,
                session_.lastError() + (isDamaged ? " `pscol salvage` copies what can be read." : ""));
}

psId OpenStore::find(const std::string& path) {
  const psId id = inspector_.find(path);
  if (id.isNull())
    throw Failure(Status::negative,
                  "there is nothing at " + inQuotes(path) +
                      ". A path is a database, a container and names, as in shop/orders/by-date, or an "
                      "identifier, as in 1-2-3-4; `pscol ls` lists them");
  return id;
}

std::string OpenStore::nameOf(const psId& id) {
  const std::string path = inspector_.pathOf(id);
  return path.empty() ? idText(id) : path;
}

}  // namespace pscol
