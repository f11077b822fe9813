#include "hash/PrimeNumbers.h"

namespace ps::detail {

bool hasNoOddDivisor(unsigned int n) {
  for (unsigned int divisor = 3;; divisor += 2) {
    if (n % divisor == 0) return false;
    if (divisor > n / divisor) return true;
  }
}

unsigned int nextPrime(unsigned int n) {
  if (n <= 3) return n;
  if (n > largestPrime) return 0;
  unsigned int candidate = n | 1U;
  while (!hasNoOddDivisor(candidate)) candidate += 2;
  return candidate;
}

}  // namespace ps::detail
