#pragma once

#include "store/base/psId.h"

namespace ps::detail {

// The database, container and page that an identifier lies in.
inline psId databaseOf(const psId& id) { return psId(id.get_DB(), 0, 0, 0); }
inline psId containerOf(const psId& id) { return psId(id.get_DB(), id.get_OC(), 0, 0); }
inline psId pageOf(const psId& id) { return psId(id.get_DB(), id.get_OC(), id.get_page(), 0); }

}  // namespace ps::detail
