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

Trouble updateLimit(psSession& session) {
  return {"an update at its limit", [&session](std::uint64_t k) {
            constexpr std::uint64_t page = 8192;
            const std::uint64_t limit = session.counters().uncommittedBytes + k * page - 1;
            session.updateLimit(limit);
            return [&session, limit] {
              session.updateLimit(0);
              const psErrorKind last = session.lastErrorKind();
              const bool isNear = session.counters().uncommittedBytes + 10 * page > limit;
              return last == psErrorKind::full || (isNear && last != psErrorKind::none);
            };
          }};
}

}  // namespace ps::test
