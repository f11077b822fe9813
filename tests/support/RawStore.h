#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "store/engine/Engine.h"

namespace ps::test {

using Records = std::map<std::string, std::string>;

// The records of a store on any engine, below all that the store knows of them. What is changed through one object is
// one transaction, which its destructor commits.
class RawStore {
 public:
  explicit RawStore(const std::string& path);
  RawStore(const RawStore&) = delete;
  RawStore& operator=(const RawStore&) = delete;
  ~RawStore();

  void put(std::string_view key, std::string_view value);
  void erase(std::string_view key);
  Records content();
  // Changes what differs, so that these records and no others are there.
  void replace(const Records& records);

 private:
  std::unique_ptr<ps::detail::Engine> engine_;
};

// Makes a store, or what is there of one, a copy of another. The other may be a file that nobody may write to.
void copyStore(const std::string& from, const std::string& to);

}  // namespace ps::test
