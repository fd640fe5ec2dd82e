// QNumber: everything that is not a short path on machine words: fractions and GMP integers.
#include "tarku/numbers/qnumber.h"

#include <algorithm>
#include <cmath>

namespace tarku {

using detail::gcd_words;
using detail::is_unit;
using detail::magnitude;

namespace {

constexpr std::uint64_t kTableSide = 128;

// Greatest common divisors of small words, where a remainder loop spends most of its steps.
struct GcdTable {
  std::uint8_t entry[kTableSide][kTableSide] = {};
  constexpr GcdTable() {
    for (std::uint64_t a = 0; a < kTableSide; ++a) {
      for (std::uint64_t b = 0; b < kTableSide; ++b) entry[a][b] = static_cast<std::uint8_t>(gcd_words(a, b));
    }
  }
};
constexpr GcdTable kGcdTable;

// gcd_words with its last steps looked up, for words that are not negative.
std::int64_t gcd(std::int64_t first, std::int64_t second) {
  auto a = static_cast<std::uint64_t>(first), b = static_cast<std::uint64_t>(second);
  while ((a | b) >= kTableSide) {
    if (b == 0) return static_cast<std::int64_t>(a);
    const std::uint64_t rest =
        ((a | b) >> 32) == 0 ? static_cast<std::uint32_t>(a) % static_cast<std::uint32_t>(b) : a % b;
    a = b;
    b = rest;
  }
  return kGcdTable.entry[a][b];
}

// Not for the most negative word, which no small value holds.
std::int64_t absolute(std::int64_t x) {
  return x < 0 ? -x : x;
}

}  // namespace

// A rational of either form as two read-only GMP integers.  The words of a small value become one-limb integers that
// live inside the view, so that the GMP paths need no separate code for mixed operands and allocate nothing for them.
class QNumber::View {
 public:
  explicit View(const QNumber& value) {
    if (value.den_ == 0) {
      num = value.block()->num.z;
      den = value.block()->den.z;
      return;
    }
    num_limb_ = magnitude(value.num_);
    den_limb_ = magnitude(value.den_);
    num = mpz_roinit_n(num_, &num_limb_, value.num_ < 0 ? -1 : 1);
    den = mpz_roinit_n(den_, &den_limb_, 1);
  }
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  mpz_srcptr num, den;

 private:
  mp_limb_t num_limb_, den_limb_;
  mpz_t num_, den_;
};

namespace {

// Compares |x| with |y|; mostly the highest limbs decide, and then no call of GMP is needed.
int compare_magnitudes(mpz_srcptr x, mpz_srcptr y) {
  const std::size_t size = mpz_size(x);
  if (size != mpz_size(y)) return size < mpz_size(y) ? -1 : 1;
  for (auto i = static_cast<mp_size_t>(size) - 1; i >= 0; --i) {
    const mp_limb_t left = mpz_getlimbn(x, i), right = mpz_getlimbn(y, i);
    if (left != right) return left < right ? -1 : 1;
  }
  return 0;
}

// |x*y| as value * 2^(64*limbs), with 2^128 <= value < 2^256 and a relative error far below 2^-40; x and y are not 0.
struct Estimate {
  Estimate(mpz_srcptr x, mpz_srcptr y) : value(leading(x) * leading(y)), limbs(length(x) + length(y) - 4) {}
  static long length(mpz_srcptr x) { return static_cast<long>(mpz_size(x)); }
  // The two highest limbs.
  static double leading(mpz_srcptr x) {
    const long size = length(x);
    const double top = static_cast<double>(mpz_getlimbn(x, size - 1)) * 0x1p64;
    return size == 1 ? top : top + static_cast<double>(mpz_getlimbn(x, size - 2));
  }
  double value;
  long limbs;
};

// The order of the products that the estimates stand for, or 0 when they are too close to tell.
int compare_estimates(const Estimate& left, const Estimate& right) {
  const long distance = left.limbs - right.limbs;
  if (distance > 2 || distance < -2) return distance > 0 ? 1 : -1;
  const double scaled = std::ldexp(left.value, static_cast<int>(64 * distance));
  if (scaled > right.value * (1 + 0x1p-40)) return 1;
  if (scaled < right.value * (1 - 0x1p-40)) return -1;
  return 0;
}

}  // namespace

// The greatest common divisor of x and y; nothing is computed or allocated when y is 1.
struct QNumber::CommonFactor {
  CommonFactor(mpz_srcptr x, mpz_srcptr y) : is_one(is_unit(y)) {
    if (is_one) return;
    mpz_gcd(value.z, x, y);
    is_one = is_unit(value.z);
  }
  Integer value;  // unset when is_one
  bool is_one;
};

// x divided by a factor of it; x itself when the factor is 1.
struct QNumber::Quotient {
  Quotient(mpz_srcptr x, const CommonFactor& factor) : value(factor.is_one ? x : storage.z) {
    if (!factor.is_one) mpz_divexact(storage.z, x, factor.value.z);
  }
  Integer storage;
  mpz_srcptr value;
};

// ---- blocks, forms, assignment ----

void QNumber::copy_block(const QNumber& other) {
  set_block(new Block(*other.block()));
}

void QNumber::free_block() noexcept {
  delete block();
}

void QNumber::make_big() {
  if (den_ != 0) set_block(new Block{Integer(num_), Integer(den_)});
}

void QNumber::assign_general(const QNumber& other) {
  if (this == &other) return;
  if (den_ != 0) {
    copy_block(other);
  } else if (other.den_ != 0) {
    mpz_set_si(block()->num.z, other.num_);
    mpz_set_si(block()->den.z, other.den_);
  } else {
    mpz_set(block()->num.z, other.block()->num.z);
    mpz_set(block()->den.z, other.block()->den.z);
  }
}

// The target is big.
void QNumber::move_general(QNumber& other) noexcept {
  if (other.den_ != 0) {
    assign_general(other);
  } else {
    free_block();
    num_ = other.num_;
  }
  other.reset_words();
}

void QNumber::fix_int_min() {
  if (den_ != 0 && (num_ == kWordMin || den_ == kWordMin)) make_big();
}

void QNumber::normalize() {
  if (den_ != 0) {
    reduce_words(&num_, &den_);
    return;
  }
  mpz_ptr num = block()->num.z, den = block()->den.z;
  if (mpz_sgn(num) == 0) {
    mpz_set_si(den, 1);
    return;
  }
  if (mpz_cmpabs_ui(den, 1) != 0) {
    Integer divisor;
    mpz_gcd(divisor.z, num, den);
    mpz_divexact(num, num, divisor.z);
    mpz_divexact(den, den, divisor.z);
  }
  if (mpz_sgn(den) < 0) {
    mpz_neg(num, num);
    mpz_neg(den, den);
  }
}

bool QNumber::fits_small() const {
  if (den_ != 0) return true;
  mpz_srcptr num = block()->num.z, den = block()->den.z;
  return mpz_fits_slong_p(num) != 0 && mpz_fits_slong_p(den) != 0 && mpz_get_si(num) != kWordMin;
}

QNumber QNumber::compact() const {
  if (den_ != 0 || !fits_small()) return *this;
  QNumber result(mpz_get_si(block()->num.z));
  result.den_ = mpz_get_si(block()->den.z);
  return result;
}

// A new integer value from a GMP result.  Only values of 32 bits come back small.
QNumber QNumber::from_mpz(mpz_srcptr value) {
  if (mpz_fits_sint_p(value) != 0) return QNumber(mpz_get_si(value));
  QNumber result;
  result.set_block(new Block{Integer(value), Integer(1)});
  return result;
}

void QNumber::get_fraction(mpz_ptr num, mpz_ptr den) const {
  if (is_small()) {
    mpz_set_si(num, num_);
    mpz_set_si(den, den_);
  } else {
    mpz_set(num, block()->num.z);
    mpz_set(den, block()->den.z);
  }
}

QNumber QNumber::from_fraction(mpz_srcptr num, mpz_srcptr den) {
  QNumber result;
  result.set_block(new Block{Integer(num), Integer(den)});
  result.normalize();
  return result.compact();
}

bool QNumber::big_equals(long value) const {
  return is_unit(block()->den.z) && mpz_cmp_si(block()->num.z, value) == 0;
}

// ---- addition ----

// left += c/d on words.  False, with nothing changed, when a product or a sum leaves the small range.
// With g the common factor of the denominators, only a factor of g can cancel from the sum (Knuth, The Art of Computer
// Programming, volume 2, section 4.5.1).
bool QNumber::add_fractions(QNumber* left, std::int64_t c, std::int64_t d) {
  const std::int64_t a = left->num_, b = left->den_;
  const std::int64_t g = b == 1 || d == 1 ? 1 : gcd(b, d);
  std::int64_t x = 0, y = 0, sum = 0, den = 0;
  if (g == 1) {
    if (!mul_words(a, d, &x) || !mul_words(c, b, &y) || !add_words(x, y, &sum) || !mul_words(b, d, &den)) return false;
  } else {
    const std::int64_t b_rest = b / g;
    if (!mul_words(a, d / g, &x) || !mul_words(c, b_rest, &y) || !add_words(x, y, &sum)) return false;
    const std::int64_t g2 = gcd(absolute(sum), g);
    if (!mul_words(b_rest, d / g2, &den)) return false;
    sum /= g2;
  }
  left->num_ = sum;
  left->den_ = den;
  return true;
}

void QNumber::add_general(const QNumber& other, bool subtract) {
  if (den_ != 0 && other.den_ != 0 && add_fractions(this, subtract ? -other.num_ : other.num_, other.den_)) return;
  add_big(other, subtract);
}

// *out = left + right, or left - right; `out` may be the block of `left`, but not that of `right`.
void QNumber::write_sum(Block* out, const View& left, const View& right, bool subtract) {
  mpz_ptr num = out->num.z, den = out->den.z;
  const auto accumulate = subtract ? &mpz_submul : &mpz_addmul;
  if (is_unit(left.den) && is_unit(right.den)) {
    (subtract ? mpz_sub : mpz_add)(num, left.num, right.num);
    mpz_set(den, left.den);
    return;
  }
  const CommonFactor g(right.den, left.den);
  if (g.is_one) {
    mpz_mul(num, left.num, right.den);
    accumulate(num, left.den, right.num);
    mpz_mul(den, left.den, right.den);
    return;
  }
  mpz_mul(num, left.num, Quotient(right.den, g).value);
  mpz_divexact(den, left.den, g.value.z);
  accumulate(num, den, right.num);
  const CommonFactor g2(num, g.value.z);  // all that can cancel
  if (!g2.is_one) mpz_divexact(num, num, g2.value.z);
  mpz_mul(den, den, Quotient(right.den, g2).value);
}

void QNumber::add_big(const QNumber& other, bool subtract) {
  if (this == &other) {
    const QNumber copy(other);
    add_big(copy, subtract);
    return;
  }
  make_big();
  write_sum(block(), View(*this), View(other), subtract);
}

QNumber QNumber::sum_general(const QNumber& a, const QNumber& b, bool subtract) {
  if (a.den_ != 0 && b.den_ != 0) {
    QNumber result(a);
    result.add_general(b, subtract);
    return result;
  }
  QNumber result;
  result.set_block(new Block());
  write_sum(result.block(), View(a), View(b), subtract);
  return result;
}

// ---- multiplication ----

// left *= c/d on words with factors cancelled crosswise.  False, with nothing changed, on overflow.
bool QNumber::mul_fractions(QNumber* left, std::int64_t c, std::int64_t d) {
  std::int64_t a = left->num_, b = left->den_;
  if (d != 1) {
    const std::int64_t g = gcd(absolute(a), d);
    if (g != 1) a /= g, d /= g;
  }
  if (b != 1) {
    const std::int64_t g = gcd(absolute(c), b);
    if (g != 1) c /= g, b /= g;
  }
  std::int64_t num = 0, den = 0;
  if (!mul_words(a, c, &num) || !mul_words(b, d, &den)) return false;
  left->num_ = num;
  left->den_ = den;
  return true;
}

void QNumber::mul_general(const QNumber& other) {
  if (den_ != 0 && other.den_ != 0 && mul_fractions(this, other.num_, other.den_)) return;
  mul_big(other);
}

// *out = left * right; `out` may be the block of `left`, but not that of `right`.
void QNumber::write_product(Block* out, const View& left, const View& right) {
  if (is_unit(left.den) && is_unit(right.den)) {
    mpz_mul(out->num.z, left.num, right.num);
    mpz_set(out->den.z, left.den);
    return;
  }
  const CommonFactor g1(left.num, right.den);
  const CommonFactor g2(right.num, left.den);
  mpz_mul(out->num.z, Quotient(left.num, g1).value, Quotient(right.num, g2).value);
  mpz_mul(out->den.z, Quotient(left.den, g2).value, Quotient(right.den, g1).value);
}

void QNumber::mul_big(const QNumber& other) {
  make_big();
  if (this == &other) {  // the square of a reduced fraction is reduced
    mpz_mul(block()->num.z, block()->num.z, block()->num.z);
    mpz_mul(block()->den.z, block()->den.z, block()->den.z);
    return;
  }
  write_product(block(), View(*this), View(other));
}

QNumber QNumber::product_general(const QNumber& a, const QNumber& b) {
  if (a.den_ != 0 && b.den_ != 0) {
    QNumber result(a);
    result.mul_general(b);
    return result;
  }
  QNumber result;
  result.set_block(new Block());
  write_product(result.block(), View(a), View(b));
  return result;
}

QNumber QNumber::inverse() const {
  assert(!is_zero());
  QNumber result(*this);
  if (den_ != 0) {
    result.num_ = num_ < 0 ? -den_ : den_;
    result.den_ = num_ < 0 ? -num_ : num_;
    return result;
  }
  mpz_swap(result.block()->num.z, result.block()->den.z);
  if (mpz_sgn(result.block()->den.z) < 0) {
    mpz_neg(result.block()->num.z, result.block()->num.z);
    mpz_neg(result.block()->den.z, result.block()->den.z);
  }
  return result;
}

// ---- fused multiply-add ----

// *this += a*b on words, or -= when `subtract`; false, with nothing changed, when an intermediate leaves 64 bits.
// The sum is formed over the product of the denominators and reduced once, which costs one gcd instead of four.
bool QNumber::add_mul_fractions(const QNumber& a, const QNumber& b, bool subtract) {
  if (a.num_ == 0 || b.num_ == 0) return true;
  std::int64_t product = 0, product_den = 0, scaled = 0, sum = 0, den = 0;
  if (!mul_words(subtract ? -a.num_ : a.num_, b.num_, &product)) return false;
  if (!mul_words(a.den_, b.den_, &product_den)) return false;
  if (den_ == product_den) {
    if (!add_words(num_, product, &sum)) return false;
    den = den_;
  } else {
    if (!mul_words(num_, product_den, &scaled) || !mul_words(product, den_, &product)) return false;
    if (!add_words(scaled, product, &sum) || !mul_words(den_, product_den, &den)) return false;
  }
  if (product_den != 1) {  // adding an integer to a reduced fraction cancels nothing
    const std::int64_t g = gcd(absolute(sum), den);
    if (g != 1) sum /= g, den /= g;
  }
  num_ = sum;
  den_ = den;
  return true;
}

void QNumber::add_mul_general(const QNumber& a, const QNumber& b, bool subtract) {
  if (den_ != 0 && a.den_ != 0 && b.den_ != 0 && add_mul_fractions(a, b, subtract)) return;
  if (is_integer() && a.is_integer() && b.is_integer()) {
    make_big();
    const View left(a), right(b);  // after make_big: they may look at this very number
    (subtract ? mpz_submul : mpz_addmul)(block()->num.z, left.num, right.num);
    return;
  }
  QNumber product(a);
  product *= b;
  if (subtract) {
    *this -= product;
  } else {
    *this += product;
  }
}

// ---- comparison ----

// Compares a/b with c/d; the denominators are positive.
int QNumber::compare_quotients(mpz_srcptr a, mpz_srcptr b, mpz_srcptr c, mpz_srcptr d) {
  const int left_sign = mpz_sgn(a), right_sign = mpz_sgn(c);
  if (left_sign != right_sign) return left_sign < right_sign ? -1 : 1;
  if (left_sign == 0) return 0;
  if (is_unit(b) && is_unit(d)) return left_sign * compare_magnitudes(a, c);
  // Most comparisons are decided without forming the products.
  const int by_estimate = compare_estimates(Estimate(a, d), Estimate(c, b));
  if (by_estimate != 0) return left_sign * by_estimate;
  Integer left, right;
  mpz_mul(left.z, a, d);
  mpz_mul(right.z, c, b);
  return left_sign * compare_magnitudes(left.z, right.z);
}

int QNumber::compare_general(const QNumber& a, const QNumber& b) {
  if (a.den_ == 0 && b.den_ == 0) {
    const Block &left = *a.block(), &right = *b.block();
    return compare_quotients(left.num.z, left.den.z, right.num.z, right.den.z);
  }
  const View left(a), right(b);
  return compare_quotients(left.num, left.den, right.num, right.den);
}

bool QNumber::equal_general(const QNumber& a, const QNumber& b) {
  const View left(a), right(b);
  return mpz_cmp(left.num, right.num) == 0 && mpz_cmp(left.den, right.den) == 0;
}

// ---- parts ----

QNumber QNumber::floor() const {
  if (den_ == 1) return *this;
  if (den_ != 0) return QNumber(num_ / den_ - (num_ < 0 ? 1 : 0));
  Integer quotient;
  mpz_fdiv_q(quotient.z, block()->num.z, block()->den.z);
  return from_mpz(quotient.z);
}

QNumber QNumber::numerator() const {
  return den_ != 0 ? QNumber(num_) : from_mpz(block()->num.z);
}

QNumber QNumber::denominator() const {
  return den_ != 0 ? QNumber(den_) : from_mpz(block()->den.z);
}

// ---- measures ----

namespace {

std::uint64_t mix(std::uint64_t state, std::uint64_t word) {
  state = (state ^ word) * 0x9e3779b97f4a7c15u;
  return state ^ (state >> 29);
}

std::uint64_t mix_integer(std::uint64_t state, mpz_srcptr x) {
  if (mpz_fits_slong_p(x) != 0) return mix(state, static_cast<std::uint64_t>(mpz_get_si(x)));
  state = mix(state, static_cast<std::uint64_t>(mpz_sgn(x)));
  for (std::size_t i = 0; i < mpz_size(x); ++i) state = mix(state, mpz_getlimbn(x, static_cast<mp_size_t>(i)));
  return state;
}

}  // namespace

std::size_t QNumber::hash() const {
  if (den_ != 0) return mix(mix(1, static_cast<std::uint64_t>(num_)), static_cast<std::uint64_t>(den_));
  const View view(*this);
  return mix_integer(mix_integer(1, view.num), view.den);
}

std::size_t QNumber::bit_size() const {
  const View view(*this);
  return mpz_sizeinbase(view.num, 2) + mpz_sizeinbase(view.den, 2);
}

double QNumber::to_double() const {
  if (den_ != 0) return static_cast<double>(num_) / static_cast<double>(den_);
  long num_exponent = 0, den_exponent = 0;
  const double num = mpz_get_d_2exp(&num_exponent, block()->num.z);
  const double den = mpz_get_d_2exp(&den_exponent, block()->den.z);
  const long exponent = std::clamp(num_exponent - den_exponent, -5000L, 5000L);
  return std::ldexp(num / den, static_cast<int>(exponent));
}

}  // namespace tarku
