// Sparse elimination of a system of equalities, on a tableau of its own.
#include "tarku/smt/presolve.h"

#include <functional>
#include <queue>
#include <utility>

namespace tarku::smt {

void EqualitySystem::add(const std::vector<la::Equation::VarCoeff>& terms, const QNumber& value) {
  la::Equation equation(first_slack_ + num_equalities_++);
  equation.add_term(one_, value.neg());
  for (const la::Equation::VarCoeff& term : terms) equation.add_term(term.var, term.coeff);
  std::vector<int> rows;
  tableau_.add_equation(equation, false, &rows);
}

bool EqualitySystem::solve(const TerminationTest* test) {
  tableau_.set_work_test(test);
  using Entry = std::pair<std::size_t, int>;  // length of the row when it was queued, its slack
  std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> queue;
  const auto length = [this](int slack) { return tableau_.row(slack).terms().size(); };
  for (int i = 0; i < num_equalities_; ++i) queue.emplace(length(first_slack_ + i), first_slack_ + i);
  while (!queue.empty()) {
    const auto [queued_length, slack] = queue.top();
    queue.pop();
    if (length(slack) > queued_length) {
      queue.emplace(length(slack), slack);
      continue;
    }
    if (test != nullptr) (*test)();
    const int unknown = cheapest_unknown(slack);
    if (unknown < 0) {
      if (length(slack) == 0) continue;
      contradicted_ = slack - first_slack_;  // a multiple of 1 equals zero
      return false;
    }
    pivots_.push_back({slack - first_slack_, unknown});
    tableau_.pivot(slack, unknown);
    tableau_.drop_zero(slack);
  }
  return true;
}

// The unknown in the row of `slack` that fewest rows mention, if possible with a coefficient that makes no fractions;
// -1 when the row has none.
int EqualitySystem::cheapest_unknown(int slack) const {
  int best = -1;
  std::size_t best_cost = 0;
  for (const la::Equation::VarCoeff& term : tableau_.row(slack).terms()) {
    if (!is_unknown(term.var)) continue;
    const bool is_unit = term.coeff.is_one() || term.coeff.is_minus_one();
    const std::size_t cost = 2 * tableau_.column_count(term.var) + (is_unit ? 0 : 1);
    if (best < 0 || cost < best_cost) {
      best = term.var;
      best_cost = cost;
    }
  }
  return best;
}

std::vector<EqualitySystem::Definition> EqualitySystem::definitions() const {
  std::vector<Definition> result;
  for (int var = 1; var < first_slack_; ++var) {
    if (!tableau_.is_basic(var)) continue;
    Definition definition{var, {}, QNumber()};
    for (const la::Equation::VarCoeff& term : tableau_.row(var).terms()) {
      if (term.var == one_) {
        definition.offset = term.coeff;
      } else {
        definition.terms.push_back(term);
      }
    }
    result.push_back(std::move(definition));
  }
  return result;
}

}  // namespace tarku::smt
