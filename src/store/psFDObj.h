#pragma once

#include "store/psPersistentClass.h"

// The federated database: one a store, holding all databases. psSession::federation names it.
class PS_API psFDObj : public psObj {
  PS_PERSISTENT_GLUE(psFDObj, psObj, ps::detail::federationTypeN)

 public:
  psFDObj() = default;
  static void operator delete(void* object) noexcept { ps::detail::reclaimEntry(object); }
};
