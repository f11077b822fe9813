#pragma once

namespace ps::detail {

// The largest prime in 32 bits.
constexpr unsigned int largestPrime = 4294967291U;

// Whether no odd number from 3 up to the root of n divides n. The divisor 3 is tried before it is compared with the
// root: 3 and 9 are not prime by this rule.
bool hasNoOddDivisor(unsigned int n);

// The smallest odd prime that is not below n. Numbers up to 3 are returned as they are. Returns 0 above the largest
// prime.
unsigned int nextPrime(unsigned int n);

}  // namespace ps::detail
