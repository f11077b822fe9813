#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/schema/ClassShape.h"

class psOldObject;

namespace ps::detail {

// A function of the application for one step: from a version to the next.
struct Conversion {
  std::uint32_t from = 0;
  void (*run)(const psOldObject& old, void* now, void (*function)()) = nullptr;
  void (*function)() = nullptr;
};

// What new objects of a class, or elements of arrays, are made of.
struct NewLayout {
  ClassShape shape;
  std::string initial;                  // the bytes of an object of which nothing is set
  std::vector<Conversion> conversions;  // by version
};

// How an object of an older layout becomes one of the program's. Fields are found by their names, also former ones.
// Wider numbers are widened. New fields have the values that initialisers give. Fields that went are dropped.
class LayoutChange {
 public:
  // Null, with the reason, when a field has changed in a way that no rule covers, and no function either.
  static std::unique_ptr<const LayoutChange> plan(const ClassShape& stored, const NewLayout& now, std::string& reason);

  std::uint32_t sizeBefore() const { return stored_.size; }
  std::uint32_t sizeAfter() const { return now_.shape.size; }
  // Whether the bytes stay as they are.
  bool isTrivial() const { return isTrivial_; }
  bool runsFunctions() const { return !conversions_.empty(); }

  // Makes an object of an older one, of which the first `omitted` bytes are not stored. False, with the complaint, when
  // a function of the application has failed.
  bool apply(const char* stored, std::size_t omitted, char* now, std::string& complaint) const;

  // Where, in the older object, there are arrays that are dropped.
  const std::vector<std::uint32_t>& droppedArrays() const { return droppedArrays_; }

 private:
  // A field, or neighbouring ones, of which so many bytes or numbers are taken over.
  struct Step {
    enum class Kind : std::uint8_t { copy, integer, integerToFloating, floating };

    Kind kind;
    FieldKind number;  // what it was
    std::uint32_t from;
    std::uint32_t to;
    std::uint32_t sizeBefore;
    std::uint32_t sizeAfter;
    std::uint32_t count;
  };
  struct Places {
    std::uint32_t from;
    std::uint32_t to;
  };

  LayoutChange(const ClassShape& stored, const NewLayout& now) : stored_(stored), now_(now) {}

  bool planLevel(const ClassLevel& before, const ClassLevel& after, std::string& reason);
  bool planOpaque(const ClassLevel& before, const ClassLevel& after, std::string& reason);
  bool planFields(const std::vector<FieldShape>& before, const std::vector<FieldShape>& after, Places places,
                  std::string& reason);
  bool planField(const FieldShape& before, const FieldShape& after, Places places, std::string& reason);
  bool planElements(const FieldShape& before, const FieldShape& after, Places places, std::string& reason);
  bool planNumbers(const FieldShape& before, const FieldShape& after, Places places);
  void noteDropped(const std::vector<FieldShape>& fields, std::uint32_t offset);
  void copy(Places places, std::uint32_t bytes);
  static void run(const Step& step, const char* from, char* to);
  bool runConversions(const char* old, char* now, std::string& complaint) const;

  ClassShape stored_;
  const NewLayout& now_;
  std::vector<Step> steps_;
  std::vector<std::uint32_t> droppedArrays_;
  std::vector<Conversion> conversions_;
  bool isTrivial_ = false;
};

}  // namespace ps::detail
