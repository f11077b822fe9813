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
  // Whether the classes of the store that this program lacks are made known to it, so that collections of them can be
  // opened, and their orders checked. One process can do so for one store.
  enum class Classes { adopted, asStored };

  explicit OpenStore(const std::string& path, psVerify verify = psVerify::none, Classes classes = Classes::adopted);

  psSession& session() { return session_; }
  psInspector& inspector() { return inspector_; }

  // What a path or an identifier on the command line leads to. Throws Failure when there is nothing.
  psId find(const std::string& path);
  // The same where a collection is wanted: of a container and an object of one name, the object.
  psId findCollection(const std::string& path);
  // Everything that is in the store, with progress shown meanwhile.
  psSurvey survey();
  // Verifies everything, with progress shown meanwhile, in a transaction of its own. False when there are faults.
  bool verify(psVerifyReport& report);
  // Its path, or its identifier when it has none.
  std::string nameOf(const psId& id);

 private:
  bool adopt();

  Classes classes_;
  psSession session_;
  psInspector inspector_{session_};
};

// Refuses what names no file: a store in memory is gone with its program.
void requireFile(const std::string& path);

}  // namespace pscol
