#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "store/base/psId.h"

// How many objects there are and what they take in the store's records, in bytes.
struct psObjectCount {
  std::uint64_t objects = 0;
  std::uint64_t bytes = 0;  // with the storage of their arrays, as far as it is known to whom that belongs

  // Adds those of another.
  void add(const psObjectCount& other) {
    objects += other.objects;
    bytes += other.bytes;
  }
};

// A container, and what it holds.
struct psContainerInfo {
  psId id;
  std::string name;  // "" without one
  bool isGarbageCollectable = false;
  std::uint32_t nextPage = 0;  // number of the next page; 65,536 when there is none left
  std::uint64_t pages = 0;
  std::uint64_t unreadablePages = 0;
  std::uint64_t recordBytes = 0;  // of its pages
  std::uint64_t imageBytes = 0;   // that its pages' objects take in memory
  std::uint64_t fileBytes = 0;    // that the records take in the engine, in whole pages where a record has its own
  std::map<unsigned int, psObjectCount> classes;  // by class number; 0 is storage of unknown owner
  psObjectCount all;
};

// A database, and its containers.
struct psDatabaseInfo {
  psId id;
  std::string name;                 // "" without one
  std::uint64_t nextContainer = 0;  // number of the next container; 65,536 when there is none left
  std::vector<psContainerInfo> containers;
};

// Everything that is in a store, as psInspector::survey tells it.
struct psSurvey {
  std::vector<psDatabaseInfo> databases;
  std::map<unsigned int, psObjectCount> classes;  // of all containers
  std::vector<psId>
      collections;          // objects of the library's classes of collections, and of classes that derive from them
  std::uint64_t names = 0;  // names and keys of objects
  std::uint64_t recordBytes = 0;  // of everything, with the names and the lists of containers and classes
  std::uint64_t unreadablePages = 0;
};
