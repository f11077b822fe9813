#include "hash/TableSizes.h"

#include "hash/PrimeNumbers.h"

int pow2(int n) { return n < 0 || n > 31 ? 0 : static_cast<int>(1U << n); }

bool isPrime(unsigned int n) { return ps::detail::hasNoOddDivisor(n); }

unsigned int next_prime(unsigned int n) { return ps::detail::nextPrime(n); }
