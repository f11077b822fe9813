#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inspect/psCollectionInfo.h"
#include "inspect/psStoredClass.h"
#include "inspect/psStoredObject.h"
#include "store/base/psExport.h"
#include "store/base/psId.h"

// A list, sorted set or sorted map that a psStoreBuilder makes of its elements.
struct psTreeContent {
  psId id;
  psCollectionKind kind = psCollectionKind::none;
  psId comparator;
  int capacity = 0;     // of a node
  psId adminContainer;  // where the parts go; null for containers of their own
  psId nodeContainer;
  psId arrayContainer;
  int nodesPerContainer = 0;
  int arraysPerContainer = 1;
  std::vector<psId> elements;  // in order
  std::vector<psId> values;    // of a map, as many
};

// A hash set or hash map that a psStoreBuilder makes of its elements.
struct psTableContent {
  psId id;
  psCollectionKind kind = psCollectionKind::none;
  psId comparator;
  int slots = 0;  // of a bucket
  int depth = 0;  // of the directory
  psId adminContainer;
  psId bucketContainer;
  int bucketsPerContainer = 1;
  // Where an element is: its hash cannot be made again without its comparator.
  struct Bucket {
    std::uint32_t first = 0;  // see psBucketInfo
    int depth = 0;
    // An element, or a pair of a map.
    struct Element {
      std::uint32_t slot = 0;
      psId element;
      psId value;
    };
    std::vector<Element> elements;
  };
  std::vector<Bucket> buckets;  // in the order of the directory; where one is missing, an empty one is made
};

// Makes a new store of a description of its content, as psInspector tells it: identifiers, classes, layouts, names and
// fields stay what they are. Collections are made anew of their elements, and so are sound, whatever their nodes were.
//
// The steps are begin, all classes, all databases, then each container with its objects in the order of their
// identifiers, then names, then trees and tables, then finish. The object of a collection comes among the others, and
// its parts do not come at all. What returns int returns 1; or 0 with the reason in lastError(), after which only the
// destructor makes sense. There is a store at path only when finish has returned 1. Where path is the address of a
// store on a server, the store is first made in a file of the system's temporary folder.
class PS_API psStoreBuilder {
 public:
  psStoreBuilder();
  psStoreBuilder(const psStoreBuilder&) = delete;
  psStoreBuilder& operator=(const psStoreBuilder&) = delete;
  ~psStoreBuilder();

  // Refuses a path or an address at which something is. pageSize is that of page images, as in psSessionOptions.
  [[nodiscard]] int begin(const std::string& path, std::uint32_t pageSize);

  // Of the layouts only `encoded` matters.
  [[nodiscard]] int addClass(const psStoredClass& known);
  // next is the number of the next container, or page.
  [[nodiscard]] int addDatabase(const psId& id, const std::string& name, std::uint32_t next);
  [[nodiscard]] int addContainer(const psId& id, const std::string& name, bool isGarbageCollectable,
                                 std::uint32_t next);
  // Of the container that was added last. Storage of arrays is needed only where the class of the object that has them
  // is not described; that of others is made of their values. A value need not have the kind of its field: a reference
  // may be a text, as in "1-2-3-4". Fields that are not there are zero.
  [[nodiscard]] int addObject(const psStoredObject& object);
  // See psInspector::names for the form of filed.
  [[nodiscard]] int addName(const psId& scope, const std::string& filed, const psId& object);

  // A collection, whose object has been added.
  [[nodiscard]] int addTree(const psTreeContent& tree);
  [[nodiscard]] int addTable(const psTableContent& table);

  // Writes the rest, and gives the store its name.
  [[nodiscard]] int finish();

 private:
  struct Work;
  std::unique_ptr<Work> work_;
};
