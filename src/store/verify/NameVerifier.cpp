#include "store/verify/NameVerifier.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "store/base/FiledName.h"
#include "store/base/IdText.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t idSize = 8;
constexpr std::size_t scopeBegin = 1;
constexpr std::size_t scopeOfObjectBegin = scopeBegin + idSize;
constexpr std::size_t longest = 400;

bool isNumber(std::string_view digits) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() && std::to_string(number) == digits;
}

bool isOfPlace(std::string_view filed) {
  const std::string part = filedInternally("part");
  const std::string_view digits = filed.substr(std::min(filed.size(), part.size()));
  return filed == filedInternally("place") || (filed.substr(0, part.size()) == part && digits.size() == 10 &&
                                               digits.find_first_not_of("0123456789") == std::string_view::npos);
}

// Whether something can be filed under these bytes.
bool isFiled(std::string_view filed) {
  const std::string_view rest = filed.substr(std::min<std::size_t>(filed.size(), 1));
  if (rest.empty() || rest.size() > longest) return false;
  if (isFiledName(filed)) return rest.find('\0') == std::string_view::npos;
  if (isFiledNumber(filed)) return isNumber(rest);
  return filed[0] == '$' || isOfPlace(filed);
}

std::string textOfName(std::string_view name, const psId& scope) {
  return "the name \"" + textOfFiled(name) + "\" in " + textOf(scope);
}

}  // namespace

void NameVerifier::verifyByScope(std::string_view key, std::string_view value) {
  ++findings_.report().names;
  if (key.size() <= scopeBegin + idSize || !isFiled(key.substr(scopeBegin + idSize)))
    return findings_.fault(psFindingKind::name, psId(), "the record of a name has a malformed key");
  const psId scope = StoreKey::idAt(key, scopeBegin);
  const std::string_view name = key.substr(scopeBegin + idSize);
  const std::string_view bytes = unsealed(key, value, idSize);
  const psId object = bytes.empty() ? psId() : StoreKey::idAt(bytes, 0);
  if (!names_.isAnswered(key, value))
    findings_.fault(psFindingKind::name, bytes.empty() ? scope : object,
                    textOfName(name, scope) +
                        (bytes.empty() ? " has a damaged record" : " leads to " + textOf(object) + ", which lacks it"));
  verifyHolder(scope, "the scope of ", name);
}

void NameVerifier::verifyByObject(std::string_view key, std::string_view value) {
  if (key.size() <= scopeOfObjectBegin + idSize)
    return findings_.fault(psFindingKind::name, psId(), "the record of an object's name has a malformed key");
  const psId object = StoreKey::idAt(key, scopeBegin);
  const psId scope = StoreKey::idAt(key, scopeOfObjectBegin);
  const std::string_view name = key.substr(scopeOfObjectBegin + idSize);
  if (!names_.isAnswered(key, value))
    findings_.faultOf(psFindingKind::name, object, "is not found under " + textOfName(name, scope));
  verifyHolder(object, "filed under ", name);
}

// What has a name or is the scope of one exists, and says so, since its names would outlive it otherwise.
void NameVerifier::verifyHolder(const psId& id, const char* what, std::string_view name) {
  if (lastHolder_.has_value() && id == *lastHolder_) return;
  lastHolder_ = id;
  const std::string begin = what + ("\"" + textOfFiled(name) + "\": ") + textOf(id);
  if (id.get_page() == 0) {
    if (!catalog_.hasEntry(id)) findings_.fault(psFindingKind::name, id, begin + " does not exist");
    return;
  }
  const RecordedPages::Found found = pages_.find(id);
  if (found == RecordedPages::Found::absent || found == RecordedPages::Found::storage)
    findings_.fault(psFindingKind::name, id, begin + " does not exist");
  else if (found == RecordedPages::Found::object && !pages_.isNamed())
    findings_.fault(psFindingKind::name, id, begin + " is not marked as one with names");
}

}  // namespace ps::detail
