#include "store/verify/Findings.h"

#include <utility>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/cache/PageChunks.h"
#include "store/catalog/CatalogEntry.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

std::string subjectOf(const psId& id) { return id.get_page() != 0 && id.get_slot() == 0 ? pageText(id) : textOf(id); }

void Findings::fault(psFindingKind kind, const psId& id, std::string text) {
  add(report_.faults, report_.faultCount, kind, id, std::move(text));
}

void Findings::faultOf(psFindingKind kind, const psId& id, const std::string& predicate) {
  fault(kind, id, subjectOf(id) + ' ' + predicate);
}

void Findings::note(psFindingKind kind, const psId& id, std::string text) {
  add(report_.notes, report_.noteCount, kind, id, std::move(text));
}

void Findings::add(std::vector<psFinding>& list, std::uint64_t& count, psFindingKind kind, const psId& id,
                   std::string text) {
  if (engine_.isVoid()) return;  // the verification is about to end
  if (count++ >= report_.mostFindings) return;
  psFinding& finding = list.emplace_back();
  finding.kind = kind;
  finding.id = id;
  finding.text = std::move(text);
  if (id.get_DB() != 0) finding.database = nameOf(databaseOf(id));
  if (id.get_DB() != 0 && id.get_OC() != 0) finding.container = nameOf(containerOf(id));
}

std::string Findings::nameOf(const psId& id) {
  const StoreKey key =
      id.get_OC() == 0 ? StoreKey::database(id.get_DB()) : StoreKey::container(id.get_DB(), id.get_OC());
  std::string_view record;
  CatalogEntry entry{};
  const bool isRead = engine_.get(key, record) == Engine::Lookup::found && entry.decode(key, record);
  return isRead ? entry.name : std::string();
}

}  // namespace ps::detail
