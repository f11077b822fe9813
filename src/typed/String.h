#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "store/psFields.h"
#include "store/pstVArray.h"
#include "typed/Failure.h"

namespace ps {

// A text in a persistent object: any bytes, 0 among them. It compares with std::string_view, and with all that becomes
// one. In memory it takes 8 bytes in the object, and storage of its own; in the file about 16 bytes beside its
// characters. Like every member it may be changed while its object is open for update.
//
// What is refused throws ps::Error: a change, and reading a text whose page is damaged.
class String {
  PS_FIELDS(characters_)

 public:
  String() = default;
  explicit String(std::string_view text) { assign(text); }
  String(const String& other) : String(other.view()) {}
  String& operator=(const String& other) { return assign(other.view()); }
  String& operator=(std::string_view text) { return assign(text); }
  String& operator+=(std::string_view text) { return append(text); }

  // The text may be a part of this one.
  PS_API String& assign(std::string_view text);
  PS_API String& append(std::string_view text);
  void clear() { assign({}); }

  // The characters. They stay where they are until the text is changed, as long as the object is open in a reference.
  std::string_view view() const {
    const detail::Watch watch;
    const std::string_view text = viewIfReadable();
    if (PS_UNLIKELY(text.empty())) watch.check(psId(), "a text cannot be read");
    return text;
  }
  operator std::string_view() const { return view(); }
  std::string str() const { return std::string(view()); }
  // The same for comparators: the text is empty when it cannot be read, unless the session throws errors.
  std::string_view viewIfReadable() const {
    const unsigned int n = characters_.size();
    return n == 0 ? std::string_view() : std::string_view(characters_.head(), n);
  }

  std::size_t size() const { return view().size(); }
  bool empty() const { return view().empty(); }

  friend bool operator==(const String& a, std::string_view b) { return a.view() == b; }
  friend bool operator==(std::string_view a, const String& b) { return a == b.view(); }
  friend bool operator==(const String& a, const String& b) { return a.view() == b.view(); }
  friend bool operator!=(const String& a, std::string_view b) { return a.view() != b; }
  friend bool operator!=(std::string_view a, const String& b) { return a != b.view(); }
  friend bool operator!=(const String& a, const String& b) { return a.view() != b.view(); }
  friend bool operator<(const String& a, std::string_view b) { return a.view() < b; }
  friend bool operator<(std::string_view a, const String& b) { return a < b.view(); }
  friend bool operator<(const String& a, const String& b) { return a.view() < b.view(); }
  friend std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.view(); }

 private:
  pstVArray<char> characters_;
};

}  // namespace ps
