#pragma once

#include "store/base/psExport.h"

// The numbers that size a hash table. The library does not call these functions. pscollections.h leaves this header
// out, since a program may have functions of the same names.

// 1 shifted left by n. 0 for a negative n, and when the result needs more than 32 bits.
PS_API int pow2(int n);

// Whether no odd number from 3 up to the root of n divides n. Meant for odd n from 5 on: by this rule 3 and 9 are not
// prime, since it tries the divisor 3 before it compares.
PS_API bool isPrime(unsigned int n);

// The smallest odd prime that is not below n. Numbers up to 3 are returned as they are. Returns 0 above 4294967291, the
// largest prime in 32 bits.
PS_API unsigned int next_prime(unsigned int n);
