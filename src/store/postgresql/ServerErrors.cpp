#include "store/postgresql/ServerErrors.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <iterator>

#include "store/engine/StoreKey.h"
#include "store/postgresql/ServerTexts.h"

namespace ps::detail {

namespace {

template <class Parts>
bool hasOneOf(std::string_view text, const Parts& parts) {
  return std::any_of(std::begin(parts), std::end(parts),
                     [text](const char* part) { return text.find(part) != std::string_view::npos; });
}

bool isOneOf(const std::string& state, std::initializer_list<const char*> states) {
  return std::find(states.begin(), states.end(), state) != states.end();
}

// What a key is of, for people.
std::string textOfKey(const std::string& key) {
  const auto number = [&key](std::size_t i) { return std::to_string(StoreKey::numberAt(key, 1 + 2 * i)); };
  const std::size_t numbers = key.empty() ? 0 : (key.size() - 1) / 2;
  if (numbers >= 3 && StoreKey::isOfPage(key))
    return "page " + number(2) + " of container (" + number(0) + "," + number(1) + ")";
  if (numbers >= 2 && key[0] == 'C') return "container (" + number(0) + "," + number(1) + ")";
  if (!key.empty() && key[0] == 'D') return "a database";
  return "what this transaction has read";
}

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

}  // namespace

bool isContention(const ServerError& error) {
  return isOneOf(error.state, {"40001", "40P01", "55P03"});  // not serializable, a deadlock, a row that is locked
}

bool isChange(const ServerError& error) {
  return isOneOf(error.state, {"22P02", "23505"});  // the cast of PS_FAIL_WITH, a key that was inserted
}

std::string changedKey(const ServerError& error) {
  std::string key;
  if (error.state != "22P02") return key;
  const std::size_t at = error.text.find("\"x");
  if (at == std::string::npos) return key;
  for (std::size_t i = at + 2; i + 1 < error.text.size() && isHex(error.text[i]) && isHex(error.text[i + 1]); i += 2)
    key.push_back(static_cast<char>(std::stoi(error.text.substr(i, 2), nullptr, 16)));
  return key;
}

bool isStarting(const std::string& text) { return hasOneOf(text, serverTexts::starting); }
bool hasNoMemory(std::string_view text) { return hasOneOf(text, serverTexts::noMemory); }

StoreError explain(const ServerError& error) {
  const std::string said = " (" + error.state + (error.state.empty() ? "" : ": ") + error.text + ")";
  const std::string state = error.state;
  if (state.empty() && hasNoMemory(error.text)) return {psErrorKind::memory, shortMemoryText};
  if (state.empty() || state.rfind("08", 0) == 0 || state.rfind("57P", 0) == 0) {
    return {psErrorKind::unreachable, "the connection to the server was lost" + said +
                                          ". Abort the transaction and begin another one: that connects again"};
  }
  if (isContention(error) || isChange(error))
    return {psErrorKind::conflict,
            "another session has changed " + textOfKey(changedKey(error)) + " meanwhile. Repeat the transaction"};
  if (state == "53100" || state == "53400")
    return {psErrorKind::disk, "the server has no room left" + said + ". Make room on its disk"};
  if (state.rfind("53", 0) == 0) return {psErrorKind::busy, "the server lacks resources" + said + ". Raise its limits"};
  if (isOneOf(state, {"42501", "28000", "28P01"})) {
    return {psErrorKind::denied, "the server does not permit it" + said +
                                     ". Let the store's owner grant the rights, or open it as another user"};
  }
  if (state == "25006")
    return {psErrorKind::denied, "the server takes no changes" + said +
                                     ". It may be a standby: put target_session_attrs=read-write into the address"};
  if (state.rfind("58", 0) == 0 || state.rfind("XX", 0) == 0)
    return {psErrorKind::disk, "the server has met an error of its own" + said + ". Look into the server's log"};
  return {psErrorKind::disk, "the server has refused a statement" + said + ". Look into the server's log"};
}

StoreError explainRefusedConnection(const std::string& text) {
  if (hasNoMemory(text)) return {psErrorKind::memory, shortMemoryText};
  const std::string said = " (" + text + ")";
  if (hasOneOf(text, serverTexts::full))
    return {psErrorKind::busy, "the server has as many connections as it may have" + said +
                                   ". Close sessions, or raise its max_connections"};
  if (hasOneOf(text, serverTexts::unknownUser))
    return {psErrorKind::denied, "the server does not know the user or the password" + said +
                                     ". Correct the address, or the server's pg_hba.conf"};
  if (hasOneOf(text, serverTexts::absent))
    return {psErrorKind::absent, "the server has no such user or database" + said +
                                     ". Create it with createuser or createdb, or correct the address"};
  return {psErrorKind::unreachable,
          "the server cannot be reached" + said + ". Start it, or correct the host and port of the address"};
}

}  // namespace ps::detail
