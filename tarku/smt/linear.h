// LinearForm: the normal form of a Real term, a sum of multiples of leaves plus a constant.
//
// A leaf is a Real term that the arithmetic cannot look into: a symbol, or an `ite` whose condition is open.
//
// The form of a term is the sum over all paths to a leaf of the product of the factors on the way. It is computed from
// the root downwards: every operator in reach carries the factor with which it enters the sum. Arguments have smaller
// ids than their terms, so taking shared operators by descending id, each after everything unshared that is open, meets
// every operator once and with its factor complete. The cost is therefore linear in the term DAG (with a logarithm for
// shared operators), never in the tree, and no form of an inner term is ever built.
//
// A large subterm with a short form may occur in many assertions (a definition, say). An operator that several runs had
// to expand gets its own form remembered when that is much shorter than the walk below it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

struct Monomial {
  Term leaf;
  QNumber coeff;
};

// sum(coeff * leaf) + constant; leaves ascending and distinct, no coefficient zero.
struct LinearForm {
  std::vector<Monomial> terms;
  QNumber constant;
};

class Linearizer {
 public:
  explicit Linearizer(const TermManager& terms) : terms_(terms) {}

  // *form := the form of `t`. Needs: sort Real.
  void linearize(Term t, LinearForm* form);
  // *form := the form of a - b. Needs: sort Real.
  void subtract(Term a, Term b, LinearForm* form);

  std::size_t num_expanded() const { return num_expanded_; }         // operators expanded so far, for tests and figures
  std::size_t num_remembered() const { return remembered_.size(); }  // forms kept

 private:
  struct Open {  // an operator still to be expanded and its factor
    Term term;
    QNumber factor;
  };
  static bool below(const Open& a, const Open& b) { return a.term < b.term; }

  void run(LinearForm* form);
  void drain(LinearForm* form);
  void add(Term t, QNumber factor, LinearForm* form);
  void expand(Term t, QNumber factor, LinearForm* form);
  void expand_shared(LinearForm* form);
  void add_sum(const Args& args, bool subtract, const QNumber& factor, LinearForm* form);
  void add_product(const Args& args, QNumber factor, LinearForm* form);
  Open pop_shared();
  bool has_equal_branches(Term choice);
  void count_expansion(Term t);
  void remember_hot();

  const TermManager& terms_;
  std::vector<Open> unshared_;            // stack: operators that nothing else can reach
  std::vector<Open> shared_;              // heap, largest id on top; equal ids are summed when taken
  std::vector<std::uint8_t> expansions_;  // by term id, of shared operators: runs that expanded it
  std::unordered_map<std::uint32_t, LinearForm> remembered_;  // by term id
  std::unordered_map<std::uint32_t, bool> equal_branches_;    // by term id, of each `ite` asked about
  bool is_comparing_ = false;
  Term hot_;  // the topmost operator of this run that many runs expanded
  std::size_t num_expanded_ = 0;
};

}  // namespace tarku::smt
