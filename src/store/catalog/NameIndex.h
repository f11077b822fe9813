#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/base/psId.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// The names and keys under which objects are filed in scopes. They are only in the engine's transaction, in both
// directions: from scope and name to object, and from object to its scopes and names. Where the two disagree, one of
// them is damaged, and the name counts as unreadable.
//
// A change that has begun and fails makes the transaction void.
class NameIndex {
 public:
  enum class Bound { done, taken, failed };

  explicit NameIndex(Engine& engine) : engine_(engine) {}

  Bound bind(const psId& object, const psId& scope, std::string_view name);
  // The object filed under a name.
  [[nodiscard]] Engine::Lookup find(const psId& scope, std::string_view name, psId& object);

  // Takes back one name. absent when it is not filed, with nothing changed.
  [[nodiscard]] Engine::Lookup unbind(const psId& scope, std::string_view name);
  // Files what is filed under one name under another instead, in the same scope or in another one.
  [[nodiscard]] Bound rebind(const psId& object, const psId& scope, std::string_view name, const psId& newScope,
                             std::string_view newName);
  // What is filed in a scope under a name that begins with prefix, in the order of the names' bytes. False when some of
  // it cannot be read.
  struct Filed {
    std::string name;
    psId object;
  };
  [[nodiscard]] bool list(const psId& scope, std::string_view prefix, std::vector<Filed>& filed);

  // Forgets the names of an object and all that is filed in it. For a container or database, also those of everything
  // in it. Nothing is changed when some of it cannot be read.
  [[nodiscard]] bool forget(const psId& id);
  // Whether everything that forget would remove can be read.
  [[nodiscard]] bool isReadable(const psId& id);

  // Gives the names of one object, and what is filed in it, to another.
  [[nodiscard]] bool rename(const psId& from, const psId& to);

  // Whether a record of a name is sound, and the other direction says the same.
  bool isAnswered(std::string_view key, std::string_view value);

  // Text of the last failure.
  const StoreError& error() const { return error_; }

 private:
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  struct Filing;

  bool pairsOf(std::string_view prefix, Pairs& pairs);
  bool collect(const psId& id, Pairs& names, Pairs& namesOfObjects);
  bool erase(const Filing& filing);
  bool fail(StoreError error);
  bool fail(psErrorKind kind, std::string message) { return fail(StoreError{kind, std::move(message)}); }

  Engine& engine_;
  StoreError error_;
};

}  // namespace ps::detail
