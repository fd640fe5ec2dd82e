// Integer: an owned GMP integer, for vectors of numbers of hundreds of digits.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <utility>

namespace tarku::lp {

class Integer {
 public:
  Integer() { mpz_init(z_); }
  explicit Integer(long value) { mpz_init_set_si(z_, value); }
  Integer(const Integer& other) { mpz_init_set(z_, other.z_); }
  Integer(Integer&& other) noexcept {
    mpz_init(z_);
    mpz_swap(z_, other.z_);
  }
  Integer& operator=(const Integer& other) {
    mpz_set(z_, other.z_);
    return *this;
  }
  Integer& operator=(Integer&& other) noexcept {
    mpz_swap(z_, other.z_);
    return *this;
  }
  ~Integer() { mpz_clear(z_); }

  mpz_ptr z() { return z_; }
  mpz_srcptr z() const { return z_; }
  bool is_zero() const { return mpz_sgn(z_) == 0; }
  std::size_t bits() const { return mpz_sizeinbase(z_, 2); }

 private:
  mpz_t z_;
};

}  // namespace tarku::lp
