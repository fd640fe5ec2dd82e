// The simplex tableau: rows of basic over non-basic variables, and the variables set aside.
//
// A row is an Equation whose defining variable is basic: b = sum a_j * x_j over non-basic x_j, terms ascending, stored
// contiguously, without a term for b itself. For each variable the column lists the basics whose rows contain it.
//
//   basic        has a row (rows().is_present)
//   non-basic    occurs in columns only; may occur in no row at all
//   eliminated   set aside: in no row and no column; its last row is kept, to compute its value or to bring it back
//
// Invariants, which check_invariants() verifies:
//   ROWS    terms ascend strictly, no coefficient is zero, every variable of a row is non-basic and present
//   LINKS   b is listed in the column of x exactly when b's row has a term of x
//   ASIDE   an eliminated variable has an equation over variables that are present or were eliminated after it
//
// Nothing here knows of bounds or values: whoever changes rows tells the caller which, and the caller re-evaluates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tarku/la/equation.h"
#include "tarku/la/varmap.h"
#include "tarku/la/varset.h"
#include "tarku/termination_test.h"

namespace tarku::la {

class Tableau {
 public:
  using RowMap = VarMap<Equation*, true, true>;

  // `verbosity` is the owner's trace level; the tableau has no trace lines of its own.
  explicit Tableau(int verbosity);
  ~Tableau();
  Tableau(const Tableau&) = delete;
  Tableau& operator=(const Tableau&) = delete;

  // ---- equations ----

  // Adds sum(terms of eq) - defining variable + constant = 0, where a told term of the defining variable replaces the
  // implied -1. Eliminated variables of the equation come back first, basic ones are replaced by their rows, and a
  // variable that remains becomes basic: the defining one if possible, else one that `prefer` accepts, else the
  // smallest. A dependent equation adds no row; a contradictory one makes check() answer false.
  // When `initialized`, every basic variable whose row is new or was rewritten is appended to *rows.
  // Throws Exception, and changes nothing, when variables remain together with a non-zero constant.
  void add_equation(const Equation& eq, bool initialized, std::vector<int>* rows,
                    const std::function<bool(int)>& prefer = {});

  // Brings eliminated `var` back, together with every eliminated variable that its equation needs. One that was set
  // aside without an equation returns non-basic, in no row; all others return basic and are appended to *rows.
  void uneliminate(int var, std::vector<int>* rows);

  // Forgets `var` and one equation that determines it: its row (a partner takes its place when it is non-basic), or
  // the equation it was set aside with. `*left_basis`, when given, receives the variable that lost its row instead of
  // `var`, or -1.
  void remove_variable(int var, int* left_basis = nullptr);

  // Puts zero for non-basic `var` in every row and forgets it.
  void drop_zero(int var);

  // Sets the given variables aside, ascending. A non-basic one is pivoted into the shortest row of its column first.
  void eliminate_variables(const VarSet& vars);

  // False when the equations alone are contradictory.
  bool check() const { return !inconsistent_; }

  // Exchanges a basic and a non-basic variable; `nonbasic` must occur in the row of `basic`.
  // Cost: one linear merge for each row in the column of `nonbasic`.
  void pivot(int basic, int nonbasic);

  // ---- look-up ----

  std::vector<int> get_all_variables() const;  // ascending, without the eliminated ones
  std::size_t get_num_variables() const { return num_present_; }
  const Equation* get_eliminated_equation(int var) const { return aside_.get(var); }
  std::string to_str() const;

  const RowMap& rows() const { return rows_; }
  bool is_basic(int var) const { return rows_.is_present(var); }
  const Equation& row(int basic) const { return *rows_.raw(basic); }
  bool has_variable(int var) const { return state_of(var) == State::present; }

  std::size_t num_terms() const;  // of all rows
  // What row combinations have cost so far: one for each term of a combined row, and more for terms of big numbers. The
  // same on every machine, so that limits on it are, too.
  std::uint64_t work() const { return work_; }

  // A test to be polled in the midst of pivots, every now and then as work is done; null for none. When it throws, the
  // tableau is broken: it must be destroyed, and with it whatever relies on it.
  void set_work_test(const TerminationTest* test) { work_test_ = test; }
  bool is_broken() const { return is_broken_; }

  bool has_eliminated() const { return aside_.num_present() != 0; }
  bool is_eliminated(int var) const { return has_eliminated() && aside_.is_present(var); }
  // Set aside without an equation. One whose equation has no terms is no such variable: it is forced to zero.
  bool is_free_eliminated(int var) const { return state_of(var) == State::free; }

  VarSet::const_iterator basics_of_begin(int var) const { return column(var).begin(); }
  VarSet::const_iterator basics_of_end(int var) const { return column(var).end(); }
  std::size_t column_count(int var) const { return column(var).size(); }
  const VarSet& column(int var) const {
    return static_cast<std::size_t>(var) < columns_.size() ? columns_[static_cast<std::size_t>(var)] : no_column_;
  }

  // The first broken invariant in words, or an empty text.
  std::string check_invariants() const;
  std::string check_rows() const;
  std::string check_links() const;
  std::string check_aside() const;

 private:
  using Terms = std::vector<Equation::VarCoeff>;
  enum class State : std::uint8_t { unknown, present, eliminated, free };  // free: eliminated without an equation

  State state_of(int var) const {
    return static_cast<std::size_t>(var) < states_.size() ? states_[static_cast<std::size_t>(var)] : State::unknown;
  }
  VarSet& column_of(int var) { return columns_[static_cast<std::size_t>(var)]; }
  void set_state(int var, State state);

  // Rows.
  void substitute_basics(Terms* terms) const;
  Terms reduced_over_everything(Terms terms) const;
  int choose_new_basic(const Equation& eq, const Terms& terms, const std::function<bool(int)>& prefer) const;
  void install_row(int var, Terms terms);
  Equation* take_row(int basic);
  void replace_in_rows(int var, const Terms& definition, std::vector<int>* rewritten);
  void poll();
  void combine_into_row(int basic, const Terms& source, int gone, int known);
  int shortest_row_with(int nonbasic) const;

  // Variables set aside.
  void set_aside(int var, Equation* eq, State state);
  Equation* take_aside(int var);
  std::vector<int> needed_to_return(int var) const;
  void bring_back(int var, std::vector<int>* rows);
  void replace_in_aside(int var, const Terms& definition);
  int latest_aside_with(int var) const;
  void forget_rowless(int var);

  RowMap rows_;                                // keyed by basic variable; owns the rows
  std::vector<VarSet> columns_;                // keyed by variable: the basics whose rows contain it
  RowMap aside_;                               // keyed by eliminated variable; owns its equation
  std::vector<std::uint64_t> aside_sequence_;  // keyed by eliminated variable: when it was set aside, rising
  std::uint64_t next_sequence_ = 1;
  std::vector<State> states_;    // keyed by variable
  std::size_t num_present_ = 0;  // number of entries of states_ that are `present`
  std::uint64_t work_ = 0;
  std::uint64_t next_poll_ = 0;  // at this much work
  const TerminationTest* work_test_ = nullptr;
  bool is_broken_ = false;
  bool inconsistent_ = false;  // an equation without variables had a non-zero constant
  VarSet no_column_;           // the column of a variable that the tableau does not know; always empty

  std::vector<int> column_scratch_;  // a copy of the column that is being replaced; kept for its storage
};

}  // namespace tarku::la
