#include "pscol/CheckCommand.h"
#include "pscol/Command.h"
#include "pscol/CopyCommands.h"
#include "pscol/DiffCommand.h"
#include "pscol/DumpCommand.h"
#include "pscol/InfoCommand.h"
#include "pscol/ListCommand.h"
#include "pscol/LoadCommand.h"
#include "pscol/PictureCommands.h"
#include "pscol/RangeCommands.h"
#include "pscol/SchemaCommand.h"
#include "pscol/ShowCommand.h"
#include "pscol/TopCommand.h"

namespace pscol {

Commands allCommands() {
  Commands commands;
  commands.push_back(std::make_unique<InfoCommand>());
  commands.push_back(std::make_unique<ListCommand>());
  commands.push_back(std::make_unique<SchemaCommand>());
  commands.push_back(std::make_unique<ShowCommand>());
  commands.push_back(std::make_unique<RangeCommand>());
  commands.push_back(std::make_unique<GetCommand>());
  commands.push_back(std::make_unique<StatCommand>());
  commands.push_back(std::make_unique<CheckCommand>());
  commands.push_back(std::make_unique<GraphCommand>());
  commands.push_back(std::make_unique<MapCommand>());
  commands.push_back(std::make_unique<ReportCommand>());
  commands.push_back(std::make_unique<BackupCommand>());
  commands.push_back(std::make_unique<CompactCommand>());
  commands.push_back(std::make_unique<SalvageCommand>());
  commands.push_back(std::make_unique<DumpCommand>());
  commands.push_back(std::make_unique<LoadCommand>());
  commands.push_back(std::make_unique<DiffCommand>());
  commands.push_back(std::make_unique<TopCommand>());
  return commands;
}

}  // namespace pscol
