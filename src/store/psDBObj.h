#pragma once

#include "store/psFDObj.h"

// A database holds containers, and has a name in the federation. A federation has at most 65,534 databases.
class PS_API psDBObj : public psObj {
  PS_PERSISTENT_GLUE(psDBObj, psObj, ps::detail::databaseTypeN)

 public:
  // Creates the database under the name. The store does not use the other arguments; the library passes 0, 0, null,
  // null, 1, 0. When the name is taken or the transaction does not allow it, an error is signalled and no database is
  // created: a handle made from the address is null.
  psDBObj(const char* name, unsigned int, unsigned int, const char*, const char*, unsigned int, unsigned short);

  static void* operator new(std::size_t size, const pstHandle<psFDObj>& federation) noexcept;
  static void operator delete(void* object) noexcept { ps::detail::reclaimEntry(object); }
  static void operator delete(void* object, const pstHandle<psFDObj>&) noexcept { ps::detail::reclaimEntry(object); }
};
