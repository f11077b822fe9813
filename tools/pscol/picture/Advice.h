#pragma once

#include <string>
#include <vector>

#include "inspect/psHashInfo.h"
#include "inspect/psStoreInfo.h"
#include "inspect/psSurvey.h"
#include "inspect/psTreeInfo.h"
#include "pscol/picture/HashTally.h"

namespace pscol::picture {

// What somebody who looks after a store may want to do.
struct Advice {
  enum class Severity { fine, note, advice, damage };

  Severity severity = Severity::fine;
  std::string sentence;  // or several
  std::string subject;   // the path of the collection or database; "" for the store
};

// As in "Advice".
const char* wordFor(Advice::Severity severity);

// On a collection there is at least one line, which says that all is fine when nothing else is to be said. The worst
// comes first.
std::vector<Advice> adviceOn(const psTreeInfo& tree, const std::string& path);
std::vector<Advice> adviceOn(const psHashInfo& table, const HashTally& tally, const std::string& path);
// On a store there may be none.
std::vector<Advice> adviceOn(const psStoreInfo& store, const psSurvey& survey);

// What the entries of a tree take of the bytes of its leaves.
double entryBytes(const psTreeInfo& tree, double leafBytes);

// From this number on, a database gets no more containers for parts of collections: they go into another database.
constexpr std::uint64_t firstCrowdedContainer = 30000;
constexpr std::uint64_t mostContainers = 65535;  // of a database

}  // namespace pscol::picture
