#include "pscol/InfoCommand.h"

#include <algorithm>

#include "pscol/OpenStore.h"

namespace pscol {

InfoCommand::InfoCommand()
    : Command("info", "Show what a store is: its format, size, free pages, readers and last commit") {
  file("store", "The file of the store, or its address on a server", &store_);
}

Status InfoCommand::run(Document& answer) {
  OpenStore store(store_);
  psStoreInfo info;
  require(store.session(), store.inspector().info(info));
  answer.fact("file", "File", info.path);
  answer.fact("format", "Format", info.format);
  answer.fact("fileBytes", "Size", Cell::bytes(info.fileBytes));
  answer.fact("pages", "Pages", Cell::count(info.enginePages));
  answer.fact("freePages", "Free pages", Cell::count(info.freePages));
  answer.fact("enginePageSize", "Page of the file", Cell::exactBytes(info.enginePageSize));
  answer.fact("pageSize", "Page of objects", Cell::exactBytes(info.pageSize));
  answer.fact("records", "Records", Cell::count(info.records));
  answer.fact("commit", "Last commit", Cell::count(info.commit));
  answer.fact("changed", "File changed", Cell::time(info.lastCommitTime));
  answer.fact("readerCount", "Readers", Cell::count(info.readers.size()));
  answer.fact("pinnedBytes", "Pinned by the oldest",
              Cell::bytes(info.readers.empty() ? 0 : info.readers.front().pinnedBytes));
  Document::Table& readers = answer.table("readers", "Readers, the oldest first",
                                          {{"process", "Process"},
                                           {"seenFor", "Seen for"},
                                           {"commit", "Commit"},
                                           {"commitsBehind", "Commits behind"},
                                           {"pinnedBytes", "Pins"}});
  for (const psReader& reader : info.readers)
    readers.row({std::to_string(reader.process), Cell::seconds(reader.seconds), Cell::count(reader.commit),
                 Cell::count(info.commit - std::min(reader.commit, info.commit)), Cell::bytes(reader.pinnedBytes)});
  return Status::fine;
}

}  // namespace pscol
