#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/base/StoreError.h"
#include "store/cache/ObjectForm.h"
#include "store/cache/StorageRows.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/Engine.h"
#include "store/schema/ClassShape.h"

namespace ps::detail {

// What the record of a class says. A class without a record has no layouts.
struct StoredClass {
  struct Layout {
    bool isSound = true;
    ClassShape shape;  // without a size when no object of the layout is left
  };
  bool isSound = true;  // otherwise the record is damaged
  std::string name;
  std::vector<Layout> layouts;  // numbered from 1
};

// What the store says of the classes of its objects: a record for each, with the layouts that its objects have had.
// Every stored object names its layout, so that a program can tell what it reads when it does not know the class, or
// knows it with other fields. Layouts are numbered from 1 and never change, so what was read of one stays true; 0 is
// the layout of what was stored before there were any.
//
// The storage of an array names the layout of its elements when these are described structures.
class ClassTable {
 public:
  void attach(Engine& engine) { engine_ = &engine; }
  // Whether objects may be of classes that only a store describes. Without that they are of no known class.
  void useStoredClasses(bool uses) { usesStoredClasses_ = uses; }
  bool usesStoredClasses() const { return usesStoredClasses_; }
  void afterAbort();

  // Whether this program can work with the store's classes: none that it knows has another name there, is newer, or has
  // changed in a way that nothing converts. Costs one look-up when no class has changed since the last call. False,
  // with the reason, also when the table cannot be read.
  bool check();

  // The number of the layout that a class has in this process. Adds it to the store if it is new there. 0, with the
  // reason, when the class's record cannot be read or written, or does not go together with this program's class.
  std::uint16_t layoutOf(const ClassInfo& info);
  // The same for structures that are elements of arrays.
  std::uint16_t layoutOf(const Structure& elements);

  // What becomes of objects of a class, without namedFlag, that are stored in a layout, with so many bytes; the bytes
  // of storage do not matter. The result stays valid until afterAbort.
  const ObjectForm& formOf(std::uint32_t type, std::uint16_t layout, std::uint32_t size) {
    const Key key{type, layout, isStorage(type) ? 0 : size};
    return last_ != nullptr && key == lastKey_ ? *last_ : findForm(key);
  }

  StoredClass stored(unsigned int number);
  // The record of a class with layouts that ClassShape::encode has made, under its key.
  static std::string encode(unsigned int number, const std::string& name, const std::vector<std::string>& layouts);
  // The record that counts the changes of the others, after so many.
  static std::string encodeGeneration(unsigned int changes);
  // The numbers of all classes that have a record. False, with the reason, when they cannot be read.
  bool list(std::vector<unsigned int>& numbers);

  // For an upgrade. Layouts of an older version that this process converts are replaced: first the present ones are
  // added, so that programs that write the older ones are refused from then on. When no object of an older one is left,
  // these are forgotten. All other layouts stay: whoever writes them may still do so.
  bool addPresent();
  bool forgetOlder();

  const StoreError& error() const { return error_; }

 private:
  struct Key {
    std::uint32_t type;
    std::uint16_t layout;
    std::uint32_t size;
    bool operator==(const Key& other) const {
      return type == other.type && layout == other.layout && size == other.size;
    }
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return (std::size_t{key.type} * 31 + key.layout) * 0x9E3779B97F4A7C15U + key.size;
    }
  };

  struct Record;
  enum class Found { yes, no, failed };
  Found read(unsigned int number, Record& record);
  bool write(unsigned int number, const Record& record);
  bool fail(StoreError error);

  std::uint16_t findOrAdd(unsigned int number, std::string_view name, const ClassShape& shape);
  const ClassInfo* classOf(unsigned int number) const;
  bool checkRecord(unsigned int number, const Record& record);
  bool isNamed(const ClassInfo& info, const Record& record);
  const ObjectForm& findForm(const Key& key);
  ObjectForm formOfObjects(const ClassInfo& info, const Key& key);
  ObjectForm formOfElements(const Key& key);
  struct Replaced {
    std::uint16_t layout;
    const ObjectForm* form;
  };
  std::vector<Replaced> replacedIn(unsigned int number, const Record& record);
  template <class Visit>
  bool visitReplaced(Visit visit);
  ObjectForm formBetween(const std::string& what, const ClassShape& stored, const NewLayout& now);
  const NewLayout& present(const ClassInfo& info);

  Engine* engine_ = nullptr;
  bool usesStoredClasses_ = false;
  std::string generation_;  // of the table that was checked
  bool isChecked_ = false;
  std::unordered_map<unsigned int, std::uint16_t> layouts_;  // by class number
  std::unordered_map<const Structure*, std::uint16_t> elementLayouts_;
  std::unordered_map<unsigned int, std::unique_ptr<const NewLayout>> present_;
  std::vector<std::unique_ptr<const NewLayout>> elements_;
  std::vector<std::unique_ptr<const LayoutChange>> changes_;
  std::uint64_t plannedMembers_ = 0;  // of the layouts that change
  std::unordered_map<Key, ObjectForm, KeyHash> forms_;
  ObjectForm unknown_;  // of the class that was last asked about and is not known
  const ObjectForm* last_ = nullptr;
  Key lastKey_{};
  StoreError error_;
};

}  // namespace ps::detail
