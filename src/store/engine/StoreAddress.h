#pragma once

#include <string>
#include <string_view>

namespace ps::detail {

// The address of a store on a server: a connection URI of PostgreSQL's client library, "postgresql://" or
// "postgres://", and, after a "#", the name of the store in that database. A path that is none is the path of a file.
bool isStoreAddress(std::string_view path);

// Whether the password and the port of an address end where they seem to. A "/" or "@" in a password, for one, must be
// written as %2F or %40; otherwise parts of it are taken for a host, a port or a database, and show up in messages.
bool isPlainAddress(const std::string& address);

// How a store is named in messages: a path as it is, an address without the password, also when that is written
// wrongly.
std::string shownStore(const std::string& path);

}  // namespace ps::detail
