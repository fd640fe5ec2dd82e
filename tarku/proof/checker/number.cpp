// Reading numbers strictly, and the operations that the two kinds of rationals spell differently.
#include "tarku/proof/checker/number.h"

#include <algorithm>

namespace tarku::checker {

namespace {

bool is_digits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

#ifdef TARKU_CHECKER_GMP
Number quotient(std::string_view numerator, std::string_view denominator) {
  Number value(mpz_class(std::string(numerator), 10), mpz_class(std::string(denominator), 10));
  value.canonicalize();
  return value;
}
#else
Number quotient(std::string_view numerator, std::string_view denominator) {
  Number value;
  QNumber::parse(std::string(numerator) + '/' + std::string(denominator), &value);
  return value;
}
#endif

}  // namespace

bool parse_fraction(std::string_view text, Number* out) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  const std::size_t slash = text.find('/');
  const std::string_view numerator = text.substr(0, slash);
  const std::string_view denominator = slash == std::string_view::npos ? "1" : text.substr(slash + 1);
  if (!is_digits(numerator) || !is_digits(denominator)) return false;
  if (denominator.find_first_not_of('0') == std::string_view::npos) return false;
  const Number value = quotient(numerator, denominator);
  *out = negative ? Number(-value) : value;
  return true;
}

bool parse_decimal(std::string_view text, Number* out) {
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) {
    if (!is_digits(text)) return false;
    *out = quotient(text, "1");
    return true;
  }
  const std::string_view whole = text.substr(0, point), decimals = text.substr(point + 1);
  if (!is_digits(whole) || !is_digits(decimals)) return false;
  *out = quotient(std::string(whole) + std::string(decimals), '1' + std::string(decimals.size(), '0'));
  return true;
}

#ifdef TARKU_CHECKER_GMP

std::string to_str(const Number& value) {
  return value.get_str();
}

int sign(const Number& value) {
  return sgn(value);
}

std::size_t hash(const Number& value) {
  std::size_t result = 0;
  const auto add = [&result](const mpz_class& part) {
    for (std::size_t i = 0; i < mpz_size(part.get_mpz_t()); ++i) {
      result = (result ^ mpz_getlimbn(part.get_mpz_t(), static_cast<mp_size_t>(i))) * 0x9fb21c651e98df25u;
      result ^= result >> 29;
    }
  };
  add(value.get_num());
  result += sgn(value) < 0 ? 1 : 0;
  add(value.get_den());
  return result;
}

std::size_t bit_size(const Number& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) + mpz_sizeinbase(value.get_den_mpz_t(), 2);
}

void add_product(Number* sum, const Number& a, const Number& b) {
  *sum += a * b;
}

#else

std::string to_str(const Number& value) {
  return value.to_str();
}

int sign(const Number& value) {
  return value.sign();
}

std::size_t hash(const Number& value) {
  return value.hash();
}

std::size_t bit_size(const Number& value) {
  return value.bit_size();
}

void add_product(Number* sum, const Number& a, const Number& b) {
  sum->add_mul(a, b);
}

#endif

}  // namespace tarku::checker
