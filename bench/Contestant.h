#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "DiskBytes.h"
#include "KeyKind.h"

using Keys = std::vector<std::uint64_t>;

struct Setup {
  std::string contestant;  // by the name of its kind
  KeyKind kind = KeyKind::content;
  std::size_t count = 0;         // elements that it will hold, or holds already
  std::filesystem::path folder;  // exists, and is the contestant's alone
  std::size_t commitSize = 0;    // elements that are loaded in one transaction
  std::size_t cacheBytes = 0;    // what it may keep in memory, if it asks
};

// A collection of objects that are looked up by their keys, whoever keeps it. What goes wrong is thrown as
// std::runtime_error.
//
// After construction, create or open comes first.
class Contestant {
 public:
  explicit Contestant(Setup setup) : setup_(std::move(setup)) {}
  Contestant(const Contestant&) = delete;
  Contestant& operator=(const Contestant&) = delete;
  virtual ~Contestant();

  // Makes an empty collection in the folder, which must be empty.
  virtual void create() = 0;
  // Opens the collection that is in the folder.
  virtual void open() = 0;

  // Each is one transaction from its beginning to the end of a durable commit, if that is something that the contestant
  // knows. All keys must be new, and greater than those before if they are said to be ascending; or all be there.
  virtual void add(const Keys& keys, bool ascending) = 0;
  virtual void remove(const Keys& keys) = 0;
  // Adds ascending keys in whatever way is fastest where all are known.
  virtual void addAtOnce(const Keys& keys) { add(keys, true); }
  // Deletes the whole collection. Objects need not be deleted, even if they came with it.
  virtual void drop() = 0;

  // Lets work that was put off come to its end.
  virtual void settle() {}

  // Of how many keys the object was found; if objects are there before, the element or value.
  virtual std::size_t countHits(const Keys& keys) = 0;
  // The same in whatever way is fastest where all keys are known.
  virtual std::size_t countHitsAtOnce(const Keys& keys) { return countHits(keys); }
  // How many elements, or values, a walk meets, in ascending order of keys if the collection has one.
  virtual std::size_t walk() = 0;
  // The same with every object read, or every key with its value if objects are there before: the sum of the numbers at
  // the front of the objects, or of the keys.
  virtual std::uint64_t walkReading() = 0;

  // What the collection takes on disk, with its objects unless they are there before.
  virtual DiskBytes bytesOnDisk() const { return bytesOfFolder(setup_.folder); }

  // The n-th identifier of an object, in ascending order; there are twice as many as elements.
  virtual std::uint64_t identifier(std::size_t n) const { return n + 1; }

 protected:
  const Setup& setup() const { return setup_; }
  // Whether an object comes and goes with its element. Else all objects are there before, and only the collection is
  // measured.
  bool ownsObjects() const { return setup_.kind == KeyKind::content; }
  std::filesystem::path fileNamed(const char* name) const { return setup_.folder / name; }

 private:
  Setup setup_;
};

struct ContestantKind {
  std::string name;   // in the command line and the files
  std::string title;  // in tables
  std::vector<KeyKind> keys;
  bool isDurable;  // keeps its elements on disk
  bool isOurs;     // one that peers are compared with
  std::unique_ptr<Contestant> (*make)(const Setup& setup);

  bool takes(KeyKind kind) const;
};

const std::vector<ContestantKind>& allContestants();
// There must be one of that name.
const ContestantKind& contestantNamed(const std::string& name);
