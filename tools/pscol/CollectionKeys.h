#pragma once

#include <inspect/psOrderKeys.h>

#include <optional>
#include <string>
#include <vector>

#include "pscol/ClassNames.h"
#include "pscol/OpenStore.h"

namespace pscol {

// An element of a collection, and in a map its value.
struct FoundElement {
  psId element;
  psId value;
};

// How a collection is ordered or hashed, and what the words of a user find in it: positions in a list, identifiers or
// paths in a collection ordered by identifiers, and else the values of the comparator's keys, as in "pear" or
// "pear,-3".
class CollectionKeys {
 public:
  // Throws Failure when the object is no collection.
  CollectionKeys(OpenStore& store, const psId& collection);

  const psId& id() const { return id_; }
  psCollectionKind kind() const { return kind_; }
  // Its order for people, as in "ByText: text, number descending".
  std::string order() const;

  // Whether this program can look up by words.
  bool canFind() const;
  // What a word finds; nothing when it finds nothing. Throws Failure when it cannot be such a key.
  std::optional<FoundElement> find(const std::string& word);

  // The elements from one word to another, both included; "" is no bound. visit gets the position in a list, and ends
  // the walk by returning false.
  using Visitor = std::function<bool(const FoundElement& element)>;
  void walk(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit);

 private:
  psDescribedKey parse(const std::string& word, bool mayBePart) const;
  void requireKeys() const;
  void walkAll(const Visitor& visit);
  void walkList(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit);
  void walkSorted(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit);
  std::optional<FoundElement> findSorted(const std::string& word);
  std::optional<FoundElement> findHashed(const std::string& word);
  std::optional<FoundElement> findById(const std::string& word);
  bool isById() const { return comparator_.isNull(); }

  OpenStore& store_;
  psId id_;
  psCollectionKind kind_;
  psId comparator_;
  unsigned int comparatorTypeN_ = 0;
  std::vector<psOrderKey> keys_;
};

}  // namespace pscol
