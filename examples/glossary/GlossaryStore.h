#pragma once

#include <pscollections.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Text.h"

// A Java text as a key: the object itself, what the collections need to compare it, and its letters.
struct JavaText {
  JNIEnv_* env;
  _jobject* callee;
  _jobject* key;
  std::u16string letters;
};

// Something failed; what() says what it was.
class GlossaryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The terms and abbreviations in a store, in one transaction. Terms are the keys of a sorted map, and abbreviations
// those of a hash map. Neither map has a comparator, since Java compares: every look-up uses a Java key.
//
// An operation that fails throws a GlossaryError, or leaves a Java exception pending, or both. The changes made so far
// are then useless and must be abandoned.
class GlossaryStore {
 public:
  GlossaryStore(const std::string& path, psMode mode);

  void put(JavaText& term, const std::u16string& meaning);
  std::optional<std::u16string> meaningOf(JavaText& term);
  // False when there is no such term.
  bool abbreviate(JavaText& abbreviation, JavaText& term);
  std::optional<std::u16string> termFor(JavaText& abbreviation);
  std::vector<std::u16string> terms();
  void commit();
  // Undoes what is not committed. After it the glossary cannot be used.
  void abandon() { session_.abort(); }

 private:
  void create();
  void file(const pstHandle<psCollection>& map, const char* name);
  pstHandle<Text> makeText(const std::u16string& letters);
  // Empty when the reference is null. Fails when something was refused.
  std::optional<std::u16string> lettersOf(const pstRef<psObj>& reference) const;
  [[noreturn]] void fail() const;

  psSession session_;
  pstHandle<psDBObj> database_;
  pstHandle<psTreeMap> terms_;
  pstHandle<psHashMap> abbreviations_;
};
