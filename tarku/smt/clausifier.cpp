// From terms to literals with an explicit stack, from literals to clauses by need.
#include "tarku/smt/clausifier.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <utility>

namespace tarku::smt {

namespace {

bool is_real_comparison(const TermManager& terms, Term t) {
  const Args args = terms.args(t);
  return args.size() > 0 && terms.op(t) != Op::ite && terms.sort(args[0]) == Sort::real;
}

std::vector<int> negated(std::vector<int> literals) {
  for (int& literal : literals) literal = -literal;
  return literals;
}

}  // namespace

// ==== structure ====

Clause Clausifier::clause(Term formula, bool polarity, bool* holds) {
  std::vector<std::pair<Term, bool>> disjuncts;
  collect(formula, polarity, &disjuncts);
  Clause result;
  for (const auto& [term, sign] : disjuncts) result.push_back(sign ? literal(term) : -literal(term));
  return finish(std::move(result), holds);
}

Clause Clausifier::unit_clause(int constraint, bool* holds) {
  return finish({bound(constraint)}, holds);
}

Clause Clausifier::finish(Clause clause, bool* holds) {
  settle_pending();
  *holds = !simplify(&clause);
  if (*holds) return {};
  for (const int each : clause) require(each);
  tell_required();
  return clause;
}

// Takes nested disjunctions apart.
void Clausifier::collect(Term formula, bool polarity, std::vector<std::pair<Term, bool>>* disjuncts) const {
  std::vector<std::pair<Term, bool>> open{{formula, polarity}};
  while (!open.empty()) {
    const auto [t, sign] = open.back();
    open.pop_back();
    const Op op = terms_.op(t);
    const Args args = terms_.args(t);
    if (op == Op::not_op) {
      open.emplace_back(args[0], !sign);
    } else if (sign ? op == Op::or_op : op == Op::and_op) {
      for (std::uint32_t i = args.size(); i-- > 0;) open.emplace_back(args[i], sign);
    } else if (sign && op == Op::implies) {
      open.emplace_back(args[args.size() - 1], true);
      for (std::uint32_t i = args.size() - 1; i-- > 0;) open.emplace_back(args[i], false);
    } else {
      disjuncts->emplace_back(t, sign);
    }
  }
}

int Clausifier::literal(Term root) {
  std::vector<Term> open{root};
  while (!open.empty()) {
    const Term t = open.back();
    if (has_literal(t)) {
      open.pop_back();
      continue;
    }
    const std::size_t height = open.size();
    if (!is_real_comparison(terms_, t)) {
      for (const Term a : terms_.args(t)) {
        if (!has_literal(a)) open.push_back(a);
      }
    }
    if (open.size() > height) continue;
    open.pop_back();
    const int result = build(t);
    literals_.emplace(t.id(), result);
  }
  return known_literal(root);
}

bool Clausifier::has_literal(Term t) const {
  while (terms_.op(t) == Op::not_op) t = terms_.args(t)[0];
  return terms_.known_truth(t).has_value() || literals_.count(t.id()) != 0;
}

int Clausifier::known_literal(Term t) const {
  if (const std::optional<bool> value = terms_.known_truth(t)) return *value ? truth_ : -truth_;
  int sign = 1;
  for (; terms_.op(t) == Op::not_op; t = terms_.args(t)[0]) sign = -sign;
  return sign * literals_.at(t.id());
}

std::vector<int> Clausifier::known_literals(Term t) const {
  std::vector<int> result;
  for (const Term a : terms_.args(t)) result.push_back(known_literal(a));
  return result;
}

// Needs: the arguments have literals.
int Clausifier::build(Term t) {
  if (is_real_comparison(terms_, t)) return comparison(t);
  if (terms_.op(t) == Op::symbol) {
    const int variable = new_variable(Kind::other, {});
    sink_.symbol(variable, t);
    return variable;
  }
  std::vector<int> args = known_literals(t);
  switch (terms_.op(t)) {
    case Op::not_op:
      return -args[0];
    case Op::and_op:
      return conjunction(std::move(args));
    case Op::or_op:
      return disjunction(std::move(args));
    case Op::implies:
      for (std::size_t i = 0; i + 1 < args.size(); ++i) args[i] = -args[i];
      return disjunction(std::move(args));
    case Op::xor_op:
      return parity(args);
    case Op::equal:
      return agreement(args);
    case Op::distinct:
      return -equivalence(args[0], args[1]);  // of three or more the value is known
    default:
      assert(terms_.op(t) == Op::ite);
      return choice(args[0], args[1], args[2]);
  }
}

int Clausifier::parity(const std::vector<int>& args) {
  int result = args[0];
  for (std::size_t i = 1; i < args.size(); ++i) result = -equivalence(result, args[i]);
  return result;
}

int Clausifier::agreement(const std::vector<int>& args) {
  // A constant decides what the others have to be.
  for (const int value : {truth_, -truth_}) {
    if (std::find(args.begin(), args.end(), value) == args.end()) continue;
    return conjunction(value > 0 ? args : negated(args));
  }
  std::vector<int> links;
  for (std::size_t i = 1; i < args.size(); ++i) links.push_back(equivalence(args[i - 1], args[i]));
  return conjunction(std::move(links));
}

int Clausifier::disjunction(std::vector<int> args) {
  return -conjunction(negated(std::move(args)));
}

int Clausifier::conjunction(std::vector<int> args) {
  std::sort(args.begin(), args.end());
  args.erase(std::unique(args.begin(), args.end()), args.end());
  if (!args.empty() && args.front() == -truth_) return -truth_;
  if (!args.empty() && args.back() == truth_) args.pop_back();
  if (args.empty()) return truth_;
  return args.size() == 1 ? args[0] : gate(Kind::conjunction, args);
}

int Clausifier::equivalence(int a, int b) {
  if (std::abs(a) > std::abs(b)) std::swap(a, b);
  if (b == truth_ || b == -truth_) return b > 0 ? a : -a;
  if (a == b || a == -b) return a == b ? truth_ : -truth_;
  // The arguments are kept positive, the sign is that of the gate.
  const int variable = gate(Kind::equivalence, {std::abs(a), std::abs(b)});
  return (a > 0) == (b > 0) ? variable : -variable;
}

int Clausifier::choice(int condition, int yes, int no) {
  if (condition == truth_ || condition == -truth_) return condition > 0 ? yes : no;
  if (yes == no) return yes;
  if (yes == truth_) return disjunction({condition, no});
  if (yes == -truth_) return conjunction({-condition, no});
  if (no == truth_) return disjunction({-condition, yes});
  if (no == -truth_) return conjunction({condition, yes});
  if (yes == -no) return equivalence(condition, yes);
  return condition > 0 ? gate(Kind::choice, {condition, yes, no}) : gate(Kind::choice, {-condition, no, yes});
}

int Clausifier::gate(Kind kind, const std::vector<int>& args) {
  std::uint64_t hash = static_cast<std::uint64_t>(kind);
  for (const int a : args) hash = mix_hash(hash, static_cast<std::uint64_t>(a));
  const std::uint32_t old = gate_index_.find(hash, [&](std::uint32_t variable) {
    const Node& n = nodes_[variable];
    return n.kind == kind && n.count == args.size() && std::equal(args.begin(), args.end(), args_.begin() + n.first);
  });
  if (old != HashIndex::none) return static_cast<int>(old);
  const int variable = new_variable(kind, args);
  gate_index_.insert(static_cast<std::uint32_t>(variable), hash);
  if (kind == Kind::conjunction) sink_.conjunction(variable, args);
  if (kind == Kind::equivalence) sink_.equivalence(variable, args[0], args[1]);
  if (kind == Kind::choice) sink_.choice(variable, args[0], args[1], args[2]);
  return variable;
}

// A literal that may be told: the constants become a gate without arguments.
int Clausifier::materialized(int literal) {
  if (std::abs(literal) != truth_) return literal;
  const int variable = gate(Kind::conjunction, {});
  require(variable);
  require(-variable);
  return literal > 0 ? variable : -variable;
}

int Clausifier::new_variable(Kind kind, const std::vector<int>& args, bool is_observed) {
  const int variable = is_observed ? sink_.new_observed_variable() : sink_.new_variable();
  nodes_.resize(static_cast<std::size_t>(variable) + 1);
  constraint_of_.resize(nodes_.size());
  Node& n = nodes_.back();
  n.kind = kind;
  n.first = static_cast<std::uint32_t>(args_.size());
  n.count = static_cast<std::uint32_t>(args.size());
  args_.insert(args_.end(), args.begin(), args.end());
  return variable;
}

// ==== atoms ====

// A chain of comparisons is the conjunction of its links, `distinct` that of its pairs.
int Clausifier::comparison(Term t) {
  static constexpr std::pair<Op, Relation> relations[] = {{Op::equal, Relation::equal},
                                                          {Op::less, Relation::less},
                                                          {Op::less_equal, Relation::less_equal},
                                                          {Op::greater, Relation::greater},
                                                          {Op::greater_equal, Relation::greater_equal}};
  const Args args = terms_.args(t);
  std::vector<int> links;
  if (terms_.op(t) == Op::distinct) {
    for (std::uint32_t i = 0; i < args.size(); ++i) {
      for (std::uint32_t j = i + 1; j < args.size(); ++j) links.push_back(link(args[i], Relation::distinct, args[j]));
    }
    return conjunction(std::move(links));
  }
  for (const auto& [op, relation] : relations) {
    if (terms_.op(t) != op) continue;
    for (std::uint32_t i = 1; i < args.size(); ++i) links.push_back(link(args[i - 1], relation, args[i]));
  }
  return conjunction(std::move(links));
}

int Clausifier::link(Term left, Relation relation, Term right) {
  LinearForm form;
  linearizer_.subtract(left, right, &form);
  return atom(&form, relation);
}

// The literal of  form `relation` 0.
int Clausifier::atom(LinearForm* form, Relation relation) {
  const AtomTable::Place place = atoms_.add(form, relation);
  if (place.constraint == 0) return place.constant ? truth_ : -truth_;
  return bound(place.constraint);
}

int Clausifier::bound(int constraint) {
  if (const int known = find_literal(constraint)) return known;
  const Relation relation = atoms_.bound_of(constraint).relation;
  const bool is_canonical =
      relation == Relation::less || relation == Relation::less_equal || relation == Relation::equal;
  if (!is_canonical) return -bound(atoms_.negation_of(constraint));
  if (const Term leaf = case_leaf(form_of(constraint), relation); leaf.is_valid()) return new_cases(constraint, leaf);
  return relation == Relation::equal ? new_equality(constraint) : new_bound(constraint);
}

int Clausifier::find_literal(int constraint) const {
  const auto index = static_cast<std::size_t>(constraint);
  return index < literal_of_.size() ? literal_of_[index] : 0;
}

int Clausifier::find_symbol(Term symbol) const {
  const auto found = literals_.find(symbol.id());
  return found == literals_.end() ? 0 : found->second;
}

// As bound(), but one that the theory sees: what defines an `ite` cannot be replaced by its cases.
int Clausifier::theory_literal(int constraint) {
  const Relation relation = atoms_.bound_of(constraint).relation;
  if (relation != Relation::less && relation != Relation::less_equal) {
    return -theory_literal(atoms_.negation_of(constraint));
  }
  const int known = find_literal(constraint);
  return known != 0 && node(known).kind != Kind::cases ? known : new_bound(constraint);
}

void Clausifier::set_literal(int constraint, int literal) {
  const auto index = static_cast<std::size_t>(constraint);
  if (index >= literal_of_.size()) literal_of_.resize(std::max(index + 1, 2 * literal_of_.size()));
  literal_of_[index] = literal;
}

int Clausifier::new_bound(int constraint) {
  const int variable = new_variable(Kind::other, {}, true);
  const int opposite = atoms_.negation_of(constraint);
  set_literal(constraint, variable);
  set_literal(opposite, -variable);
  constraint_of_[static_cast<std::size_t>(variable)] = constraint;
  define_leaves(form_of(constraint));
  sink_.atom(variable, constraint, opposite);
  chain(atoms_.bound_of(constraint), variable);
  return variable;
}

int Clausifier::new_equality(int constraint) {
  const AtomTable::Bound told = atoms_.bound_of(constraint);
  const int less_equal = bound(atoms_.add_bound(told.variable, Relation::less_equal, told.value));
  const int less = bound(atoms_.add_bound(told.variable, Relation::less, told.value));
  const int variable = new_variable(Kind::equality, {less_equal, less});
  const int opposite = atoms_.negation_of(constraint);
  constraint_of_[static_cast<std::size_t>(variable)] = constraint;
  set_literal(constraint, variable);
  set_literal(opposite, -variable);
  sink_.atom(variable, constraint, opposite);
  return variable;
}

int Clausifier::new_cases(int constraint, Term leaf) {
  const int variable = new_variable(Kind::cases, {0, 0, 0});
  const int opposite = atoms_.negation_of(constraint);
  set_literal(constraint, variable);
  set_literal(opposite, -variable);
  constraint_of_[static_cast<std::size_t>(variable)] = constraint;
  node(variable).real_variable = atoms_.variable(leaf);
  sink_.atom(variable, constraint, opposite);
  pending_.push_back({leaf, variable});
  return variable;
}

int Clausifier::bound_literal(int constraint) {
  const int result = theory_literal(constraint);
  settle_pending();
  tell_required();
  return result;
}

// ==== alternatives ====

// What follows at once from the literal being true.
void Clausifier::add_consequences(int literal, std::vector<int>* constraints) const {
  std::vector<int> open{literal};
  while (!open.empty()) {
    const int next = open.back();
    open.pop_back();
    if (std::abs(next) == truth_) continue;
    const auto variable = static_cast<std::size_t>(std::abs(next));
    const Node& n = nodes_[variable];
    if (n.kind == Kind::conjunction && next > 0) {
      for (std::uint32_t i = n.count; i-- > 0;) open.push_back(arg(n, i));
    } else if (n.kind == Kind::equality ? next > 0 : n.kind == Kind::other && constraint_of_[variable] != 0) {
      constraints->push_back(next > 0 ? constraint_of_[variable] : atoms_.negation_of(constraint_of_[variable]));
    }
  }
}

void Clausifier::add_alternatives(const Clause& clause, std::vector<Alternatives>* result) const {
  Alternatives alternatives;
  const int only = clause.size() == 1 ? clause.front() : 0;
  const Node& n = nodes_[static_cast<std::size_t>(std::abs(only))];
  if (only > 0 && n.kind == Kind::conjunction) {
    for (std::uint32_t i = 0; i < n.count; ++i) add_alternatives({arg(n, i)}, result);
  } else if (only != 0 && (n.kind == Kind::cases || n.kind == Kind::choice)) {
    for (const bool is_yes : {true, false}) {
      std::vector<int>& constraints = alternatives.cases.emplace_back();
      add_consequences(is_yes ? arg(n, 0) : -arg(n, 0), &constraints);
      add_consequences(only > 0 ? arg(n, is_yes ? 1 : 2) : -arg(n, is_yes ? 1 : 2), &constraints);
    }
  } else {
    for (const int literal : clause) add_consequences(literal, &alternatives.cases.emplace_back());
  }
  const bool is_useful = std::none_of(alternatives.cases.begin(), alternatives.cases.end(),
                                      [](const std::vector<int>& constraints) { return constraints.empty(); });
  if (is_useful && alternatives.cases.size() > 1) result->push_back(std::move(alternatives));
}

void Clausifier::take_alternatives_of_values(std::vector<Alternatives>* result) {
  for (const Value& value : values_) {
    Alternatives& alternatives = result->emplace_back();
    for (const bool is_yes : {true, false}) {
      std::vector<int>& constraints = alternatives.cases.emplace_back();
      add_consequences(is_yes ? value.condition : -value.condition, &constraints);
      constraints.push_back(value.equalities[is_yes ? 0 : 1]);
    }
  }
  values_.clear();
}

// ==== chains ====

// Upper bounds of one variable are a chain: each implies the next one.
void Clausifier::chain(const AtomTable::Bound& bound, int atom) {
  Chain& chain = chains_[bound.variable];
  const auto place = chain.emplace(std::make_pair(bound.value, bound.relation == Relation::less_equal), atom).first;
  if (place != chain.begin()) link_neighbours(atom, std::prev(place)->second);
  if (const auto next = std::next(place); next != chain.end()) link_neighbours(next->second, atom);
}

void Clausifier::link_neighbours(int weaker, int stronger) {
  sink_.farkas_clause({-stronger, weaker}, {QNumber(1), QNumber(1)});
}

// The form of which the constraint says that it is `relation` 0.
LinearForm Clausifier::form_of(int constraint) const {
  const AtomTable::Bound& told = atoms_.bound_of(constraint);
  LinearForm form;
  form.constant = told.value.neg();
  const int row = atoms_.row_of(told.variable);
  if (row < 0) {
    form.terms.push_back({atoms_.symbol(told.variable), QNumber(1)});
  } else {
    const AtomTable::Row& sum = atoms_.rows()[static_cast<std::size_t>(row)];
    form.terms.assign(atoms_.monomials(sum), atoms_.monomials(sum) + sum.count);
  }
  return form;
}

// The `ite` whose cases the atom is better replaced by: when nothing but it is in the atom and its branches are
// constants, and in an equality when nobody else uses it and there are few of them: each one doubles the cases.
Term Clausifier::case_leaf(const LinearForm& form, Relation relation) {
  constexpr std::ptrdiff_t few = 2;
  const bool is_alone = form.terms.size() == 1;
  const auto num_choices = std::count_if(form.terms.begin(), form.terms.end(),
                                         [this](const Monomial& m) { return terms_.op(m.leaf) == Op::ite; });
  for (const Monomial& m : form.terms) {
    if (terms_.op(m.leaf) != Op::ite) continue;
    if (is_alone && has_constant_branches(m.leaf)) return m.leaf;
    if (relation == Relation::equal && num_choices <= few && !terms_.is_shared(m.leaf)) return m.leaf;
  }
  return Term();
}

bool Clausifier::has_constant_branches(Term leaf) {
  std::vector<Term> open{leaf};
  while (!open.empty()) {
    const Term t = open.back();
    const Args args = terms_.args(t);
    bool is_constant = true, is_ready = true;
    for (std::uint32_t i = 1; i <= 2; ++i) {
      if (terms_.op(args[i]) == Op::numeral) continue;
      if (terms_.op(args[i]) != Op::ite) {
        is_constant = false;
        continue;
      }
      const auto found = constant_branches_.find(args[i].id());
      if (found != constant_branches_.end()) {
        is_constant = is_constant && found->second;
      } else {
        open.push_back(args[i]);
        is_ready = false;
      }
    }
    if (!is_ready) continue;
    constant_branches_.emplace(t.id(), is_constant);
    open.pop_back();
  }
  return constant_branches_.at(leaf.id());
}

// The values of the `ite` terms in the form are wanted.
void Clausifier::define_leaves(const LinearForm& form) {
  for (const Monomial& m : form.terms) {
    if (terms_.op(m.leaf) == Op::ite && has_value_.emplace(m.leaf.id(), true).second) pending_.push_back({m.leaf, 0});
  }
}

// ==== `ite` terms ====

void Clausifier::settle_pending() {
  while (!pending_.empty()) {
    const Pending next = pending_.back();
    pending_.pop_back();
    if (next.atom == 0) {
      settle_value(next.leaf);
    } else {
      settle_cases(next.leaf, next.atom);
    }
  }
}

void Clausifier::settle_value(Term leaf) {
  const int condition = materialized(literal(terms_.args(leaf)[0]));
  const int variable = atoms_.variable(leaf);
  sink_.conditional(variable, leaf, condition);
  Value value{condition, {0, 0}};
  for (const bool is_yes : {true, false}) {
    LinearForm form;
    linearizer_.subtract(leaf, terms_.args(leaf)[is_yes ? 1 : 2], &form);
    value.equalities[is_yes ? 0 : 1] = atoms_.add(&form, Relation::equal).constraint;
    const int selector = is_yes ? condition : -condition;
    require(-selector);
    for (const Relation relation : {Relation::less_equal, Relation::greater_equal}) {
      LinearForm side;
      linearizer_.subtract(leaf, terms_.args(leaf)[is_yes ? 1 : 2], &side);
      sink_.conditional_clause(variable, {-selector, theory_literal(atoms_.add(&side, relation).constraint)});
    }
  }
  values_.push_back(value);
}

void Clausifier::settle_cases(Term leaf, int atom_variable) {
  const int constraint = constraint_of_[static_cast<std::size_t>(atom_variable)];
  const int condition = materialized(literal(terms_.args(leaf)[0]));
  sink_.conditional(atoms_.variable(leaf), leaf, condition);
  int cases[2];
  for (const bool is_yes : {true, false}) {
    LinearForm value, form = form_of(constraint);
    linearizer_.linearize(terms_.args(leaf)[is_yes ? 1 : 2], &value);
    substitute(value, leaf, &form);
    cases[is_yes ? 0 : 1] = materialized(atom(&form, atoms_.bound_of(constraint).relation));
  }
  const Node& n = node(atom_variable);
  args_[n.first] = condition;
  args_[n.first + 1] = cases[0];
  args_[n.first + 2] = cases[1];
}

// Puts a value in the place of a leaf.
void Clausifier::substitute(const LinearForm& value, Term leaf, LinearForm* form) {
  std::map<Term, QNumber> sum;
  QNumber factor;
  for (const Monomial& m : form->terms) (m.leaf == leaf ? factor : sum[m.leaf]) = m.coeff;
  for (const Monomial& m : value.terms) sum[m.leaf].add_mul(factor, m.coeff);
  form->constant.add_mul(factor, value.constant);
  form->terms.clear();
  for (const auto& [term, coeff] : sum) {
    if (!coeff.is_zero()) form->terms.push_back({term, coeff});
  }
}

// ==== clauses ====

// Tells all clauses that say what follows from the literal being true.
void Clausifier::require(int literal) {
  if (std::abs(literal) == truth_) return;
  required_.push_back(literal);
}

void Clausifier::tell_required() {
  while (!required_.empty()) {
    const int next = required_.back();
    required_.pop_back();
    bool& is_told = node(next).is_told[next > 0 ? 1 : 0];
    if (is_told) continue;
    is_told = true;
    tell(next);
  }
}

void Clausifier::tell(int literal) {
  const Node n = node(literal);
  switch (n.kind) {
    case Kind::conjunction:
      return tell_conjunction(literal, n);
    case Kind::equivalence:
      return tell_equivalence(literal, n);
    case Kind::choice:
      return tell_choice(literal, n);
    case Kind::equality:
      return tell_equality(literal, n);
    case Kind::cases:
      return tell_cases(literal, n);
    case Kind::other:
      return;
  }
}

void Clausifier::tell_conjunction(int literal, const Node& n) {
  if (literal > 0) {
    for (std::uint32_t i = 0; i < n.count; ++i) {
      require(arg(n, i));
      sink_.gate_clause(literal, {-literal, arg(n, i)});
    }
    return;
  }
  Clause clause{-literal};
  for (std::uint32_t i = 0; i < n.count; ++i) {
    require(-arg(n, i));
    clause.push_back(-arg(n, i));
  }
  sink_.gate_clause(-literal, clause);
}

void Clausifier::tell_equivalence(int literal, const Node& n) {
  const int gate = std::abs(literal);
  const int a = arg(n, 0), b = literal > 0 ? arg(n, 1) : -arg(n, 1);
  for (const int each : {a, -a, b, -b}) require(each);
  sink_.gate_clause(gate, {-literal, -a, b});
  sink_.gate_clause(gate, {-literal, a, -b});
}

void Clausifier::tell_choice(int literal, const Node& n) {
  const int gate = std::abs(literal);
  const int condition = arg(n, 0);
  const int yes = literal > 0 ? arg(n, 1) : -arg(n, 1);
  const int no = literal > 0 ? arg(n, 2) : -arg(n, 2);
  for (const int each : {condition, -condition, yes, no}) require(each);
  sink_.gate_clause(gate, {-literal, -condition, yes});
  sink_.gate_clause(gate, {-literal, condition, no});
  sink_.gate_clause(gate, {-literal, yes, no});  // follows, and lets more be propagated
}

void Clausifier::tell_cases(int literal, const Node& n) {
  const int atom = std::abs(literal);
  const int condition = arg(n, 0);
  for (const bool is_yes : {true, false}) {
    const int selector = is_yes ? condition : -condition;
    const int told = arg(n, is_yes ? 1 : 2);
    const int consequence = literal > 0 ? told : -told;
    require(-selector);
    require(consequence);
    sink_.case_clause(atom, n.real_variable, selector, told, {-literal, -selector, consequence});
  }
}

void Clausifier::tell_equality(int literal, const Node& n) {
  const int less_equal = arg(n, 0), less = arg(n, 1);
  if (literal < 0) {
    require(less);
    require(-less_equal);
    return sink_.split_clause({-literal, less, -less_equal});
  }
  require(less_equal);
  require(-less);
  sink_.farkas_clause({-literal, less_equal}, {QNumber(1), QNumber(1)});
  sink_.farkas_clause({-literal, -less}, {QNumber(-1), QNumber(1)});
}

// Drops what is false or repeated. False when the clause is true in any case.
bool Clausifier::simplify(Clause* clause) {
  std::sort(clause->begin(), clause->end(),
            [](int a, int b) { return std::abs(a) < std::abs(b) || (a == -b && a < b); });
  Clause result;
  for (const int literal : *clause) {
    if (literal == truth_) return false;
    if (literal == -truth_ || (!result.empty() && result.back() == literal)) continue;
    if (!result.empty() && result.back() == -literal) return false;
    result.push_back(literal);
  }
  *clause = std::move(result);
  return true;
}

}  // namespace tarku::smt
