#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "DiskBytes.h"
#include "KeyKind.h"
#include "KeyList.h"

struct Setup {
  KeyKind kind = KeyKind::content;
  std::size_t count = 0;         // elements that it will hold, or holds already
  std::filesystem::path folder;  // exists, and is the contestant's alone
  std::size_t commitSize = 0;    // elements that are loaded in one transaction
  std::size_t cacheBytes = 0;    // what it may keep in memory, if it asks
};

// A set of objects that are looked up by their keys, whoever keeps it. With identifiers as keys the objects are there
// before, and the set is all that is measured; else the object of a key comes and goes with the element. What goes
// wrong ends the program.
//
// After construction, create or open comes first.
class Contestant {
 public:
  explicit Contestant(Setup setup) : setup_(std::move(setup)) {}
  Contestant(const Contestant&) = delete;
  Contestant& operator=(const Contestant&) = delete;
  virtual ~Contestant();

  // Makes an empty set in the folder, which must be empty.
  virtual void create() = 0;
  // Opens the set that is in the folder.
  virtual void open() = 0;

  // Each is one transaction from its beginning to the end of a durable commit, if that is something that the contestant
  // knows. All keys must be new, and greater than those before if they are said to be ascending; or all be there.
  virtual void add(const KeyList& keys, bool ascending) = 0;
  virtual void remove(const KeyList& keys) = 0;

  // Lets work that was put off come to its end.
  virtual void settle() {}

  // Of how many keys the object was found (identifiers: the element).
  virtual std::size_t countHits(const KeyList& keys) = 0;
  // How many elements a walk meets, in ascending order if the set has one.
  virtual std::size_t walk() = 0;
  // The sum of the first numbers in all payloads.
  virtual std::uint64_t walkReading() = 0;

  // What the set takes on disk with its objects, or by identifier without them.
  virtual DiskBytes bytesOnDisk() const { return bytesOfFolder(setup_.folder); }

  // The n-th identifier of an object, in ascending order; there are twice as many as elements.
  virtual std::uint64_t identifier(std::size_t n) const { return n + 1; }

 protected:
  const Setup& setup() const { return setup_; }
  bool isByIdentifier() const { return setup_.kind == KeyKind::identifier; }
  std::filesystem::path fileNamed(const char* name) const { return setup_.folder / name; }

 private:
  Setup setup_;
};

struct ContestantKind {
  std::string option;  // how the command line calls it
  std::string name;
  bool isDurable;  // keeps its elements on disk
  bool isSorted;
};

const std::vector<ContestantKind>& allContestants();
// Ends the program when there is none of that option.
const ContestantKind& contestantNamed(const std::string& option);
std::unique_ptr<Contestant> makeContestant(const std::string& option, const Setup& setup);
