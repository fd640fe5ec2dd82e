// RealTable: the Real terms of a script as a DAG of sums over leaves.
//
// A leaf is a symbol, or a choice: an `ite` whose condition is open. Everything else is a sum: a constant and addends,
// each a term with a factor. A numeral is a sum without addends. Equal nodes are kept once.
//
// A short sum that becomes an addend is replaced by its own addends at once. Thus terms with few leaves are always in
// normal form, numerals fold by themselves, and chains of small steps do not grow deep. Longer sums stay addends of
// their own, so that a table never holds more than its terms' DAG; `multiply_out` does what its name says when asked
// to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/proof/checker/handles.h"
#include "tarku/proof/checker/interner.h"
#include "tarku/proof/checker/number.h"

namespace tarku::checker {

struct Addend {
  RealTerm term;
  Number factor;
};

// constant + sum(factor * term). Normal: the terms ascend strictly and no factor is zero.
struct LinearForm {
  std::vector<Addend> addends;
  Number constant = 0;

  void normalize();
};

class RealTable {
 public:
  RealTerm numeral(const Number& value);
  RealTerm symbol();  // a fresh one
  // Arithmetic, left associative. Needs: one argument or more. `difference` of one argument is its negative.
  RealTerm sum(const std::vector<RealTerm>& args);
  RealTerm difference(const std::vector<RealTerm>& args);
  // Throws Refused when two factors are no numerals, and when numerals become too large.
  RealTerm product(const std::vector<RealTerm>& args);
  // Throws Refused when a divisor is zero or no numeral, and when numerals become too large.
  RealTerm quotient(const std::vector<RealTerm>& args);
  // `ite`; equal branches and constant conditions leave no choice. The condition of a choice has no negation.
  RealTerm choice(Formula condition, RealTerm yes, RealTerm no);
  RealTerm combination(const LinearForm& form);

  // The same in normal form over leaves.
  // Cost: linear in the DAG below the terms, up to a logarithm.
  LinearForm multiply_out(LinearForm form) const;
  // Of a - b.
  LinearForm difference_form(RealTerm a, RealTerm b) const;

  // A leaf, or a sum of nothing but leaves: its form costs no more than the term itself.
  bool is_multiplied_out(RealTerm t) const;
  bool is_choice(RealTerm t) const;
  Formula condition(RealTerm t) const;             // needs: a choice
  RealTerm branch(RealTerm t, bool is_yes) const;  // likewise
  bool is_numeral(RealTerm t) const;
  const Number& value(RealTerm t) const;  // needs: a numeral
  std::size_t size() const { return nodes_.size(); }

  // The numbers that occur in terms and in formulas.
  NumberTable& numbers() { return numbers_; }
  const NumberTable& numbers() const { return numbers_; }

 private:
  enum Kind : std::uint32_t { leaf_symbol, leaf_choice, sum_node };

  bool is_sum(RealTerm t) const;
  bool is_short(RealTerm t) const;  // a sum with few addends and short numbers
  void add(RealTerm t, const Number& factor, LinearForm* form) const;

  NumberTable numbers_;
  SequenceTable nodes_;  // kind and: serial number | condition, yes, no | constant, then factor and term in turn
  std::uint32_t num_symbols_ = 0;
};

}  // namespace tarku::checker
