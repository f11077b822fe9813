#pragma once

#include <functional>
#include <optional>
#include <string>

#include "pscol/ClassNames.h"
#include "pscol/OpenStore.h"
#include "pscol/picture/ReportData.h"
#include "pscol/picture/Subject.h"

namespace pscol {

// Tells of the structures of a store's collections what pictures and numbers of them are made of.
class Structure {
 public:
  Structure(OpenStore& store, const ClassNames& names) : store_(store), names_(names) {}

  // The collection of an identifier. What cannot be read at all has a complaint.
  picture::ReportedCollection collection(const psId& id);
  // The one that a user names by a path or identifier. Throws Failure when it is none, or cannot be read.
  picture::ReportedCollection wanted(const std::string& path);

  // Of a collection that was told before.
  bool sketch(const picture::ReportedCollection& one, picture::TreeSketch& sketch);
  bool sketch(const picture::ReportedCollection& one, picture::HashSketch& sketch);

  // Notes the containers of collections' parts that have no name, as collection() meets them.
  void setOwners(picture::ContainerOwners* owners) { owners_ = owners; }

  // What stands for an element: its first text, else its first number; "" when it is not described.
  std::string label(const psId& element);

  // Where the element is in the collection.
  std::optional<picture::KeyInTree> place(const picture::ReportedCollection& one, const picture::TreeSketch& sketch,
                                          const psId& element);
  std::optional<picture::KeyInTable> place(const picture::ReportedCollection& one, const picture::HashSketch& sketch,
                                           const psId& element);

 private:
  std::string nameOf(const psId& element);  // its label or identifier
  void note(const psId& part, const std::string& path);

  OpenStore& store_;
  const ClassNames& names_;
  picture::ContainerOwners* owners_ = nullptr;
};

}  // namespace pscol
