// The text form of QNumber: writing, and reading of integers, fractions and decimals of any length.
#include <algorithm>
#include <ostream>

#include "tarku/numbers/qnumber.h"

namespace tarku {

namespace {

constexpr std::size_t kWordDigits = 18;  // decimal digits that always fit in a word

std::string decimal(mpz_srcptr x) {
  std::string text(mpz_sizeinbase(x, 10) + 2, '\0');  // sign and terminator
  mpz_get_str(text.data(), 10, x);
  text.resize(text.find('\0'));
  return text;
}

// The number of decimal digits that `text` starts with.
std::size_t count_digits(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_digit) - text.begin());
}

// The value of at most kWordDigits digits.
std::int64_t word_value(std::string_view digits) {
  std::int64_t value = 0;
  for (const char c : digits) value = value * 10 + (c - '0');
  return value;
}

// Splits a number's text, sign taken off, into the digits of a numerator and of a denominator: 12.5 is 125 over 10.
bool split_digits(std::string_view text, std::string* num, std::string* den) {
  const std::size_t whole = count_digits(text);
  if (whole == 0) return false;
  num->assign(text.substr(0, whole));
  den->assign("1");
  if (whole == text.size()) return true;
  const char separator = text[whole];
  std::string_view rest = text.substr(whole + 1);
  if (rest.empty() || count_digits(rest) != rest.size()) return false;
  if (separator == '/') {
    den->assign(rest);
    return rest.find_first_not_of('0') != std::string_view::npos;
  }
  rest = rest.substr(0, rest.find_last_not_of('0') + 1);  // trailing zeros mean nothing
  num->append(rest);
  den->append(rest.size(), '0');
  return separator == '.';
}

}  // namespace

std::string QNumber::to_str() const {
  if (is_small()) return std::to_string(num_) + (den_ == 1 ? "" : "/" + std::to_string(den_));
  return decimal(block()->num.z) + (is_integer() ? "" : "/" + decimal(block()->den.z));
}

bool QNumber::parse(std::string_view text, QNumber* out) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  std::string num, den;
  if (!split_digits(text, &num, &den)) return false;
  QNumber value;
  if (num.size() <= kWordDigits && den.size() <= kWordDigits) {
    value = QNumber(word_value(num), word_value(den));
  } else {
    value.make_big();
    mpz_set_str(value.block()->num.z, num.c_str(), 10);
    mpz_set_str(value.block()->den.z, den.c_str(), 10);
    value.normalize();
  }
  if (negative) value.negate();
  *out = value.compact();
  return true;
}

std::ostream& operator<<(std::ostream& out, const QNumber& value) {
  return out << value.to_str();
}

}  // namespace tarku
