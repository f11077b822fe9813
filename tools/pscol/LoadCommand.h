#pragma once

#include <inspect/psStoreBuilder.h>

#include <string>
#include <variant>

#include "pscol/Command.h"

namespace pscol {

class LoadCommand final : public Command {
 public:
  LoadCommand();
  Status run(Document& answer) override;

 private:
  void take(const Json& line);
  void begin(const Json& line);
  void addClass(const Json& line);
  void beginTree(const Json& line);
  void beginTable(const Json& line);
  void addElements(const Json& line);
  void endCollection();

  std::string dump_;
  std::string store_;

  psStoreBuilder builder_;
  bool hasBegun_ = false;
  bool hasEnded_ = false;
  std::uint64_t objects_ = 0;
  std::uint64_t collections_ = 0;
  std::variant<std::monostate, psTreeContent, psTableContent> collection_;  // of which elements come
};

}  // namespace pscol
