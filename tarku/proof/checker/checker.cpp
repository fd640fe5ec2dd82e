// The rules, one function each, after the declarations that they rest on.
#include "tarku/proof/checker/checker.h"

#include <algorithm>
#include <utility>

namespace tarku::checker {

namespace {

using Kind = Vocabulary::Kind;

constexpr std::uint32_t no_code = 0xffffffffu;

[[noreturn]] void refuse(const std::string& reason) {
  throw Refused(reason);
}

std::string named_clause(ClauseId id) {
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
    vocabulary_.give_meanings();
  }
  check_ = check;
  begun_ = true;
}

void Checker::declare_real(int variable, std::string_view symbol) {
  require_unfinished();
  vocabulary_.declare_real(variable, symbol);
}

void Checker::declare_bool(int variable, std::string_view symbol) {
  require_unfinished();
  vocabulary_.declare_bool(variable, symbol);
}

void Checker::define_atom(int variable, const std::vector<Monomial>& terms, Relation relation, const Number& constant) {
  require_unfinished();
  vocabulary_.define_atom(variable, terms, relation, constant);
}

void Checker::define_conjunction(int variable, const std::vector<Literal>& args) {
  require_unfinished();
  vocabulary_.define_conjunction(variable, args);
}

void Checker::define_equivalence(int variable, Literal a, Literal b) {
  require_unfinished();
  vocabulary_.define_equivalence(variable, a, b);
}

void Checker::define_choice(int variable, Literal condition, Literal yes, Literal no) {
  require_unfinished();
  vocabulary_.define_choice(variable, condition, yes, no);
}

void Checker::define_conditional(int variable, Literal condition, const Sum& yes, const Sum& no) {
  require_unfinished();
  vocabulary_.define_conditional(variable, condition, yes, no);
}

// ==== clauses ====

std::string Checker::named(std::uint32_t code) const {
  return "literal " + std::to_string(vocabulary_.literal(code));
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
  if (!clauses_.contains(id)) refuse("there is no " + named_clause(id));
  return clauses_[id];
}

void Checker::remove(const std::vector<ClauseId>& ids) {
  require_unfinished();
  std::vector<ClauseId> ordered = ids;
  std::sort(ordered.begin(), ordered.end());
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    clause(ordered[i]);
    if (i > 0 && ordered[i - 1] == ordered[i]) refuse(named_clause(ordered[i]) + " is named twice");
  }
  for (const ClauseId id : ordered) clauses_.remove(id);
}

void Checker::finish(ClauseId id) {
  require_unfinished();
  if (clause(id).size() != 0) refuse(named_clause(id) + " is not empty");
  finished_ = true;
}

// ==== inputs ====

void Checker::add_input(ClauseId id, Source source, const std::vector<Literal>& literals) {
  require_new_clause(id);
  if (!begun_) refuse("the check that is answered must be told before the first input");
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  if (assertions_ != nullptr) {
    std::vector<Formula> said;
    for (const std::uint32_t code : codes) said.push_back(vocabulary_.meaning(code));
    const std::string reason = assertions_->why_not(source, said);
    if (!reason.empty()) refuse(reason);
  }
  add_clause(id, std::move(codes));
  ++num_inputs_;
}

// ==== farkas ====

void Checker::add_farkas(ClauseId id, const std::vector<Literal>& literals, const std::vector<Number>& multipliers) {
  require_new_clause(id);
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  if (literals.size() != multipliers.size()) {
    refuse("there must be a multiplier for each literal: " + std::to_string(literals.size()) + ", not " +
           std::to_string(multipliers.size()));
  }
  sum_.resize(vocabulary_.num_reals(), Number(0));
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
  const Vocabulary::Proposition& p = vocabulary_.proposition(code);
  const auto refuse_multiplier = [&](const char* reason) {
    refuse("multiplier " + to_str(multiplier) + " of " + named(code) + reason);
  };
  if (p.kind != Kind::atom) refuse_multiplier(" must be 0: the literal is no constraint");
  const bool holds = is_negated(code);
  if (p.relation == Relation::equal && !holds) refuse_multiplier(" must be 0: without the literal a disequality holds");
  const Relation relation = holds ? p.relation : opposite(p.relation);
  if (relation != Relation::equal && sign(multiplier) < 0) refuse_multiplier(" is negative");
  const bool is_turned = relation == Relation::greater || relation == Relation::greater_equal;
  const Number factor = is_turned ? Number(-multiplier) : multiplier;
  for (std::size_t i = p.equation.first; i < p.equation.end; ++i) {
    const Vocabulary::Term& term = vocabulary_.term(i);
    Number& sum = sum_[term.real];
    if (sign(sum) == 0) summed_.push_back(term.real);
    add_product(&sum, factor, term.coefficient);
  }
  add_product(&bound_, factor, p.equation.constant);
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
    text += (i > 0 ? " + " : "") + to_str(sum_[left[i]]) + "*" + vocabulary_.name_of_real(left[i]);
  }
  return text + (left.size() > most ? " + ..." : "") + (left.size() > 1 ? " remain" : " remains");
}

// ==== split ====

void Checker::add_split(ClauseId id, const std::vector<Literal>& literals) {
  require_new_clause(id);
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  if (codes.size() != 3) refuse("there must be three literals, not " + std::to_string(codes.size()));
  const auto equality = std::find_if(codes.begin(), codes.end(), [this](std::uint32_t code) {
    const Vocabulary::Proposition& p = vocabulary_.proposition(code);
    return p.kind == Kind::atom && p.relation == Relation::equal && !is_negated(code);
  });
  if (equality == codes.end()) refuse("none of the literals is an equality");
  const Vocabulary::Equation& equation = vocabulary_.proposition(*equality).equation;
  bool has_less = false, has_greater = false;
  for (const std::uint32_t code : codes) {
    const Vocabulary::Proposition& p = vocabulary_.proposition(code);
    if (code == *equality) continue;
    const Number scale = p.kind == Kind::atom ? vocabulary_.ratio(p.equation, equation) : Number(0);
    if (sign(scale) == 0) refuse(named(code) + " does not compare what the equality does");
    Relation relation = is_negated(code) ? opposite(p.relation) : p.relation;
    if (sign(scale) < 0) relation = mirror(relation);
    has_less = has_less || relation == Relation::less;
    has_greater = has_greater || relation == Relation::greater;
  }
  if (!has_less || !has_greater) refuse(std::string("no literal says ") + (has_less ? "greater" : "less"));
  add_clause(id, std::move(codes));
  ++num_splits_;
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

  std::optional<bool> value(std::uint32_t code) const {
    if (is_true(code)) return true;
    return is_false(code) ? std::optional<bool>(false) : std::nullopt;
  }
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
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  is_true_.resize(2 * vocabulary_.num_propositions(), 0);
  Assignment assignment(&is_true_);
  deny(codes, &assignment);
  bool is_refuted = false;
  for (const ClauseId antecedent : antecedents) {
    if (is_refuted)
      refuse("nothing may be named after the clause that is false, but " + named_clause(antecedent) + " is");
    is_refuted = !propagate(antecedent, &assignment);
  }
  if (!is_refuted) refuse("none of the clauses named is false");
  add_clause(id, std::move(codes));
  ++num_derived_;
}

void Checker::deny(const std::vector<std::uint32_t>& codes, Assignment* assignment) const {
  for (const std::uint32_t code : codes) {
    if (assignment->is_true(code)) refuse(named(code) + " and its negation cannot both be false");
    if (!assignment->is_false(code)) assignment->set_true(code ^ 1);
  }
}

// Makes the one literal true that is not false; gives false when there is none.
bool Checker::propagate(ClauseId id, Assignment* assignment) const {
  std::uint32_t open = no_code;
  for (const std::uint32_t code : clause(id)) {
    if (assignment->is_true(code)) refuse(named(code) + " of " + named_clause(id) + " is true");
    if (assignment->is_false(code)) continue;
    if (open != no_code) {
      refuse(named(open) + " and " + named(code) + " of " + named_clause(id) + " are both open");
    }
    open = code;
  }
  if (open == no_code) return false;
  assignment->set_true(open);
  return true;
}

// ==== gate ====

void Checker::add_gate(ClauseId id, int variable, const std::vector<Literal>& literals) {
  require_new_clause(id);
  const Vocabulary::Proposition& gate = vocabulary_.gate(variable);
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  is_true_.resize(2 * vocabulary_.num_propositions(), 0);
  Assignment assignment(&is_true_);
  deny(codes, &assignment);
  const std::string name = "gate " + std::to_string(variable);
  const std::optional<bool> told = assignment.value(vocabulary_.code(variable));
  if (!told) refuse("the clause does not hold " + name);
  const std::optional<bool> defined = value(gate, codes, assignment);
  if (!defined) refuse("with the literals false, what " + name + " stands for is open");
  if (*defined == *told) refuse("with the literals false, " + name + " is what it stands for");
  add_clause(id, std::move(codes));
  ++num_gate_clauses_;
}

// What the gate stands for, when the literals that are denied are all that is known.
// Cost: that of the literals, up to a logarithm, however many arguments there are.
std::optional<bool> Checker::value(const Vocabulary::Proposition& gate, const std::vector<std::uint32_t>& denied,
                                   const Assignment& assignment) const {
  const Words args = vocabulary_.args(gate);
  if (gate.kind == Kind::conjunction) {
    const auto is_arg = [&args](std::uint32_t code) { return std::binary_search(args.begin(), args.end(), code); };
    if (std::any_of(denied.begin(), denied.end(), is_arg)) return false;
    if (args.size() > denied.size()) return std::nullopt;
    const auto is_true = [&assignment](std::uint32_t code) { return assignment.is_true(code); };
    return std::all_of(args.begin(), args.end(), is_true) ? std::optional<bool>(true) : std::nullopt;
  }
  std::optional<bool> a = assignment.value(args[0]), b = assignment.value(args[1]);
  if (gate.kind == Kind::choice) {
    const std::optional<bool> no = assignment.value(args[2]);
    if (a) return *a ? b : no;
    return b == no ? b : std::nullopt;
  }
  return a && b ? std::optional<bool>(*a == *b) : std::nullopt;
}

// ==== branch ====

void Checker::add_branch(ClauseId id, int variable, const std::vector<Literal>& literals) {
  require_new_clause(id);
  const Vocabulary::Conditional& conditional = vocabulary_.conditional(variable);
  std::vector<std::uint32_t> codes = vocabulary_.codes(literals);
  if (codes.size() != 2) refuse("there must be two literals, not " + std::to_string(codes.size()));
  const auto is_condition = [&conditional](std::uint32_t code) { return (code ^ conditional.condition) <= 1; };
  const auto selector = std::find_if(codes.begin(), codes.end(), is_condition);
  if (selector == codes.end()) {
    refuse("neither literal is the condition of Real variable " + std::to_string(variable) + " or its negation");
  }
  const std::uint32_t other = selector == codes.begin() ? codes[1] : codes[0];
  const bool is_yes = *selector != conditional.condition;
  if (!is_implied(other, is_yes ? conditional.yes : conditional.no)) {
    refuse(named(other) + " does not follow from the branch that is taken when " + named(*selector) + " is false");
  }
  add_clause(id, std::move(codes));
  ++num_branches_;
}

// Whether the literal says something about the terms and the constant that their equality says, too.
bool Checker::is_implied(std::uint32_t code, const Vocabulary::Equation& equation) const {
  const Vocabulary::Proposition& p = vocabulary_.proposition(code);
  if (p.kind != Kind::atom || sign(vocabulary_.ratio(p.equation, equation)) == 0) return false;
  return is_negated(code) == (p.relation == Relation::less || p.relation == Relation::greater);
}

}  // namespace tarku::checker
