#pragma once

#include <string>

#include "pscol/Command.h"

namespace pscol {

class BackupCommand final : public Command {
 public:
  BackupCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string copy_;
};

class CompactCommand final : public Command {
 public:
  CompactCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
};

class SalvageCommand final : public Command {
 public:
  SalvageCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string copy_;
};

}  // namespace pscol
