// Part of a plug-in for stores on a server that compares nothing at a commit but what the commit replaces. The linker
// leads the calls of Connection::send here.

#include <string_view>

#include "store/postgresql/Connection.h"

namespace ps::detail {

using Parameters = std::initializer_list<std::string_view>;

#define PS_SEND "_ZN2ps6detail10Connection4sendEPKcSt16initializer_listISt17basic_string_viewIcSt11char_traitsIcEEE"
void sendValidated(Connection& connection, const char* prepared, Parameters parameters) __asm__("__real_" PS_SEND);
void sendUnvalidated(Connection& connection, const char* prepared, Parameters parameters) __asm__("__wrap_" PS_SEND);

void sendUnvalidated(Connection& connection, const char* prepared, Parameters parameters) {
  const std::string_view name = prepared;
  const bool isComparison = name == "compare" || name == "ranges" || name == "counted";
  if (!isComparison) sendValidated(connection, prepared, parameters);
}

}  // namespace ps::detail
