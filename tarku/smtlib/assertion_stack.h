// AssertionStack: what a script has asserted, level by level, with the engine following.
//
// The assumptions of a check are asserted on a level of their own, of which scripts know nothing. It stays until
// something changes, so that the model, the core and the proof of that check can be asked for. Meanwhile the engine
// counts them like any assertions, but scripts and certificates number the assertions without them: both numbers are
// kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"
#include "tarku/smtlib/interner.h"

namespace tarku::smtlib {

class AssertionStack {
 public:
  struct Assertion {
    smt::Term formula;
    std::optional<SymbolId> name;  // that `:named` gave to the whole of it
    int index;                     // among all that the engine was ever given
    std::uint64_t source;          // in certificates
  };
  struct Assumption {
    smt::Term formula;
    std::string text;  // as it was written
  };

  // `engine` must outlive this and get its assertions and levels from nowhere else.
  explicit AssertionStack(smt::Engine& engine) : engine_(engine) {}

  // ---- changes; each withdraws the assumptions first ----

  void add(smt::Term formula, std::optional<SymbolId> name);
  void push();
  void pop();  // needs: a level
  void assume(std::vector<Assumption> assumptions);
  void withdraw_assumptions();

  // ---- what is in force ----

  std::size_t num_levels() const { return levels_.size(); }
  const std::vector<Assertion>& assertions() const { return assertions_; }
  const std::vector<Assumption>& assumptions() const { return assumptions_; }
  // By the engine's index. Null for an assumption.
  const Assertion* find(int index) const;
  // The number of an assertion or assumption in certificates, by the engine's index.
  std::uint64_t source_of(int index) const;
  // Whether the engine's index is that of an assumption, and of which one. Needs: something in force.
  bool is_assumption(int index) const { return !assumptions_.empty() && index >= first_assumption_; }
  const Assumption& assumption(int index) const;

 private:
  smt::Engine& engine_;
  std::vector<Assertion> assertions_;
  std::vector<std::size_t> levels_;  // number of assertions below each
  std::uint64_t num_asserted_ = 0;   // ever, without assumptions
  std::vector<Assumption> assumptions_;
  bool has_assumptions_ = false;  // the engine has a level for them, even if there are none
  int first_assumption_ = 0;      // index of the first one
};

}  // namespace tarku::smtlib
