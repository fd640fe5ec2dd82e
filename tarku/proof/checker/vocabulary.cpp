// Declarations, and the meanings that follow from them.
#include "tarku/proof/checker/vocabulary.h"

#include <algorithm>
#include <utility>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

[[noreturn]] void refuse(const std::string& reason) {
  throw Refused(reason);
}

void require_range(int variable) {
  if (variable < 1 || variable > max_variable) refuse(std::to_string(variable) + " is out of range for a variable");
}

}  // namespace

// ==== what is declared ====

std::uint32_t Vocabulary::code(Literal literal) const {
  if (literal == 0 || literal < -max_variable || literal > max_variable) {
    refuse(std::to_string(literal) + " is out of range for a literal");
  }
  const int variable = literal < 0 ? -literal : literal;
  const std::uint32_t index = proposition_index_.find(variable);
  if (index == none) refuse("propositional variable " + std::to_string(variable) + " is not declared");
  return 2 * index + (literal < 0 ? 1 : 0);
}

std::vector<std::uint32_t> Vocabulary::codes(const std::vector<Literal>& literals) const {
  std::vector<std::uint32_t> result;
  result.reserve(literals.size());
  for (const Literal l : literals) result.push_back(code(l));
  return result;
}

Literal Vocabulary::literal(std::uint32_t code) const {
  const int variable = proposition(code).variable;
  return is_negated(code) ? -variable : variable;
}

const Vocabulary::Proposition& Vocabulary::gate(int variable) const {
  require_range(variable);
  const Proposition& p = proposition(code(variable));
  if (p.kind == Kind::symbol || p.kind == Kind::atom) {
    refuse("propositional variable " + std::to_string(variable) + " is no gate");
  }
  return p;
}

const Vocabulary::Conditional& Vocabulary::conditional(int variable) const {
  const Real& real = reals_[index_of_real(variable)];
  if (real.conditional == none) refuse("Real variable " + std::to_string(variable) + " is not conditional");
  return conditionals_[real.conditional];
}

std::uint32_t Vocabulary::index_of_real(int variable) const {
  require_range(variable);
  const std::uint32_t index = real_index_.find(variable);
  if (index == none) refuse("Real variable " + std::to_string(variable) + " is not declared");
  return index;
}

Words Vocabulary::args(const Proposition& gate) const {
  return {args_.data() + gate.first_arg, gate.end_arg - gate.first_arg};
}

Number Vocabulary::ratio(const Equation& a, const Equation& b) const {
  const std::size_t count = b.end - b.first;
  if (a.end - a.first != count) return 0;
  const Number scale = count == 0 ? Number(1) : Number(terms_[a.first].coefficient / terms_[b.first].coefficient);
  for (std::size_t i = 0; i < count; ++i) {
    const Term& in_a = terms_[a.first + i];
    const Term& in_b = terms_[b.first + i];
    if (in_a.real != in_b.real || in_a.coefficient != scale * in_b.coefficient) return 0;
  }
  return a.constant == scale * b.constant ? scale : Number(0);
}

// ==== Real variables ====

void Vocabulary::declare_real(int variable, std::string_view symbol) {
  require_new_real(variable);
  add_real({variable, none, num_propositions(), std::string(symbol), {}});
}

void Vocabulary::define_conditional(int variable, Literal condition, const Sum& yes, const Sum& no) {
  require_new_real(variable);
  const std::uint32_t selector = code(condition);
  std::vector<Term> yes_terms = ordered(yes.terms), no_terms = ordered(no.terms);
  const auto index = static_cast<std::uint32_t>(reals_.size());
  const Equation yes_branch = add_branch(index, std::move(yes_terms), yes.constant);
  const Equation no_branch = add_branch(index, std::move(no_terms), no.constant);
  const auto number = static_cast<std::uint32_t>(conditionals_.size());
  conditionals_.push_back({selector, yes_branch, no_branch});
  add_real({variable, number, num_propositions(), "(real-ite " + std::to_string(variable) + ")", {}});
}

void Vocabulary::require_new_real(int variable) const {
  require_range(variable);
  if (real_index_.find(variable) != none) refuse("the Real variable is declared already");
}

void Vocabulary::add_real(Real real) {
  if (has_meanings_) give_meaning(&real);
  real_index_.add(real.variable);
  reals_.push_back(std::move(real));
}

// By index.
std::vector<Vocabulary::Term> Vocabulary::ordered(const std::vector<Monomial>& monomials) const {
  std::vector<Term> terms;
  terms.reserve(monomials.size());
  for (const Monomial& monomial : monomials) {
    terms.push_back({index_of_real(monomial.variable), monomial.coefficient});
    if (sign(monomial.coefficient) == 0) {
      refuse("the number of Real variable " + std::to_string(monomial.variable) + " is 0");
    }
  }
  std::sort(terms.begin(), terms.end(), [](const Term& a, const Term& b) { return a.real < b.real; });
  for (std::size_t i = 1; i < terms.size(); ++i) {
    if (terms[i - 1].real != terms[i].real) continue;
    refuse("there are two terms of Real variable " + std::to_string(reals_[terms[i].real].variable));
  }
  return terms;
}

Vocabulary::Equation Vocabulary::add_equation(const std::vector<Term>& terms, const Number& constant) {
  const std::size_t first = terms_.size();
  terms_.insert(terms_.end(), terms.begin(), terms.end());
  return {first, terms_.size(), constant};
}

// The equation that says that the variable is the sum: it minus the terms is the constant.
Vocabulary::Equation Vocabulary::add_branch(std::uint32_t real, std::vector<Term> terms, const Number& constant) {
  for (Term& term : terms) term.coefficient = -term.coefficient;
  terms.push_back({real, 1});
  return add_equation(terms, constant);
}

// ==== propositional variables ====

void Vocabulary::declare_bool(int variable, std::string_view symbol) {
  require_new_proposition(variable);
  Proposition p{variable, Kind::symbol};
  p.symbol = symbol;
  add_proposition(std::move(p));
}

void Vocabulary::define_atom(int variable, const std::vector<Monomial>& terms, Relation relation,
                             const Number& constant) {
  require_new_proposition(variable);
  Proposition p{variable, Kind::atom, relation};
  p.equation = add_equation(ordered(terms), constant);
  add_proposition(std::move(p));
}

void Vocabulary::define_conjunction(int variable, const std::vector<Literal>& args) {
  require_new_proposition(variable);
  std::vector<std::uint32_t> sorted = codes(args);
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  add_gate(variable, Kind::conjunction, sorted);
}

void Vocabulary::define_equivalence(int variable, Literal a, Literal b) {
  require_new_proposition(variable);
  add_gate(variable, Kind::equivalence, codes({a, b}));
}

void Vocabulary::define_choice(int variable, Literal condition, Literal yes, Literal no) {
  require_new_proposition(variable);
  add_gate(variable, Kind::choice, codes({condition, yes, no}));
}

void Vocabulary::require_new_proposition(int variable) const {
  require_range(variable);
  if (proposition_index_.find(variable) != none) refuse("the propositional variable is declared already");
}

void Vocabulary::add_gate(int variable, Kind kind, const std::vector<std::uint32_t>& args) {
  Proposition p{variable, kind};
  p.first_arg = args_.size();
  p.end_arg = p.first_arg + args.size();
  args_.insert(args_.end(), args.begin(), args.end());
  add_proposition(std::move(p));
}

void Vocabulary::add_proposition(Proposition proposition) {
  if (has_meanings_) give_meaning(&proposition);
  proposition_index_.add(proposition.variable);
  propositions_.push_back(std::move(proposition));
}

// ==== meanings ====

// In the order of declaration.
void Vocabulary::give_meanings() {
  std::size_t p = 0;
  for (Real& real : reals_) {
    for (; p < real.num_propositions; ++p) give_meaning(&propositions_[p]);
    give_meaning(&real);
  }
  for (; p < propositions_.size(); ++p) give_meaning(&propositions_[p]);
  has_meanings_ = true;
}

void Vocabulary::give_meaning(Real* real) {
  if (real->conditional == none) {
    real->meaning = assertions_->real_symbol(real->variable, real->symbol);
    return;
  }
  const Conditional& conditional = conditionals_[real->conditional];
  FormulaTable& formulas = assertions_->formulas();
  const RealTerm yes = meaning_of_branch(conditional.yes), no = meaning_of_branch(conditional.no);
  real->meaning = formulas.resolve(formulas.reals().choice(meaning(conditional.condition), yes, no));
}

// An atom gets one only when it is asked for: few are, and it takes time.
void Vocabulary::give_meaning(Proposition* proposition) {
  proposition->has_meaning = proposition->kind != Kind::atom;
  if (proposition->kind == Kind::atom) return;
  proposition->meaning = proposition->kind == Kind::symbol
                             ? assertions_->bool_symbol(proposition->variable, proposition->symbol)
                             : meaning_of_gate(*proposition);
}

Formula Vocabulary::meaning(std::uint32_t code) {
  Proposition& p = propositions_[code >> 1];
  if (!p.has_meaning) {
    p.meaning = meaning_of_atom(p);
    p.has_meaning = true;
  }
  return p.meaning.negated_if(is_negated(code));
}

Formula Vocabulary::meaning_of_atom(const Proposition& atom) const {
  LinearForm form;
  for (std::size_t i = atom.equation.first; i < atom.equation.end; ++i) {
    form.addends.push_back({reals_[terms_[i].real].meaning, terms_[i].coefficient});
  }
  form.constant = -atom.equation.constant;
  return assertions_->formulas().atom(std::move(form), atom.relation);
}

Formula Vocabulary::meaning_of_gate(const Proposition& gate) {
  std::vector<Formula> parts;
  for (const std::uint32_t code : args(gate)) parts.push_back(meaning(code));
  FormulaTable& formulas = assertions_->formulas();
  if (gate.kind == Kind::conjunction) return formulas.conjunction(std::move(parts));
  return gate.kind == Kind::equivalence ? formulas.equivalence(parts) : formulas.choice(parts[0], parts[1], parts[2]);
}

// The sum that the last variable of the equation is said to be.
RealTerm Vocabulary::meaning_of_branch(const Equation& equation) const {
  LinearForm form;
  for (std::size_t i = equation.first; i + 1 < equation.end; ++i) {
    form.addends.push_back({reals_[terms_[i].real].meaning, Number(-terms_[i].coefficient)});
  }
  form.constant = equation.constant;
  return assertions_->formulas().reals().combination(form);
}

}  // namespace tarku::checker
