// QNumber: exact rational numbers, two machine words while they fit and two GMP integers after an overflow.
//
// A value is numerator/denominator with a positive denominator and no common factor; zero is 0/1.  It has two forms:
//
//   small  num_ and den_ are the numerator and the denominator; neither word is ever the most negative 64-bit integer,
//          so that negation and absolute value of a word cannot overflow;
//   big    den_ is 0 and num_ holds the address of a heap block with two GMP integers.
//
// A machine operation whose products or sums leave 64 bits moves its left operand to the big form, and there it stays:
// no operation moves a result back, so equal values may live in different forms, and every operation takes any mix.
// compact() is the explicit way back.  The small form never allocates.
//
// Exceptions: allocation failure leaves every operand valid (it can be assigned and destroyed).  GMP's own default is
// to abort when memory runs out.  Threads: distinct objects may be used by distinct threads.
#pragma once

#include <gmp.h>

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>

#include "tarku/numbers/words.h"

namespace tarku {

class QNumber {
 public:
  // ---- construction; integers convert implicitly, constants are initialised at compile time ----
  constexpr QNumber() noexcept : num_(0), den_(1) {}
  constexpr QNumber(int value) noexcept : num_(value), den_(1) {}
  constexpr QNumber(long value) : num_(value), den_(1) {
    if (value == kWordMin) fix_int_min();
  }
  constexpr QNumber(long long value) : QNumber(static_cast<long>(value)) {}
  // num/den in lowest terms; den must not be 0.
  constexpr QNumber(std::int64_t num, std::int64_t den);

  QNumber(const QNumber& other) : num_(detail::as_word(other.num_)), den_(detail::as_word(other.den_)) {
    if (detail::unlikely(den_ == 0)) copy_block(other);
  }
  QNumber(QNumber&& other) noexcept : num_(detail::as_word(other.num_)), den_(detail::as_word(other.den_)) {
    other.reset_words();
  }
  ~QNumber() {
    if (detail::unlikely(den_ == 0)) free_block();
  }

  // Assigning to a big value keeps its block and the big form, whatever the form of the source.
  QNumber& operator=(const QNumber& other);
  // As copy assignment, but a big source hands over its block; the source becomes 0/1.
  QNumber& operator=(QNumber&& other) noexcept;
  // Exchanges the two representations: forms travel with the values, nothing is copied.
  void swap(QNumber& other) noexcept;

  // ---- arithmetic; operands may alias, divisors must not be zero ----
  QNumber& operator+=(const QNumber& other);
  QNumber& operator-=(const QNumber& other);
  QNumber& operator*=(const QNumber& other);
  QNumber& operator/=(const QNumber& other) { return *this *= other.inverse(); }
  // Fused forms for hot loops: *this += a*b and *this -= a*b without a temporary in the small form.
  void add_mul(const QNumber& a, const QNumber& b);
  void sub_mul(const QNumber& a, const QNumber& b);
  void negate();  // in place
  QNumber neg() const;
  QNumber abs() const { return is_negative() ? neg() : *this; }
  QNumber inverse() const;  // 1 / *this; must not be zero
  QNumber floor() const;    // greatest integer not above the value
  QNumber numerator() const;
  QNumber denominator() const;

  // ---- queries; all cheap ----
  int sign() const { return is_small() ? (num_ > 0) - (num_ < 0) : mpz_sgn(block()->num.z); }
  bool is_zero() const { return is_small() ? num_ == 0 : mpz_sgn(block()->num.z) == 0; }
  bool is_positive() const { return sign() > 0; }
  bool is_negative() const { return sign() < 0; }
  bool is_one() const { return is_small() ? num_ == 1 && den_ == 1 : big_equals(1); }
  bool is_minus_one() const { return is_small() ? num_ == -1 && den_ == 1 : big_equals(-1); }
  bool is_integer() const { return is_small() ? den_ == 1 : detail::is_unit(block()->den.z); }
  bool is_small() const { return detail::likely(den_ != 0); }
  std::int64_t small_num() const { return assert(den_ != 0), num_; }  // small form only
  std::int64_t small_den() const { return assert(den_ != 0), den_; }  // small form only
  // Bits of the numerator plus bits of the denominator: a measure of size for heuristics.
  std::size_t bit_size() const;
  // Equal values have equal hashes, whatever their forms.
  std::size_t hash() const;
  // Nearest double up to a few units in the last place; for statistics and heuristics only.
  double to_double() const;

  // ---- representation ----
  // A new value equal to this one, in the small form when it fits.  Meant for storage that is rewritten wholesale:
  // `if (!x.is_small() && x.fits_small()) { QNumber c = x.compact(); x.swap(c); }`.
  QNumber compact() const;
  bool fits_small() const;  // true when compact() gives the small form
  // To and from GMP integers: num/den, of which from_fraction takes any with den > 0.
  void get_fraction(mpz_ptr num, mpz_ptr den) const;
  static QNumber from_fraction(mpz_srcptr num, mpz_srcptr den);
  // Brings the words or the block to the normal form.  Values are always normal between operations.
  void normalize();
  // Moves a small value that holds the most negative 64-bit integer in either word into the big form.
  void fix_int_min();

  // ---- text ----
  // "-3/4", or "5" when the denominator is 1.
  std::string to_str() const;
  // Reads `12`, `-3/4` or `0.125`: an optional minus sign, digits, and then nothing, a slash with digits that are not
  // zero, or a point with digits.  Any length, exact.  Gives false on anything else and leaves *out as it was.
  static bool parse(std::string_view text, QNumber* out);

  // -1, 0 or 1 as a is less than, equal to or greater than b.
  static int compare(const QNumber& a, const QNumber& b);
  friend QNumber operator+(const QNumber& a, const QNumber& b);
  friend QNumber operator-(const QNumber& a, const QNumber& b);
  friend QNumber operator*(const QNumber& a, const QNumber& b);
  friend bool operator==(const QNumber& a, const QNumber& b);
  friend bool operator<(const QNumber& a, const QNumber& b);

 private:
  static constexpr std::int64_t kWordMin = std::numeric_limits<std::int64_t>::min();

  // An owned GMP integer, cleared on every way out.
  struct Integer {
    mpz_t z;
    Integer() { mpz_init(z); }
    explicit Integer(std::int64_t value) { mpz_init_set_si(z, value); }
    explicit Integer(mpz_srcptr value) { mpz_init_set(z, value); }
    Integer(const Integer& other) { mpz_init_set(z, other.z); }
    Integer& operator=(const Integer&) = delete;
    ~Integer() { mpz_clear(z); }
  };
  // The heap block of the big form: numerator, then denominator.
  struct Block {
    Integer num, den;
  };
  struct CommonFactor;
  struct Quotient;
  class View;  // either form seen as two read-only GMP integers

  static constexpr void reduce_words(std::int64_t* num, std::int64_t* den);
  static bool add_words(std::int64_t x, std::int64_t y, std::int64_t* out);
  static bool mul_words(std::int64_t x, std::int64_t y, std::int64_t* out);
  static bool add_fractions(QNumber* left, std::int64_t c, std::int64_t d);
  static bool mul_fractions(QNumber* left, std::int64_t c, std::int64_t d);
  static detail::Int128 cross_product(const QNumber& a, const QNumber& b) {
    return static_cast<detail::Int128>(a.num_) * b.den_;
  }
  static QNumber from_mpz(mpz_srcptr value);

  Block* block() const { return reinterpret_cast<Block*>(num_); }
  void set_block(Block* fresh) { num_ = reinterpret_cast<std::int64_t>(fresh), den_ = 0; }
  void reset_words() { num_ = 0, den_ = 1; }
  void copy_block(const QNumber& other);
  void free_block() noexcept;
  void make_big();
  void assign_general(const QNumber& other);
  void move_general(QNumber& other) noexcept;
  void add_general(const QNumber& other, bool subtract);
  static void write_sum(Block* out, const View& left, const View& right, bool subtract);
  static void write_product(Block* out, const View& left, const View& right);
  void add_big(const QNumber& other, bool subtract);
  void mul_general(const QNumber& other);
  void mul_big(const QNumber& other);
  void add_mul_general(const QNumber& a, const QNumber& b, bool subtract);
  bool add_mul_fractions(const QNumber& a, const QNumber& b, bool subtract);
  static QNumber sum_general(const QNumber& a, const QNumber& b, bool subtract);
  static QNumber product_general(const QNumber& a, const QNumber& b);
  static int compare_quotients(mpz_srcptr a, mpz_srcptr b, mpz_srcptr c, mpz_srcptr d);
  static int compare_general(const QNumber& a, const QNumber& b);
  static bool equal_general(const QNumber& a, const QNumber& b);
  bool big_equals(long value) const;

  std::int64_t num_;  // numerator, or the block's address
  std::int64_t den_;  // denominator, or 0 for the big form
};

static_assert(sizeof(QNumber) == 16, "a rational is exactly two words");
static_assert(sizeof(long) == 8 && sizeof(void*) == 8, "written for 64-bit machines with 64-bit long");

std::ostream& operator<<(std::ostream& out, const QNumber& value);

}  // namespace tarku

#include "tarku/numbers/qnumber_inline.h"
