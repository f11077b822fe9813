#pragma once

#include <cstdint>

#include "store/base/psExport.h"

class psSession;

namespace ps {

// Makes a session the thread's current one, as psSession::makeCurrent does, for as long as the object lives. Then the
// session that was current before is so again, unless it has been closed. Such objects nest.
//
//   pstHandle<Word> read(source.database("words"));
//   const ps::CurrentSession here(target);
//   pstHandle<Word> written(new (in) Word(text));
class PS_API CurrentSession {
 public:
  explicit CurrentSession(psSession& session);
  CurrentSession(const CurrentSession&) = delete;
  CurrentSession& operator=(const CurrentSession&) = delete;
  ~CurrentSession();

  // Whether the session could be made current. It cannot when it is not open, or belongs to another thread; an error is
  // then signalled, or thrown by the constructor.
  explicit operator bool() const { return done_; }

 private:
  std::uint64_t before_;  // serial number of the session that was current
  bool done_;
};

}  // namespace ps
