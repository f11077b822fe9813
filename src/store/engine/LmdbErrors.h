#pragma once

#include <string>

#include "store/base/StoreError.h"

// What the error codes of LMDB and of the system mean to the users of a store.
namespace ps::detail {

// LMDB's limit on the transactions that read a store at a time, and on the idle sessions that will.
constexpr unsigned int maxReaders = 1024;

// The cause, and what to do about it, without a full stop. The path is that of the store's file.
std::string explain(int code, const std::string& path);
psErrorKind kindOf(int code);

// A whole sentence.
StoreError cannotOpen(const std::string& path, const StoreError& reason);

}  // namespace ps::detail
