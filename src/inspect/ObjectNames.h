#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/psInspector.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

// Names of objects, containers and databases as paths, in both directions; see psInspector::pathOf.
class ObjectNames {
 public:
  explicit ObjectNames(SessionCore& session) : session_(session) {}

  // Under which names and keys an object is filed, sorted. False when the engine cannot be read.
  bool namesOf(const psId& object, std::vector<psInspector::Filing>& found);
  // All that are sound. False when the engine cannot be read.
  bool all(const psInspector::NameVisitor& visit);
  std::string pathOf(const psId& id) { return pathOf(id, 0); }
  // What a path leads to; the null identifier when there is nothing.
  psId find(const std::string& path);

 private:
  std::string pathOf(const psId& id, int depth);
  std::string nameOf(const psId& id);
  psId findIn(const psId& scope, std::string_view path, int depth);
  psId step(const psId& scope, std::string_view name);
  bool exists(const psId& id);

  SessionCore& session_;
};

// An identifier as in "1-2-3-4".
std::string dashed(const psId& id);
// The identifier that a text of so many numbers at least, and 4 at most, writes, as in "1-2-3-4".
std::optional<psId> fromDashed(std::string_view text, std::size_t least = 4);

}  // namespace ps::detail
