#include "hash/TableSizes.h"

int pow2(int n) { return n < 0 || n > 31 ? 0 : static_cast<int>(1U << n); }

bool isPrime(unsigned int n) {
  for (unsigned int divisor = 3;; divisor += 2) {
    if (n % divisor == 0) return false;
    if (divisor * divisor > n) return true;
  }
}

unsigned int next_prime(unsigned int n) {
  if (n <= 3) return n;
  unsigned int candidate = n | 1U;
  while (!isPrime(candidate)) candidate += 2;
  return candidate;
}
