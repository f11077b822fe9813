#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/base/psId.h"

// What a finding of a verification is about.
enum class psFindingKind {
  record,      // a record that no store has, or one that does not match its checksum
  entry,       // a database, a container or the federation: its record, or the record of its name
  count,       // a number of members, or the next free number, is not what the store's content says
  page,        // a page whose record is incomplete or contradicts itself
  object,      // an object whose class, size or layout is not right
  array,       // the storage of an array is missing, or belongs to two arrays
  name,        // a name or key that is filed in one direction alone, or leads to nothing
  classes,     // what the store says of a class
  collection,  // the structure of a collection
  // The kinds of notes.
  unowned,    // what nothing uses: a part of no collection, storage of no array, an empty container without a name
  deleted,    // elements that were deleted, but are still in a collection
  unchecked,  // what this program cannot verify as a whole, since it lacks a class
};

// One thing that a verification has found, and its kind.
struct psFinding {
  psFindingKind kind = psFindingKind::record;
  psId id;           // what it is about: an object, page (slot 0), container or database; null for none of these
  std::string text;  // a sentence that names it and says what is wrong
  // The names of the database and the container that it lies in; "" for what has no name.
  std::string database;
  std::string container;
};

// What psSession::verify has found, and how many databases, containers, pages, classes and collections there are. The
// caller may set mostFindings before; the rest is made anew.
struct psVerifyReport {
  std::size_t mostFindings = 1000;  // that each list keeps; the counts go on

  // What contradicts the store's format. What a fault names may be refused, absent or wrong.
  std::vector<psFinding> faults;
  std::uint64_t faultCount = 0;
  // What is sound, but may not be meant.
  std::vector<psFinding> notes;
  std::uint64_t noteCount = 0;

  bool isComplete = false;  // whether the verification ran to its end

  // What the store has.
  std::uint64_t records = 0;  // of the engine
  std::uint64_t bytes = 0;    // of these records, keys included
  std::uint64_t databases = 0;
  std::uint64_t containers = 0;
  std::uint64_t pages = 0;
  std::uint64_t objects = 0;  // without the storage of arrays
  std::uint64_t arrays = 0;   // that have storage
  std::uint64_t names = 0;    // names and keys; not those of databases and containers
  std::uint64_t classes = 0;
  std::uint64_t collections = 0;
  std::uint64_t elements = 0;  // of the collections
};

// How far psSession::verify has come: done of the total in each phase.
struct psVerifyProgress {
  // First it reads all records, then it checks the collections.
  enum class Phase { records, collections };
  Phase phase = Phase::records;
  std::uint64_t done = 0;
  std::uint64_t total = 0;
};
