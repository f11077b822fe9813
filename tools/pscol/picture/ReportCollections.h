#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "pscol/picture/Advice.h"
#include "pscol/picture/ReportData.h"

namespace pscol::picture {

// What a report says of the collections of a store: the advice, a table, and the pictures of those that need the most
// attention.
class ReportCollections {
 public:
  // data must outlive it.
  explicit ReportCollections(const ReportData& data);

  std::string adviceSection() const;
  // Leads to the pictures that were drawn before.
  std::string tableSection() const;
  // Of at most 5 collections, and at most so many bytes.
  std::string drawPictures(std::size_t mostBytes);

  std::size_t named() const { return named_; }

 private:
  struct Entry {
    const ReportedCollection* collection;
    std::vector<Advice> advice;

    Advice::Severity severity() const { return advice.front().severity; }
  };

  std::string fineLine() const;
  std::string unnamedTable() const;
  std::string block(const Entry& entry) const;
  std::string figure(const Entry& entry) const;

  const ReportData& data_;
  std::unordered_set<const ReportedCollection*> pictured_;
  std::vector<Entry> entries_;  // those that need the most attention first
  std::size_t named_ = 0;
};

}  // namespace pscol::picture
