#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/base/psId.h"

// The keys of a store's content in its engine: a letter for the kind, then numbers, big-endian, so that related keys
// are a range. No letter of this format is behind P: LMDB fills its pages where the highest key of all is added, and
// pages are added most.
namespace ps::detail {

class StoreKey {
 public:
  // The federation's record.
  static StoreKey federation() { return StoreKey('F'); }
  // A database's record, and the number of a database by its name.
  static StoreKey database(std::uint16_t db) { return StoreKey('D').number(db); }
  static StoreKey databases() { return StoreKey('D'); }
  static StoreKey databaseName(std::string_view name) { return StoreKey('B').text(name); }
  // A container's record, and the number of a container by its name.
  static StoreKey container(std::uint16_t db, std::uint16_t oc) { return StoreKey('C').number(db).number(oc); }
  static StoreKey containers() { return StoreKey('C'); }
  static StoreKey containersOf(std::uint16_t db) { return StoreKey('C').number(db); }
  static StoreKey containerName(std::uint16_t db, std::string_view name) { return StoreKey('A').number(db).text(name); }
  // A chunk of a page's record.
  static StoreKey chunk(const psId& page, std::uint32_t chunk) {
    return StoreKey('P')
        .number(page.get_DB())
        .number(page.get_OC())
        .number(page.get_page())
        .number(static_cast<std::uint16_t>(chunk >> 16))
        .number(static_cast<std::uint16_t>(chunk));
  }
  // The greatest key of a chunk of the same page.
  static std::string lastChunkOf(std::string_view key) {
    return std::string(key.substr(0, key.size() - sizeof(std::uint32_t))).append(sizeof(std::uint32_t), '\xFF');
  }
  static StoreKey page(const psId& page) {
    return StoreKey('P').number(page.get_DB()).number(page.get_OC()).number(page.get_page());
  }
  static StoreKey pages() { return StoreKey('P'); }
  static StoreKey pagesOf(std::uint16_t db, std::uint16_t oc) { return StoreKey('P').number(db).number(oc); }
  static bool isOfPage(std::string_view key) { return !key.empty() && key[0] == 'P'; }
  // The page of a chunk's key.
  static psId pageAt(std::string_view key) {
    return key.size() < 7 ? psId() : psId(numberAt(key, 1), numberAt(key, 3), numberAt(key, 5), 0);
  }
  // What is filed in a scope under a name, and the names under which an object is filed. In format 1 the letter of the
  // second was R.
  static constexpr char byName = 'N';
  static constexpr char byObject = 'O';
  static constexpr char byObjectInFormat1 = 'R';
  static StoreKey name(const psId& scope, std::string_view name) { return StoreKey(byName).id(scope).text(name); }
  static StoreKey nameOf(const psId& object, const psId& scope, std::string_view name, char kind = byObject) {
    return StoreKey(kind).id(object).id(scope).text(name);
  }

  // What is known of a class, and of all classes.
  static StoreKey classes() { return StoreKey('K'); }
  static StoreKey classRecord(std::uint32_t typeN) {
    return StoreKey('K').number(static_cast<std::uint16_t>(typeN >> 16)).number(static_cast<std::uint16_t>(typeN));
  }

  operator std::string_view() const { return bytes_; }

  // Reads the identifier at a position of a key.
  static psId idAt(std::string_view key, std::size_t position) {
    const auto part = [&](std::size_t i) { return numberAt(key, position + 2 * i); };
    return psId(part(0), part(1), part(2), part(3));
  }
  static std::uint16_t numberAt(std::string_view key, std::size_t position) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(key[position]) << 8 |
                                      static_cast<unsigned char>(key[position + 1]));
  }

  StoreKey& number(std::uint16_t value) {
    bytes_.push_back(static_cast<char>(value >> 8));
    bytes_.push_back(static_cast<char>(value));
    return *this;
  }
  StoreKey& id(const psId& value) {
    return number(value.get_DB()).number(value.get_OC()).number(value.get_page()).number(value.get_slot());
  }
  StoreKey& text(std::string_view value) {
    bytes_.append(value);
    return *this;
  }
  explicit StoreKey(char kind) : bytes_(1, kind) {}

 private:
  std::string bytes_;  // short enough, for numbers alone, to need no allocation
};

}  // namespace ps::detail
