#include "store/base/IdText.h"

namespace ps::detail {

std::string textOf(const psId& id) {
  const std::string db = std::to_string(id.get_DB());
  if (id.get_DB() == 0) return id.isNull() ? "the null object" : "the federation";
  if (id.get_OC() == 0) return "database " + db;
  const std::string container = db + "," + std::to_string(id.get_OC());
  if (id.get_page() == 0) return "container (" + container + ")";
  return "object (" + container + "," + std::to_string(id.get_page()) + "," + std::to_string(id.get_slot()) + ")";
}

}  // namespace ps::detail
