#pragma once

#include "store/base/psExport.h"

// The numbers that size a hash table. The library does not call these functions itself: a program may have others of
// the same names, if it does not include this header, which pscollections.h leaves out.

// 1 shifted left by n; 0 for a negative n, and where that is more than 32 bits hold.
PS_API int pow2(int n);

// Whether no odd number from 3 up to the root of n divides n. Meant for odd n from 5 on: 3 and 9 are not prime by this
// rule, which tries the divisor 3 before it compares.
PS_API bool isPrime(unsigned int n);

// The smallest odd prime that is not below n; numbers up to 3 are returned as they are, and 0 above 4294967291, the
// largest prime that 32 bits hold.
PS_API unsigned int next_prime(unsigned int n);
