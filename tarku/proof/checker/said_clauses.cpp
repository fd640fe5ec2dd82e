// Taking formulas apart with explicit stacks; shared parts are met once.
#include "tarku/proof/checker/said_clauses.h"

#include <algorithm>
#include <unordered_set>

#include "tarku/proof/checker/interner.h"

namespace tarku::checker {

namespace {

void sort_out(std::vector<Formula>* disjuncts) {
  std::sort(disjuncts->begin(), disjuncts->end());
  disjuncts->erase(std::unique(disjuncts->begin(), disjuncts->end()), disjuncts->end());
}

std::uint64_t hash_of(const std::vector<Formula>& disjuncts) {
  std::uint64_t hash = disjuncts.size();
  for (const Formula f : disjuncts) hash = mix(hash, f.code());
  return hash;
}

}  // namespace

std::string SaidClauses::why_not(Formula formula, const std::vector<Formula>& clause) {
  std::vector<Formula> wanted, disjuncts;
  if (!take_apart(clause, &wanted)) return "";
  const Conjuncts& conjuncts = conjuncts_of(formulas_.resolve(formula));
  if (conjuncts.is_false) return "";
  const std::pair<std::uint64_t, Formula> first{hash_of(wanted), Formula()};
  for (auto i = std::lower_bound(conjuncts.clauses.begin(), conjuncts.clauses.end(), first);
       i != conjuncts.clauses.end() && i->first == first.first; ++i) {
    if (take_apart({i->second}, &disjuncts) && disjuncts == wanted) return "";
  }
  return "none of its conjuncts is the clause";
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

// Needs: resolved.
void SaidClauses::collect(Formula formula, Conjuncts* conjuncts) {
  std::vector<Formula> open{formula}, disjuncts;
  std::unordered_set<std::uint32_t> met;
  while (!open.empty()) {
    const Formula f = open.back();
    open.pop_back();
    if (formulas_.is_conjunction(f)) {
      if (!met.insert(f.code()).second) continue;
      for (std::size_t i = 0; i < formulas_.num_args(f); ++i) open.push_back(formulas_.arg(f, i));
    }
    if (!take_apart({f}, &disjuncts)) continue;
    conjuncts->clauses.emplace_back(hash_of(disjuncts), f);
    if (disjuncts.empty()) conjuncts->is_false = true;
  }
  std::sort(conjuncts->clauses.begin(), conjuncts->clauses.end());
}

// *disjuncts := those of the disjunction of `open`, ordered. Gives false when one of them is true.
bool SaidClauses::take_apart(std::vector<Formula> open, std::vector<Formula>* disjuncts) {
  disjuncts->clear();
  std::unordered_set<std::uint32_t> met;
  while (!open.empty()) {
    const Formula f = formulas_.resolve(open.back());
    open.pop_back();
    if (f.is_true()) return false;
    if (f.is_false()) continue;
    if (formulas_.is_disjunction(f)) {
      if (!met.insert(f.code()).second) continue;
      for (std::size_t i = 0; i < formulas_.num_args(f); ++i) open.push_back(!formulas_.arg(f, i));
    } else {
      disjuncts->push_back(f);
    }
  }
  sort_out(disjuncts);
  return true;
}

}  // namespace tarku::checker
