#pragma once

#include <cstdint>
#include <string>

#include "pscol/Command.h"
#include "pscol/OpenStore.h"

namespace pscol {

class RangeCommand final : public Command {
 public:
  RangeCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string collection_;
  std::string from_;
  std::string to_;
  std::uint64_t limit_ = 100;
  bool isReverse_ = false;
  bool isCount_ = false;
};

class GetCommand final : public Command {
 public:
  GetCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string collection_;
  std::string key_;
};

}  // namespace pscol
