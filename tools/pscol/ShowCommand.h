#pragma once

#include <cstdint>
#include <string>

#include "pscol/Command.h"
#include "pscol/OpenStore.h"
#include "pscol/ValueText.h"

namespace pscol {

class ShowCommand final : public Command {
 public:
  ShowCommand();
  Status run(Document& answer) override;

 private:
  void showObject(const psStoredObject& object, OpenStore& store, Document& answer) const;

  std::string store_;
  std::string path_;
  std::uint64_t depth_ = 1;
  std::uint64_t elements_ = 10;
};

// A style that shows the objects that references lead to, so many steps far.
ValueStyle resolvingStyle(OpenStore& store, std::uint64_t depth, std::size_t elements);

}  // namespace pscol
