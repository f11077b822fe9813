#include "Line.h"

PS_REGISTER_CLASS(Line)
