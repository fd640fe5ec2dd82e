// DNumber: arithmetic on shared blocks, the three constants, text.
#include "tarku/numbers/dnumber.h"

#include <ostream>

namespace tarku::la {

// Constant-initialised, so that solvers at namespace scope find them ready.  Zero's count of 2 marks it as shared.
const DNumber::Statics DNumber::statics_{{0, 2}, {1, 1}, {0, 1}};
const DNumber DNumber::zero{};
const DNumber DNumber::plus_inf{Word{&statics_.plus.bytes[1]}};
const DNumber DNumber::minus_inf{Word{&statics_.minus.bytes[1]}};

DNumber::DNumber(QNumber real, QNumber delta) : word_(zero_word()) {
  if (real.is_zero() && delta.is_zero()) return;
  replace_block(new num_repr(std::move(real), std::move(delta), 1));
}

void DNumber::destroy(num_repr* block) noexcept {
  delete block;
}

void DNumber::replace_block(num_repr* fresh) noexcept {
  const char* old = word_;
  word_ = reinterpret_cast<const char*>(fresh);
  release(old);
}

DNumber DNumber::operator+(const DNumber& other) const {
  if (is_infinite()) return *this;
  if (other.is_infinite()) return other;
  return adopt(new num_repr(real() + other.real(), delta() + other.delta(), 1));
}

DNumber DNumber::operator-(const DNumber& other) const {
  if (is_infinite()) return *this;
  if (other.is_infinite()) return other;
  return adopt(new num_repr(real() - other.real(), delta() - other.delta(), 1));
}

DNumber DNumber::operator*(const QNumber& factor) const {
  if (is_infinite()) return *this;
  return adopt(new num_repr(real() * factor, delta() * factor, 1));
}

DNumber& DNumber::operator+=(const DNumber& other) {
  if (is_infinite()) return *this;
  if (other.is_infinite()) return *this = other;
  if (is_shared()) {
    *this = *this + other;  // the sum exists before the old block is let go
  } else {
    repr()->real_ += other.real();
    repr()->delta_ += other.delta();
  }
  return *this;
}

void DNumber::add_mul(const DNumber& d, const QNumber& c) {
  add_mul_general(d, c, false);
}

void DNumber::sub_mul(const DNumber& d, const QNumber& c) {
  add_mul_general(d, c, true);
}

void DNumber::add_mul_general(const DNumber& d, const QNumber& c, bool subtract) {
  assert(!is_infinite() && !d.is_infinite());
  if (d.word_ == zero_word()) return;
  const auto step = subtract ? &QNumber::sub_mul : &QNumber::add_mul;
  if (is_shared()) {
    DNumber fresh = adopt(new num_repr(real(), delta(), 1));
    (fresh.repr()->real_.*step)(d.real(), c);
    (fresh.repr()->delta_.*step)(d.delta(), c);
    swap(fresh);
  } else if (&c == &repr()->real_) {
    add_mul_general(d, QNumber(c), subtract);  // c would change under our hands
  } else {
    (repr()->real_.*step)(d.real(), c);
    (repr()->delta_.*step)(d.delta(), c);
  }
}

std::string DNumber::to_str() const {
  if (is_infinite()) return is_plus_inf() ? "+inf" : "-inf";
  if (delta().is_zero()) return real().to_str();
  return real().to_str() + (delta().is_negative() ? "-" : "+") + delta().abs().to_str() + "*delta";
}

std::ostream& operator<<(std::ostream& out, const DNumber& value) {
  return out << value.to_str();
}

}  // namespace tarku::la
