#include "pscol/Command.h"

namespace pscol {

Command::~Command() = default;

}  // namespace pscol
