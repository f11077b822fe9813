#include "Text.h"

PS_REGISTER_CLASS(Text)
