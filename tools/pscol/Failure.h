#pragma once

#include <stdexcept>
#include <string>

class psSession;

namespace pscol {

// How the program ends.
enum class Status {
  fine = 0,
  negative = 1,  // something was not found, or is not whole
  unusable = 2,  // the command line is wrong, or the store cannot be opened
};

// Ends a command with a sentence about what failed.
class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& text) : std::runtime_error(text), status_(status) {}

  Status status() const { return status_; }

 private:
  Status status_;
};

// Of a call that has failed on a session: the status that its kind of error means, and its text.
Failure failureOf(const psSession& session);

// Throws that unless a call of the session has succeeded.
void require(const psSession& session, int result);
// The same of a call that belongs to no session.
void requireDone(int result);

}  // namespace pscol
