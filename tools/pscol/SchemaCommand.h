#pragma once

#include <string>

#include "pscol/ClassNames.h"
#include "pscol/Command.h"

namespace pscol {

class SchemaCommand final : public Command {
 public:
  SchemaCommand();
  Status run(Document& answer) override;

 private:
  static void list(OpenStore& store, const ClassNames& classes, Document& answer);
  void describe(const ClassNames& classes, Document& answer) const;

  std::string store_;
  std::string class_;
};

}  // namespace pscol
