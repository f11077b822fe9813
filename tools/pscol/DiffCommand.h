#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "pscol/Command.h"
#include "pscol/OpenStore.h"

namespace pscol {

class DiffCommand final : public Command {
 public:
  DiffCommand();
  Status run(Document& answer) override;

 private:
  void compareContainers(const psContainerInfo* before, const psContainerInfo* after);
  void report(const char* change, const psId& id, OpenStore& store, const std::string& what);
  void compareObjects(const psId& container);
  void compareNames(const psId& scope);

  std::string before_;
  std::string after_;
  std::uint64_t limit_ = 100;

  OpenStore* stores_[2] = {nullptr, nullptr};
  Document::Table* table_ = nullptr;
  std::uint64_t differences_ = 0;
};

}  // namespace pscol
