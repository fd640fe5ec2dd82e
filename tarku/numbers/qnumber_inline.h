// The inline bodies of QNumber: the paths that stay on machine words.  Included by qnumber.h only.
#pragma once

#include "tarku/numbers/qnumber.h"

namespace tarku {

constexpr void QNumber::reduce_words(std::int64_t* num, std::int64_t* den) {
  const auto divisor = static_cast<std::int64_t>(detail::gcd_words(detail::magnitude(*num), detail::magnitude(*den)));
  const std::int64_t signed_divisor = *den < 0 ? -divisor : divisor;
  *num /= signed_divisor;
  *den /= signed_divisor;
}

constexpr QNumber::QNumber(std::int64_t num, std::int64_t den) : num_(num), den_(den) {
  assert(den != 0);
  if (num == kWordMin || den == kWordMin) {
    fix_int_min();
    normalize();
  } else {
    reduce_words(&num_, &den_);
  }
}

// Sum and product of words; false when the result leaves the range of the small form, the most negative word included.
inline bool QNumber::add_words(std::int64_t x, std::int64_t y, std::int64_t* out) {
  return detail::likely(!__builtin_add_overflow(x, y, out)) && detail::likely(*out != kWordMin);
}
inline bool QNumber::mul_words(std::int64_t x, std::int64_t y, std::int64_t* out) {
  return detail::likely(!__builtin_mul_overflow(x, y, out)) && detail::likely(*out != kWordMin);
}

inline QNumber& QNumber::operator=(const QNumber& other) {
  if (detail::likely(den_ != 0) && detail::likely(other.den_ != 0)) {
    num_ = detail::as_word(other.num_);
    den_ = detail::as_word(other.den_);
  } else {
    assign_general(other);
  }
  return *this;
}

inline QNumber& QNumber::operator=(QNumber&& other) noexcept {
  if (this == &other) return *this;
  if (detail::likely(den_ != 0)) {
    num_ = detail::as_word(other.num_);
    den_ = detail::as_word(other.den_);
    other.reset_words();
  } else {
    move_general(other);
  }
  return *this;
}

inline void QNumber::swap(QNumber& other) noexcept {
  const std::int64_t num = num_, den = den_;
  num_ = other.num_;
  den_ = other.den_;
  other.num_ = num;
  other.den_ = den;
}
inline void swap(QNumber& a, QNumber& b) noexcept {
  a.swap(b);
}

inline QNumber& QNumber::operator+=(const QNumber& other) {
  std::int64_t sum = 0;
  if (detail::likely(den_ == 1) && detail::likely(other.den_ == 1) &&
      detail::likely(add_words(num_, other.num_, &sum))) {
    num_ = sum;
  } else {
    add_general(other, false);
  }
  return *this;
}

inline QNumber& QNumber::operator-=(const QNumber& other) {
  std::int64_t sum = 0;
  if (detail::likely(den_ == 1) && detail::likely(other.den_ == 1) &&
      detail::likely(add_words(num_, -other.num_, &sum))) {
    num_ = sum;
  } else {
    add_general(other, true);
  }
  return *this;
}

inline QNumber& QNumber::operator*=(const QNumber& other) {
  std::int64_t product = 0;
  if (detail::likely(den_ == 1) && detail::likely(other.den_ == 1) &&
      detail::likely(mul_words(num_, other.num_, &product))) {
    num_ = product;
  } else {
    mul_general(other);
  }
  return *this;
}

inline void QNumber::add_mul(const QNumber& a, const QNumber& b) {
  std::int64_t result = 0;
  if (detail::likely(den_ == 1 && a.den_ == 1 && b.den_ == 1 && mul_words(a.num_, b.num_, &result) &&
                     add_words(num_, result, &result))) {
    num_ = result;
  } else {
    add_mul_general(a, b, false);
  }
}

inline void QNumber::sub_mul(const QNumber& a, const QNumber& b) {
  std::int64_t result = 0;
  if (detail::likely(den_ == 1 && a.den_ == 1 && b.den_ == 1 && mul_words(a.num_, b.num_, &result) &&
                     add_words(num_, -result, &result))) {
    num_ = result;
  } else {
    add_mul_general(a, b, true);
  }
}

inline void QNumber::negate() {
  if (is_small()) {
    num_ = -num_;
  } else {
    mpz_neg(block()->num.z, block()->num.z);
  }
}

inline QNumber QNumber::neg() const {
  QNumber result(*this);
  result.negate();
  return result;
}

// The free operators build integral results from words: a result that never leaves the registers costs far less than
// a copy that is changed in place.
inline QNumber operator+(const QNumber& a, const QNumber& b) {
  std::int64_t sum = 0;
  if (detail::likely(a.den_ == 1) && detail::likely(b.den_ == 1) &&
      detail::likely(QNumber::add_words(a.num_, b.num_, &sum)))
    return QNumber(sum);
  return QNumber::sum_general(a, b, false);
}
inline QNumber operator-(const QNumber& a, const QNumber& b) {
  std::int64_t sum = 0;
  if (detail::likely(a.den_ == 1) && detail::likely(b.den_ == 1) &&
      detail::likely(QNumber::add_words(a.num_, -b.num_, &sum)))
    return QNumber(sum);
  return QNumber::sum_general(a, b, true);
}
inline QNumber operator*(const QNumber& a, const QNumber& b) {
  std::int64_t product = 0;
  if (detail::likely(a.den_ == 1) && detail::likely(b.den_ == 1) &&
      detail::likely(QNumber::mul_words(a.num_, b.num_, &product))) {
    return QNumber(product);
  }
  return QNumber::product_general(a, b);
}
inline QNumber operator/(const QNumber& a, const QNumber& b) {
  QNumber result(a);
  result /= b;
  return result;
}
inline QNumber operator-(const QNumber& a) {
  return a.neg();
}

inline int QNumber::compare(const QNumber& a, const QNumber& b) {
  if (detail::likely(a.den_ == b.den_) && detail::likely(a.den_ != 0)) return (a.num_ > b.num_) - (a.num_ < b.num_);
  if (detail::unlikely(a.den_ == 0) || detail::unlikely(b.den_ == 0)) return compare_general(a, b);
  const detail::Int128 left = cross_product(a, b), right = cross_product(b, a);
  return (left > right) - (left < right);
}

inline bool operator==(const QNumber& a, const QNumber& b) {
  if (detail::unlikely(a.den_ == 0) || detail::unlikely(b.den_ == 0)) return QNumber::equal_general(a, b);
  return a.num_ == b.num_ && a.den_ == b.den_;
}
inline bool operator<(const QNumber& a, const QNumber& b) {
  if (detail::likely(a.den_ == b.den_) && detail::likely(a.den_ != 0)) return a.num_ < b.num_;
  if (detail::unlikely(a.den_ == 0) || detail::unlikely(b.den_ == 0)) return QNumber::compare_general(a, b) < 0;
  return QNumber::cross_product(a, b) < QNumber::cross_product(b, a);
}
inline bool operator!=(const QNumber& a, const QNumber& b) {
  return !(a == b);
}
inline bool operator>(const QNumber& a, const QNumber& b) {
  return b < a;
}
inline bool operator<=(const QNumber& a, const QNumber& b) {
  return !(b < a);
}
inline bool operator>=(const QNumber& a, const QNumber& b) {
  return !(a < b);
}

}  // namespace tarku
