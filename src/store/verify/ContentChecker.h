#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "store/base/psId.h"
#include "store/verify/ObjectSet.h"

namespace ps::detail {

// What a layer above the store knows of how objects belong together: some are wholes, which own parts. It is asked
// while a store is verified.
class ContentChecker {
 public:
  struct Complaint {
    psId id;
    std::string text;
  };
  struct Result {
    // More are not kept: what is forged may have any number.
    static constexpr std::size_t mostFaults = 1000;
    void complain(Complaint fault) {
      if (faults.size() < mostFaults) faults.push_back(std::move(fault));
    }

    std::vector<Complaint> faults;  // each names an object and says what is wrong with it
    std::string unchecked;          // what of it this program cannot check, as the rest of a sentence; "" for nothing
    ObjectSet owned;                // the objects that are part of the whole, beside it
    std::vector<psId> containers;   // that the whole will place parts in, perhaps the first ones
    std::uint64_t elements = 0;
    std::uint64_t deleted = 0;  // elements that do not exist
  };

  ContentChecker() = default;
  ContentChecker(const ContentChecker&) = delete;
  ContentChecker& operator=(const ContentChecker&) = delete;

  // By the number of a class that is registered.
  virtual bool isWhole(unsigned int typeN) const = 0;
  virtual bool isPart(unsigned int typeN) const = 0;

  // Checks a whole of the current session, in its transaction. It is a fault when something that is taken is part of
  // it. That is not looked into, so that any number of wholes takes no longer than what they consist of.
  virtual Result check(const psId& whole, const ObjectSet& taken) const = 0;
  // Checks as much of a part that no whole has as its operations rely on.
  virtual Result checkUnowned(const psId& part, const ObjectSet& taken) const = 0;

  // The checker of this process; null when there is none. It is set while the library is loaded.
  static const ContentChecker* instance();
  static void use(const ContentChecker& checker);

 protected:
  ~ContentChecker() = default;
};

}  // namespace ps::detail
