// Building formulas: every maker folds constants and reduces to the few kinds of nodes.
#include "tarku/proof/checker/formula.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace tarku::checker {

namespace {

// Whether a number of this sign stands in the relation to 0.
bool holds(Relation relation, int sign) {
  switch (relation) {
    case Relation::less:
      return sign < 0;
    case Relation::less_equal:
      return sign <= 0;
    case Relation::equal:
      return sign == 0;
    case Relation::greater_equal:
      return sign >= 0;
    default:
      return sign > 0;
  }
}

}  // namespace

FormulaTable::FormulaTable() {
  nodes_.intern({truth});  // node 0
}

// ---- nodes ----

Formula FormulaTable::node(const std::vector<std::uint32_t>& words) {
  return Formula::of_code(2 * nodes_.intern(words));
}

FormulaTable::Kind FormulaTable::kind(Formula f) const {
  return static_cast<Kind>(nodes_[f.node()][0]);
}

std::size_t FormulaTable::num_args(Formula f) const {
  assert(kind(f) >= conjunction_node);
  return nodes_[f.node()].size() - 1;
}

Formula FormulaTable::arg(Formula f, std::size_t i) const {
  assert(kind(f) >= conjunction_node);
  return Formula::of_code(nodes_[f.node()][i + 1]);
}

Formula FormulaTable::symbol() {
  return node({symbol_node, num_symbols_++});
}

// ---- over formulas ----

Formula FormulaTable::conjunction(std::vector<Formula> args) {
  std::sort(args.begin(), args.end());
  args.erase(std::unique(args.begin(), args.end()), args.end());
  if (std::find(args.begin(), args.end(), Formula::truth(false)) != args.end()) return Formula::truth(false);
  if (!args.empty() && args.front().is_true()) args.erase(args.begin());
  if (args.empty()) return Formula::truth(true);
  if (args.size() == 1) return args.front();
  std::vector<std::uint32_t> words{conjunction_node};
  for (const Formula f : args) words.push_back(f.code());
  return node(words);
}

Formula FormulaTable::disjunction(std::vector<Formula> args) {
  for (Formula& f : args) f = !f;
  return !conjunction(std::move(args));
}

Formula FormulaTable::implication(std::vector<Formula> args) {
  args.back() = !args.back();
  return !conjunction(std::move(args));
}

Formula FormulaTable::exclusive_or(const std::vector<Formula>& args) {
  Formula result = Formula::truth(false);
  for (const Formula f : args) result = !equivalent(result, f);
  return result;
}

// A constant among the arguments says what all of them are. In a chain it must show before the links are made.
Formula FormulaTable::equivalence(const std::vector<Formula>& operands) {
  std::vector<Formula> args = operands;
  if (args.size() > 2) {
    for (Formula& f : args) f = resolve(f);
  }
  const auto constant = std::find_if(args.begin(), args.end(), [](Formula f) { return f.is_truth(); });
  std::vector<Formula> links;
  if (constant != args.end()) {
    for (const Formula f : args) links.push_back(f.negated_if(constant->is_false()));
  } else {
    for (std::size_t i = 1; i < args.size(); ++i) links.push_back(equivalent(args[i - 1], args[i]));
  }
  return conjunction(std::move(links));
}

Formula FormulaTable::distinct(const std::vector<Formula>& args) {
  if (args.size() != 2) return Formula::truth(args.size() < 2);  // there are two values only
  return !equivalence(args);
}

// The node of an equivalence has arguments without negation, in order.
Formula FormulaTable::equivalent(Formula a, Formula b) {
  if (b < a) std::swap(a, b);
  if (a.is_truth()) return b.negated_if(a.is_false());
  const bool negated = a.is_negated() != b.is_negated();
  if (a.node() == b.node()) return Formula::truth(!negated);
  a = a.negated_if(a.is_negated());
  b = b.negated_if(b.is_negated());
  return node({equivalence_node, a.code(), b.code()}).negated_if(negated);
}

// The node of a choice has a condition and a first branch without negation.
Formula FormulaTable::choice(Formula condition, Formula yes, Formula no) {
  if (condition.is_truth()) return condition.is_true() ? yes : no;
  if (yes == no) return yes;
  if (yes == !no) return equivalent(condition, yes);
  if (yes.is_truth()) return yes.is_true() ? disjunction({condition, no}) : conjunction({!condition, no});
  if (no.is_truth()) return no.is_true() ? disjunction({!condition, yes}) : conjunction({condition, yes});
  if (condition.is_negated()) return choice(!condition, no, yes);
  const bool negated = yes.is_negated();
  yes = yes.negated_if(negated);
  no = no.negated_if(negated);
  return node({choice_node, condition.code(), yes.code(), no.code()}).negated_if(negated);
}

// ---- over Real terms ----

Formula FormulaTable::comparison(Relation relation, const std::vector<RealTerm>& args) {
  std::vector<Formula> links;
  for (std::size_t i = 1; i < args.size(); ++i) links.push_back(compare(relation, args[i - 1], args[i]));
  return conjunction(std::move(links));
}

Formula FormulaTable::distinct(const std::vector<RealTerm>& args) {
  std::vector<Formula> pairs;
  for (std::size_t i = 0; i < args.size(); ++i) {
    for (std::size_t j = i + 1; j < args.size(); ++j) pairs.push_back(!compare(Relation::equal, args[i], args[j]));
  }
  return conjunction(std::move(pairs));
}

Formula FormulaTable::compare(Relation relation, RealTerm a, RealTerm b) {
  if (a == b) return Formula::truth(holds(relation, 0));
  if (reals_.is_multiplied_out(a) && reals_.is_multiplied_out(b)) return atom(reals_.difference_form(a, b), relation);
  return node({comparison_node, static_cast<std::uint32_t>(relation), a.id(), b.id()});
}

// Scales the form so that its first coefficient is 1, and says `>` and `>=` by negation.
Formula FormulaTable::atom(LinearForm form, Relation relation) {
  form = reals_.multiply_out(std::move(form));
  if (form.addends.empty()) return Formula::truth(holds(relation, sign(form.constant)));
  const Number scale = 1 / form.addends[0].factor;
  if (sign(scale) < 0) relation = mirror(relation);
  bool negated = false;
  if (relation == Relation::greater || relation == Relation::greater_equal) {
    negated = true;
    relation = relation == Relation::greater ? Relation::less_equal : Relation::less;
  }
  NumberTable& numbers = reals_.numbers();
  std::vector<std::uint32_t> words;
  for (const Addend& addend : form.addends) {
    words.push_back(addend.term.id());
    words.push_back(numbers.intern(Number(addend.factor * scale)));
  }
  const std::uint32_t constant = numbers.intern(Number(-form.constant * scale));
  return node({atom_node, static_cast<std::uint32_t>(relation), constant, forms_.intern(words)}).negated_if(negated);
}

}  // namespace tarku::checker
