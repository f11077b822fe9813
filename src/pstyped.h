#pragma once

// The typed layer, in namespace ps: collections with the types of their elements, orders made of members, references
// that cannot be null pointers, texts, and failures as exceptions. Everything else is there too.

#include "pscollections.h"
#include "typed/Algebra.h"
#include "typed/HashMap.h"
#include "typed/HashSet.h"
#include "typed/List.h"
#include "typed/Order.h"
#include "typed/Ref.h"
#include "typed/Session.h"
#include "typed/SortedMap.h"
#include "typed/SortedSet.h"
#include "typed/String.h"
