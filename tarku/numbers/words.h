// Machine words under exact numbers: branch hints, greatest common divisors, one-limb tests.
#pragma once

#include <gmp.h>

#include <cstdint>

namespace tarku::detail {

__extension__ typedef __int128 Int128;

// For conditions that decide between the machine-word path and the GMP path.
constexpr bool likely(bool condition) {
  return __builtin_expect(static_cast<long>(condition), 1L) != 0;
}
constexpr bool unlikely(bool condition) {
  return __builtin_expect(static_cast<long>(condition), 0L) != 0;
}

// Passes a word through a general register.  A number is often copied right after its words were written one by one,
// and a compiler that copies both words with one wide load makes the processor wait until the narrow stores are done.
inline std::int64_t as_word(std::int64_t word) {
  asm("" : "+r"(word));
  return word;
}

// Greatest common divisor by remainders; gcd(0, b) = b.  Words that fit in 32 bits use the cheaper 32-bit division.
constexpr std::uint64_t gcd_words(std::uint64_t a, std::uint64_t b) {
  while (((a | b) >> 32) != 0) {
    if (b == 0) return a;
    const std::uint64_t rest = a % b;
    a = b;
    b = rest;
  }
  auto x = static_cast<std::uint32_t>(a);
  auto y = static_cast<std::uint32_t>(b);
  while (y > 1) {
    const std::uint32_t rest = x % y;
    x = y;
    y = rest;
  }
  return y == 1 ? 1 : x;
}

// True when x, which is not negative, is 1.  GMP's own comparison would be a function call.
inline bool is_unit(mpz_srcptr x) {
  return mpz_size(x) == 1 && mpz_getlimbn(x, 0) == 1;
}

constexpr std::uint64_t magnitude(std::int64_t x) {
  return x < 0 ? 0 - static_cast<std::uint64_t>(x) : static_cast<std::uint64_t>(x);
}

}  // namespace tarku::detail
