#pragma once

#include <string>
#include <string_view>

namespace ps::detail {

// The address of a store on a server: a connection URI of PostgreSQL's client library, "postgresql://" or
// "postgres://", and, after a "#", the name of the store in that database. A path that is none is the path of a file.
bool isStoreAddress(std::string_view path);

// How a store is named in messages: a path as it is, an address without the password.
std::string shownStore(const std::string& path);

}  // namespace ps::detail
