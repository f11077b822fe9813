#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "inspect/ValueWriter.h"
#include "store/cache/PageRecord.h"
#include "store/engine/StoreCopy.h"

namespace ps::detail {

// Writes the objects of a container, which come page by page in the order of their identifiers, as records. They keep
// their identifiers. The storage of their arrays goes into their page, or into further pages where that is full.
class PageComposer {
 public:
  PageComposer(StoreCopy& copy, std::uint32_t pageSize) : copy_(copy), pageSize_(pageSize) {}

  // nextPage is the number from which on no page has an object.
  void begin(const psId& container, std::uint32_t nextPage);

  // An object, or the storage of an array, which write is then called to fill in, with a function that places the
  // storage of its own arrays.
  using Write = std::function<bool(std::string& object, const ValueWriter::Store& store)>;
  bool add(const psId& id, unsigned int type, std::uint16_t layout, std::uint32_t size, Write write);

  // After the last object of the container.
  bool end();

  std::uint32_t objects() const { return objects_; }
  std::uint32_t nextPage() const { return nextPage_; }
  bool couldNotWrite() const { return couldNotWrite_; }

 private:
  // An object, or the storage of an array, behind its header.
  struct LaidOut {
    LaidOut(std::uint32_t type, std::uint32_t size, std::uint16_t slot, std::uint16_t layoutNumber);
    char* body() { return reinterpret_cast<char*>(memory.get() + sizeof(ObjectHeader) / sizeof(std::uint64_t)); }
    const ObjectHeader& header() const { return *reinterpret_cast<const ObjectHeader*>(memory.get()); }

    std::unique_ptr<std::uint64_t[]> memory;
    std::uint16_t layout;
  };
  struct ComposedPage {
    std::uint32_t number = 0;
    std::uint32_t nextSlot = 1;
    std::size_t bytes = 0;  // that the objects take in a page image
    std::vector<LaidOut> objects;

    std::size_t bytesWith(std::size_t size) const;
    std::uint16_t add(std::uint32_t type, std::string_view body, std::uint16_t layout);
  };
  struct Pending {
    psId id;
    unsigned int type;
    std::uint16_t layout;
    std::uint32_t size;
    Write write;
  };

  bool flush();
  psId store(const std::string& bytes, std::uint16_t layout);
  bool beginFurther();
  bool put(ComposedPage& page);

  StoreCopy& copy_;
  const std::uint32_t pageSize_;
  psId container_;
  std::uint32_t nextPage_ = 1;
  std::uint32_t objects_ = 0;
  bool couldNotWrite_ = false;
  std::vector<std::uint16_t> unused_;  // numbers of pages without objects, below the current one
  std::vector<Pending> pending_;       // of the current page
  ComposedPage current_;
  ComposedPage further_;  // takes what finds no room with its object
};

}  // namespace ps::detail
