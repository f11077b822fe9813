#pragma once

#include <exception>
#include <string>
#include <utility>

#include "store/base/psErrorKind.h"
#include "store/base/psExport.h"
#include "store/base/psId.h"
#include "store/base/psMode.h"

// An error: its number, its text with printf-like arguments, and its kind.
struct psError {
  int number;
  const char* text;
  psErrorKind kind = psErrorKind::usage;
};

PS_API extern const psError psteVArrayBound;     // arguments: largest valid index, index
PS_API extern const psError psteVArraySizeZero;  // argument: index
PS_API extern const psError psteUpdateVArray;    // no argument
PS_API extern const psError psteStore;           // argument: a sentence; every error of sessions and opens

// The error context of the calling thread: the running array operation and the last signalled error.
class PS_API pehSessionData {
 public:
  // Name of the operation to which the errors signalled from now on belong. The text must outlive the context.
  const char* operation = "";

  // The last signalled error. number is 0, text empty and kind none when there was none since the last clear().
  int number() const { return number_; }
  psErrorKind kind() const { return kind_; }
  psErrorLevel level() const { return level_; }
  const std::string& text() const;

  // Makes this the last signalled error.
  void record(psErrorLevel level, int number, psErrorKind kind, std::string text);
  // Records an error of kind memory, with a text that needs none.
  void recordLackOfMemory() noexcept;
  void clear();

  bool throws = false;  // whether psThrowException throws

 private:
  friend void psThrowException(pehSessionData* context);

  int number_ = 0;
  psErrorKind kind_ = psErrorKind::none;
  psErrorLevel level_ = pscInformation;
  std::string text_;
  bool lacksMemory_ = false;  // then the text is another one
  bool pending_ = false;
};

// The base of what psThrowException throws for the pending error when psSession::throwErrors is on.
class PS_API psException : public std::exception {
 public:
  psException(int number, psErrorKind kind, std::string text) : number_(number), kind_(kind), text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }
  int number() const { return number_; }
  psErrorKind kind() const { return kind_; }

 private:
  int number_;
  psErrorKind kind_;
  std::string text_;
};

namespace ps {

// The exception of everything that throws: of psThrowException, and of the typed layer. The identifier is that of the
// object, collection or container that the failure is about; null when it is not known, or about none.
class PS_API Error : public psException {
 public:
  Error(psErrorKind kind, const psId& id, const std::string& sentence);
  Error(int number, psErrorKind kind, const psId& id, std::string sentence)
      : psException(number, kind, std::move(sentence)), id_(id) {}
  const psId& id() const { return id_; }

 private:
  psId id_;
};

}  // namespace ps

namespace ps::detail {

// The last signalled error as an exception. Its text is short when there is no memory for a copy.
Error signalledError(const pehSessionData& signalled, const psId& id) noexcept;

}  // namespace ps::detail

// The calling thread's error context; it exists without a session too. Never null.
PS_API pehSessionData* pehSessionDataGetFunction();

// Throws the pending error as a ps::Error when the context says so; otherwise returns. The error is then no longer
// pending, unless the library is at a point where nothing may be thrown.
PS_API void psThrowException(pehSessionData* context);
