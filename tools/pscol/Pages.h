#pragma once

#include <string>

#include "pscol/Command.h"

namespace pscol {

// The manual page, for man, and the completion, for bash, of all commands.
std::string manualPage(const Commands& commands);
std::string completion(const Commands& commands);

}  // namespace pscol
