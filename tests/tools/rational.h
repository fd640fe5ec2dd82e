// Exact rational numbers of the test tools: two machine words while they fit, GMP's mpq_class otherwise.
//
// Deliberately unrelated to the library's own number type, so that an error there cannot excuse itself here.
#pragma once

#include <gmpxx.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tarku::tester {

class Rational {
 public:
  Rational() = default;
  Rational(std::int64_t value) : Rational(value, 1) {}
  Rational(std::int64_t num, std::int64_t den);  // any sign of den, not 0; brought to lowest terms
  explicit Rational(const mpq_class& value);     // value must be canonical

  // Reads "12", "-3/4" of any length; false on anything else.
  static bool parse(std::string_view text, Rational* out);

  bool is_small() const { return big_ == nullptr; }
  std::int64_t small_num() const { return num_; }  // only when is_small()
  std::int64_t small_den() const { return den_; }  // only when is_small(); positive
  mpz_class num() const;
  mpz_class den() const;
  mpq_class to_mpq() const;
  int sign() const;
  bool is_integer() const;
  Rational floor() const;
  Rational abs() const { return sign() < 0 ? -*this : *this; }
  std::string to_str() const;

  Rational operator-() const;
  Rational operator+(const Rational& other) const;
  Rational operator-(const Rational& other) const;
  Rational operator*(const Rational& other) const;
  Rational operator/(const Rational& other) const;  // other must not be 0
  Rational& operator+=(const Rational& other) { return *this = *this + other; }
  Rational& operator-=(const Rational& other) { return *this = *this - other; }

 private:
  std::int64_t num_ = 0;
  std::int64_t den_ = 1;
  std::shared_ptr<const mpq_class> big_;  // set exactly when the value does not fit the two words; never written
};

int compare(const Rational& a, const Rational& b);  // -1, 0, 1
inline bool operator==(const Rational& a, const Rational& b) {
  return compare(a, b) == 0;
}
inline bool operator!=(const Rational& a, const Rational& b) {
  return compare(a, b) != 0;
}
inline bool operator<(const Rational& a, const Rational& b) {
  return compare(a, b) < 0;
}

// real + delta * d for an infinitesimal d > 0; ordered by the real part first.
struct Value {
  Rational real;
  Rational delta;

  Value() = default;
  Value(Rational r) : real(std::move(r)) {}
  Value(Rational r, Rational d) : real(std::move(r)), delta(std::move(d)) {}
  Value operator+(const Value& other) const { return {real + other.real, delta + other.delta}; }
  Value operator-(const Value& other) const { return {real - other.real, delta - other.delta}; }
  Value operator*(const Rational& factor) const { return {real * factor, delta * factor}; }
  int sign() const { return real.sign() != 0 ? real.sign() : delta.sign(); }
  std::string to_str() const;  // "3/2", "3+1d", "3-1/2d"
  static bool parse(std::string_view text, Value* out);
};

int compare(const Value& a, const Value& b);
inline bool operator==(const Value& a, const Value& b) {
  return compare(a, b) == 0;
}
inline bool operator!=(const Value& a, const Value& b) {
  return compare(a, b) != 0;
}

}  // namespace tarku::tester
