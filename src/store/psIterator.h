#pragma once

#include <cstddef>
#include <vector>

#include "store/base/psExport.h"
#include "store/psHandleBase.h"

// Delivers objects one after the other.
class PS_API psIterator {
 public:
  virtual ~psIterator();

  // Advances to the next object; false when there is none.
  virtual bool next() = 0;
};

// A scan of a container's objects, a database's containers or the federation's databases, in the order of their
// identifiers, restricted to one class and its subclasses. An object that is deleted during the scan is not delivered.
// An object that is created after the scan's position is delivered.
class PS_API psIteratorObjOrContObj : public psIterator {
 public:
  explicit psIteratorObjOrContObj(unsigned int typeN) : typeN_(typeN) {}

  // Starts over, in the given container, database or federation. next opens each object in the mode. It skips objects
  // that it cannot open, and counts a refusal for each. Returns 1; 0 when scope does not exist or cannot be read.
  int scan(const psHandleBase& scope, psMode mode);

  bool next() override;

  // The position of the scan; null before the first and after the last object.
  const psId& position() const { return position_; }

 protected:
  // Receives each object found; a pstItr puts it into its handle. False skips the object.
  virtual bool deliver(const psId& id, psMode mode);

 private:
  psId following();

  unsigned int typeN_;
  psMode mode_ = pscNoOpen;
  psId scope_;
  psId position_;
  bool done_ = true;
  std::vector<psId> members_;  // of a database or the federation, still to come, the next one last
};
