// A linear equation that may define a variable: the rows of the tableau, and what callers tell the solver.
#pragma once

#include <cassert>
#include <cstdint>
#include <string>
#include <vector>

#include "tarku/numbers/qnumber.h"

namespace tarku::la {

// Means  sum of the terms + constant = 0.  A defining variable d stands in for its own term -1*d, whether that term is
// stored or not, so the equation then reads  d = sum of the other terms + constant.
// Terms are strictly ascending by variable. Those that add_term() made have no zero coefficient.
class Equation {
 public:
  struct VarCoeff {
    int var;
    QNumber coeff;
  };

  // What coeff() gives for an absent variable.
  static const QNumber coeff_zero;

  Equation() = default;  // defines nothing
  explicit Equation(int defining_var) { set_defining_var(defining_var); }

  // The variable that the equation defines, -1 when there is none.
  int defining_var() const { return static_cast<int>(defining_word_ >> 1) - 1; }
  void set_defining_var(int var);

  // Adds c*var to the sum. A variable above all others costs an append, any other a search and a shift.
  void add_term(int var, const QNumber& c);
  void set_constant(const QNumber& c) { constant_ = c; }

  const std::vector<VarCoeff>& terms() const { return terms_; }
  const QNumber& constant() const { return constant_; }
  // The coefficient of var by binary search, coeff_zero when it is absent.
  const QNumber& coeff(int var) const;

  // Direct access for owners that merge rows. Keep the terms strictly ascending.
  std::vector<VarCoeff>& mutable_terms() { return terms_; }

  // `x3 = 2*x1 + -1/2*x2`, or the right side alone. An equation that is not solved for a defining variable (there is
  // none, or its own term is stored with a coefficient other than -1) begins with `0 = `.
  std::string to_str(bool with_left_side) const;

 private:
  bool is_solved() const;
  std::string right_side() const;

  std::uint32_t defining_word_ = 0;  // (defining variable + 1) << 1, hence 0 when there is none; bit 0 has no meaning
  std::vector<VarCoeff> terms_;
  QNumber constant_;
};

inline void Equation::set_defining_var(int var) {
  assert(var >= -1 && var < (1 << 30));
  defining_word_ = static_cast<std::uint32_t>(var + 1) << 1;
}

}  // namespace tarku::la
