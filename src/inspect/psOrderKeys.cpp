#include "inspect/psOrderKeys.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

#include "inspect/DescribedOrder.h"
#include "inspect/ObjectNames.h"
#include "store/session/SessionCore.h"

using ps::KeyKind;
using ps::detail::SessionCore;

namespace {

// The number that a text is, to its last character.
template <class Number>
std::optional<Number> numberOf(const std::string& text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && behind == end && !text.empty() ? std::optional<Number>(number) : std::nullopt;
}

std::optional<psKeyValue> signedNumber(const std::string& text, unsigned int bytes) {
  const std::optional<std::int64_t> number = numberOf<std::int64_t>(text);
  if (!number) return {};
  const unsigned int unused = bytes < sizeof *number ? 64 - 8 * bytes : 0;
  const auto kept = static_cast<std::int64_t>(static_cast<std::uint64_t>(*number) << unused) >> unused;
  return kept == *number ? std::optional<psKeyValue>(*number) : std::nullopt;
}

std::optional<psKeyValue> unsignedNumber(const std::string& text, unsigned int bytes) {
  const std::optional<std::uint64_t> number = numberOf<std::uint64_t>(text);
  const bool fits = number && (bytes >= sizeof *number || *number >> 8 * bytes == 0);
  return fits ? std::optional<psKeyValue>(*number) : std::nullopt;
}

// Rounded as the program's number is.
std::optional<psKeyValue> floatingNumber(const std::string& text, unsigned int bytes) {
  const std::optional<double> number = numberOf<double>(text);
  if (!number) return {};
  return bytes == sizeof(float) ? static_cast<double>(static_cast<float>(*number)) : *number;
}

std::optional<psKeyValue> identifier(const std::string& text) {
  const std::optional<psId> id = ps::detail::fromDashed(text);
  return id ? std::optional<psKeyValue>(*id) : std::nullopt;
}

std::optional<psKeyValue> valueOf(const std::string& text, const psOrderKey& key) {
  switch (key.kind) {
    case KeyKind::signedNumber:
      return signedNumber(text, key.bytes);
    case KeyKind::unsignedNumber:
      return unsignedNumber(text, key.bytes);
    case KeyKind::floating:
      return floatingNumber(text, key.bytes);
    case KeyKind::text:
      return text;
    case KeyKind::identifier:
      return identifier(text);
  }
  return {};
}

std::string kindText(const psOrderKey& key) {
  const std::string bytes = " of " + std::to_string(key.bytes) + (key.bytes == 1 ? " byte" : " bytes");
  switch (key.kind) {
    case KeyKind::signedNumber:
      return "a signed number" + bytes;
    case KeyKind::unsignedNumber:
      return "an unsigned number" + bytes;
    case KeyKind::floating:
      return "a floating number" + bytes;
    case KeyKind::text:
      return "text";
    case KeyKind::identifier:
      return "an identifier as in 1-2-3-4";
  }
  return "of no known kind";
}

}  // namespace

std::vector<psOrderKey> psOrderKeysOf(unsigned int comparatorTypeN) {
  SessionCore* const session = SessionCore::required();
  if (session == nullptr || !session->isReadyFor("reading the keys of an order")) return {};
  const ps::detail::OrderShape order = ps::detail::storedOrder(session->cache().classes().stored(comparatorTypeN));
  std::vector<psOrderKey> keys;
  std::transform(order.keys.begin(), order.keys.end(), std::back_inserter(keys), [](const ps::detail::KeyShape& key) {
    return psOrderKey{key.field, key.kind, key.size, key.descends};
  });
  return keys;
}

bool psTakesDescribedKey(unsigned int comparatorTypeN) {
  const ps::detail::ClassInfo* const info = ps::detail::TypeRegistry::instance().find(comparatorTypeN);
  return info != nullptr && !info->isOfProgram() && !info->order.keys.empty();
}

bool psParseKey(const std::string& text, const psOrderKey& key, psKeyValue& value, std::string& complaint) {
  const std::optional<psKeyValue> read = valueOf(text, key);
  if (read) {
    value = *read;
    return true;
  }
  complaint = "'" + text + "' is not " + kindText(key) + ", which the key '" + key.field + "' is";
  return false;
}
