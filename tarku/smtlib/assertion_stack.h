// AssertionStack: what a script has asserted, level by level, with the engine following.
#pragma once

#include <cstddef>
#include <optional>
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
  };

  // `engine` must outlive this and get its assertions and levels from nowhere else.
  explicit AssertionStack(smt::Engine& engine) : engine_(engine) {}

  void add(smt::Term formula, std::optional<SymbolId> name);
  void push();
  void pop();  // needs: a level

  std::size_t num_levels() const { return levels_.size(); }
  const std::vector<Assertion>& assertions() const { return assertions_; }
  // By the engine's index; null when it is not in force.
  const Assertion* find(int index) const;

 private:
  smt::Engine& engine_;
  std::vector<Assertion> assertions_;
  std::vector<std::size_t> levels_;  // number of assertions below each
};

}  // namespace tarku::smtlib
