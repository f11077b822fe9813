#pragma once

#include <inspect/psStoreInfo.h>

#include <cstdint>
#include <string>
#include <vector>

#include "pscol/Command.h"
#include "pscol/StoreUsers.h"

namespace pscol {

class TopCommand final : public Command {
 public:
  TopCommand();
  Status run(Document& answer) override;

 private:
  // What a look at the store shows.
  struct Look {
    psStoreInfo info;
    std::vector<StoreUser> users;
  };
  static void describe(const Look& before, const Look& now, Document& answer);

  std::string store_;
  std::uint64_t seconds_ = 0;
};

}  // namespace pscol
