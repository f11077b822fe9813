#pragma once

namespace ps::detail {

// While an object of this class lives, errors of the thread are signalled and not thrown, whatever the session says.
// Used in destructors, and where an operation has begun to write what it has planned.
class NothingThrown {
 public:
  NothingThrown();
  NothingThrown(const NothingThrown&) = delete;
  NothingThrown& operator=(const NothingThrown&) = delete;
  ~NothingThrown();

  // Whether the calling thread has one.
  static bool applies();
};

}  // namespace ps::detail
