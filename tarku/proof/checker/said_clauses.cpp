// Taking formulas apart with explicit stacks; shared parts are met once.
#include "tarku/proof/checker/said_clauses.h"

#include <algorithm>
#include <unordered_set>

#include "tarku/proof/checker/interner.h"

namespace tarku::checker {

namespace {

void sort_out(std::vector<Formula>* literals) {
  std::sort(literals->begin(), literals->end());
  literals->erase(std::unique(literals->begin(), literals->end()), literals->end());
}

std::uint64_t hash_of(const std::vector<Formula>& literals) {
  std::uint64_t hash = literals.size();
  for (const Formula f : literals) hash = mix(hash, f.code());
  return hash;
}

}  // namespace

std::string SaidClauses::why_not(Formula formula, std::vector<Formula> clause) {
  sort_out(&clause);
  if (!clause.empty() && clause.front().is_true()) return "the clause is true by constants alone";
  if (!clause.empty() && clause.front().is_false()) clause.erase(clause.begin());
  const Conjuncts& conjuncts = conjuncts_of(formula);
  if (conjuncts.is_false) return "";
  const std::pair<std::uint64_t, Formula> wanted{hash_of(clause), Formula()};
  std::vector<Formula> literals;
  for (auto i = std::lower_bound(conjuncts.clauses.begin(), conjuncts.clauses.end(), wanted);
       i != conjuncts.clauses.end() && i->first == wanted.first; ++i) {
    if (take_apart(i->second, &literals) == Shape::clause && literals == clause) return "";
  }
  std::string reason = "none of its conjuncts is the clause";
  if (conjuncts.num_others > 0) reason += " (" + std::to_string(conjuncts.num_others) + " of them are no clauses)";
  return reason;
}

// Only conjunctions are remembered: the rest is looked at faster than found.
const SaidClauses::Conjuncts& SaidClauses::conjuncts_of(Formula formula) {
  if (!formulas_.is_conjunction(formula)) {
    single_ = Conjuncts();
    collect(formula, &single_);
    return single_;
  }
  const auto [place, is_new] = known_.try_emplace(formula.code());
  if (is_new) collect(formula, &place->second);
  return place->second;
}

void SaidClauses::collect(Formula formula, Conjuncts* conjuncts) {
  std::vector<Formula> open{formula}, literals;
  std::unordered_set<std::uint32_t> met;
  while (!open.empty()) {
    const Formula f = open.back();
    open.pop_back();
    if (formulas_.is_conjunction(f)) {
      if (!met.insert(f.code()).second) continue;
      for (std::size_t i = 0; i < formulas_.num_args(f); ++i) open.push_back(formulas_.arg(f, i));
      continue;
    }
    const Shape shape = take_apart(f, &literals);
    if (shape == Shape::clause) conjuncts->clauses.emplace_back(hash_of(literals), f);
    if (shape == Shape::clause && literals.empty()) conjuncts->is_false = true;
    if (shape == Shape::other) ++conjuncts->num_others;
  }
  std::sort(conjuncts->clauses.begin(), conjuncts->clauses.end());
}

// *literals := those of the disjunction `conjunct`, ordered. They are of no use when the shape is not that of a clause.
SaidClauses::Shape SaidClauses::take_apart(Formula conjunct, std::vector<Formula>* literals) {
  literals->clear();
  std::vector<Formula> open{conjunct};
  std::unordered_set<std::uint32_t> met;
  while (!open.empty()) {
    const Formula f = formulas_.resolve(open.back());
    open.pop_back();
    if (f.is_true()) return Shape::constantly_true;
    if (f.is_false()) continue;
    if (formulas_.is_disjunction(f)) {
      if (!met.insert(f.code()).second) continue;
      for (std::size_t i = 0; i < formulas_.num_args(f); ++i) open.push_back(!formulas_.arg(f, i));
    } else if (formulas_.is_literal(f)) {
      literals->push_back(f);
    } else {
      return Shape::other;
    }
  }
  sort_out(literals);
  return Shape::clause;
}

}  // namespace tarku::checker
