#pragma once

#include <cstdint>
#include <string>

#include "pscol/Command.h"
#include "pscol/Structure.h"

namespace pscol {

class StatCommand final : public Command {
 public:
  StatCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string collection_;
};

class GraphCommand final : public Command {
 public:
  GraphCommand();
  Status run(Document& answer) override;

 private:
  std::string draw(Structure& structure, const picture::ReportedCollection& one, OpenStore& store) const;

  std::string store_;
  std::string collection_;
  std::string key_;
  std::string output_;
  std::uint64_t width_ = 1040;
};

class MapCommand final : public Command {
 public:
  MapCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string output_;
  std::uint64_t width_ = 1040;
};

class ReportCommand final : public Command {
 public:
  ReportCommand();
  Status run(Document& answer) override;

 private:
  std::string store_;
  std::string output_;
};

}  // namespace pscol
