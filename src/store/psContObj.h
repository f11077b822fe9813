#pragma once

#include "store/psPersistentClass.h"

// A container holds objects, in one database. A database has at most 65,535 containers, and a container at most 65,535
// pages. Create containers with the operators below or with psSession::container, and delete them with psDelete.
class PS_API psContObj : public psObj {
  PS_PERSISTENT_GLUE(psContObj, psObj, ps::detail::containerTypeN)

 public:
  psContObj() = default;

  // Creates a container in the database of near (an object, a container or the database itself). A null name makes an
  // unnamed one. The 3 numbers (hash value, initial pages, growth) are accepted and have no effect. Null when there is
  // no update transaction, when the name is taken, or when the database already holds 65,535 containers.
  static void* operator new(std::size_t size, const char* name, unsigned int hashValue, unsigned int initialPages,
                            unsigned int growth, const psId& near) noexcept;
  static void* operator new(std::size_t size, const char* name, unsigned int hashValue, unsigned int initialPages,
                            unsigned int growth, const pstHandle<psObj>& near) noexcept;
  static void operator delete(void* object) noexcept { ps::detail::reclaimEntry(object); }
  static void operator delete(void* object, const char*, unsigned int, unsigned int, unsigned int,
                              const psId&) noexcept {
    ps::detail::reclaimEntry(object);
  }
  static void operator delete(void* object, const char*, unsigned int, unsigned int, unsigned int,
                              const pstHandle<psObj>&) noexcept {
    ps::detail::reclaimEntry(object);
  }
};

// A garbage-collectable container: collections never delete one that becomes empty.
class PS_API psGCContObj : public psContObj {
  PS_PERSISTENT_GLUE(psGCContObj, psContObj, ps::detail::collectedContainerTypeN)

 public:
  psGCContObj() = default;

  static void* operator new(std::size_t size, const char* name, unsigned int hashValue, unsigned int initialPages,
                            unsigned int growth, const psId& near) noexcept;
  static void* operator new(std::size_t size, const char* name, unsigned int hashValue, unsigned int initialPages,
                            unsigned int growth, const pstHandle<psObj>& near) noexcept;
  using psContObj::operator delete;
};
