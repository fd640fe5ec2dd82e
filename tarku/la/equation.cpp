// Linear equations: building, looking up, and their text form.
#include "tarku/la/equation.h"

#include <algorithm>

namespace tarku::la {

const QNumber Equation::coeff_zero;

namespace {

bool is_before(const Equation::VarCoeff& term, int var) {
  return term.var < var;
}

}  // namespace

void Equation::add_term(int var, const QNumber& c) {
  assert(var >= 0);
  if (c.sign() == 0) return;
  if (terms_.empty() || terms_.back().var < var) {
    terms_.push_back({var, c});
    return;
  }
  auto place = std::lower_bound(terms_.begin(), terms_.end(), var, is_before);
  if (place->var != var) {
    terms_.insert(place, {var, c});
    return;
  }
  place->coeff += c;
  if (place->coeff.sign() == 0) terms_.erase(place);
}

const QNumber& Equation::coeff(int var) const {
  auto place = std::lower_bound(terms_.begin(), terms_.end(), var, is_before);
  return place != terms_.end() && place->var == var ? place->coeff : coeff_zero;
}

std::string Equation::to_str(bool with_left_side) const {
  if (!with_left_side) return right_side();
  return (is_solved() ? "x" + std::to_string(defining_var()) : "0") + " = " + right_side();
}

// Whether the equation reads  d = right side  for its defining variable d.
bool Equation::is_solved() const {
  if (defining_var() < 0) return false;
  const QNumber& own = coeff(defining_var());
  return own.sign() == 0 || own == QNumber(-1);
}

// The sum; the own term of a solved equation is on the left side.
std::string Equation::right_side() const {
  const int left_var = is_solved() ? defining_var() : -1;
  std::string text;
  auto append = [&text](const std::string& part) { text += (text.empty() ? "" : " + ") + part; };
  for (const VarCoeff& term : terms_) {
    if (term.var != left_var) append(term.coeff.to_str() + "*x" + std::to_string(term.var));
  }
  if (constant_.sign() != 0) append(constant_.to_str());
  return text.empty() ? "0" : text;
}

}  // namespace tarku::la
