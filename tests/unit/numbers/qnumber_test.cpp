// Tests of QNumber: both forms around every border, each operation against plain GMP rationals.
#include "tarku/numbers/qnumber.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/unit/support/failing_new.h"
#include "tests/unit/support/gmp_allocations.h"

namespace tarku {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

QNumber number(const std::string& text) {
  QNumber value;
  EXPECT_TRUE(QNumber::parse(text, &value)) << text;
  return value;
}

// The same value in the big form: results of the big form stay there.
QNumber big(const QNumber& value) {
  const QNumber huge = number("1267650600228229401496703205376");
  return value + huge - huge;
}

// The independent judge: GMP's own rational.
class Reference {
 public:
  explicit Reference(const QNumber& value) {
    mpq_init(q_);
    EXPECT_EQ(0, mpq_set_str(q_, value.to_str().c_str(), 10));
    mpq_canonicalize(q_);
  }
  Reference(const Reference& other) {
    mpq_init(q_);
    mpq_set(q_, other.q_);
  }
  Reference& operator=(const Reference&) = delete;
  ~Reference() { mpq_clear(q_); }

  using Operation = void (*)(mpq_ptr, mpq_srcptr, mpq_srcptr);
  Reference apply(Operation operation, const Reference& other) const {
    Reference result(*this);
    operation(result.q_, q_, other.q_);
    return result;
  }
  Reference operator+(const Reference& other) const { return apply(mpq_add, other); }
  Reference operator-(const Reference& other) const { return apply(mpq_sub, other); }
  Reference operator*(const Reference& other) const { return apply(mpq_mul, other); }
  Reference operator/(const Reference& other) const { return apply(mpq_div, other); }

  int compare(const Reference& other) const {
    const int order = mpq_cmp(q_, other.q_);
    return (order > 0) - (order < 0);
  }
  int sign() const { return mpq_sgn(q_); }
  std::string str() const {
    char* text = mpq_get_str(nullptr, 10, q_);
    std::string result(text);
    void (*release)(void*, std::size_t) = nullptr;
    mp_get_memory_functions(nullptr, nullptr, &release);
    release(text, result.size() + 1);
    return result;
  }
  std::string floor_str() const {
    mpz_t quotient;
    mpz_init(quotient);
    mpz_fdiv_q(quotient, mpq_numref(q_), mpq_denref(q_));
    Reference whole(*this);
    mpq_set_z(whole.q_, quotient);
    mpz_clear(quotient);
    return whole.str();
  }

 private:
  mpq_t q_;
};

// Numerators and denominators from a small nasty set, in either form.
class Operands {
 public:
  explicit Operands(std::uint64_t seed) : random_(seed) {
    for (const char* text : {"0", "1", "2", "3", "4", "6", "12", "35", "2147483647", "2147483648", "4294967295",
                             "4294967296", "4611686018427387904", "9223372036854775807", "9223372036854775808",
                             "18446744073709551616", "170141183460469231731687303715884105727",
                             "340282366920938463463374607431768211456", "123456789012345678901234567890123456789012"}) {
      magnitudes_.emplace_back(text);
    }
  }

  QNumber next() {
    std::string text = random_() % 2 == 0 ? "-" : "";
    text += magnitudes_[random_() % magnitudes_.size()];
    if (random_() % 2 == 0) text += "/" + magnitudes_[1 + random_() % (magnitudes_.size() - 1)];
    const QNumber value = number(text);
    return random_() % 4 == 0 ? big(value) : value;
  }

 private:
  std::mt19937_64 random_;
  std::vector<std::string> magnitudes_;
};

// Value and normal form: GMP's canonical text, and words within the range of the small form.
void expect_same(const std::string& expected, const QNumber& actual, const std::string& what) {
  EXPECT_EQ(expected, actual.to_str()) << what;
  if (!actual.is_small()) return;
  EXPECT_NE(kMin, actual.small_num()) << what;
  EXPECT_GT(actual.small_den(), 0) << what;
}

// ---- construction and forms ----

static_assert(sizeof(QNumber) == 16);
static_assert(std::is_nothrow_move_constructible_v<QNumber> && std::is_nothrow_move_assignable_v<QNumber>);

TEST(QNumber, IntegersOfEveryTypeConvert) {
  EXPECT_EQ("0", QNumber().to_str());
  EXPECT_EQ("-7", QNumber(-7).to_str());
  EXPECT_EQ("7", QNumber(7L).to_str());
  EXPECT_EQ("7", QNumber(7LL).to_str());
  EXPECT_EQ("-2147483648", QNumber(std::numeric_limits<int>::min()).to_str());
  EXPECT_EQ("9223372036854775807", QNumber(kMax).to_str());
  EXPECT_TRUE(QNumber(kMax).is_small());
  EXPECT_TRUE(QNumber(-kMax).is_small());
}

TEST(QNumber, FractionsAreReducedWithAPositiveDenominator) {
  EXPECT_EQ("1/2", QNumber(2, 4).to_str());
  EXPECT_EQ("-1/2", QNumber(3, -6).to_str());
  EXPECT_EQ("1/2", QNumber(-3, -6).to_str());
  EXPECT_EQ("0", QNumber(0, -5).to_str());
  EXPECT_EQ(1, QNumber(0, -5).small_den());
  EXPECT_EQ("-9223372036854775807", QNumber(kMax, -1).to_str());
}

TEST(QNumber, TheMostNegativeWordIsBigFromTheStart) {
  const QNumber lowest(kMin);
  EXPECT_FALSE(lowest.is_small());
  EXPECT_EQ("-9223372036854775808", lowest.to_str());
  EXPECT_EQ("9223372036854775808", lowest.neg().to_str());
  EXPECT_EQ("9223372036854775808", lowest.abs().to_str());
  EXPECT_FALSE(QNumber(static_cast<long long>(kMin)).is_small());
  EXPECT_EQ("-4611686018427387904", QNumber(kMin, 2).to_str());
  EXPECT_FALSE(QNumber(kMin, 2).is_small());
  EXPECT_EQ("-1/9223372036854775808", QNumber(1, kMin).to_str());
  EXPECT_EQ("1", QNumber(kMin, kMin).to_str());
  EXPECT_FALSE(QNumber(kMin, kMin).is_small());
  EXPECT_EQ("0", QNumber(0, kMin).to_str());
}

TEST(QNumber, OverflowMovesToTheBigFormAndStaysThere) {
  QNumber x = QNumber(kMax) + QNumber(1);
  EXPECT_FALSE(x.is_small());
  EXPECT_EQ("9223372036854775808", x.to_str());
  x -= QNumber(1);
  EXPECT_FALSE(x.is_small());
  EXPECT_EQ("9223372036854775807", x.to_str());
  x *= QNumber(0);
  EXPECT_FALSE(x.is_small());
  EXPECT_TRUE(x.is_zero());
}

TEST(QNumber, SumsEqualToTheMostNegativeWordAreBig) {
  for (const QNumber& x : {QNumber(-kMax) + QNumber(-1), QNumber(-kMax) - QNumber(1), QNumber(kMin / 2) * QNumber(2)}) {
    EXPECT_FALSE(x.is_small());
    EXPECT_EQ("-9223372036854775808", x.to_str());
    EXPECT_EQ("9223372036854775808", x.neg().to_str());
  }
  QNumber sum(-kMax), difference(-kMax), fused(-kMax), fused_difference(-kMax);
  sum += QNumber(-1);
  difference -= QNumber(1);
  fused.add_mul(QNumber(-1), QNumber(1));
  fused_difference.sub_mul(QNumber(1), QNumber(1));
  for (const QNumber* x : {&sum, &difference, &fused, &fused_difference}) {
    EXPECT_FALSE(x->is_small());
    EXPECT_EQ("-9223372036854775808", x->to_str());
  }
  // The sum over the common denominator is the most negative word before it is reduced.
  const QNumber reduced = QNumber(-kMax, 6) + QNumber(-1, 6);
  EXPECT_FALSE(reduced.is_small());
  EXPECT_EQ("-4611686018427387904/3", reduced.to_str());
}

// The small form is kept exactly when all products and sums of the classical method fit in a word.
TEST(QNumber, FormFollowsTheOverflowRuleOfTheClassicalMethods) {
  using detail::Int128;
  const auto fits = [](Int128 x) { return x >= -kMax && x <= kMax; };
  const auto gcd = [](std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(detail::gcd_words(detail::magnitude(a), detail::magnitude(b)));
  };
  Operands operands(7);
  int small_sums = 0, small_products = 0, tried = 0;
  while (tried < 4000) {
    const QNumber x = operands.next(), y = operands.next();
    if (!x.is_small() || !y.is_small()) continue;
    ++tried;
    const Int128 a = x.small_num(), c = y.small_num();
    const std::int64_t b = x.small_den(), d = y.small_den(), g = gcd(b, d);
    bool sum_fits = fits(a * (d / g)) && fits(c * (b / g)) && fits(a * (d / g) + c * (b / g));
    if (sum_fits) {
      const auto total = static_cast<std::int64_t>(a * (d / g) + c * (b / g));
      sum_fits = fits(static_cast<Int128>(b / g) * (d / gcd(total, g)));
    }
    const std::int64_t g1 = gcd(x.small_num(), d), g2 = gcd(y.small_num(), b);
    const bool product_fits = fits((a / g1) * (c / g2)) && fits(static_cast<Int128>(b / g2) * (d / g1));
    EXPECT_EQ(sum_fits, (x + y).is_small()) << x << " + " << y;
    EXPECT_EQ(sum_fits, (x - y.neg()).is_small()) << x << " - -" << y;
    EXPECT_EQ(product_fits, (x * y).is_small()) << x << " * " << y;
    small_sums += sum_fits;
    small_products += product_fits;
  }
  EXPECT_GT(small_sums, 500);
  EXPECT_LT(small_sums, 3500);
  EXPECT_GT(small_products, 500);
  EXPECT_LT(small_products, 3500);
}

TEST(QNumber, FractionsAddUp) {
  const QNumber one = QNumber(1, 3) + QNumber(2, 3);
  EXPECT_TRUE(one.is_one());
  EXPECT_EQ(1, one.small_den());
  const QNumber zero = QNumber(1, 3) - QNumber(1, 3);
  EXPECT_EQ(1, zero.small_den());
  EXPECT_EQ("5/6", (QNumber(1, 2) + QNumber(1, 3)).to_str());
  EXPECT_EQ("2/3", (QNumber(1, 6) + QNumber(1, 2)).to_str());
}

TEST(QNumber, EqualValuesInDifferentFormsAreEqual) {
  const QNumber five(5), big_five = big(five);
  ASSERT_FALSE(big_five.is_small());
  EXPECT_TRUE(five == big_five && big_five == five);
  EXPECT_FALSE(five < big_five || big_five < five);
  EXPECT_TRUE(five <= big_five && five >= big_five && !(five != big_five) && !(five > big_five));
  EXPECT_EQ(five.hash(), big_five.hash());
  EXPECT_EQ(QNumber(-7, 3).hash(), big(QNumber(-7, 3)).hash());
  EXPECT_NE(QNumber(7, 3).hash(), QNumber(3, 7).hash());
  EXPECT_TRUE(big(1).is_one() && big(-1).is_minus_one() && big(0).is_zero() && big(4).is_integer());
  EXPECT_FALSE(big(2).is_one() || big(QNumber(1, 2)).is_one() || big(QNumber(1, 2)).is_integer());
}

// ---- assignment and moves ----

TEST(QNumber, AssigningASmallValueKeepsABigTargetBig) {
  QNumber target = big(5);
  target = QNumber(-3, 4);
  EXPECT_FALSE(target.is_small());
  EXPECT_EQ("-3/4", target.to_str());
  const QNumber source(9);
  target = source;
  EXPECT_FALSE(target.is_small());
  EXPECT_EQ("9", target.to_str());
}

TEST(QNumber, AssignmentCopiesInEveryMixOfForms) {
  const QNumber small(2, 7), large = number("123456789123456789123/5");
  QNumber a(1), b(1), c = big(1), d = big(1);
  a = small;
  b = large;
  c = small;
  d = large;
  EXPECT_TRUE(a == small && b == large && c == small && d == large);
  EXPECT_TRUE(a.is_small() && !b.is_small() && !c.is_small() && !d.is_small());
  b += QNumber(1);
  EXPECT_EQ("123456789123456789123/5", large.to_str());
  QNumber& alias = d;
  d = alias;
  EXPECT_TRUE(d == large);
}

TEST(QNumber, MovedFromIsZero) {
  for (const char* text : {"3/4", "123456789123456789123/5"}) {
    const QNumber original = number(text);
    QNumber source(original);
    const QNumber taken(std::move(source));
    EXPECT_TRUE(taken == original);
    EXPECT_TRUE(source.is_small() && source.is_zero());
    for (QNumber target : {QNumber(1), big(1)}) {
      const bool was_small = target.is_small();
      source = original;
      target = std::move(source);
      EXPECT_TRUE(target == original);
      EXPECT_TRUE(source.is_small() && source.is_zero());
      EXPECT_EQ(was_small && original.is_small(), target.is_small());
    }
  }
  QNumber self = big(7);
  QNumber& alias = self;
  self = std::move(alias);
  EXPECT_EQ("7", self.to_str());
}

TEST(QNumber, SwapExchangesForms) {
  QNumber a(3), b = big(4);
  a.swap(b);
  EXPECT_FALSE(a.is_small());
  EXPECT_TRUE(b.is_small());
  EXPECT_EQ("4 3", a.to_str() + " " + b.to_str());
}

TEST(QNumber, CompactIsANewSmallValueWhenItFits) {
  const QNumber fits = big(QNumber(kMax, 2));
  EXPECT_TRUE(fits.fits_small());
  EXPECT_TRUE(fits.compact().is_small());
  EXPECT_TRUE(fits.compact() == fits);
  EXPECT_FALSE(fits.is_small());
  for (const QNumber& x : {QNumber(kMin), number("1/9223372036854775808"), number("9223372036854775808")}) {
    EXPECT_FALSE(x.fits_small());
    EXPECT_FALSE(x.compact().is_small());
    EXPECT_TRUE(x.compact() == x);
  }
  EXPECT_TRUE(big(-kMax).compact().is_small());
}

// ---- aliasing ----

TEST(QNumber, OperandsMayBeTheTarget) {
  for (const QNumber& start : {QNumber(3, 4), QNumber(-5), big(QNumber(3, 4)), big(-5), QNumber(kMax),
                               number("123456789123456789123/5"), QNumber(kMax, 2), QNumber(1, kMax)}) {
    const Reference expected(start);
    QNumber sum(start), product(start), difference(start), quotient(start), fused(start), fused_difference(start);
    sum += sum;
    product *= product;
    difference -= difference;
    quotient /= quotient;
    fused.add_mul(fused, fused);
    fused_difference.sub_mul(fused_difference, fused_difference);
    expect_same((expected + expected).str(), sum, "x += x");
    expect_same((expected * expected).str(), product, "x *= x");
    expect_same("0", difference, "x -= x");
    expect_same("1", quotient, "x /= x");
    expect_same((expected + expected * expected).str(), fused, "x += x*x");
    expect_same((expected - expected * expected).str(), fused_difference, "x -= x*x");
    QNumber left(start), right(start);
    left.add_mul(left, QNumber(2));
    right.sub_mul(QNumber(2), right);
    expect_same((expected + expected + expected).str(), left, "x += x*2");
    expect_same((expected - expected - expected).str(), right, "x -= 2*x");
  }
}

// ---- every operation against GMP ----

TEST(QNumber, OperatorsAgreeWithGmp) {
  constexpr std::uint64_t kSeed = 20240501;
  Operands operands(kSeed);
  for (int i = 0; i < 6000 && !::testing::Test::HasFailure(); ++i) {
    const QNumber x = operands.next(), y = operands.next();
    const Reference rx(x), ry(y);
    const std::string what = x.to_str() + " and " + y.to_str() + ", seed " + std::to_string(kSeed);
    expect_same((rx + ry).str(), x + y, what);
    expect_same((rx - ry).str(), x - y, what);
    expect_same((rx * ry).str(), x * y, what);
    QNumber sum(x), difference(x), product(x);
    sum += y;
    difference -= y;
    product *= y;
    EXPECT_TRUE(sum == x + y && difference == x - y && product == x * y) << what;
    if (!y.is_zero()) {
      QNumber quotient(x);
      quotient /= y;
      expect_same((rx / ry).str(), quotient, what);
      EXPECT_TRUE(x / y == quotient && (y * y.inverse()).is_one()) << what;
    }
  }
}

TEST(QNumber, ComparisonAgreesWithGmp) {
  Operands operands(99);
  for (int i = 0; i < 6000 && !::testing::Test::HasFailure(); ++i) {
    const QNumber x = operands.next(), y = i % 10 == 0 ? big(x) : operands.next();
    const int order = Reference(x).compare(Reference(y));
    const std::string what = x.to_str() + " against " + y.to_str();
    EXPECT_EQ(order, QNumber::compare(x, y)) << what;
    EXPECT_EQ(order < 0, x < y) << what;
    EXPECT_EQ(order > 0, x > y) << what;
    EXPECT_EQ(order <= 0, x <= y) << what;
    EXPECT_EQ(order >= 0, x >= y) << what;
    EXPECT_EQ(order == 0, x == y) << what;
    EXPECT_EQ(order != 0, x != y) << what;
  }
}

// Neighbours whose cross products agree in all leading bits, so that no estimate can tell them apart.
TEST(QNumber, CloseBigValuesAreOrderedExactly) {
  const QNumber base = number("123456789012345678901234567890123456789/987654321098765432109876543210987654321");
  const QNumber step = number("1/1000000000000000000000000000000000000000000000000000000000000000000000000000000");
  for (const QNumber& sign : {QNumber(1), QNumber(-1)}) {
    const QNumber x = base * sign, y = x + step;
    EXPECT_TRUE(x < y && !(y < x) && x != y);
    EXPECT_EQ(0, QNumber::compare(y, x + step));
    EXPECT_EQ(1, QNumber::compare(y, x));
  }
  const QNumber wide = number("340282366920938463463374607431768211456");  // 2^128: a limb more, hardly larger
  EXPECT_TRUE(wide - QNumber(1) < wide && wide - QNumber(1, 2) < wide && wide < wide + QNumber(1, 3));
}

TEST(QNumber, FusedOperationsAgreeWithGmp) {
  Operands operands(5);
  for (int i = 0; i < 8000 && !::testing::Test::HasFailure(); ++i) {
    const QNumber x = operands.next(), a = operands.next(), b = operands.next();
    const Reference rx(x), ra(a), rb(b);
    const std::string what = x.to_str() + " +- " + a.to_str() + " * " + b.to_str();
    QNumber sum(x), difference(x);
    sum.add_mul(a, b);
    difference.sub_mul(a, b);
    expect_same((rx + ra * rb).str(), sum, what);
    expect_same((rx - ra * rb).str(), difference, what);
  }
}

// Small fractions take their own fused path; borders alone hardly reach it.
TEST(QNumber, FusedOperationsOnSmallFractionsAgreeWithGmp) {
  std::mt19937_64 random(17);
  const auto next = [&random] {
    return QNumber(static_cast<std::int64_t>(random() % 41) - 20, static_cast<std::int64_t>(1 + random() % 12));
  };
  for (int i = 0; i < 5000 && !::testing::Test::HasFailure(); ++i) {
    const QNumber x = next(), a = next(), b = next();
    QNumber sum(x), difference(x);
    sum.add_mul(a, b);
    difference.sub_mul(a, b);
    expect_same((Reference(x) + Reference(a) * Reference(b)).str(), sum, "add_mul");
    expect_same((Reference(x) - Reference(a) * Reference(b)).str(), difference, "sub_mul");
    EXPECT_TRUE(sum.is_small() && difference.is_small());
    EXPECT_TRUE(sum == x + a * b && difference == x - a * b);
  }
}

TEST(QNumber, UnaryOperationsAgreeWithGmp) {
  Operands operands(3);
  for (int i = 0; i < 3000 && !::testing::Test::HasFailure(); ++i) {
    const QNumber x = operands.next();
    const Reference rx(x);
    const std::string what = x.to_str();
    const Reference zero{QNumber()};
    expect_same((zero - rx).str(), x.neg(), what);
    expect_same((zero - rx).str(), -x, what);
    QNumber negated(x);
    negated.negate();
    EXPECT_TRUE(negated == x.neg()) << what;
    expect_same((rx.sign() < 0 ? zero - rx : rx).str(), x.abs(), what);
    expect_same(rx.floor_str(), x.floor(), what);
    EXPECT_EQ(rx.sign(), x.sign()) << what;
    EXPECT_EQ(rx.sign() == 0, x.is_zero()) << what;
    EXPECT_EQ(rx.sign() > 0, x.is_positive()) << what;
    EXPECT_EQ(rx.sign() < 0, x.is_negative()) << what;
    EXPECT_EQ(what.find('/') == std::string::npos, x.is_integer()) << what;
    EXPECT_TRUE(x.numerator() / x.denominator() == x && x.numerator().is_integer()) << what;
    EXPECT_TRUE(x.denominator().is_positive() && x.denominator().is_integer()) << what;
    EXPECT_EQ(big(x).hash(), x.hash()) << what;
    QNumber read;
    EXPECT_TRUE(QNumber::parse(what, &read) && read == x) << what;
  }
}

// ---- parts and measures ----

TEST(QNumber, IntegerPartsOfBigValuesAreSmallUpTo32Bits) {
  EXPECT_TRUE((big(QNumber(7, 2))).floor().is_small());
  EXPECT_EQ("-4", big(QNumber(-7, 2)).floor().to_str());
  EXPECT_EQ("3", big(QNumber(7, 2)).floor().to_str());
  EXPECT_TRUE(big(QNumber(2147483647)).numerator().is_small());
  EXPECT_FALSE(big(QNumber(2147483648L)).numerator().is_small());
  EXPECT_FALSE(big(QNumber(2147483648L)).floor().is_small());
  EXPECT_TRUE(big(QNumber(1, 3)).denominator().is_small());
  EXPECT_TRUE(QNumber(2147483648L).numerator().is_small());
}

TEST(QNumber, FloorRoundsDown) {
  EXPECT_EQ("2", QNumber(5, 2).floor().to_str());
  EXPECT_EQ("-3", QNumber(-5, 2).floor().to_str());
  EXPECT_EQ("-1", QNumber(-1, kMax).floor().to_str());
  EXPECT_EQ("-4", QNumber(-4).floor().to_str());
}

TEST(QNumber, ToDoubleIsClose) {
  EXPECT_DOUBLE_EQ(-0.75, QNumber(-3, 4).to_double());
  EXPECT_DOUBLE_EQ(-0.75, big(QNumber(-3, 4)).to_double());
  EXPECT_EQ(0.0, big(0).to_double());
  const std::string zeros(400, '0');
  EXPECT_DOUBLE_EQ(0.5, number("1" + zeros + "/2" + zeros + "0").to_double() * 10);
  EXPECT_TRUE(std::isinf(number("1" + zeros).to_double()));
  EXPECT_EQ(0.0, number("1/1" + zeros).to_double());
}

TEST(QNumber, BitSizeGrowsWithTheNumber) {
  EXPECT_LT(QNumber(3).bit_size(), QNumber(300).bit_size());
  EXPECT_LT(QNumber(3).bit_size(), QNumber(3, 1000).bit_size());
  EXPECT_EQ(129u + 1u, number("340282366920938463463374607431768211456").bit_size());
}

// ---- normal form on demand ----

TEST(QNumber, NormalizeKeepsNormalValues) {
  for (QNumber x : {QNumber(-3, 4), QNumber(), big(QNumber(-3, 4)), big(0), QNumber(kMin)}) {
    const std::string before = x.to_str();
    const bool was_small = x.is_small();
    x.normalize();
    x.fix_int_min();
    EXPECT_EQ(before, x.to_str());
    EXPECT_EQ(was_small, x.is_small());
  }
}

// ---- text ----

TEST(QNumber, ParseReadsIntegersFractionsAndDecimals) {
  const std::pair<const char*, const char*> cases[] = {{"12", "12"},
                                                       {"-3/4", "-3/4"},
                                                       {"0.125", "1/8"},
                                                       {"-0.5", "-1/2"},
                                                       {"6/4", "3/2"},
                                                       {"-0", "0"},
                                                       {"0/7", "0"},
                                                       {"007", "7"},
                                                       {"1.000", "1"},
                                                       {"0.0", "0"},
                                                       {"10/05", "2"},
                                                       {"12.50", "25/2"},
                                                       {"-0.000", "0"},
                                                       {"2/1", "2"},
                                                       {"0.10", "1/10"},
                                                       {"1000000000000000000", "1000000000000000000"},
                                                       {"0.000000000000000001", "1/1000000000000000000"},
                                                       {"-9223372036854775807", "-9223372036854775807"},
                                                       {"-9223372036854775808", "-9223372036854775808"},
                                                       {"36893488147419103232/73786976294838206464", "1/2"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, number(text).to_str()) << text;
  EXPECT_TRUE(number("-9223372036854775807").is_small());
  EXPECT_FALSE(number("-9223372036854775808").is_small());
  EXPECT_TRUE(number("36893488147419103232/73786976294838206464").is_small());
}

TEST(QNumber, ParseRefusesEverythingElse) {
  QNumber out(42);
  for (const char* text :
       {"",     "-",    "+1", "--1",   " 1",    "1 ",    "1/",    "/2",       "1/0",
        "1/00", "1/-2", ".5", "5.",    "1.2.3", "1/2/3", "1.5/2", "1/2.5",    "1e5",
        "0x10", "abc",  "1a", "1_000", "-.5",   "1/ 2",  "1\n",   "\xc2\xb2", "100000000000000000000x",
        "1,5"}) {
    EXPECT_FALSE(QNumber::parse(text, &out)) << text;
    EXPECT_EQ("42", out.to_str()) << text;
  }
  EXPECT_FALSE(QNumber::parse(std::string_view("1\0", 2), &out));
  EXPECT_FALSE(QNumber::parse(std::string_view("1\0002", 3), &out));
}

TEST(QNumber, VeryLongTextsAreExact) {
  const std::string nines(50000, '9');
  EXPECT_EQ(nines, number(nines).to_str());
  EXPECT_EQ("1" + std::string(50000, '0'), (number("-" + nines) - QNumber(1)).neg().to_str());
  EXPECT_EQ("-" + nines + "/1" + std::string(50000, '0'), number("-0." + nines).to_str());
}

TEST(QNumber, StreamsItsText) {
  std::ostringstream out;
  out << QNumber(-3, 4) << ' ' << big(8);
  EXPECT_EQ("-3/4 8", out.str());
}

// ---- allocation ----

TEST(QNumber, SmallFormNeverAllocates) {
  const test::GmpAllocations gmp;
  const test::FailingNew failing(0);
  QNumber x(3, 4), y(-5, 6);
  const QNumber half(1, 2);
  for (int i = 0; i < 10; ++i) {
    x = y + half * QNumber(2) - x / QNumber(3);
    x.add_mul(half, QNumber(1, 3));
    x.sub_mul(QNumber(7), half);
    y = x.floor() + x.neg().abs();
    x = x < y || x == y ? QNumber(i) : half.inverse();
  }
  QNumber moved(std::move(x));
  x = std::move(moved);
  EXPECT_EQ(0, test::GmpAllocations::calls);
  EXPECT_TRUE(x.is_small());
}

TEST(QNumber, FailedAllocationOfABlockChangesNothing) {
  const QNumber large = number("123456789123456789123");
  QNumber x(kMax), y(1, 3);
  bool add_failed = false, assign_failed = false, copy_failed = false;
  {
    const test::FailingNew failing(0);
    const auto fails = [](auto action) {
      try {
        action();
      } catch (const std::bad_alloc&) {
        return true;
      }
      return false;
    };
    add_failed = fails([&x] { x += QNumber(1); });
    assign_failed = fails([&] { y = large; });
    copy_failed = fails([&] { const QNumber copy(large); });
  }
  EXPECT_TRUE(add_failed && assign_failed && copy_failed);
  EXPECT_TRUE(x.is_small() && x == QNumber(kMax));
  EXPECT_TRUE(y.is_small() && y == QNumber(1, 3));
}

// Lets GMP's allocator fail at every point of every operation: nothing may leak, and all operands stay usable.
TEST(QNumber, FailingGmpAllocationsLeakNothing) {
  using Operation = void (*)(QNumber&, const QNumber&);
  const Operation operations[] = {[](QNumber& x, const QNumber& y) { x += y; },
                                  [](QNumber& x, const QNumber& y) { x -= y; },
                                  [](QNumber& x, const QNumber& y) { x *= y; },
                                  [](QNumber& x, const QNumber& y) { x /= y; },
                                  [](QNumber& x, const QNumber& y) { x = y; },
                                  [](QNumber& x, const QNumber& y) { x.add_mul(y, y); },
                                  [](QNumber& x, const QNumber& y) { x = x + y * x - y; },
                                  [](QNumber& x, const QNumber& y) { x = QNumber(QNumber::compare(x, y)); },
                                  [](QNumber& x, const QNumber& y) { x = x.floor() + y.floor() + y.numerator(); }};
  const QNumber small(kMax - 1, kMax), huge = number("-98765432109876543210987/123456789123456789123");
  int failures = 0;
  for (const Operation operation : operations) {
    for (const auto& [left, right] : {std::pair(small, huge), std::pair(huge, small), std::pair(small, small),
                                      std::pair(huge, huge * QNumber(2, 3)), std::pair(huge, huge)}) {
      for (int successes = 0, done = 0; done == 0; ++successes) {
        test::GmpAllocations gmp;
        {
          QNumber x(left);
          const QNumber y(right);
          gmp.fail_after(successes);
          try {
            operation(x, y);
            done = 1;
          } catch (const std::bad_alloc&) {
            ++failures;
          }
          gmp.stop_failing();
          x = y;
          EXPECT_TRUE(x == y);
        }
        EXPECT_EQ(0, test::GmpAllocations::live);
      }
    }
  }
  EXPECT_GT(failures, 50);
}

}  // namespace
}  // namespace tarku
