#pragma once

#include <inspect/psSurvey.h>

#include <string>

#include "pscol/Command.h"
#include "pscol/OpenStore.h"

namespace pscol {

class ListCommand final : public Command {
 public:
  ListCommand();
  Status run(Document& answer) override;

 private:
  void listDatabases(const psSurvey& survey, Document& answer) const;
  void listContainers(const psDatabaseInfo& database, OpenStore& store, Document& answer) const;
  static void listClasses(const psContainerInfo& container, OpenStore& store, Document& answer);
  static void listNames(const psId& scope, OpenStore& store, Document& answer);

  std::string store_;
  std::string path_;
  bool all_ = false;
};

}  // namespace pscol
