#pragma once

namespace ps::detail {

// A search that positions a walk. When it fails, or something is thrown, it leaves the walk nowhere, since the place
// where the walk stood before is not where it was sent.
template <class Walk>
class Search {
 public:
  explicit Search(Walk& walk) : walk_(walk) {}
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() {
    if (!hasEnded_) walk_.lose();
  }

  // The search is complete, with this result.
  bool end(bool result) {
    hasEnded_ = true;
    return result;
  }

 private:
  Walk& walk_;
  bool hasEnded_ = false;
};

}  // namespace ps::detail
