#pragma once

namespace ps::detail {

// A search by which a walk is positioned anew. When it fails, or something is thrown, it leaves the walk nowhere: where
// the walk stood before is not where it was sent.
template <class Walk>
class Search {
 public:
  explicit Search(Walk& walk) : walk_(walk) {}
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() {
    if (!hasEnded_) walk_.lose();
  }

  // The search has come to its end, with this result.
  bool end(bool result) {
    hasEnded_ = true;
    return result;
  }

 private:
  Walk& walk_;
  bool hasEnded_ = false;
};

}  // namespace ps::detail
