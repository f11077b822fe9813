#include "Word.h"

PS_REGISTER_CLASS(Word)
