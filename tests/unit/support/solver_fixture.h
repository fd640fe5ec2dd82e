// Small linear problems as text, and a solver driven with every step bracketed by its invariants and judged.
//
//   Problem p;
//   p.rows("x3 = x1 + x2; x4 = x1 - 1/2*x2");
//   p.bounds("c1: x1 >= 5; c2: x3 < 3; c3: x4 = 0; c4: x2 != 1");
//   EXPECT_TRUE(p.push(1));
//   EXPECT_FALSE(p.check());
//
// Equations may be named ("e7: x3 = x1 + x2"); unnamed ones are numbered from 1001. Statements end at ';' or newline.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tests/unit/support/fourier_motzkin.h"
#include "tests/unit/support/problem_text.h"

namespace tarku::test {

// ---- the bracketed solver ----

class Problem {
 public:
  explicit Problem(bool proofs = false, int verbosity = 0) : Problem(std::make_unique<la::Solver>(proofs, verbosity)) {}
  explicit Problem(std::unique_ptr<la::Solver> given) : owned_(std::move(given)), solver(*owned_) {}

 private:
  std::unique_ptr<la::Solver> owned_;

 public:
  la::Solver& solver;
  bool judged = true;  // compare every verdict, conflict and value with the independent judge

  // ---- telling ----

  void rows(std::string_view text) {
    for (const std::string& s : statements(text)) {
      std::size_t colon = s.find(':');
      int index = colon == std::string::npos ? next_equation_++ : std::stoi(s.substr(1, colon - 1));
      tell(index, equation(colon == std::string::npos ? s : s.substr(colon + 1)));
    }
  }

  void tell(int index, const la::Equation& eq) {
    Bracket bracket(*this, "tell_equation");
    bool dropped = solver.in_conflict_ || !equation_indices_.insert(index).second;
    if (solver.in_conflict_) equation_indices_.erase(index);
    solver.tell_equation(index, eq);
    if (!dropped) equations_.push_back(to_form(eq));
  }

  // "c1: x1 >= 5"; relations >=, >, <=, <, =, !=
  void bounds(std::string_view text) {
    for (const std::string& s : statements(text)) bound(s);
  }

  void retract_bound(int c) {
    Bracket bracket(*this, "retract_bound");
    solver.retract_bound(c);
    told_.erase(c);
  }

  void retract_equation(int index, int var) {
    Bracket bracket(*this, "retract_equation");
    solver.retract_equation(index, var);
    equation_indices_.erase(index);
    project_out(var, &equations_);
  }

  // ---- asserting ----

  bool push(int c) {
    Bracket bracket(*this, "push_constraint");
    bool had_conflict = solver.in_conflict_;
    bool ok = solver.push_constraint(c);
    asserted_.push_back(c);
    if (!ok && judged && !had_conflict && solver.in_conflict_) expect_conflict_is_genuine();
    return ok;
  }

  // Pushes all; true when each push succeeded.
  bool push_all(const std::vector<int>& constraints) {
    bool ok = true;
    for (int c : constraints) ok = push(c) && ok;
    return ok;
  }

  void add_equation(int index) {
    Bracket bracket(*this, "add_equation");
    solver.add_equation(index);
    asserted_.push_back(index);
  }

  int pop() {
    Bracket bracket(*this, "pop_constraint");
    int c = solver.pop_constraint();
    EXPECT_EQ(c, asserted_.back());
    asserted_.pop_back();
    return c;
  }

  void pop(int times) {
    for (int i = 0; i < times; ++i) pop();
  }

  bool check(bool partial = false) {
    Bracket bracket(*this, "check");
    // A pending or remembered conflict may rest on disequalities.
    const bool with_disequalities = !partial || solver.in_conflict_ || solver.failed_height_ != 0;
    bool ok = solver.check(partial);
    if (judged) {
      EXPECT_EQ(ok, satisfiable(asserted_, with_disequalities)) << "the judge disagrees";
      ok ? expect_values_fit() : expect_conflict_is_genuine();
    }
    return ok;
  }

  // ---- looking ----

  // The value in force, eliminated variables included; "none" when there is none.
  std::string value(int var) {
    la::DNumber out;
    return solver.get_abstract_value(var, &out) ? out.to_str() : "none";
  }

  std::string lower(int var) {
    la::DNumber out;
    solver.get_lower_bound(var, &out);
    return out.to_str();
  }

  std::string upper(int var) {
    la::DNumber out;
    solver.get_upper_bound(var, &out);
    return out.to_str();
  }

  std::size_t levels(int var) const {
    auto at = static_cast<std::size_t>(var);
    return at < solver.var_bounds_.values_.size() ? solver.var_bounds_.values_[at].size() : 1;
  }

  la::RangeConstraint& record(int c) { return solver.constraints_[c]; }

  // Pivots, values and the conflict as sets, for tests that do not pin an order.
  std::set<int> conflict_set() const { return {solver.conflict_.begin(), solver.conflict_.end()}; }

  // Moves a variable as if the search had left it there: through a bound that is taken back.
  void move(int var, std::string_view value) {
    solver.initialize();
    solver.update(var, dnum(value), solver.cur_beta_);
  }

  void expect_invariants(const std::string& when) const { EXPECT_EQ("", solver.check_invariants()) << when; }

  // Does told constraint c follow from the told equations and the constraints `reason`?
  bool follows(int c, const std::vector<int>& reason) const {
    const Told& t = told_.at(c);
    std::vector<LinearForm> forms = bounds_of(reason);
    const bool below = feasible(equations_, with(forms, strict(t, -1)));
    const bool above = feasible(equations_, with(forms, strict(t, 1)));
    if (t.kind == 1) return !below;
    if (t.kind == 3) return !above;
    if (t.kind == 2) return !below && !above;
    return !feasible(equations_, with(with(forms, to_form(t.var, t.bound, 1)), to_form(t.var, t.bound, -1)));
  }

  // The model keeps every told equation and every asserted bound and disequality.
  void expect_model_fits() {
    auto value = [&](int var) {
      QNumber q;
      EXPECT_TRUE(solver.get_value(var, &q)) << "x" << var << " has no model value";
      return to_mpq(q);
    };
    for (const LinearForm& eq : equations_) {
      mpq_class sum = eq.real;
      for (const auto& [var, c] : eq.coeffs) sum += c * value(var);
      EXPECT_EQ(0, sgn(sum)) << "an equation does not hold in the model: " << eq.key();
    }
    for (int c : asserted_) {
      auto it = told_.find(c);
      if (it == told_.end()) continue;
      const Told& t = it->second;
      const int order = cmp(value(t.var), to_mpq(t.bound.real()));
      const int delta = t.bound.delta().sign();
      const bool fits = t.kind == 1   ? order > 0 || (order == 0 && delta <= 0)
                        : t.kind == 3 ? order < 0 || (order == 0 && delta >= 0)
                        : t.kind == 2 ? order == 0
                                      : order != 0;
      EXPECT_TRUE(fits) << "c" << c << " does not hold in the model";
    }
  }

  const std::vector<int>& asserted() const { return asserted_; }

  bool satisfiable(const std::vector<int>& constraints, bool with_disequalities) const {
    const std::vector<LinearForm> forms = bounds_of(constraints);
    if (!feasible(equations_, forms)) return false;
    // A convex set is covered by finitely many hyperplanes only if one of them covers it.
    for (int c : constraints) {
      auto it = told_.find(c);
      if (it == told_.end() || it->second.kind != 4 || !with_disequalities) continue;
      if (!feasible(equations_, with(forms, strict(it->second, -1))) &&
          !feasible(equations_, with(forms, strict(it->second, 1)))) {
        return false;
      }
    }
    return true;
  }

 private:
  struct Told {
    int var;
    int kind;
    la::DNumber bound;
  };

  struct Bracket {
    Bracket(const Problem& p, std::string w) : problem(p), what(std::move(w)) {
      problem.expect_invariants("before " + what);
    }
    ~Bracket() { problem.expect_invariants("after " + what); }
    const Problem& problem;
    std::string what;
  };

  static std::vector<LinearForm> with(std::vector<LinearForm> forms, LinearForm extra) {
    forms.push_back(std::move(extra));
    return forms;
  }

  // The lower, upper and equal bounds among `constraints`, each as a form that is at least zero.
  std::vector<LinearForm> bounds_of(const std::vector<int>& constraints) const {
    std::vector<LinearForm> forms;
    for (int c : constraints) {
      auto it = told_.find(c);
      if (it == told_.end()) continue;
      const Told& t = it->second;
      if (t.kind == 1 || t.kind == 2) forms.push_back(to_form(t.var, t.bound, 1));
      if (t.kind == 3 || t.kind == 2) forms.push_back(to_form(t.var, t.bound, -1));
    }
    return forms;
  }

  static LinearForm strict(const Told& t, int side) {
    LinearForm form = to_form(t.var, t.bound, side);
    form.delta -= 1;
    return form;
  }

  void bound(const std::string& s) {
    Bracket bracket(*this, "tell " + s);
    const BoundStatement told = bound_statement(s);
    switch (told.kind) {
      case 1:
        solver.tell_lower_bound(told.c, told.var, told.bound);
        break;
      case 2:
        solver.tell_equal_bound(told.c, told.var, told.bound);
        break;
      case 3:
        solver.tell_upper_bound(told.c, told.var, told.bound);
        break;
      default:
        solver.tell_diseq_bound(told.c, told.var, told.bound);
    }
    told_[told.c] = Told{told.var, told.kind, told.bound};
  }

  void expect_conflict_is_genuine() const {
    std::string text;
    for (int c : solver.conflict_) {
      text += " " + std::to_string(c);
      EXPECT_TRUE(std::count(asserted_.begin(), asserted_.end(), c) > 0) << "c" << c << " is not on the stack";
    }
    EXPECT_FALSE(satisfiable(solver.conflict_, true)) << "the conflict is satisfiable:" << text;
  }

  // Every told equation holds, and every asserted bound, under the values that can be asked for.
  void expect_values_fit() {
    for (const LinearForm& eq : equations_) {
      LinearForm sum;
      sum.real = eq.real;
      for (const auto& [var, c] : eq.coeffs) {
        la::DNumber v;
        EXPECT_TRUE(solver.get_abstract_value(var, &v)) << "x" << var << " has no value";
        sum.real += c * to_mpq(v.real());
        sum.delta += c * to_mpq(v.delta());
      }
      EXPECT_EQ(0, sum.constant_sign()) << "an equation does not hold: " << eq.key();
    }
    for (int c : asserted_) {
      auto it = told_.find(c);
      if (it == told_.end()) continue;
      la::DNumber v;
      solver.get_abstract_value(it->second.var, &v);
      int order = la::cmp(v, it->second.bound, true);
      bool fits = it->second.kind == 1 ? order >= 0 : it->second.kind == 2 ? order == 0 : order <= 0;
      EXPECT_TRUE(fits || it->second.kind == 4) << "c" << c << " does not hold for " << v.to_str();
    }
  }

  std::map<int, Told> told_;
  std::set<int> equation_indices_;
  std::vector<LinearForm> equations_;
  std::vector<int> asserted_;
  int next_equation_ = 1001;
};

}  // namespace tarku::test
