#include "Package.h"

PS_REGISTER_CLASS_VERSION(Package, 1)
