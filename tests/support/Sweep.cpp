#include "support/Sweep.h"

#include <memory>

namespace ps::test {

std::vector<Trouble> refusals(psSession& session) {
  using Manner = Refuse::Manner;
  const auto causeIn = [&session](Manner manner) {
    return [&session, manner](std::uint64_t k) {
      auto refuse = std::make_shared<Refuse>(session, k, manner);
      return [refuse]() mutable {
        const bool bit = refuse->bit();
        refuse.reset();
        return bit;
      };
    };
  };
  return {{"an open refused once", causeIn(Manner::once)},
          {"an open refused for good", causeIn(Manner::forGood)},
          {"an open and all that follow refused", causeIn(Manner::fromThenOn)}};
}

}  // namespace ps::test
