#pragma once

#include <functional>
#include <string>
#include <vector>

#include "inspect/psCollectionInfo.h"
#include "inspect/psHashInfo.h"
#include "inspect/psStoreInfo.h"
#include "inspect/psStoredClass.h"
#include "inspect/psSurvey.h"
#include "inspect/psTreeInfo.h"
#include "pscol/picture/Advice.h"
#include "pscol/picture/HashSketch.h"
#include "pscol/picture/HashTally.h"
#include "pscol/picture/StoreMap.h"
#include "pscol/picture/TreeSketch.h"
#include "store/base/psVerifyReport.h"

namespace pscol::picture {

// What a report says of a collection.
struct ReportedCollection {
  psId id;
  std::string path;  // "" without a name
  std::string className;
  std::string complaint;  // why nothing is known of its structure, as the rest of a sentence; "" when it is known
  // Of these, what the collection is.
  psTreeInfo tree;
  psHashInfo table;
  HashTally tally;

  bool isTable() const { return psIsHashTable(table.kind); }
  const psCollectionInfo& info() const { return isTable() ? static_cast<const psCollectionInfo&>(table) : tree; }
};

std::vector<Advice> adviceOn(const ReportedCollection& collection);

// All that a report is made of.
struct ReportData {
  std::string storeName;
  psStoreInfo info;
  psSurvey survey;
  bool isVerified = false;
  psVerifyReport verification;  // if isVerified
  std::vector<psStoredClass> classes;
  std::vector<ReportedCollection> collections;
  ContainerOwners owners;

  // For the few collections of which a picture is drawn, their structure once more, so that not all need to be in
  // memory together. false when it cannot be read.
  std::function<bool(const ReportedCollection&, TreeSketch&)> sketchTree;
  std::function<bool(const ReportedCollection&, HashSketch&)> sketchTable;
  // See Subject.
  std::function<std::string(const ReportedCollection&, const psId&)> labelOf;
};

}  // namespace pscol::picture
