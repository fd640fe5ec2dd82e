// Bucket counts: the table, the successor, the load limit and the remainder without division.
#include "tarku/hsh/primes.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>

namespace tarku::hsh {
namespace {

bool is_prime(std::uint64_t n) {
  for (std::uint64_t d = 2; d * d <= n; ++d) {
    if (n % d == 0) return false;
  }
  return n > 1;
}

TEST(Primes, AscendingWithTheGivenEnds) {
  ASSERT_EQ(28u, primes.size());
  EXPECT_EQ(31u, primes.front());
  EXPECT_EQ(73u, primes[1]);
  EXPECT_EQ(4294867387u, primes.back());
  for (std::size_t i = 1; i < primes.size(); ++i) EXPECT_LT(primes[i - 1], primes[i]);
}

TEST(Primes, SuccessorOfEachAndOfTheLast) {
  for (std::size_t i = 1; i < primes.size(); ++i) EXPECT_EQ(primes[i], next_bucket_count(primes[i - 1]));
  EXPECT_EQ(4294867387u, next_bucket_count(4294867387u));
  EXPECT_EQ(31u, next_bucket_count(0));
  EXPECT_EQ(31u, next_bucket_count(30));
  EXPECT_EQ(73u, next_bucket_count(32));
}

TEST(Primes, OverloadSizeIsWhereTheLoadPassesSevenTenths) {
  EXPECT_EQ(22u, overload_size(31));
  EXPECT_EQ(52u, overload_size(73));
  for (std::uint64_t count : primes) {
    const std::uint64_t size = overload_size(count);
    EXPECT_TRUE(is_overloaded(size, count)) << count;
    EXPECT_FALSE(is_overloaded(size - 1, count)) << count;
    EXPECT_NEAR(0.7, static_cast<double>(size) / static_cast<double>(count), 0.025) << count;
  }
}

TEST(Modulus, AgreesWithDivisionForEveryBucketCount) {
  const unsigned seed = 11;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937_64 random(seed);
  for (std::uint64_t count : primes) {
    const Modulus modulus(count);
    EXPECT_EQ(count, modulus.divisor());
    for (std::uint64_t base : {std::uint64_t{0}, count, 2 * count, UINT64_MAX / count * count, UINT64_MAX / 2,
                               std::uint64_t{1} << 31, std::uint64_t{1} << 32, UINT64_MAX}) {
      for (std::uint64_t step = 0; step < 3; ++step) {
        EXPECT_EQ((base + step) % count, modulus.remainder(base + step)) << base << " mod " << count;
        EXPECT_EQ((base - step) % count, modulus.remainder(base - step)) << base << " mod " << count;
      }
    }
    for (int i = 0; i < 2000; ++i) {
      const std::uint64_t number = random() >> (random() % 64);
      ASSERT_EQ(number % count, modulus.remainder(number)) << number << " mod " << count;
      const std::uint64_t multiple = number / count * count;
      ASSERT_EQ(0u, modulus.remainder(multiple)) << multiple << " mod " << count;
      ASSERT_EQ((multiple - 1) % count, modulus.remainder(multiple - 1)) << multiple << " mod " << count;
    }
  }
}

TEST(Primes, BucketCountsArePrime) {
  for (std::uint64_t count : primes) EXPECT_TRUE(is_prime(count)) << count;
}

}  // namespace
}  // namespace tarku::hsh
