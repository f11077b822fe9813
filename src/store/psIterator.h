#pragma once

#include <cstddef>
#include <vector>

#include "store/base/psExport.h"
#include "store/psHandleBase.h"

// Something that yields objects one after the other.
class PS_API psIterator {
 public:
  virtual ~psIterator();

  // Advances to the next object; false when there is none.
  virtual bool next() = 0;
};

// A scan of a container's objects, a database's containers or the federation's databases, in the order of their
// identifiers, restricted to one class and its subclasses. What is deleted during the scan is not delivered; an object
// that is created behind its position is.
class PS_API psIteratorObjOrContObj : public psIterator {
 public:
  explicit psIteratorObjOrContObj(unsigned int typeN) : typeN_(typeN) {}

  // Starts over, in the given container, database or federation; next opens each object in the mode, and passes over
  // those that it cannot open, which counts as a refusal of each. 1, or 0 when scope does not exist or cannot be read.
  int scan(const psHandleBase& scope, psMode mode);

  bool next() override;

  // Where the scan stands; null before the first and after the last object.
  const psId& position() const { return position_; }

 protected:
  // Gets each object found; a pstItr puts it into its handle. False passes over it.
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
