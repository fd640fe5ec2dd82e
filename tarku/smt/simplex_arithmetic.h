// SimplexArithmetic: a search over formulas with the exact simplex solver.
#pragma once

#include <optional>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tarku/smt/arithmetic.h"

namespace tarku::smt {

class SimplexArithmetic final : public Arithmetic {
 public:
  // The solver must outlive this.
  explicit SimplexArithmetic(la::Solver& solver) : solver_(solver) {}

  bool push(int constraint) override { return solver_.push_constraint(constraint); }
  void pop() override { solver_.pop_constraint(); }
  bool check(bool is_complete) override {
    ++num_checks_;
    return solver_.check(!is_complete);
  }
  bool are_values_new() override { return ++num_questions_ % phase_period == 0; }
  bool is_satisfied(int constraint) override;
  double distance(int constraint) override;
  std::vector<int> conflict() override { return solver_.conflict_; }
  proof::Refutation refutation(proof::Constraints& constraints) override {
    const proof::Ref proof(solver_.get_conflict_proof());
    return proof::Refutation::of(*proof, constraints);
  }
  std::optional<Implication> next_implication(bool is_proof_wanted) override {
    Implication result;
    if (!solver_.next_implied(&result.constraint, &result.reason)) return std::nullopt;
    if (is_proof_wanted) result.proof.reset(solver_.get_implication_proof(-1));
    return result;
  }

  std::uint64_t num_checks() const { return num_checks_; }

 private:
  static constexpr std::uint64_t phase_period = 16;

  const la::DNumber* value_of(int variable);

  la::Solver& solver_;
  la::DNumber derived_;  // scratch of value_of
  std::uint64_t num_checks_ = 0;
  std::uint64_t num_questions_ = 0;  // of are_values_new
};

}  // namespace tarku::smt
