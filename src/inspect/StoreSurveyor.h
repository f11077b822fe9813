#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "inspect/psInspector.h"
#include "store/cache/PageContents.h"
#include "store/cache/TypeRegistry.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

// Counts everything that is in a store, in one pass over the engine's records in the order of their keys.
class StoreSurveyor {
 public:
  StoreSurveyor(SessionCore& session, psSurvey& found, const psInspector::Progress& progress)
      : session_(session), found_(found), progress_(progress) {}

  // False, with the reason signalled, when the records cannot be read, or progress has returned false.
  bool run();

 private:
  void look(std::string_view key, std::string_view value);
  void addContainer(std::string_view key, std::string_view value);
  void addDatabase(std::string_view key, std::string_view value);
  void addChunk(std::string_view key, std::string_view value);
  void beginPage(const psId& page);
  void endPage();
  void countObjects(psContainerInfo& container);
  psContainerInfo& containerAt(const psId& id);
  bool isCollection(unsigned int typeN);

  SessionCore& session_;
  psSurvey& found_;
  const psInspector::Progress& progress_;
  std::unordered_map<std::uint16_t, std::size_t> databases_;  // their places in found_
  std::unordered_map<psId, psContainerInfo> containers_;
  std::unordered_map<unsigned int, bool> isCollection_;
  ClassLookup classOf_;

  psId page_;  // the current one
  std::string record_;
  bool isSound_ = true;
  std::uint32_t chunks_ = 0;
  PageContents contents_;
};

}  // namespace ps::detail
