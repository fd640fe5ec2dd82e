// Arithmetic of the test tools' rational numbers.
#include "tests/tools/rational.h"

#include <cctype>
#include <limits>
#include <numeric>

namespace tarku::tester {

namespace {

__extension__ using Wide = __int128;

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

bool multiply(std::int64_t a, std::int64_t b, std::int64_t* out) {
  return !__builtin_mul_overflow(a, b, out) && *out != kMin;
}

bool add(std::int64_t a, std::int64_t b, std::int64_t* out) {
  return !__builtin_add_overflow(a, b, out) && *out != kMin;
}

mpz_class from_int64(std::int64_t value) {
  static_assert(sizeof(long) == sizeof(std::int64_t), "the test tools assume a 64-bit long");
  return mpz_class(static_cast<long>(value));
}

bool is_decimal(std::string_view text) {
  if (!text.empty() && text.front() == '-') text.remove_prefix(1);
  if (text.empty()) return false;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

}  // namespace

Rational::Rational(std::int64_t num, std::int64_t den) {
  if (num == kMin || den == kMin) {
    mpq_class value(from_int64(num), from_int64(den));
    value.canonicalize();
    *this = Rational(value);
    return;
  }
  const std::int64_t divisor = den == 1 ? 1 : std::gcd(num, den);
  num_ = den < 0 ? -num / divisor : num / divisor;
  den_ = den < 0 ? -den / divisor : den / divisor;
}

Rational::Rational(const mpq_class& value) {
  const mpz_class& top = value.get_num();
  const mpz_class& bottom = value.get_den();
  if (top.fits_slong_p() && bottom.fits_slong_p() && top.get_si() != kMin) {
    num_ = top.get_si();
    den_ = bottom.get_si();
  } else {
    big_ = std::make_shared<const mpq_class>(value);
  }
}

bool Rational::parse(std::string_view text, Rational* out) {
  const std::size_t slash = text.find('/');
  const std::string_view top = text.substr(0, slash);
  if (!is_decimal(top)) return false;
  mpq_class value;
  value.get_num() = mpz_class(std::string(top));
  if (slash != std::string_view::npos) {
    const std::string_view bottom = text.substr(slash + 1);
    if (!is_decimal(bottom)) return false;
    value.get_den() = mpz_class(std::string(bottom));
    if (value.get_den() == 0) return false;
  }
  value.canonicalize();
  *out = Rational(value);
  return true;
}

mpz_class Rational::num() const {
  return big_ ? mpz_class(big_->get_num()) : from_int64(num_);
}
mpz_class Rational::den() const {
  return big_ ? mpz_class(big_->get_den()) : from_int64(den_);
}
mpq_class Rational::to_mpq() const {
  return big_ ? *big_ : mpq_class(from_int64(num_), from_int64(den_));
}
int Rational::sign() const {
  return big_ ? sgn(*big_) : (num_ > 0) - (num_ < 0);
}
bool Rational::is_integer() const {
  return big_ ? big_->get_den() == 1 : den_ == 1;
}

Rational Rational::floor() const {
  mpz_class quotient;
  mpz_fdiv_q(quotient.get_mpz_t(), num().get_mpz_t(), den().get_mpz_t());
  return Rational(mpq_class(quotient));
}

std::string Rational::to_str() const {
  if (big_) return big_->get_str();
  return den_ == 1 ? std::to_string(num_) : std::to_string(num_) + "/" + std::to_string(den_);
}

Rational Rational::operator-() const {
  if (big_) return Rational(mpq_class(-*big_));
  Rational result;
  result.num_ = -num_;
  result.den_ = den_;
  return result;
}

Rational Rational::operator+(const Rational& other) const {
  if (!big_ && !other.big_) {
    std::int64_t left, right, top, bottom;
    if (den_ == other.den_) {
      if (add(num_, other.num_, &top)) return Rational(top, den_);
    } else if (multiply(num_, other.den_, &left) && multiply(other.num_, den_, &right) && add(left, right, &top) &&
               multiply(den_, other.den_, &bottom)) {
      return Rational(top, bottom);
    }
  }
  return Rational(mpq_class(to_mpq() + other.to_mpq()));
}

Rational Rational::operator-(const Rational& other) const {
  return *this + -other;
}

Rational Rational::operator*(const Rational& other) const {
  if (!big_ && !other.big_) {
    std::int64_t top, bottom;
    if (multiply(num_, other.num_, &top) && multiply(den_, other.den_, &bottom)) return Rational(top, bottom);
  }
  return Rational(mpq_class(to_mpq() * other.to_mpq()));
}

Rational Rational::operator/(const Rational& other) const {
  if (!big_ && !other.big_) {
    std::int64_t top, bottom;
    if (multiply(num_, other.den_, &top) && multiply(den_, other.num_, &bottom)) return Rational(top, bottom);
  }
  return Rational(mpq_class(to_mpq() / other.to_mpq()));
}

int compare(const Rational& a, const Rational& b) {
  if (a.is_small() && b.is_small()) {
    const Wide left = static_cast<Wide>(a.small_num()) * b.small_den();
    const Wide right = static_cast<Wide>(b.small_num()) * a.small_den();
    return (left > right) - (left < right);
  }
  const int order = cmp(a.to_mpq(), b.to_mpq());
  return (order > 0) - (order < 0);
}

std::string Value::to_str() const {
  if (delta.sign() == 0) return real.to_str();
  return real.to_str() + (delta.sign() > 0 ? "+" : "-") + delta.abs().to_str() + "d";
}

bool Value::parse(std::string_view text, Value* out) {
  if (text.empty() || text.back() != 'd') {
    out->delta = Rational();
    return Rational::parse(text, &out->real);
  }
  text.remove_suffix(1);
  const std::size_t mark = text.find_last_of("+-");
  if (mark == std::string_view::npos || mark == 0) return false;
  Rational real, delta;
  if (!Rational::parse(text.substr(0, mark), &real) || !Rational::parse(text.substr(mark + 1), &delta)) return false;
  *out = Value(real, text[mark] == '-' ? -delta : delta);
  return true;
}

int compare(const Value& a, const Value& b) {
  const int order = compare(a.real, b.real);
  return order != 0 ? order : compare(a.delta, b.delta);
}

}  // namespace tarku::tester
