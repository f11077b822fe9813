#include "store/catalog/SealedValue.h"

#include <cstdint>
#include <cstring>

#include "store/cache/PageRecord.h"

namespace ps::detail {

std::string sealed(std::string_view key, std::string_view bytes) {
  const std::uint64_t checksum = chunkChecksum(key, bytes);
  std::string value(reinterpret_cast<const char*>(&checksum), sizeof checksum);
  return value.append(bytes);
}

std::string_view unsealed(std::string_view key, std::string_view value, std::size_t size) {
  if (value.size() == size) return value;
  std::uint64_t checksum = 0;
  const std::string_view bytes = verifiedPayload(key, value, checksum);
  return bytes.size() == size ? bytes : std::string_view{};
}

}  // namespace ps::detail
