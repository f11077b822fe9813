#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "pscol/ClassNames.h"
#include "pscol/Command.h"
#include "pscol/OpenStore.h"
#include "pscol/Progress.h"

namespace pscol {

class DumpCommand final : public Command {
 public:
  DumpCommand();
  Status run(Document& answer) override;

 private:
  void write(const Json& line);
  void lookAtCollections(OpenStore& store, const psSurvey& survey);
  void writeClasses(const ClassNames& classes);
  void writeContainers(OpenStore& store, const psSurvey& survey);
  void writeObjects(OpenStore& store, const psContainerInfo& container);
  void writeNames(OpenStore& store);
  void writeTree(OpenStore& store, const psId& id);
  void writeTable(OpenStore& store, const psId& id);
  void writeElements(OpenStore& store, const psId& id, bool isMap,
                     const std::unordered_map<psId, std::size_t>* buckets);
  bool isPart(const psStoredObject& object) const;
  void noteUndescribed(const ClassNames& classes);
  bool hidesArrays(const psContainerInfo& container) const;
  void claimArrays(OpenStore& store, const psId& container);

  std::string store_;
  std::string output_;

  std::ostream* out_ = nullptr;
  std::unordered_set<psId> collections_;
  std::unordered_set<psId> arrays_;             // of collections
  std::unordered_set<psId> containers_;         // that collections place parts in
  std::unordered_set<unsigned int> described_;  // classes whose arrays are known
  std::unordered_set<psId> claimed_;            // storage of arrays that are known, of the current container
  std::uint64_t objects_ = 0;
  std::uint64_t done_ = 0;
  std::uint64_t total_ = 0;
  std::uint64_t losses_ = 0;
  Progress progress_{"dumped", "objects"};
};

}  // namespace pscol
