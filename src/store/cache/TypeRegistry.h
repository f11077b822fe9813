#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "store/base/ClassNumbers.h"
#include "store/base/psObj.h"
#include "store/base/psRelocation.h"
#include "store/schema/LayoutChange.h"

namespace ps::detail {

// Where the objects of a class have an array of described structures.
struct StructureArray {
  std::uint32_t offset;
  const Structure* elements;
};

// What is known of a persistent class.
struct ClassInfo {
  unsigned int number = 0;
  std::string name;
  unsigned int base = 0;
  std::uint32_t size = 0;
  std::uint32_t alignment = 0;
  psRelocation relocation = psRelocation::allowed;
  std::uint64_t virtualTable = 0;  // the first word of its objects; 0 while no prototype was seen
  const std::type_info* type = nullptr;
  std::vector<std::uint32_t> arrayOffsets;  // where its pstVArrays lie
  std::vector<StructureArray> structureArrays;
  std::vector<ClassLevel> levels;  // what it and its bases keep; the bases' versions are not set
  std::string initial;             // the bytes of an object of which nothing is set, if it has fields
  OrderShape order;                // what a comparator orders by, if PS_ORDER made it

  // Of a class that the program lacks and only a store describes: its layout there. Objects of such a class are for
  // sessions that only read, and the program's class of that number cannot be added any more.
  std::shared_ptr<const ClassShape> stored;
  bool hidesArrays = false;  // perhaps it has further arrays, which the store does not describe

  bool isOfProgram() const { return stored == nullptr; }
};

// A class's name without namespaces: what the store knows it by.
std::string_view unqualified(std::string_view name);

// Whether a constructed object is of the class itself, and not of a class that derives from it without a number of its
// own. A program that has the class in several libraries may have as many virtual tables for it.
bool isOfRegisteredType(const ClassInfo& info, const void* object);
inline bool isOfClass(const ClassInfo& info, const void* object) {
  std::uint64_t virtualTable = 0;
  std::memcpy(&virtualTable, object, sizeof virtualTable);
  return PS_LIKELY(virtualTable == info.virtualTable) || isOfRegisteredType(info, object);
}
// What is wrong with an object whose class is not the one it is stored as.
std::string complaintAbout(const ClassInfo& info, const void* object);

// How this process lays out a structure that is an element of arrays.
NewLayout layoutOfElements(const Structure& structure);

// The persistent classes of the process. Classes are added while libraries load and never change afterwards, so a
// pointer that find returned stays valid. Several threads use it.
class TypeRegistry {
 public:
  static TypeRegistry& instance();

  // Adds a class. A number that another class has, or that the class may not have, is refused. The result is then a
  // sentence that says so; otherwise it is empty.
  enum class Owner { library, application };
  [[nodiscard]] std::string add(ClassInfo info, Owner owner);
  void adopt(unsigned int number, const psObj* prototype);
  void addArray(unsigned int number, std::uint32_t offset);

  // What describes a class, and what converts its objects. The class must be there.
  void describe(unsigned int number, std::vector<ClassLevel> levels, std::vector<StructureArray> structureArrays);
  void describeOrder(unsigned int number, OrderShape order);
  void adoptInitial(unsigned int number, const unsigned char* initial, const unsigned char* other);
  void addConversion(unsigned int number, const Conversion& conversion);
  void addElements(const Structure& structure);

  // How this process lays out the objects of a class, or structures of that name that are elements of arrays.
  NewLayout layoutOf(const ClassInfo& info) const;
  std::vector<const Structure*> elementsNamed(std::string_view structure) const;

  // The classes that are known so far.
  std::vector<const ClassInfo*> all() const;
  const ClassInfo* find(unsigned int number) const;
  bool isKindOf(unsigned int number, unsigned int base) const;

  // Runs the functions that wait to set up virtual tables. From then on each new function runs at once.
  void initialize();
  void addInitializer(void (*function)());

  // See ForkLocks.
  void lockForFork();
  void unlockAfterFork(bool inChild);

  // A sentence about the first class that was refused; empty when there is none.
  std::string conflict() const;

 private:
  // A hash table with open addressing that is read without a lock: look-ups in collections ask for classes all the
  // time.
  class Table {
   public:
    explicit Table(std::size_t size) : slots_(size) {}
    ClassInfo* find(unsigned int number) const;
    // There must be room for one more.
    void add(ClassInfo* info);
    bool isHalfFull() const { return 2 * count_ >= slots_.size(); }
    std::size_t size() const { return slots_.size(); }

   private:
    std::size_t slotOf(unsigned int number) const;

    std::vector<std::atomic<ClassInfo*>> slots_;  // as many as a power of 2
    std::size_t count_ = 0;
  };

  std::string refusal(const ClassInfo& info, Owner owner) const;
  ClassInfo* known(unsigned int number);
  void publish(ClassInfo* info);

  std::mutex initializing_;
  mutable std::shared_mutex mutex_;  // guards the rest, but for what table_ points to
  std::vector<std::unique_ptr<ClassInfo>> classes_;
  std::atomic<const Table*> table_{nullptr};
  std::vector<std::unique_ptr<Table>> tables_;  // the last one is in use; others may still be read
  std::vector<void (*)()> waiting_;
  std::size_t ran_ = 0;  // of those
  bool initialized_ = false;
  std::string conflict_;
  std::map<unsigned int, std::vector<Conversion>> conversions_;  // by class, each class's by version
  std::multimap<std::string, const Structure*, std::less<>> elements_;
};

// The version of a comparator says how its collections are ordered. Its objects keep it until these are ordered anew.
inline bool isComparator(const ClassInfo& info) {
  return TypeRegistry::instance().isKindOf(info.number, comparatorTypeN);
}

// Finds classes, and begins with the one that was found last, since neighbours are mostly of one class.
class ClassLookup {
 public:
  const ClassInfo* operator()(unsigned int number) {
    if (info_ == nullptr || info_->number != number) info_ = TypeRegistry::instance().find(number);
    return info_;
  }

 private:
  const ClassInfo* info_ = nullptr;
};

}  // namespace ps::detail
