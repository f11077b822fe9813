#pragma once

#include <string>

#include "pscol/Command.h"

namespace pscol {

class CheckCommand final : public Command {
 public:
  CheckCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  bool all_ = false;
};

}  // namespace pscol
