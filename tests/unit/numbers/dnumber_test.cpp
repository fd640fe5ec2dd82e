// Tests of DNumber: sharing, infinities, arithmetic, comparison, text.
#include "tarku/numbers/dnumber.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/unit/support/failing_new.h"

namespace tarku::la {
namespace {

static_assert(sizeof(DNumber) == sizeof(void*));
static_assert(std::is_nothrow_copy_constructible_v<DNumber> && std::is_nothrow_copy_assignable_v<DNumber>);
static_assert(std::is_nothrow_move_constructible_v<DNumber> && std::is_nothrow_move_assignable_v<DNumber>);

// The block behind a handle, to look at its count.
const DNumber::num_repr& block(const DNumber& handle) {
  std::uintptr_t word = 0;
  std::memcpy(&word, &handle, sizeof word);
  return *reinterpret_cast<const DNumber::num_repr*>(word & ~std::uintptr_t{1});
}

QNumber huge() {
  QNumber value;
  EXPECT_TRUE(QNumber::parse("123456789012345678901234567890", &value));
  return value;
}

// Runs before the constants would be ready if they needed code to run.
struct EarlyUser {
  EarlyUser() : sum(DNumber::zero), unbounded(DNumber::plus_inf) { sum += DNumber(QNumber(2), QNumber(1)); }
  DNumber sum, unbounded;
};
__attribute__((init_priority(101))) EarlyUser early_user;

TEST(DNumber, ConstantsAreReadyBeforeAnyConstructorRuns) {
  EXPECT_EQ("2+1*delta", early_user.sum.to_str());
  EXPECT_TRUE(early_user.unbounded.is_plus_inf());
}

TEST(DNumber, ConstantsAreWhatTheySay) {
  EXPECT_FALSE(DNumber::zero.is_infinite());
  EXPECT_TRUE(DNumber::zero.real().is_zero() && DNumber::zero.delta().is_zero());
  EXPECT_TRUE(DNumber::plus_inf.is_infinite() && DNumber::plus_inf.is_plus_inf() && !DNumber::plus_inf.is_minus_inf());
  EXPECT_TRUE(DNumber::minus_inf.is_infinite() && DNumber::minus_inf.is_minus_inf());
  EXPECT_FALSE(DNumber::plus_inf.real().is_zero());
  EXPECT_TRUE(DNumber::minus_inf.real().is_zero());
  EXPECT_TRUE(DNumber().is_same(DNumber::zero));
  EXPECT_TRUE(DNumber(0).is_same(DNumber::zero));
  EXPECT_TRUE(DNumber(QNumber(0), QNumber(0)).is_same(DNumber::zero));
}

// ---- sharing ----

TEST(DNumber, CopiesShareTheirBlock) {
  const DNumber a(QNumber(3), QNumber(1));
  EXPECT_EQ(1, block(a).refcount_);
  EXPECT_FALSE(a.is_shared());
  {
    const DNumber b(a);
    DNumber c;
    c = b;
    EXPECT_EQ(3, block(a).refcount_);
    EXPECT_TRUE(a.is_same(c) && a.is_shared());
  }
  EXPECT_EQ(1, block(a).refcount_);
}

TEST(DNumber, StaticBlocksAreNeverCounted) {
  const std::int32_t zeros = block(DNumber::zero).refcount_;
  const std::int32_t pluses = block(DNumber::plus_inf).refcount_, minuses = block(DNumber::minus_inf).refcount_;
  EXPECT_EQ(2, zeros);
  {
    std::vector<DNumber> copies(10, DNumber::zero);
    copies.resize(20, DNumber::plus_inf);
    copies.resize(30, DNumber::minus_inf);
    for (DNumber& copy : copies) copy = DNumber(copy);
    EXPECT_EQ(zeros, block(DNumber::zero).refcount_);
    EXPECT_EQ(pluses, block(DNumber::plus_inf).refcount_);
    for (DNumber& copy : copies) copy += DNumber(1);
    EXPECT_EQ(zeros, block(DNumber::zero).refcount_);
  }
  EXPECT_EQ(zeros, block(DNumber::zero).refcount_);
  EXPECT_EQ(pluses, block(DNumber::plus_inf).refcount_);
  EXPECT_EQ(minuses, block(DNumber::minus_inf).refcount_);
  EXPECT_TRUE(DNumber::zero.real().is_zero());
}

TEST(DNumber, CopyingAndDroppingZeroLeavesHeapBlocksAlone) {
  const DNumber a(7);
  const DNumber b(a);
  {
    const DNumber zero_copy(DNumber::zero);
    DNumber other;
    other = zero_copy;
  }
  EXPECT_EQ(2, block(a).refcount_);
}

TEST(DNumber, AddingToASharedBlockLeavesTheOthersUnchanged) {
  DNumber x(QNumber(1), QNumber(2));
  const DNumber sharer(x);
  x += DNumber(QNumber(10), QNumber(20));
  EXPECT_EQ("11+22*delta", x.to_str());
  EXPECT_EQ("1+2*delta", sharer.to_str());
  EXPECT_EQ(1, block(x).refcount_);
  EXPECT_EQ(1, block(sharer).refcount_);
}

TEST(DNumber, ASoleOwnerIsChangedInPlace) {
  DNumber x(QNumber(1), QNumber(2));
  const DNumber y(QNumber(5), QNumber(-1));
  const DNumber::num_repr* before = &block(x);
  x += y;
  x.add_mul(y, QNumber(2));
  x.sub_mul(y, QNumber(1, 2));
  EXPECT_EQ(before, &block(x));
  EXPECT_EQ("27/2-1/2*delta", x.to_str());
}

TEST(DNumber, ZeroIsNeverWrittenInPlace) {
  DNumber x;
  x += DNumber(3);
  DNumber y;
  y.add_mul(DNumber(3), QNumber(2));
  EXPECT_EQ("3", x.to_str());
  EXPECT_EQ("6", y.to_str());
  EXPECT_EQ("0", DNumber::zero.to_str());
}

TEST(DNumber, AssigningAHandleToItselfIsSafe) {
  DNumber x(QNumber(3), QNumber(1));
  DNumber& alias = x;
  x = alias;
  EXPECT_EQ("3+1*delta", x.to_str());
  EXPECT_EQ(1, block(x).refcount_);
  x = std::move(alias);
  EXPECT_EQ("3+1*delta", x.to_str());
  DNumber infinite(DNumber::minus_inf);
  DNumber& infinite_alias = infinite;
  infinite = infinite_alias;
  EXPECT_TRUE(infinite.is_minus_inf());
}

TEST(DNumber, AssignmentReleasesTheOldBlock) {
  const DNumber a(1), b(2);
  DNumber x(a);
  x = b;
  EXPECT_EQ(1, block(a).refcount_);
  EXPECT_EQ(2, block(b).refcount_);
  x = DNumber::plus_inf;
  EXPECT_EQ(1, block(b).refcount_);
  x = DNumber();
  EXPECT_TRUE(x.is_same(DNumber::zero));
}

TEST(DNumber, MovesStealTheWord) {
  DNumber a(QNumber(3), QNumber(1));
  DNumber b(std::move(a));
  EXPECT_TRUE(a.is_same(DNumber::zero));
  EXPECT_EQ(1, block(b).refcount_);
  DNumber c(9);
  c = std::move(b);
  EXPECT_TRUE(b.is_same(DNumber::zero));
  EXPECT_EQ("3+1*delta", c.to_str());
  EXPECT_EQ(1, block(c).refcount_);
}

TEST(DNumber, BlocksCanBeMadeByHand) {
  const DNumber x = DNumber::adopt(DNumber::num_repr::alloc<int, int>(4, -1, 1));
  EXPECT_EQ("4-1*delta", x.to_str());
  EXPECT_EQ(1, block(x).refcount_);
  DNumber zero = DNumber::adopt(DNumber::num_repr::alloc<int, int>(0, 0, 1));
  EXPECT_FALSE(zero.is_shared());
  zero += DNumber(1);
  EXPECT_EQ("1", zero.to_str());
}

// ---- arithmetic ----

TEST(DNumber, InfinitiesAbsorb) {
  const DNumber five(5);
  EXPECT_TRUE((DNumber::plus_inf + five).is_plus_inf());
  EXPECT_TRUE((five + DNumber::minus_inf).is_minus_inf());
  EXPECT_TRUE((DNumber::plus_inf + DNumber::minus_inf).is_plus_inf());
  EXPECT_TRUE((five - DNumber::plus_inf).is_plus_inf());
  EXPECT_TRUE((DNumber::minus_inf - DNumber::plus_inf).is_minus_inf());
  EXPECT_TRUE((DNumber::plus_inf * QNumber(-1)).is_plus_inf());
  EXPECT_TRUE((DNumber::minus_inf * QNumber(0)).is_minus_inf());
  DNumber x(DNumber::plus_inf), y(five);
  x += five;
  x += DNumber::minus_inf;
  EXPECT_TRUE(x.is_plus_inf());
  y += DNumber::minus_inf;
  EXPECT_TRUE(y.is_minus_inf());
  EXPECT_EQ(1, block(five).refcount_);
}

TEST(DNumber, FiniteArithmeticIsComponentwise) {
  std::mt19937_64 random(11);
  const auto part = [&random] {
    if (random() % 8 == 0) return huge() * QNumber(static_cast<int>(random() % 3) - 1);
    return QNumber(static_cast<std::int64_t>(random() % 21) - 10, static_cast<std::int64_t>(1 + random() % 5));
  };
  for (int i = 0; i < 2000; ++i) {
    const QNumber a = part(), b = part(), c = part(), d = part(), k = part();
    const DNumber x(a, b), y(c, d);
    EXPECT_EQ(DNumber(a + c, b + d), x + y);
    EXPECT_EQ(DNumber(a - c, b - d), x - y);
    EXPECT_EQ(DNumber(a * k, b * k), x * k);
    for (const bool shared : {false, true}) {
      DNumber sum = x * QNumber(1), plus_multiple = x * QNumber(1), minus_multiple = x * QNumber(1);
      const std::vector<DNumber> sharers =
          shared ? std::vector<DNumber>{sum, plus_multiple, minus_multiple} : std::vector<DNumber>();
      sum += y;
      plus_multiple.add_mul(y, k);
      minus_multiple.sub_mul(y, k);
      EXPECT_EQ(x + y, sum);
      EXPECT_EQ(x + y * k, plus_multiple);
      EXPECT_EQ(x - y * k, minus_multiple);
      for (const DNumber& sharer : sharers) EXPECT_EQ(x, sharer);
    }
  }
}

TEST(DNumber, OperandsMayAliasTheTarget) {
  for (const bool shared : {false, true}) {
    const auto fresh = [] { return DNumber(QNumber(2), QNumber(3)); };
    DNumber doubled = fresh(), fused = fresh(), by_real = fresh(), by_delta = fresh();
    const std::vector<DNumber> sharers =
        shared ? std::vector<DNumber>{doubled, fused, by_real, by_delta} : std::vector<DNumber>();
    doubled += doubled;
    EXPECT_EQ("4+6*delta", doubled.to_str());
    fused.sub_mul(fused, QNumber(1, 2));
    EXPECT_EQ("1+3/2*delta", fused.to_str());
    by_real.add_mul(DNumber(QNumber(5), QNumber(7)), by_real.real());
    EXPECT_EQ("12+17*delta", by_real.to_str());
    by_delta.add_mul(by_delta, by_delta.delta());
    EXPECT_EQ("8+12*delta", by_delta.to_str());
  }
  DNumber x(QNumber(1), QNumber(1));
  const DNumber sharer(x);
  x += sharer;
  EXPECT_EQ("2+2*delta", x.to_str());
  EXPECT_EQ("1+1*delta", sharer.to_str());
}

// ---- comparison ----

TEST(DNumber, ComparesLexicographically) {
  const DNumber above(QNumber(3), QNumber(1)), exact(3), below(QNumber(3), QNumber(-1));
  EXPECT_EQ(1, cmp(above, exact));
  EXPECT_EQ(-1, cmp(below, exact));
  EXPECT_EQ(-1, cmp(exact, above));
  EXPECT_EQ(0, cmp(exact, DNumber(3)));
  EXPECT_EQ(-1, cmp(DNumber(QNumber(2), QNumber(100)), below));
  EXPECT_EQ(1, cmp(DNumber(huge()), above));
  EXPECT_EQ(0, cmp(DNumber(huge(), QNumber(1)), DNumber(huge(), QNumber(1))));
}

TEST(DNumber, IdenticalWordsAreEqualWithoutALook) {
  const DNumber a(QNumber(3), QNumber(1)), copy(a);
  EXPECT_EQ(0, cmp(a, a));
  EXPECT_EQ(0, cmp(a, copy));
  // Blocks whose words are no numbers at all: a look at them would crash.
  DNumber::num_repr* broken = DNumber::num_repr::alloc<int, int>(1, 1, 1);
  const std::int64_t words[2] = {8, 0};
  std::memcpy(static_cast<void*>(&broken->real_), words, sizeof words);
  DNumber x = DNumber::adopt(broken);
  EXPECT_EQ(0, cmp(x, x));
  EXPECT_EQ(0, cmp(x, x, true));
  const std::int64_t valid[2] = {1, 1};
  std::memcpy(static_cast<void*>(&broken->real_), valid, sizeof valid);
}

TEST(DNumber, ThreeArgumentComparisonOrdersInfinities) {
  const DNumber &plus = DNumber::plus_inf, &minus = DNumber::minus_inf;
  for (const DNumber& finite : {DNumber(), DNumber(-5), DNumber(1000000), DNumber(huge()), DNumber(huge().neg())}) {
    for (const bool flag : {true, false}) {
      EXPECT_EQ(1, cmp(plus, finite, flag));
      EXPECT_EQ(-1, cmp(finite, plus, flag));
      EXPECT_EQ(-1, cmp(minus, finite, flag));
      EXPECT_EQ(1, cmp(finite, minus, flag));
    }
  }
  EXPECT_EQ(1, cmp(plus, minus, true));
  EXPECT_EQ(-1, cmp(minus, plus, true));
  EXPECT_EQ(0, cmp(plus, DNumber(plus), true));
  EXPECT_EQ(0, cmp(minus, DNumber(minus), true));
  EXPECT_TRUE(minus != DNumber::zero && plus != DNumber(1));
}

TEST(DNumber, TwoArgumentComparisonLooksAtBlocksOnly) {
  EXPECT_EQ(0, cmp(DNumber::minus_inf, DNumber::zero));
  EXPECT_EQ(0, cmp(DNumber::plus_inf, DNumber(1)));
}

// ---- text ----

TEST(DNumber, TextForms) {
  EXPECT_EQ("0", DNumber::zero.to_str());
  EXPECT_EQ("3", DNumber(3).to_str());
  EXPECT_EQ("3-1*delta", DNumber(QNumber(3), QNumber(-1)).to_str());
  EXPECT_EQ("1/2+2/3*delta", DNumber(QNumber(1, 2), QNumber(2, 3)).to_str());
  EXPECT_EQ("0-5*delta", DNumber(QNumber(0), QNumber(-5)).to_str());
  EXPECT_EQ("+inf", DNumber::plus_inf.to_str());
  EXPECT_EQ("-inf", DNumber::minus_inf.to_str());
  std::ostringstream out;
  out << DNumber(QNumber(-3, 4), QNumber(1));
  EXPECT_EQ("-3/4+1*delta", out.str());
}

// ---- allocation ----

TEST(DNumber, CopiesAssignmentsAndInPlaceArithmeticDoNotAllocate) {
  DNumber x(QNumber(1), QNumber(2));
  const DNumber y(QNumber(1, 2), QNumber(-3));
  DNumber target;
  {
    const test::FailingNew failing(0);
    x += y;
    x.add_mul(y, QNumber(4));
    x.sub_mul(y, QNumber(1, 3));
    DNumber copy(y);
    target = copy;
    target = DNumber::plus_inf;
    target = DNumber();
    target += DNumber::minus_inf;
    copy = std::move(target);
    target = copy;
  }
  EXPECT_TRUE(target.is_minus_inf());
  EXPECT_EQ("10/3-12*delta", x.to_str());
}

TEST(DNumber, FailedAllocationLeavesTheTargetAlone) {
  const DNumber original(QNumber(1), huge());
  DNumber shared(original);
  DNumber sole(QNumber(5), QNumber(6));
  const DNumber y(QNumber(2), huge());
  const auto actions = {+[](DNumber& x, const DNumber& z) { x += z; },
                        +[](DNumber& x, const DNumber& z) { x.add_mul(z, QNumber(3)); },
                        +[](DNumber& x, const DNumber& z) { x.sub_mul(z, QNumber(3)); },
                        +[](DNumber& x, const DNumber& z) { x = x + z; },
                        +[](DNumber& x, const DNumber& z) { x = x - z; },
                        +[](DNumber& x, const DNumber&) { x = x * QNumber(7); }};
  int failures = 0;
  for (const auto action : actions) {
    for (int successes = 0, done = 0; done == 0; ++successes) {
      DNumber target(shared);
      try {
        const test::FailingNew failing(successes);
        action(target, y);
        done = 1;
      } catch (const std::bad_alloc&) {
        ++failures;
      }
      EXPECT_NE(done == 1, target.is_same(original));
      EXPECT_EQ(done == 0 ? 3 : 2, block(original).refcount_);
    }
  }
  EXPECT_GT(failures, 10);
  bool failed = false;
  try {
    const test::FailingNew failing(0);
    sole += y;  // the sole owner's small delta part has to grow
  } catch (const std::bad_alloc&) {
    failed = true;
  }
  EXPECT_TRUE(failed);
  EXPECT_FALSE(sole.is_infinite());
  sole = y;
  EXPECT_EQ(y, sole);
}

}  // namespace
}  // namespace tarku::la
