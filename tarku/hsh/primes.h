// The bucket counts of the hash tables, and the arithmetic that goes with them: successor, load limit, fast remainder.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>

namespace tarku::hsh {

// Bucket counts, each roughly twice the one before.
inline constexpr std::array<std::uint64_t, 28> primes = {
    31,       73,       151,       313,       643,       1291,       2593,       5233,      10501,    21013,
    42073,    84181,    168451,    337219,    674701,    1349473,    2699299,    5398891,   10798093, 21596719,
    43193641, 86387383, 172775299, 345550609, 691101253, 1382202559, 2764405229, 4294867387};

// The bucket count that follows `count`; the last one follows itself.
inline std::uint64_t next_bucket_count(std::uint64_t count) {
  auto next = std::lower_bound(primes.begin(), primes.end(), count + 1);
  return next == primes.end() ? primes.back() : *next;
}

// Whether `size` elements are too many for `count` buckets: a load above 0.7, the quotient taken in single precision.
inline bool is_overloaded(std::uint64_t size, std::uint64_t count) {
  return static_cast<double>(static_cast<float>(size) / static_cast<float>(count)) > 0.7;
}

// The least size that overloads `count` buckets. Tables keep it, so that the check on every access is one comparison
// instead of a division; is_overloaded() is monotone in the size, hence both tell the same.
inline std::uint64_t overload_size(std::uint64_t count) {
  std::uint64_t fits = 0, overloads = count;  // 0 elements always fit, a load of 1 never does
  while (overloads - fits > 1) {
    std::uint64_t middle = fits + (overloads - fits) / 2;
    (is_overloaded(middle, count) ? overloads : fits) = middle;
  }
  return overloads;
}

// Remainders by a fixed divisor without a division instruction: the quotient is estimated with the rounded-down
// reciprocal floor(2^64 / divisor). The estimate is exact or one too small (the error is below hash / 2^64 < 1), so one
// conditional subtraction completes the remainder.
class Modulus {
 public:
  // Needs: a divisor that is not a power of two (any odd prime will do).
  explicit Modulus(std::uint64_t divisor) : divisor_(divisor), reciprocal_(UINT64_MAX / divisor) {
    assert(divisor > 2 && divisor % 2 == 1);
  }

  std::uint64_t divisor() const { return divisor_; }

  std::uint64_t remainder(std::uint64_t hash) const {
    auto quotient = static_cast<std::uint64_t>((static_cast<Wide>(hash) * reciprocal_) >> 64);
    std::uint64_t rest = hash - quotient * divisor_;
    return rest >= divisor_ ? rest - divisor_ : rest;
  }

 private:
  __extension__ using Wide = unsigned __int128;

  std::uint64_t divisor_;
  std::uint64_t reciprocal_;
};

}  // namespace tarku::hsh
