#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "store/cache/ClassTable.h"
#include "store/cache/TypeRegistry.h"
#include "store/schema/ClassShape.h"
#include "store/verify/Findings.h"

namespace ps::detail {

// What the objects of one class, size and layout have in common.
struct VerifiedForm {
  std::string fault;      // why there can be no such objects, as the rest of a sentence; "" if there can
  std::string unchecked;  // why this program cannot open them; "" if it can
  bool isWhole = false;   // see ContentChecker
  bool isPart = false;
  bool isForeignWhole = false;        // perhaps a whole, of a class that this program lacks
  bool mayHideArrays = false;         // nobody knows whether, and where, they have arrays
  std::vector<std::uint32_t> arrays;  // offsets of the arrays that are known
};

// Verifies the records of classes, and tells by them what objects can be.
class ClassVerifier {
 public:
  ClassVerifier(ClassTable& classes, Findings& findings) : classes_(classes), findings_(findings) {
    unread_.fault = "was not verified, since the descriptions of classes have too many members";
  }

  void verifyRecord(std::string_view key);
  // type is without namedFlag.
  const VerifiedForm& formOf(std::uint32_t type, std::uint16_t layout, std::uint32_t size);

 private:
  struct FormKey {
    std::uint32_t type;
    std::uint32_t size;
    std::uint16_t layout;
    bool operator<(const FormKey& other) const {
      return type != other.type ? type < other.type : size != other.size ? size < other.size : layout < other.layout;
    }
  };

  const StoredClass& stored(unsigned int number);
  const ClassShape* layoutOf(unsigned int number, std::uint16_t layout);
  VerifiedForm makeForm(const FormKey& key);
  void describeStorage(const FormKey& key, VerifiedForm& form);
  void describeObject(const FormKey& key, VerifiedForm& form);
  void findArrays(const ClassShape* shape, const ClassInfo* info, const FormKey& key, VerifiedForm& form);
  void findArraysIn(const ClassShape& shape, VerifiedForm& form);
  bool isPerhapsWhole(unsigned int number);

  ClassTable& classes_;
  std::uint64_t members_ = 0;  // of all descriptions
  Findings& findings_;
  std::map<unsigned int, StoredClass> stored_;
  std::map<FormKey, VerifiedForm> forms_;
  VerifiedForm unread_;
  const VerifiedForm* last_ = nullptr;
  FormKey lastKey_{};
};

}  // namespace ps::detail
