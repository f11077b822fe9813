#include "pscol/CopyCommands.h"

#include <filesystem>
#include <system_error>

#include "pscol/OpenStore.h"
#include "pscol/Progress.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

std::uint64_t sizeOf(const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

// A store on a server has no file.
void tellSize(Document& answer, const char* key, const char* title, const std::string& path) {
  if (std::filesystem::exists(path)) answer.fact(key, title, Cell::bytes(sizeOf(path)));
}

auto telling(Progress& progress) {
  return [&progress](const psBackupProgress& now) { return progress.tell(now.done, now.total); };
}

}  // namespace

BackupCommand::BackupCommand() : Command("backup", "Copy a store while others use it") {
  file("store", "The file of the store, or its address on a server", &store_);
  file("copy", "The file to make, or the address of a store on a server; nothing may be there", &copy_);
  details(
      "The copy is of the last commit, compact, and compared with its checksums. It has its name only when it is whole "
      "and on the disk.");
}

Status BackupCommand::run(Document& answer) {
  OpenStore store(store_);
  Progress progress("copied", "records");
  require(store.session(), store.session().backup(copy_, telling(progress)));
  answer.fact("copy", "Copy", copy_);
  tellSize(answer, "bytes", "Size", copy_);
  tellSize(answer, "storeBytes", "Size of the store", store_);
  return Status::fine;
}

CompactCommand::CompactCommand() : Command("compact", "Give the free pages of a store back to the file system") {
  file("store", "The file of the store", &store_);
  details(
      "A compact copy takes the place of the file. Nobody may have the store open, and there must be room for the copy "
      "beside it. A store that is damaged stays as it is.");
}

Status CompactCommand::run(Document& answer) {
  requireFile(store_);
  const std::uint64_t before = sizeOf(store_);
  Progress progress("copied", "pages");
  requireDone(psSession::compact(store_, telling(progress)));
  answer.fact("store", "Store", store_);
  answer.fact("bytesBefore", "Size before", Cell::bytes(before));
  answer.fact("bytes", "Size now", Cell::bytes(sizeOf(store_)));
  return Status::fine;
}

SalvageCommand::SalvageCommand() : Command("salvage", "Copy the records of a damaged store that can be read") {
  file("store", "The file of the damaged store, which is not changed", &store_);
  file("copy", "The file to make; it must not exist", &copy_);
  details(
      "For a file that cannot be opened, or lacks pages. Objects of records that cannot be read do not exist in the "
      "copy, so check it next. The exit status is 1 when something was lost.");
}

Status SalvageCommand::run(Document& answer) {
  requireFile(store_);
  psSalvageReport report;
  Progress progress("read", "pages");
  requireDone(psSession::salvage(store_, copy_, report, telling(progress)));
  answer.fact("copy", "Copy", copy_);
  answer.fact("records", "Records", Cell::count(report.records));
  answer.fact("fromRemains", "Perhaps older than the last commit", Cell::count(report.fromRemains));
  answer.fact("lossCount", "Losses", Cell::count(report.lossCount));
  for (const std::string& loss : report.losses) answer.line("losses", printable(loss));
  return report.lossCount == 0 ? Status::fine : Status::negative;
}

}  // namespace pscol
