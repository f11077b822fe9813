#pragma once

#include <optional>
#include <string_view>

#include "store/catalog/NameIndex.h"
#include "store/verify/CatalogVerifier.h"
#include "store/verify/Findings.h"
#include "store/verify/RecordedPages.h"

namespace ps::detail {

// Verifies the names and keys of objects: each is filed in both directions, and its object and its scope exist. The
// records come in the order of scopes, and then in that of objects.
class NameVerifier {
 public:
  NameVerifier(Engine& engine, const CatalogVerifier& catalog, Findings& findings)
      : names_(engine), pages_(engine), catalog_(catalog), findings_(findings) {}

  void verifyByScope(std::string_view key, std::string_view value);
  void verifyByObject(std::string_view key, std::string_view value);

 private:
  void verifyHolder(const psId& id, const char* what, std::string_view name);

  NameIndex names_;
  RecordedPages pages_;
  const CatalogVerifier& catalog_;
  Findings& findings_;
  std::optional<psId> lastHolder_;
};

}  // namespace ps::detail
