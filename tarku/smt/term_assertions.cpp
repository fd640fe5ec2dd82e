// Translation of terms, with an explicit stack, into the checker's formulas.
#include "tarku/smt/term_assertions.h"

#include <cassert>

namespace tarku::smt {

namespace {

using checker::Formula;
using checker::RealTerm;

checker::Relation relation_of(Op op) {
  switch (op) {
    case Op::less:
      return checker::Relation::less;
    case Op::less_equal:
      return checker::Relation::less_equal;
    case Op::greater:
      return checker::Relation::greater;
    case Op::greater_equal:
      return checker::Relation::greater_equal;
    default:
      assert(op == Op::equal);
      return checker::Relation::equal;
  }
}

}  // namespace

RealTerm TermAssertions::real_symbol(int variable, std::string_view symbol) {
  const Term term = resolver_.real(variable);
  require_name(term, symbol);
  translate(term);
  return real(term);
}

Formula TermAssertions::bool_symbol(int variable, std::string_view symbol) {
  const Term term = resolver_.boolean(variable);
  require_name(term, symbol);
  return formula(term);
}

void TermAssertions::require_name(Term symbol, std::string_view name) const {
  if (symbol.is_valid() && terms_.name(symbol) == name) return;
  throw checker::Refused("no symbol " + std::string(name));
}

std::string TermAssertions::why_not(checker::Source source, const std::vector<Formula>& clause) {
  const Term assertion = resolver_.assertion(source);
  if (!assertion.is_valid()) return "assertion " + std::to_string(source) + " is not in force";
  return said_.why_not(formula(assertion), clause);
}

Formula TermAssertions::formula(Term t) {
  translate(t);
  return truth(t);
}

bool TermAssertions::is_translated(Term t) const {
  return terms_.sort(t) == Sort::real ? reals_.count(t.id()) != 0 : truths_.count(t.id()) != 0;
}

void TermAssertions::translate(Term root) {
  std::vector<Term> open{root};
  while (!open.empty()) {
    const Term t = open.back();
    if (is_translated(t)) {
      open.pop_back();
      continue;
    }
    const std::size_t height = open.size();
    for (const Term a : terms_.args(t)) {
      if (!is_translated(a)) open.push_back(a);
    }
    if (open.size() > height) continue;
    open.pop_back();
    if (terms_.sort(t) == Sort::real) {
      reals_.emplace(t.id(), translate_real(t));
    } else {
      truths_.emplace(t.id(), translate_bool(t));
    }
  }
}

// Needs: the arguments are translated.
RealTerm TermAssertions::translate_real(Term t) {
  checker::RealTable& table = formulas_.reals();
  const Args args = terms_.args(t);
  if (terms_.op(t) == Op::ite) return table.choice(truth(args[0]), real(args[1]), real(args[2]));
  std::vector<RealTerm> parts;
  for (const Term a : args) parts.push_back(real(a));
  switch (terms_.op(t)) {
    case Op::numeral:
      return table.numeral(terms_.value(t));
    case Op::symbol:
      return table.symbol();
    case Op::add:
      return table.sum(parts);
    case Op::subtract:
    case Op::negate:
      return table.difference(parts);
    case Op::multiply:
      return table.product(parts);
    default:
      assert(terms_.op(t) == Op::divide);
      return table.quotient(parts);
  }
}

// Needs: the arguments are translated.
Formula TermAssertions::translate_bool(Term t) {
  const Op op = terms_.op(t);
  const Args args = terms_.args(t);
  if (args.size() > 0 && terms_.sort(args[0]) == Sort::real) {
    std::vector<RealTerm> parts;
    for (const Term a : args) parts.push_back(real(a));
    return op == Op::distinct ? formulas_.distinct(parts) : formulas_.comparison(relation_of(op), parts);
  }
  std::vector<Formula> parts;
  for (const Term a : args) parts.push_back(truth(a));
  switch (op) {
    case Op::truth:
      return Formula::truth(terms_.truth(t));
    case Op::symbol:
      return formulas_.symbol();
    case Op::not_op:
      return !parts[0];
    case Op::and_op:
      return formulas_.conjunction(std::move(parts));
    case Op::or_op:
      return formulas_.disjunction(std::move(parts));
    case Op::implies:
      return formulas_.implication(std::move(parts));
    case Op::xor_op:
      return formulas_.exclusive_or(parts);
    case Op::equal:
      return formulas_.equivalence(parts);
    case Op::distinct:
      return formulas_.distinct(parts);
    default:
      assert(op == Op::ite);
      return formulas_.choice(parts[0], parts[1], parts[2]);
  }
}

}  // namespace tarku::smt
