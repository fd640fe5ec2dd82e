// Tightening: bounds and sums that hold in every case of a disjunction, found before the search.
//
// A search over formulas sees a disjunction only when it has decided for one of its cases. What all of them have in
// common is told it beforehand, so that the linear program knows it, too:
//
//   bounds     the hull of the intervals that the cases leave for a variable
//   dead ends  cases that bounds exclude
//   maxima     y = a if d >= 0, y = b if not, where a - b is a positive multiple of d: then y is the greater of both.
//              So a <= y and b <= y, and with L <= a - b <= U also y <= b + U (a - b - L) / (U - L), about
//
// Each fact F comes as clauses that hold by arithmetic, one for each case; the SAT solver finds F from them at once.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/boolean_search.h"
#include "tarku/smt/clausifier.h"
#include "tarku/smt/interval_table.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class Tightening {
 public:
  // All must outlive this. `test`: polled.
  Tightening(AtomTable& atoms, BooleanSearch& search, TerminationTest* test)
      : atoms_(atoms), search_(search), test_(test), table_(atoms) {}

  // A constraint that the base of the search holds for good.
  void hold(int constraint);
  // One of the cases of which holds for good.
  void add(Alternatives alternatives) { open_.push_back(std::move(alternatives)); }

  // Whether there are maxima among the alternatives that are new.
  bool has_maximum() const;
  // Tells the search what follows from those, if there are.
  void run();

 private:
  struct Maximum;

  void offer(const Alternatives& alternatives);
  bool tighten(Alternatives& alternatives);
  bool drop_dead_cases(Alternatives& alternatives);
  bool is_dead(int constraint);
  bool narrow_sum(int variable);
  bool narrow_hull(const Alternatives& alternatives);
  std::vector<int> common_variables(const Alternatives& alternatives) const;
  bool narrow_variable(const Alternatives& alternatives, int variable, bool is_upper);
  struct Limit {
    QNumber value;
    int constraint;  // of the case, which gives it
  };
  std::optional<Limit> limit_in_case(const std::vector<int>& constraints, int variable, bool is_upper) const;
  std::optional<Maximum> find_maximum(const Alternatives& alternatives) const;
  QNumber factor_of(int constraint, const VariableSum& sum) const;
  bool relax(const Maximum& maximum, Alternatives& alternatives);
  void limit_from_below(const Maximum& maximum);
  void limit_from_above(const Maximum& maximum);

  bool is_progress(int variable, bool is_upper, const QNumber& value) const;
  QNumber rounded(int variable, const QNumber& value, bool is_upper) const;
  bool add_lemma(LemmaSum& sum);
  int bound(const VariableSum& sum, Relation relation);
  void add_fact(int constraint);
  void poll() const;

  AtomTable& atoms_;
  BooleanSearch& search_;
  TerminationTest* test_;
  IntervalTable table_;
  std::vector<Alternatives> equalities_;  // that hold, as alternatives of one case
  std::vector<Alternatives> open_;
  std::vector<int> facts_;  // literals
};

}  // namespace tarku::smt
