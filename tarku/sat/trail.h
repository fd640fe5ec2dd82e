// Trail: the assignment of a SAT solver as its theory sees it.
//
// Holds the true literals of observed variables in the order in which they became true, cut into levels. Literals that
// are true for good (fixed) survive every backtrack: those that stood above the level that remains move down to its
// end.
//
// Room for everything is made by add_variable and reserve_levels, so that the calls of the search cannot fail.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tarku/sat/literal.h"

namespace tarku::sat {

class Trail {
 public:
  // ---- variables ----

  void add_variable(bool observed);  // the next one
  int num_variables() const { return static_cast<int>(variables_.size()) - 1; }
  std::size_t num_observed() const { return num_observed_; }
  bool is_variable(Variable v) const { return v >= 1 && v <= num_variables(); }
  bool is_observed(Variable v) const { return is_variable(v) && at(v).observed; }
  void reserve_levels(std::size_t number);

  // ---- changes ----

  void open_level() noexcept;
  void push(Literal literal) noexcept;  // of an observed variable; does nothing when it is there already
  void fix(Literal literal) noexcept;   // true for good; pushed when it is observed

  // Takes away the levels above `level` and gives the number of literals that stayed where they were.
  std::size_t backtrack(std::size_t level) noexcept;

  // ---- contents ----

  std::size_t levels() const { return starts_.size(); }
  std::size_t level_start(std::size_t level) const { return level == 0 ? 0 : starts_[level - 1]; }
  std::size_t size() const { return literals_.size(); }
  Literal operator[](std::size_t i) const { return literals_[i]; }
  bool is_true(Literal l) const { return at(l).value == (l < 0 ? -1 : 1); }
  bool is_false(Literal l) const { return is_true(-l); }
  bool is_fixed(Literal l) const { return at(l).fixed == (l < 0 ? -1 : 1); }
  std::size_t position(Literal l) const { return at(l).position; }  // of an assigned one

 private:
  struct Entry {
    std::int8_t value = 0;  // of an observed variable: 1 true, -1 false, 0 not in literals_
    std::int8_t fixed = 0;  // of any variable, the same way
    bool observed = false;
    std::uint32_t position = 0;  // in literals_
  };

  Entry& at(Literal l) { return variables_[static_cast<std::size_t>(std::abs(l))]; }
  const Entry& at(Literal l) const { return variables_[static_cast<std::size_t>(std::abs(l))]; }

  std::vector<Entry> variables_ = std::vector<Entry>(1);  // by variable; the first is unused
  std::size_t num_observed_ = 0;
  std::vector<Literal> literals_;
  std::vector<std::size_t> starts_;  // where the levels from 1 on begin in literals_
};

}  // namespace tarku::sat
