// Drives a solver through the operations of a trace and compares everything visible with the model and the oracle.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tests/tools/failure.h"
#include "tests/tools/hooked.h"
#include "tests/tools/implied.h"
#include "tests/tools/model.h"
#include "tests/tools/proof_sum.h"
#include "tests/tools/trace.h"

namespace tarku::tester {

// Ways to spoil what is observed, one at a time, for testing that the comparisons can fail.
enum class Sabotage {
  kNone,
  kVerdict,     // the answer of a check is turned round
  kPush,        // the answer of a push is turned round
  kConflict,    // conflicts lose their last member
  kProofSide,   // the first hypothesis of a proof counts for the other side
  kStrictness,  // hypotheses of a proof count as if they were not strict
  kValue,       // the values of the first variable are off by one
  kLevel,       // the tightest bound in force is off by an infinitesimal
  kStack,       // the constraint stack lacks its last entry
  kAssignment,  // the solver's own assignment is changed behind its back after a check
  kImplied,     // reasons of implications lose their last member
  kModel,       // the model's value of the first variable is off by one
  kHandOut,     // an implication is asked for and not looked at
  kHook,        // a call of a hook is overlooked
  kReference,   // a reference to a proof is forgotten
};
// The category of the failure by which it must be noticed.
const char* category_of(Sabotage sabotage);
constexpr int kLastSabotage = static_cast<int>(Sabotage::kReference);

// How much a run has exercised.
struct Tally {
  std::uint64_t operations = 0;
  std::uint64_t sat = 0;  // answers of checks
  std::uint64_t unsat = 0;
  std::uint64_t search_conflicts = 0;  // of the latter those that no failed push had announced
  std::uint64_t push_conflicts = 0;
  std::uint64_t interruptions = 0;
  std::uint64_t split_interruptions = 0;  // of the latter those under a temporary bound of a disequality
  std::uint64_t model_interruptions = 0;  // and those while a model was built
  std::uint64_t pivots = 0;
  std::uint64_t proofs = 0;
  std::uint64_t certificates = 0;  // of the proofs those that became one
  std::uint64_t implications = 0;  // found
  std::uint64_t handed_out = 0;
  std::uint64_t restores = 0;  // calls of hooks
  std::uint64_t additions = 0;
  std::uint64_t models = 0;

  void add(const Tally& other);
  std::string to_str() const;
};

class Checker {
 public:
  explicit Checker(const Config& config, Sabotage sabotage = Sabotage::kNone);
  ~Checker();

  // Carries the operation out and checks the outcome. False, and nothing done, when it is not legal here.
  // Throws Failure.
  bool run(const Op& op);

  const Model& model() const { return model_; }
  const la::Solver& solver() const { return *solver_; }
  Tally tally() const;
  bool last_was_sat() const { return satisfied_ && fresh_; }  // a model may be asked for

 private:
  void carry_out(const Op& op);
  void tell_equation(const Op& op);
  void tell_bound(const Op& op);
  void push(int c);
  void pop();
  void check(const Op& op);
  void build_model(const Op& op);

  bool run_check(const Op& op, std::optional<bool>* result);
  void compare_verdict(const Op& op, bool result);
  void check_hooks(const Op& op, bool result, bool searched);
  void check_conflict();
  void check_conflict_pair();
  void check_conflict_proof();
  void check_saved() const;
  void follow_implications();
  void hand_out_implications(std::int64_t most);
  void drain_implications();
  void check_implication(int c, std::vector<int> reason);
  void check_implication_proof(int c, bool handed_out);

  std::optional<Value> abstract_value(int var);
  void check_values(bool bounds_too, bool after_check);
  void check_equations(const std::vector<std::pair<int, Value>>& values) const;
  void check_bounds(const std::vector<std::pair<int, Value>>& values) const;
  void check_small_queries(const std::vector<std::pair<int, Value>>& values);
  void check_model(const Op& op);
  void check_model_bounds(const std::vector<std::pair<int, Value>>& values) const;
  void check_model_equations(const Op& op, const std::vector<std::pair<int, Value>>& abstract,
                             const std::vector<std::pair<int, Value>>& values) const;

  void check_state();
  void check_stack() const;
  void check_levels() const;
  void check_told() const;
  void check_bounds_in_force(int var, const Model::Level& expected) const;
  void check_record(int c, const Model::ToldBound& told) const;
  void check_integrality(const std::vector<std::pair<int, Value>>& values);
  void check_proof_counts();

  Config config_;
  Sabotage sabotage_;
  Model model_;
  std::unique_ptr<la::Solver> solver_;
  HookedSolver* hooked_ = nullptr;  // the solver, when it is one with hooks
  ImpliedMirror implied_;
  Tally tally_;
  bool cache_may_be_stale_ = false;  // bounds were pushed since abstract values were last forgotten
  bool satisfied_ = false;           // the last check answered true and no bound was pushed since
  bool fresh_ = false;               // and it was a whole check, and nothing happened since
  bool were_integral_ = true;
};

// Runs the whole trace; when `strict`, an operation that is not legal is a failure. Gives the failure and the number of
// the operation (from 0) at which it showed.
struct Verdict {
  std::optional<Failure> failure;
  std::size_t step = 0;
};
Verdict replay(const Trace& trace, Sabotage sabotage, bool strict);

}  // namespace tarku::tester
