#include "pscol/CheckCommand.h"

#include <limits>

#include "pscol/OpenStore.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

struct KindText {
  const char* name;
  const char* remedy;
};

constexpr const char* restore = "restore a backup, or rescue the rest with `pscol salvage` or `pscol dump`";

KindText textOf(psFindingKind kind) {
  switch (kind) {
    case psFindingKind::record:
      return {"record", restore};
    case psFindingKind::entry:
      return {"entry", restore};
    case psFindingKind::count:
      return {"count", "`pscol dump` and `pscol load` make a store with right counts"};
    case psFindingKind::page:
      return {"page", restore};
    case psFindingKind::object:
      return {"object", "restore a backup, or find the program that wrote such objects"};
    case psFindingKind::array:
      return {"array", restore};
    case psFindingKind::name:
      return {"name", "`pscol dump` and `pscol load` file the names anew that are sound"};
    case psFindingKind::classes:
      return {"class", restore};
    case psFindingKind::collection:
      return {"collection", "`pscol dump` and `pscol load` build it anew of the elements that can be read"};
    case psFindingKind::unowned:
      return {"unowned", "it takes room and does no harm; `pscol dump` and `pscol load` leave empty containers out"};
    case psFindingKind::deleted:
      return {"deleted", "call removeAllDeleted of the collection"};
    case psFindingKind::unchecked:
      return {"unchecked", "call psSession::verify in a program that has the class"};
  }
  return {"unknown", restore};
}

// Findings with what is known of their places. Of a store that is damaged not everything has a path.
void addFindings(const std::vector<psFinding>& findings, std::size_t most, OpenStore& store, Document::Table& table) {
  for (std::size_t i = 0; i < findings.size() && i < most; ++i) {
    const psFinding& finding = findings[i];
    const KindText kind = textOf(finding.kind);
    table.row({kind.name, finding.id, finding.id.isNull() ? Cell() : Cell(store.nameOf(finding.id)), finding.text,
               kind.remedy});
  }
}

std::vector<Document::Column> columns(const char* what) {
  return {{"kind", "Kind"}, {"id", "Identifier"}, {"path", "Path"}, {"text", what}, {"remedy", "What to do"}};
}

void addCounts(const psVerifyReport& report, Document& answer) {
  answer.fact("records", "Records", Cell::count(report.records));
  answer.fact("bytes", "Bytes", Cell::bytes(report.bytes));
  answer.fact("databases", "Databases", Cell::count(report.databases));
  answer.fact("containers", "Containers", Cell::count(report.containers));
  answer.fact("pages", "Pages", Cell::count(report.pages));
  answer.fact("objects", "Objects", Cell::count(report.objects));
  answer.fact("arrays", "Arrays", Cell::count(report.arrays));
  answer.fact("names", "Names", Cell::count(report.names));
  answer.fact("classes", "Classes", Cell::count(report.classes));
  answer.fact("collections", "Collections", Cell::count(report.collections));
  answer.fact("elements", "Elements", Cell::count(report.elements));
}

}  // namespace

CheckCommand::CheckCommand() : Command("check", "Check every page, record and collection") {
  file("store", "The file of the store, or its address on a server", &store_);
  option("--all", "", "List all findings; otherwise the first 100 faults and the first 20 notes", &all_);
  details(
      "First the pages of the file are checked, then every record with its checksum, and then every collection. Faults "
      "contradict the format: what they name may be refused, absent or wrong. Notes are of what is sound, but may not "
      "be meant. The exit status is 1 when there is a fault.");
}

Status CheckCommand::run(Document& answer) {
  OpenStore store(store_, psVerify::structure);
  constexpr std::size_t usualFaults = 100;
  constexpr std::size_t usualNotes = 20;
  const std::size_t most = std::numeric_limits<std::size_t>::max();
  psVerifyReport report;
  if (all_) report.mostFindings = most;
  const bool isWhole = store.verify(report);
  answer.fact("whole", "Whole", Cell::yesNo(isWhole));
  addCounts(report, answer);
  answer.fact("faultCount", "Faults", Cell::count(report.faultCount));
  answer.fact("noteCount", "Notes", Cell::count(report.noteCount));
  addFindings(report.faults, all_ ? most : usualFaults, store, answer.table("faults", "", columns("Fault")));
  addFindings(report.notes, all_ ? most : usualNotes, store, answer.table("notes", "", columns("Note")));
  const bool areAllShown = all_ || (report.faultCount <= usualFaults && report.noteCount <= usualNotes);
  if (!areAllShown) answer.line("", "\nNot all findings are shown; --all shows them.");
  return isWhole ? Status::fine : Status::negative;
}

}  // namespace pscol
