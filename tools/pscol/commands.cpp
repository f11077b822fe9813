#include "pscol/Command.h"
#include "pscol/InfoCommand.h"
#include "pscol/ListCommand.h"
#include "pscol/SchemaCommand.h"
#include "pscol/ShowCommand.h"

namespace pscol {

Commands allCommands() {
  Commands commands;
  commands.push_back(std::make_unique<InfoCommand>());
  commands.push_back(std::make_unique<ListCommand>());
  commands.push_back(std::make_unique<SchemaCommand>());
  commands.push_back(std::make_unique<ShowCommand>());
  return commands;
}

}  // namespace pscol
