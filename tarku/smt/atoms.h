// AtomTable: gives every linear atom its place in the solver, equal atoms the same one.
//
// An atom `form relation 0` becomes a bound. A form in one symbol bounds that symbol's variable. A longer form is
// scaled to integer coefficients without a common factor, the first one positive, and bounds a slack variable that all
// proportional forms share and that an equation defines; the constant moves into the bound. Bounds that say the same
// are one constraint.
//
// The table only numbers things: variables from 1, and constraint indices from 1 for equations and bounds together. It
// is the owner's part to tell the new entries of rows() and bounds() to the solver. Nothing is ever taken out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/certificate.h"
#include "tarku/smt/hash_index.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

using proof::Relation;

// The relation that holds exactly when `r` does not.
Relation negation(Relation r);
// `a mirror(r) b` exactly when `b r a`.
Relation mirror(Relation r);

class AtomTable {
 public:
  // Slack variable `variable` is the sum of `count` monomials from `first` on.
  struct Row {
    int variable;
    int constraint;  // index of the equation
    std::size_t first;
    std::uint32_t count;
  };
  struct Bound {  // variable relation value
    int variable;
    int constraint;
    Relation relation;
    QNumber value;
  };
  // What became of an atom: its constraint index, or 0 when it has none because it is `constant`.
  struct Place {
    int constraint;
    bool constant;
  };

  // The place of `form relation 0`. Needs: all leaves are symbols. Scales *form. New rows and bounds are appended to
  // rows() and bounds().
  Place add(LinearForm* form, Relation relation);

  // Variable of a symbol, made on first sight by `variable`; 0 from `find_variable` when there is none.
  int variable(Term symbol);
  int find_variable(Term symbol) const;
  // The symbol of a variable that is no slack.
  Term symbol(int variable) const { return symbols_[static_cast<std::size_t>(variable)]; }
  int num_variables() const { return num_variables_; }  // symbols and slacks: ids are 1 .. num_variables()
  int num_constraints() const { return num_constraints_; }

  // A constraint index of its own for an equation that is no row of the table.
  int reserve_constraint() { return ++num_constraints_; }

  const std::vector<Row>& rows() const { return rows_; }
  const std::vector<Bound>& bounds() const { return bounds_; }
  // The index in rows() of the row that defines a slack variable, -1 for the variable of a symbol.
  int row_of(int variable) const {
    const auto index = static_cast<std::size_t>(variable);
    return index < row_of_.size() ? row_of_[index] : -1;
  }
  // Needs: the constraint is that of a bound.
  const Bound& bound_of(int constraint) const {
    return bounds_[static_cast<std::size_t>(bound_of_[static_cast<std::size_t>(constraint)])];
  }
  const Monomial* monomials(const Row& row) const { return monomials_.data() + row.first; }

 private:
  static bool decide(const QNumber& value, Relation relation);
  static QNumber content(const LinearForm& form);
  int slack(const LinearForm& form);
  int bound(int variable, Relation relation, const QNumber& value);

  std::vector<int> variables_;       // by term id of a symbol; 0: none
  std::vector<Term> symbols_;        // by variable
  std::vector<Monomial> monomials_;  // of all rows, one after the other
  std::vector<Row> rows_;
  std::vector<int> row_of_;  // by variable
  std::vector<Bound> bounds_;
  std::vector<int> bound_of_;  // by constraint, -1 when it is none of a bound
  HashIndex row_index_;        // into rows_, by monomials
  HashIndex bound_index_;      // into bounds_, by variable, relation and value
  int num_variables_ = 0;
  int num_constraints_ = 0;
};

}  // namespace tarku::smt
