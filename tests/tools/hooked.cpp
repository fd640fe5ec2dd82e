// What the hooks of a derived solver must be shown.
#include "tests/tools/hooked.h"

#include <algorithm>

namespace tarku::tester {

void HookedSolver::require(bool condition, const char* offence) {
  if (!condition && offence_.empty()) offence_ = offence;
}

void HookedSolver::begin() {
  calls_ = Calls();
  offence_.clear();
  announced_.reset();
  expected_.reset();
}

std::string HookedSolver::check_outcome(bool result) const {
  if (announced_ && *announced_ != result) return "another result than the optimisation steps were shown";
  if (!result || !expected_) return {};
  const std::size_t length = std::max(cur_beta_.size(), expected_->size());
  for (int var = 0; var < static_cast<int>(length); ++var) {
    const la::DNumber& value = cur_beta_.get(var);
    const la::DNumber& expected = expected_->get(var);
    if (!value.is_same(expected) && cmp(value, expected, true) != 0) return "not the assignment that the hook chose";
  }
  return {};
}

void HookedSolver::additional_optimization_steps(bool& result) {
  ++calls_.steps;
  announced_ = result;
  require(changed_vars_.empty(), "optimisation steps before the values are saved");
  require(result == !in_conflict_, "optimisation steps are shown another result than the solver has");
}

bool HookedSolver::should_restore_beta(bool ok, Values* backup, std::vector<int>& saved_changed) {
  ++calls_.restores;
  const bool restores = ++all_restores_ % 2 == 1;
  require(check_stack().empty(), "a temporary bound stands when the split has ended");
  require(ok || !conflict_.empty(), "a split has failed without a conflict");
  require(ok || backup != nullptr, "a split has failed that moved nothing");
  const auto is_known = [&](int var) { return static_cast<std::size_t>(var) < cur_beta_.size(); };
  require(std::all_of(saved_changed.begin(), saved_changed.end(), is_known), "a changed variable has no value");
  if (ok) expected_ = restores && backup != nullptr ? *backup : cur_beta_;
  return restores;
}

bool HookedSolver::should_add_to_conflict(int var, Values& beta, bool upper_used, bool positive) {
  ++calls_.additions;
  const la::VariableBounds& bounds = var_bounds_.get(var);
  const int order = cmp(beta.get(var), upper_used ? bounds.upper() : bounds.lower(), true);
  require(&beta == &cur_beta_, "a conflict over other values");
  require(!tableau_.is_basic(var), "a basic variable blocks a row");
  require(upper_used ? order >= 0 : order <= 0, "a bound that blocks nothing");
  require(!conflict_.empty(), "the violated bound does not come first");
  const bool grows = upper_used == positive;  // upper bounds of positive terms keep a row from growing
  require(conflict_.size() == 1 || grows == grows_, "terms of one row are in the way of both directions");
  grows_ = grows;
  return true;
}

void HookedSolver::set_delta_value(QNumber& delta) {
  ++calls_.deltas;
  require(delta.sign() > 0, "delta is not positive");
  require(model_values_.empty(), "delta is asked for after the model was begun");
  delta *= QNumber(1, 2);
}

}  // namespace tarku::tester
