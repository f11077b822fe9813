#pragma once

#include <string>
#include <string_view>

#include "store/base/StoreError.h"
#include "store/postgresql/Connection.h"

namespace ps::detail {

// What an error of the server means, with what to do about it.
StoreError explain(const ServerError& error);
// The same for an error of a connection that could not be opened, of which the server says no state.
StoreError explainRefusedConnection(const std::string& text);

// Whether the server has given a transaction up because of another one. What it was about to do may work if it is tried
// again.
bool isContention(const ServerError& error);
// Whether a commit was given up since something that its transaction had read has changed.
bool isChange(const ServerError& error);
// The key that had changed, as far as the error tells.
std::string changedKey(const ServerError& error);

// Whether a server that does not let us in may do so in a moment: it is starting, or being started again.
bool isStarting(const std::string& text);
// Whether this process lacks memory.
bool hasNoMemory(std::string_view text);

}  // namespace ps::detail
