// A slow, independent judge of small linear problems: Gauss for equations, Fourier-Motzkin for inequalities.
//
// Numbers are GMP rationals and share nothing with the solver's. A constant is a pair (real, delta) ordered
// lexicographically, so strict bounds are exact: x < 5 is 5 - delta - x >= 0.
#pragma once

#include <gmpxx.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tarku::test {

// sum of coefficient * variable, plus real + delta * (an infinitesimal)
struct LinearForm {
  std::map<int, mpq_class> coeffs;
  mpq_class real;
  mpq_class delta;

  mpq_class coeff(int var) const {
    auto it = coeffs.find(var);
    return it == coeffs.end() ? mpq_class(0) : it->second;
  }

  void add(const LinearForm& other, const mpq_class& factor) {
    for (const auto& [var, c] : other.coeffs) {
      mpq_class sum = coeff(var) + factor * c;
      if (sum == 0) {
        coeffs.erase(var);
      } else {
        coeffs[var] = sum;
      }
    }
    real += factor * other.real;
    delta += factor * other.delta;
  }

  int constant_sign() const { return sgn(real) != 0 ? sgn(real) : sgn(delta); }

  // Equal texts mean equal forms up to a positive factor.
  std::string key() const {
    mpq_class scale = coeffs.empty() ? mpq_class(1) : mpq_class(abs(coeffs.begin()->second));
    std::string text;
    for (const auto& [var, c] : coeffs) text += std::to_string(var) + "*" + mpq_class(c / scale).get_str() + " ";
    return text + mpq_class(real / scale).get_str() + " " + mpq_class(delta / scale).get_str();
  }
};

// Solves `pivot` = 0 for `var` and removes `var` from `form`.
inline void substitute(const LinearForm& pivot, int var, LinearForm* form) {
  mpq_class c = form->coeff(var);
  if (c != 0) form->add(pivot, -c / pivot.coeff(var));
}

// Projects `var` out of a system of equations: one equation that mentions it is solved for it and dropped.
inline void project_out(int var, std::vector<LinearForm>* equations) {
  for (std::size_t i = 0; i < equations->size(); ++i) {
    if ((*equations)[i].coeff(var) == 0) continue;
    LinearForm pivot = (*equations)[i];
    equations->erase(equations->begin() + static_cast<std::ptrdiff_t>(i));
    for (LinearForm& other : *equations) substitute(pivot, var, &other);
    return;
  }
}

// The variable whose elimination makes the fewest new inequalities; -1 when none is left.
inline int cheapest_variable(const std::vector<LinearForm>& system) {
  std::map<int, std::pair<long, long>> occurrences;
  for (const LinearForm& form : system) {
    for (const auto& [var, c] : form.coeffs) ++(sgn(c) > 0 ? occurrences[var].first : occurrences[var].second);
  }
  int best = -1;
  long best_cost = 0;
  for (const auto& [var, count] : occurrences) {
    long cost = count.first * count.second - count.first - count.second;
    if (best == -1 || cost < best_cost) {
      best = var;
      best_cost = cost;
    }
  }
  return best;
}

inline std::vector<LinearForm> eliminate(int var, const std::vector<LinearForm>& system) {
  std::vector<LinearForm> next;
  std::set<std::string> seen;
  auto keep = [&](const LinearForm& form) {
    if (seen.insert(form.key()).second) next.push_back(form);
  };
  for (const LinearForm& low : system) {
    if (low.coeff(var) == 0) keep(low);
    if (low.coeff(var) <= 0) continue;
    for (const LinearForm& high : system) {
      if (high.coeff(var) >= 0) continue;
      LinearForm sum = low;
      sum.add(high, low.coeff(var) / -high.coeff(var));
      keep(sum);
    }
  }
  return next;
}

// Is there an assignment with each of `equations` = 0 and each of `at_least_zero` >= 0?
inline bool feasible(std::vector<LinearForm> equations, std::vector<LinearForm> at_least_zero) {
  while (!equations.empty()) {
    LinearForm pivot = equations.back();
    equations.pop_back();
    if (pivot.coeffs.empty()) {
      if (pivot.constant_sign() != 0) return false;
      continue;
    }
    int var = pivot.coeffs.begin()->first;
    for (LinearForm& form : equations) substitute(pivot, var, &form);
    for (LinearForm& form : at_least_zero) substitute(pivot, var, &form);
  }
  for (int var = cheapest_variable(at_least_zero); var != -1; var = cheapest_variable(at_least_zero)) {
    at_least_zero = eliminate(var, at_least_zero);
  }
  for (const LinearForm& form : at_least_zero) {
    if (form.constant_sign() < 0) return false;
  }
  return true;
}

}  // namespace tarku::test
