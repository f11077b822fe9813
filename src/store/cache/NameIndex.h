#pragma once

#include <string>
#include <string_view>

#include "store/engine/Engine.h"
#include "store/psId.h"

namespace ps::detail {

// The names and keys under which objects are filed in scopes. They stand in the engine's transaction alone, in both
// directions: from scope and name to object, and from object to its scopes and names.
class NameIndex {
 public:
  enum class Bound { done, taken, failed };

  explicit NameIndex(Engine& engine) : engine_(engine) {}

  Bound bind(const psId& object, const psId& scope, std::string_view name);
  // The object filed under a name; the null id when there is none.
  psId find(const psId& scope, std::string_view name);

  // Forgets the names of an object and all that is filed in it. For a container or database: of and in everything in it
  // too.
  bool forget(const psId& id);

  // Gives the names of one object, and what is filed in it, to another.
  bool rename(const psId& from, const psId& to);

 private:
  bool forgetKeys(std::string_view prefix, bool byObject);

  Engine& engine_;
};

}  // namespace ps::detail
