#pragma once

#include "store/psPersistentClass.h"

// The federated database: a store has one, which holds all databases. psSession::federation returns it.
class PS_API psFDObj : public psObj {
  PS_PERSISTENT_GLUE(psFDObj, psObj, ps::detail::federationTypeN)

 public:
  psFDObj() = default;
  static void operator delete(void* object) noexcept { ps::detail::reclaimEntry(object); }
};
