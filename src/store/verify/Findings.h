#pragma once

#include <cstdint>
#include <string>

#include "store/base/psVerifyReport.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// Writes what is found into a report, with the names of the places.
class Findings {
 public:
  Findings(Engine& engine, psVerifyReport& report) : engine_(engine), report_(report) {}

  // The text is a whole sentence without a full stop.
  void fault(psFindingKind kind, const psId& id, std::string text);
  void note(psFindingKind kind, const psId& id, std::string text);
  // A fault whose sentence begins with what the identifier names.
  void faultOf(psFindingKind kind, const psId& id, const std::string& predicate);

  psVerifyReport& report() { return report_; }

 private:
  void add(std::vector<psFinding>& list, std::uint64_t& count, psFindingKind kind, const psId& id, std::string text);
  std::string nameOf(const psId& id);

  Engine& engine_;
  psVerifyReport& report_;
};

// What a page, or anything else, is called in a sentence.
std::string subjectOf(const psId& id);

}  // namespace ps::detail
