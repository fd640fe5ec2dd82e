// The rules, one function each, after the declarations that they rest on.
#include "tarku/proof/checker/checker.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tarku::checker {

namespace {

constexpr std::uint32_t no_code = 0xffffffffu;

bool is_negated(std::uint32_t code) {
  return (code & 1) != 0;
}

[[noreturn]] void refuse(const std::string& reason) {
  throw Refused(reason);
}

void require_range(int variable) {
  if (variable < 1 || variable > max_variable) refuse(std::to_string(variable) + " is out of range for a variable");
}

std::string named(Literal literal) {
  return "literal " + std::to_string(literal);
}

std::string named(ClauseId id) {
  return "clause " + std::to_string(id);
}

// What holds when the relation does not. Needs: not `equal`.
Relation opposite(Relation r) {
  constexpr Relation opposites[] = {Relation::greater_equal, Relation::greater, Relation::equal, Relation::less,
                                    Relation::less_equal};
  return opposites[static_cast<int>(r)];
}

}  // namespace

// ==== what the certificate is about ====

void Checker::require_unfinished() const {
  if (finished_) refuse("the certificate has ended");
}

void Checker::begin(std::uint64_t check) {
  require_unfinished();
  if (begun_) refuse("the check was told already");
  if (assertions_ != nullptr) {
    assertions_->expect(check);
    for (Real& real : reals_) real.meaning = assertions_->real_symbol(real.variable, real.symbol);
    for (Proposition& p : propositions_) {
      if (!p.is_atom) p.meaning = assertions_->bool_symbol(p.variable, p.symbol);
    }
  }
  check_ = check;
  begun_ = true;
}

void Checker::declare_real(int variable, std::string_view symbol) {
  require_unfinished();
  require_range(variable);
  if (real_index_.find(variable) != VariableMap::none) refuse("the Real variable is declared already");
  Real real{variable, std::string(symbol), {}};
  if (assertions_ != nullptr && begun_) real.meaning = assertions_->real_symbol(variable, symbol);
  real_index_.add(variable);
  reals_.push_back(std::move(real));
  sum_.emplace_back(0);
}

void Checker::declare_bool(int variable, std::string_view symbol) {
  require_new_proposition(variable);
  Proposition p;
  p.variable = variable;
  p.symbol = symbol;
  if (assertions_ != nullptr && begun_) p.meaning = assertions_->bool_symbol(variable, symbol);
  add_proposition(std::move(p));
}

void Checker::define_atom(int variable, const std::vector<Monomial>& terms, Relation relation, const Number& constant) {
  require_new_proposition(variable);
  std::vector<Term> ordered;
  for (const Monomial& monomial : terms) {
    ordered.push_back({index_of_real(monomial.variable), monomial.coefficient});
    if (sign(monomial.coefficient) == 0) {
      refuse("the number of Real variable " + std::to_string(monomial.variable) + " is 0");
    }
  }
  std::sort(ordered.begin(), ordered.end(), [](const Term& a, const Term& b) { return a.real < b.real; });
  for (std::size_t i = 1; i < ordered.size(); ++i) {
    if (ordered[i - 1].real != ordered[i].real) continue;
    refuse("there are two terms of Real variable " + std::to_string(reals_[ordered[i].real].variable));
  }
  Proposition p;
  p.variable = variable;
  p.is_atom = true;
  p.relation = relation;
  p.first_term = terms_.size();
  p.end_term = terms_.size() + ordered.size();
  p.constant = constant;
  std::move(ordered.begin(), ordered.end(), std::back_inserter(terms_));
  add_proposition(std::move(p));
}

void Checker::require_new_proposition(int variable) const {
  require_unfinished();
  require_range(variable);
  if (proposition_index_.find(variable) != VariableMap::none) refuse("the propositional variable is declared already");
}

void Checker::add_proposition(Proposition proposition) {
  proposition_index_.add(proposition.variable);
  propositions_.push_back(std::move(proposition));
  is_true_.resize(2 * propositions_.size(), 0);
}

std::uint32_t Checker::index_of_real(int variable) const {
  require_range(variable);
  const std::uint32_t index = real_index_.find(variable);
  if (index == VariableMap::none) refuse("Real variable " + std::to_string(variable) + " is not declared");
  return index;
}

// ==== clauses ====

std::vector<std::uint32_t> Checker::codes_of(const std::vector<Literal>& literals) const {
  std::vector<std::uint32_t> codes;
  codes.reserve(literals.size());
  for (const Literal l : literals) {
    if (l == 0 || l < -max_variable || l > max_variable) refuse(std::to_string(l) + " is out of range for a literal");
    const std::uint32_t index = proposition_index_.find(l < 0 ? -l : l);
    if (index == VariableMap::none) {
      refuse("propositional variable " + std::to_string(l < 0 ? -l : l) + " is not declared");
    }
    codes.push_back(2 * index + (l < 0 ? 1 : 0));
  }
  return codes;
}

Literal Checker::literal(std::uint32_t code) const {
  const int variable = proposition(code).variable;
  return is_negated(code) ? -variable : variable;
}

void Checker::require_new_clause(ClauseId id) const {
  require_unfinished();
  if (id < 1 || id > max_clause_id) refuse(std::to_string(id) + " is out of range for the id of a clause");
  if (id <= last_id_) refuse("ids must ascend, but the clause before is " + std::to_string(last_id_));
}

// Keeps each literal once.
void Checker::add_clause(ClauseId id, std::vector<std::uint32_t> codes) {
  std::sort(codes.begin(), codes.end());
  codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  clauses_.add(id, codes);
  last_id_ = id;
}

Words Checker::clause(ClauseId id) const {
  if (!clauses_.contains(id)) refuse("there is no " + named(id));
  return clauses_[id];
}

void Checker::remove(const std::vector<ClauseId>& ids) {
  require_unfinished();
  std::vector<ClauseId> ordered = ids;
  std::sort(ordered.begin(), ordered.end());
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    clause(ordered[i]);
    if (i > 0 && ordered[i - 1] == ordered[i]) refuse(named(ordered[i]) + " is named twice");
  }
  for (const ClauseId id : ordered) clauses_.remove(id);
}

void Checker::finish(ClauseId id) {
  require_unfinished();
  if (clause(id).size() != 0) refuse(named(id) + " is not empty");
  finished_ = true;
}

// ==== inputs ====

void Checker::add_input(ClauseId id, Source source, const std::vector<Literal>& literals) {
  require_new_clause(id);
  if (!begun_) refuse("the check that is answered must be told before the first input");
  std::vector<std::uint32_t> codes = codes_of(literals);
  if (assertions_ != nullptr) {
    std::vector<Formula> said;
    for (const std::uint32_t code : codes) said.push_back(meaning(code));
    const std::string reason = assertions_->why_not(source, said);
    if (!reason.empty()) refuse(reason);
  }
  add_clause(id, std::move(codes));
  ++num_inputs_;
}

Formula Checker::meaning(std::uint32_t code) {
  Proposition& p = propositions_[code >> 1];
  if (p.is_atom && !p.has_meaning) {
    LinearForm form;
    for (std::size_t i = p.first_term; i < p.end_term; ++i) {
      form.addends.push_back({reals_[terms_[i].real].meaning, terms_[i].coefficient});
    }
    form.constant = -p.constant;
    p.meaning = assertions_->formulas().atom(std::move(form), p.relation);
    p.has_meaning = true;
  }
  return p.meaning.negated_if(is_negated(code));
}

// ==== farkas ====

void Checker::add_farkas(ClauseId id, const std::vector<Literal>& literals, const std::vector<Number>& multipliers) {
  require_new_clause(id);
  std::vector<std::uint32_t> codes = codes_of(literals);
  if (literals.size() != multipliers.size()) {
    refuse("there must be a multiplier for each literal: " + std::to_string(literals.size()) + ", not " +
           std::to_string(multipliers.size()));
  }
  for (const std::uint32_t index : summed_) Number(0).swap(sum_[index]);
  summed_.clear();
  bound_ = 0;
  is_strict_ = false;
  for (std::size_t i = 0; i < codes.size(); ++i) add_multiple(codes[i], multipliers[i]);
  require_contradiction();
  add_clause(id, std::move(codes));
  ++num_combinations_;
}

// Adds a multiple of the constraint that the literal is when it is false, turned round to be about `<=` and `<`.
void Checker::add_multiple(std::uint32_t code, const Number& multiplier) {
  if (sign(multiplier) == 0) return;
  const Proposition& p = proposition(code);
  const auto refuse_multiplier = [&](const char* reason) {
    refuse("multiplier " + to_str(multiplier) + " of " + named(literal(code)) + reason);
  };
  if (!p.is_atom) refuse_multiplier(" must be 0: the literal is no constraint");
  const bool holds = is_negated(code);
  if (p.relation == Relation::equal && !holds) refuse_multiplier(" must be 0: without the literal a disequality holds");
  const Relation relation = holds ? p.relation : opposite(p.relation);
  if (relation != Relation::equal && sign(multiplier) < 0) refuse_multiplier(" is negative");
  const bool is_turned = relation == Relation::greater || relation == Relation::greater_equal;
  const Number factor = is_turned ? Number(-multiplier) : multiplier;
  for (std::size_t i = p.first_term; i < p.end_term; ++i) {
    Number& sum = sum_[terms_[i].real];
    if (sign(sum) == 0) summed_.push_back(terms_[i].real);
    add_product(&sum, factor, terms_[i].coefficient);
  }
  add_product(&bound_, factor, p.constant);
  is_strict_ = is_strict_ || relation == Relation::less || relation == Relation::greater;
}

void Checker::require_contradiction() const {
  const std::string remaining = remaining_terms();
  if (!remaining.empty()) refuse("terms do not cancel: " + remaining);
  if (is_strict_ ? sign(bound_) <= 0 : sign(bound_) < 0) return;
  refuse(std::string("the sum is no contradiction: 0 ") + (is_strict_ ? "< " : "<= ") + to_str(bound_));
}

// "1/2*x remains"; empty when nothing does.
std::string Checker::remaining_terms() const {
  constexpr std::size_t most = 3;
  std::vector<std::uint32_t> left;
  for (const std::uint32_t index : summed_) {
    if (sign(sum_[index]) != 0) left.push_back(index);
  }
  std::sort(left.begin(), left.end());
  left.erase(std::unique(left.begin(), left.end()), left.end());
  if (left.empty()) return "";
  std::string text;
  for (std::size_t i = 0; i < std::min(left.size(), most); ++i) {
    text += (i > 0 ? " + " : "") + to_str(sum_[left[i]]) + "*" + reals_[left[i]].symbol;
  }
  return text + (left.size() > most ? " + ..." : "") + (left.size() > 1 ? " remain" : " remains");
}

// ==== split ====

void Checker::add_split(ClauseId id, const std::vector<Literal>& literals) {
  require_new_clause(id);
  std::vector<std::uint32_t> codes = codes_of(literals);
  if (codes.size() != 3) refuse("there must be three literals, not " + std::to_string(codes.size()));
  const auto equality = std::find_if(codes.begin(), codes.end(), [this](std::uint32_t code) {
    return proposition(code).is_atom && proposition(code).relation == Relation::equal && !is_negated(code);
  });
  if (equality == codes.end()) refuse("none of the literals is an equality");
  bool has_less = false, has_greater = false;
  for (const std::uint32_t code : codes) {
    const Proposition& p = proposition(code);
    if (code == *equality) continue;
    const Number scale = p.is_atom ? ratio(p, proposition(*equality)) : Number(0);
    if (sign(scale) == 0) refuse(named(literal(code)) + " does not compare what the equality does");
    Relation relation = is_negated(code) ? opposite(p.relation) : p.relation;
    if (sign(scale) < 0) relation = mirror(relation);
    has_less = has_less || relation == Relation::less;
    has_greater = has_greater || relation == Relation::greater;
  }
  if (!has_less || !has_greater) refuse(std::string("no literal says ") + (has_less ? "greater" : "less"));
  add_clause(id, std::move(codes));
  ++num_splits_;
}

// The number that `b`, terms and constant, is multiplied with in `a`; 0 when there is none.
Number Checker::ratio(const Proposition& a, const Proposition& b) const {
  const std::size_t count = b.end_term - b.first_term;
  if (a.end_term - a.first_term != count) return 0;
  const Number scale =
      count == 0 ? Number(1) : Number(terms_[a.first_term].coefficient / terms_[b.first_term].coefficient);
  for (std::size_t i = 0; i < count; ++i) {
    const Term& in_a = terms_[a.first_term + i];
    const Term& in_b = terms_[b.first_term + i];
    if (in_a.real != in_b.real || in_a.coefficient != scale * in_b.coefficient) return 0;
  }
  return a.constant == scale * b.constant ? scale : Number(0);
}

// ==== rup ====

// What is known during one step; nothing afterwards.
class Checker::Assignment {
 public:
  explicit Assignment(std::vector<std::uint8_t>* is_true) : is_true_(*is_true) {}
  ~Assignment() {
    for (const std::uint32_t code : trail_) is_true_[code] = 0;
  }
  Assignment(const Assignment&) = delete;
  Assignment& operator=(const Assignment&) = delete;

  bool is_true(std::uint32_t code) const { return is_true_[code] != 0; }
  bool is_false(std::uint32_t code) const { return is_true_[code ^ 1] != 0; }
  void set_true(std::uint32_t code) {
    trail_.push_back(code);
    is_true_[code] = 1;
  }

 private:
  std::vector<std::uint8_t>& is_true_;
  std::vector<std::uint32_t> trail_;
};

void Checker::add_rup(ClauseId id, const std::vector<Literal>& literals, const std::vector<ClauseId>& antecedents) {
  require_new_clause(id);
  std::vector<std::uint32_t> codes = codes_of(literals);
  Assignment assignment(&is_true_);
  for (const std::uint32_t code : codes) {
    if (assignment.is_true(code)) refuse(named(literal(code)) + " and its negation cannot both be false");
    if (!assignment.is_false(code)) assignment.set_true(code ^ 1);
  }
  bool is_refuted = false;
  for (const ClauseId antecedent : antecedents) {
    if (is_refuted) refuse("nothing may be named after the clause that is false, but " + named(antecedent) + " is");
    is_refuted = !propagate(antecedent, &assignment);
  }
  if (!is_refuted) refuse("none of the clauses named is false");
  add_clause(id, std::move(codes));
  ++num_derived_;
}

// Makes the one literal true that is not false; gives false when there is none.
bool Checker::propagate(ClauseId id, Assignment* assignment) const {
  std::uint32_t open = no_code;
  for (const std::uint32_t code : clause(id)) {
    if (assignment->is_true(code)) refuse(named(literal(code)) + " of " + named(id) + " is true");
    if (assignment->is_false(code)) continue;
    if (open != no_code) {
      refuse(named(literal(open)) + " and " + named(literal(code)) + " of " + named(id) + " are both open");
    }
    open = code;
  }
  if (open == no_code) return false;
  assignment->set_true(open);
  return true;
}

}  // namespace tarku::checker
