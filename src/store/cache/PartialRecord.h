#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "store/cache/PageContents.h"

namespace ps::detail {

// A page's record of which only the head was verified, to find single objects in it. Those of a page whose objects are
// all alike are found without a list of them.
class PartialRecord {
 public:
  // Takes a payload from partlyVerified. False when it contradicts itself. Its bytes must stay where they are.
  bool read(std::string_view payload, ClassTable& classes);

  std::uint16_t nextSlot() const;
  std::uint64_t checksum() const;  // of the whole payload, as it is stored before it; not verified
  std::size_t objects() const { return isUniform_ ? uniform_.count : contents_.objects.size(); }
  std::size_t bytesInMemory() const;

  // Finds an object, and how many bytes those before it take in the image. False when the slot has none.
  bool find(std::uint16_t slot, RecordedObject& object, std::size_t& bytesBefore) const;
  // Whether the blocks are right in which the object lies.
  bool hasRight(std::string_view key, const RecordedObject& object) const;

 private:
  std::string_view payload_;
  bool isUniform_ = false;  // then uniform_ says what is in it, otherwise contents_
  UniformContents uniform_;
  PageContents contents_;
};

}  // namespace ps::detail
