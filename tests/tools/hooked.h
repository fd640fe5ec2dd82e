// A derived solver that overrides every hook, keeps what the base promises, and looks hard at what it is shown.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"

namespace tarku::tester {

class HookedSolver : public la::Solver {
 public:
  using Solver::Solver;

  // Calls since begin().
  struct Calls {
    int steps = 0;
    int restores = 0;
    int additions = 0;  // of all searches
    int deltas = 0;
  };
  // Forgets what came before.
  void begin();
  const Calls& calls() const { return calls_; }
  // The first thing that was not as it should be when a hook was asked; empty when there was none.
  const std::string& offence() const { return offence_; }
  // What a check that answered `result` left behind must be what the hooks asked for. Gives the offence.
  std::string check_outcome(bool result) const;

  void additional_optimization_steps(bool& result) override;
  // Every other time the assignment that the split found is kept: it satisfies all bounds as well.
  bool should_restore_beta(bool ok, Values* backup, std::vector<int>& saved_changed) override;
  bool should_add_to_conflict(int var, Values& beta, bool upper_used, bool positive) override;
  // Smaller is always allowed.
  void set_delta_value(QNumber& delta) override;

 private:
  void require(bool condition, const char* offence);

  Calls calls_;
  std::string offence_;
  std::optional<bool> announced_;   // the result that the optimisation steps were shown
  std::optional<Values> expected_;  // the assignment that a successful split has to leave
  int all_restores_ = 0;
  bool grows_ = false;  // the direction that the row of the last addition is kept from
};

}  // namespace tarku::tester
