#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/engine/Engine.h"
#include "store/verify/Findings.h"

namespace ps::detail {

// Verifies the records of the federation, its databases and their containers, and the records of their names. They come
// in the order of their keys: names, containers, databases, the federation, pages.
class CatalogVerifier {
 public:
  // What the pages of a container must agree with.
  struct Container {
    psId id;
    std::uint32_t nextPage = 0;
    std::uint32_t live = 0;
    bool mayBeEmpty = false;  // it has a name, or is garbage-collectable
  };

  CatalogVerifier(Engine& engine, Findings& findings) : engine_(engine), findings_(findings) {}

  void verifyContainerName(std::string_view key, std::string_view value);
  void verifyDatabaseName(std::string_view key, std::string_view value);
  void verifyContainer(std::string_view key, std::string_view record);
  void verifyDatabase(std::string_view key, std::string_view record);
  void verifyFederation(std::string_view key, std::string_view record);

  // In the order of their identifiers; those whose records are damaged are not there.
  const std::vector<Container>& containers() const { return containers_; }
  // Whether the store has a record of a federation, database or container, sound or not.
  bool hasEntry(const psId& id) const;

 private:
  struct Members {
    std::uint32_t count = 0;
    std::uint32_t highest = 0;
  };

  void verifyName(std::string_view key, std::string_view value, std::size_t nameBegin);
  void verifyNameOf(const psId& id, const std::string& name);
  void verifyCounts(const psId& id, std::uint32_t next, std::uint32_t live, const Members& members, const char* what);

  Engine& engine_;
  Findings& findings_;
  std::vector<Container> containers_;
  std::unordered_map<std::uint16_t, Members> membersOfDatabases_;
  Members databases_;
};

// The text that tells the next number and the number of members from what is there; "" when they agree.
std::string complaintAboutCounts(std::uint32_t next, std::uint32_t live, std::uint32_t highest, std::uint64_t count,
                                 const char* members, const char* numbered);

}  // namespace ps::detail
