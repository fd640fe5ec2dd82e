// What a solver's visible state must be after a legal sequence of operations.
//
// The model keeps the told constraints, the constraint stack and the bound levels as plain data, decides which
// operation is legal, and asks the oracle for verdicts. It knows nothing of tableaus, values or searches.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "tests/tools/oracle.h"
#include "tests/tools/trace.h"

namespace tarku::tester {

class Model {
 public:
  explicit Model(const Config& config) : propagation(config.propagation) {}

  // ==== 01 WHAT IS TOLD ====

  enum class EquationState {
    kInForce,
    kDropped,    // told while a conflict was pending: has to be told again
    kRetracted,  // may be told again
    kRefused,    // had a constant beside variables
  };
  struct ToldEquation {
    EquationState state;
    int var;    // defined variable or -1
    Form form;  // the equation is form = 0
  };
  struct ToldBound {
    int var;
    BoundKind kind;
    Value bound;
    bool unpushed;
    bool keep;
    bool unpushed_unknown = false;  // a disequality that was pushed in conflict: left open until it is popped
  };

  enum class TellResult { kTold, kRepeated, kDropped, kRefused, kContradictory };
  // The outcome that telling the equation must have; changes nothing.
  TellResult judge_equation(const Op& op) const;
  void tell_equation(const Op& op);
  void retract_equation(int c);
  void tell_bound(const Op& op);
  void retract_bound(int c);

  // ==== 02 THE CONSTRAINT STACK ====

  struct Level {
    int index;
    bool is_upper;
    std::optional<Value> lower, upper;  // nothing: unbounded
  };
  enum class PushState { kInForce, kFailed, kUntried };
  struct Entry {
    int index;
    int var;  // whose levels grew, or -1
    PushState state;
    bool is_equation;
  };

  // Both give the result that the solver must give. An implied bound (see propagation) is taken for granted.
  bool push(int c, bool implied);
  // Whether a push of c would contradict a bound in force on the same variable.
  bool fails_at_once(int c) const;
  int pop();
  void add_equation(int c);

  // ==== 03 VERDICTS ====

  // Whether check must answer true; changes nothing.
  bool verdict(bool partial) const;
  // What a check leaves behind: it returned `result`, or nothing because it was interrupted.
  void finish_check(std::optional<bool> result);
  // The limits that a constraint stands for; both sides of an equality. A disequality gives nothing.
  std::vector<Limit> limits_of(int c) const;
  // Whether these constraints contradict each other given the equations. Each disequality among them is split.
  bool contradictory(const std::vector<int>& constraints) const;
  const EquationSystem& equations() const { return system_; }

  // ==== 04 LEGALITY ====

  bool legal(const Op& op) const;
  bool on_stack(int c) const;
  // A push that failed, or was not tried, stands above a contradiction until it is popped.
  bool has_failed_push() const;
  std::vector<int> stack_indices() const;  // distinct, ascending
  std::vector<int> variables() const;      // of equations in force and told bounds, ascending

  std::map<int, ToldEquation> told_equations;
  std::map<int, ToldBound> told_bounds;
  std::map<int, std::vector<int>> told_on;  // by variable: indices in order of telling, repetitions included
  std::map<int, bool> names_equation;       // by index ever used: names an equation, else a bound
  std::vector<Entry> stack;
  std::map<int, std::vector<Level>> levels;  // by variable, without the sentinel
  std::vector<int> diseqs;
  std::pair<int, int> last_pair;  // older partner and constraint of the last push conflict
  bool in_conflict = false;
  bool initialized = false;
  bool contradictory_equations = false;  // for good
  bool checked = false;
  int propagation;
  std::uint64_t num_pushed = 0;

 private:
  bool legal_equation(const Op& op) const;
  bool legal_tell(const Op& op) const;
  bool legal_retract_equation(int c) const;
  bool push_side(int c, bool is_upper, bool implied);
  bool record_push(int c, int var, PushState state);
  void pop_levels(int var, int c);
  void rebuild_system();

  EquationSystem system_;  // the equations in force
};

// form = 0 as the solver understands a told equation: a defined variable without a term of its own stands on the
// other side.
Form equation_form(const Op& op);

}  // namespace tarku::tester
