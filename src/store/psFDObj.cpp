#include "store/psFDObj.h"

PS_REGISTER_CLASS(psFDObj)
