// Linearisation from the root downwards; linear.h explains the order.
#include "tarku/smt/linear.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace tarku::smt {

namespace {

constexpr std::uint8_t hot_limit = 4;       // runs that expand an operator before its form is tried
constexpr std::uint8_t never_again = 0xff;  // the form of this operator is not worth remembering
constexpr std::size_t short_walk = 16;      // operators below which remembering gains nothing

bool ascending(const std::vector<Monomial>& terms) {
  for (std::size_t i = 1; i < terms.size(); ++i) {
    if (!(terms[i - 1].leaf < terms[i].leaf)) return false;
  }
  return true;
}

// Sorts by leaf, sums equal leaves, drops zeros.
void normalize(std::vector<Monomial>* terms) {
  if (!ascending(*terms)) {
    std::sort(terms->begin(), terms->end(), [](const Monomial& a, const Monomial& b) { return a.leaf < b.leaf; });
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < terms->size();) {
    Monomial sum = std::move((*terms)[i]);
    for (++i; i < terms->size() && (*terms)[i].leaf == sum.leaf; ++i) sum.coeff += (*terms)[i].coeff;
    if (!sum.coeff.is_zero()) (*terms)[kept++] = std::move(sum);
  }
  terms->resize(kept);
}

}  // namespace

void Linearizer::linearize(Term t, LinearForm* form) {
  assert(terms_.sort(t) == Sort::real);
  form->terms.clear();
  form->constant = QNumber();
  add(t, 1, form);
  run(form);
}

void Linearizer::subtract(Term a, Term b, LinearForm* form) {
  assert(terms_.sort(a) == Sort::real && terms_.sort(b) == Sort::real);
  form->terms.clear();
  form->constant = QNumber();
  add(a, 1, form);
  add(b, -1, form);
  run(form);
}

void Linearizer::run(LinearForm* form) {
  hot_ = Term();
  drain(form);
  if (hot_.is_valid()) remember_hot();
}

// Expands whatever is open.
void Linearizer::drain(LinearForm* form) {
  while (!unshared_.empty() || !shared_.empty()) {
    if (unshared_.empty()) {
      expand_shared(form);
    } else {
      Open next = std::move(unshared_.back());
      unshared_.pop_back();
      expand(next.term, std::move(next.factor), form);
    }
  }
  normalize(&form->terms);
}

// Adds factor * t to the sum: leaves go into the form, operators are left open.
void Linearizer::add(Term t, QNumber factor, LinearForm* form) {
  const Op op = terms_.op(t);
  if (op == Op::numeral) {
    form->constant.add_mul(factor, terms_.value(t));
  } else if (op == Op::symbol) {
    form->terms.push_back({t, std::move(factor)});
  } else if (terms_.is_shared(t)) {
    shared_.push_back({t, std::move(factor)});
    std::push_heap(shared_.begin(), shared_.end(), below);
  } else {
    unshared_.push_back({t, std::move(factor)});
  }
}

Linearizer::Open Linearizer::pop_shared() {
  std::pop_heap(shared_.begin(), shared_.end(), below);
  Open top = std::move(shared_.back());
  shared_.pop_back();
  return top;
}

void Linearizer::expand_shared(LinearForm* form) {
  Open next = pop_shared();
  while (!shared_.empty() && shared_.front().term == next.term) next.factor += pop_shared().factor;
  if (next.factor.is_zero()) return;
  const auto found = remembered_.find(next.term.id());
  if (found != remembered_.end()) {
    for (const Monomial& m : found->second.terms) form->terms.push_back({m.leaf, m.coeff * next.factor});
    form->constant.add_mul(next.factor, found->second.constant);
    return;
  }
  count_expansion(next.term);
  expand(next.term, std::move(next.factor), form);
}

void Linearizer::expand(Term t, QNumber factor, LinearForm* form) {
  ++num_expanded_;
  const Args args = terms_.args(t);
  switch (terms_.op(t)) {
    case Op::add:
      return add_sum(args, false, factor, form);
    case Op::subtract:
      return add_sum(args, true, factor, form);
    case Op::negate:
      factor.negate();
      return add(args[0], std::move(factor), form);
    case Op::multiply:
      return add_product(args, std::move(factor), form);
    case Op::divide:
      for (std::uint32_t i = 1; i < args.size(); ++i) factor /= terms_.value(args[i]);
      return add(args[0], std::move(factor), form);
    case Op::ite:
      if (const std::optional<bool> condition = terms_.known_truth(args[0])) {
        return add(args[*condition ? 1 : 2], std::move(factor), form);
      }
      if (has_equal_branches(t)) return add(args[1], std::move(factor), form);
      form->terms.push_back({t, std::move(factor)});
      return;
    default:
      assert(false && "not an arithmetic operator");
  }
}

// Whether the branches of an `ite` have the same form. Within this question, an `ite` that was not asked about before
// counts as itself.
bool Linearizer::has_equal_branches(Term choice) {
  const Args args = terms_.args(choice);
  if (args[1] == args[2]) return true;
  const auto known = equal_branches_.find(choice.id());
  if (known != equal_branches_.end()) return known->second;
  if (is_comparing_) return false;
  Linearizer other(terms_);
  other.is_comparing_ = true;
  other.equal_branches_.swap(equal_branches_);
  LinearForm difference;
  other.subtract(args[1], args[2], &difference);
  equal_branches_.swap(other.equal_branches_);
  const bool result = difference.terms.empty() && difference.constant.is_zero();
  equal_branches_.emplace(choice.id(), result);
  return result;
}

void Linearizer::add_sum(const Args& args, bool subtract, const QNumber& factor, LinearForm* form) {
  const QNumber others = subtract ? factor.neg() : factor;
  for (std::uint32_t i = 0; i < args.size(); ++i) add(args[i], i == 0 ? factor : others, form);
}

void Linearizer::add_product(const Args& args, QNumber factor, LinearForm* form) {
  Term open = args[0];
  for (const Term t : args) {
    if (terms_.op(t) == Op::numeral) {
      factor *= terms_.value(t);
    } else {
      open = t;
    }
  }
  assert(terms_.op(open) != Op::numeral);
  if (!factor.is_zero()) add(open, std::move(factor), form);
}

void Linearizer::count_expansion(Term t) {
  if (expansions_.size() <= t.id()) expansions_.resize(terms_.num_terms());
  std::uint8_t& runs = expansions_[t.id()];
  if (runs < hot_limit) ++runs;
  if (runs == hot_limit && !hot_.is_valid()) hot_ = t;
}

// Computes the form of the operator that this run found hot, and keeps it when it is short. The run has just walked the
// same operators, so this at most doubles its cost; an operator is tried once.
void Linearizer::remember_hot() {
  const Term t = hot_;
  expansions_[t.id()] = never_again;
  const std::size_t before = num_expanded_;
  LinearForm form;
  expand(t, 1, &form);
  drain(&form);
  if (num_expanded_ - before < 2 * form.terms.size() + short_walk) return;
  form.terms.shrink_to_fit();
  remembered_.emplace(t.id(), std::move(form));
}

}  // namespace tarku::smt
