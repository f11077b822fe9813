#pragma once

#include <string>

#include "pscol/Command.h"

namespace pscol {

class InfoCommand final : public Command {
 public:
  InfoCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
};

}  // namespace pscol
