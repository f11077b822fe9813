#pragma once

#include <inspect/psInspector.h>
#include <pscollections.h>

#include <string>

#include "pscol/Failure.h"
namespace pscol {

// A store that is open for reading, in a read transaction, with an inspector. It is never created. The constructor
// throws Failure.
class OpenStore {
 public:
  explicit OpenStore(const std::string& path, psVerify verify = psVerify::none);

  psSession& session() { return session_; }
  psInspector& inspector() { return inspector_; }

  // What a path or an identifier on the command line leads to. Throws Failure when there is nothing.
  psId find(const std::string& path);
  // Its path, or its identifier when it has none.
  std::string nameOf(const psId& id);

 private:
  psSession session_;
  psInspector inspector_{session_};
};

// Refuses what names no file: a store in memory is gone with its program.
void requireFile(const std::string& path);

}  // namespace pscol
