#include "support/Sweep.h"

#include <memory>

#include "store/base/psError.h"

namespace ps::test {

bool resultOf(const std::function<bool()>& act) {
  try {
    return act();
  } catch (const psException&) {
    return false;
  }
}

std::vector<Trouble> refusals(psSession& session) {
  using Manner = Refuse::Manner;
  const auto causeIn = [&session](Manner manner, bool throws = false) {
    return [&session, manner, throws](std::uint64_t k) {
      auto refuse = std::make_shared<Refuse>(session, k, manner);
      session.throwErrors(throws);
      return [&session, refuse]() mutable {
        session.throwErrors(false);
        const bool bit = refuse->bit();
        refuse.reset();
        return bit;
      };
    };
  };
  static std::uint64_t sweeps = 0;
  return {{"an open refused once", causeIn(Manner::once)},
          {"an open refused for good", causeIn(Manner::forGood)},
          {"an open and all that follow refused", causeIn(Manner::fromThenOn)},
          {"an open refused once, which throws", causeIn(Manner::once, true), false, 1 + sweeps++ % 3, 3}};
}

}  // namespace ps::test
