// Flattening by polarity with an explicit stack.
#include "tarku/smt/flatten.h"

#include <cassert>
#include <cstdint>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarku::smt {

namespace {

class Flattener {
 public:
  Flattener(const TermManager& terms, LiteralSink& sink) : terms_(terms), sink_(sink) {}

  void run(Term formula) {
    open(formula, true);
    while (!stack_.empty()) {
      const Goal goal = stack_.back();
      stack_.pop_back();
      visit(goal.term, goal.polarity);
    }
  }

 private:
  // `term` is to have the value `polarity`.
  struct Goal {
    Term term;
    bool polarity;
  };

  void open(Term t, bool polarity) { stack_.push_back({t, polarity}); }

  // Every argument in [first, last) is to have the value `polarity`; the leftmost comes first.
  void open_all(const Term* first, const Term* last, bool polarity) {
    while (last != first) open(*--last, polarity);
  }

  void visit(Term t, bool polarity);
  void junction(Term t, bool polarity, bool dominant);
  void implication(Term t, bool polarity);
  void parity(Term t, bool polarity);
  void choice(Term t, bool polarity);
  void equality(Term t, bool polarity);
  void agreement(Term t, bool polarity, bool agree);
  void chain(Term t, bool polarity, Relation relation);
  void distinction(Term t, bool polarity);
  bool is_repeated(Term t, bool polarity);

  const TermManager& terms_;
  LiteralSink& sink_;
  std::vector<Goal> stack_;
  std::unordered_set<std::uint64_t> met_;  // shared terms with their polarity
};

bool Flattener::is_repeated(Term t, bool polarity) {
  return terms_.is_shared(t) && !met_.insert(2 * std::uint64_t{t.id()} + (polarity ? 1 : 0)).second;
}

void Flattener::visit(Term t, bool polarity) {
  if (const std::optional<bool> known = terms_.known_truth(t)) {
    if (*known != polarity) sink_.falsity();
    return;
  }
  if (is_repeated(t, polarity)) return;
  switch (terms_.op(t)) {
    case Op::symbol:
      return sink_.boolean_literal(t, polarity);
    case Op::not_op:
      return open(terms_.args(t)[0], !polarity);
    case Op::and_op:
      return junction(t, polarity, false);
    case Op::or_op:
      return junction(t, polarity, true);
    case Op::implies:
      return implication(t, polarity);
    case Op::xor_op:
      return parity(t, polarity);
    case Op::ite:
      return choice(t, polarity);
    case Op::equal:
      return equality(t, polarity);
    case Op::distinct:
      return distinction(t, polarity);
    case Op::less:
      return chain(t, polarity, Relation::less);
    case Op::less_equal:
      return chain(t, polarity, Relation::less_equal);
    case Op::greater:
      return chain(t, polarity, Relation::greater);
    case Op::greater_equal:
      return chain(t, polarity, Relation::greater_equal);
    default:
      assert(false && "not a formula");
  }
}

// A conjunction (dominant: false) or a disjunction (dominant: true). Its value is open, so no argument has the dominant
// one, and arguments with a known value do not matter.
void Flattener::junction(Term t, bool polarity, bool dominant) {
  const Args args = terms_.args(t);
  if (polarity != dominant) return open_all(args.begin(), args.end(), polarity);
  Term remaining;
  for (const Term a : args) {
    if (terms_.known_truth(a) || a == remaining) continue;
    if (remaining.is_valid()) return sink_.formula(t, polarity);
    remaining = a;
  }
  open(remaining, polarity);
}

void Flattener::implication(Term t, bool polarity) {
  const Args args = terms_.args(t);
  const Term conclusion = args[args.size() - 1];
  if (!polarity) {
    open(conclusion, false);
    return open_all(args.begin(), args.end() - 1, true);
  }
  Term premise;
  for (const Term* a = args.begin(); a != args.end() - 1; ++a) {
    if (terms_.known_truth(*a) || *a == premise) continue;
    if (premise.is_valid()) return sink_.formula(t, polarity);
    premise = *a;
  }
  if (!premise.is_valid()) return open(conclusion, true);
  if (!terms_.known_truth(conclusion)) return sink_.formula(t, polarity);
  open(premise, false);
}

void Flattener::parity(Term t, bool polarity) {
  Term remaining;
  bool wanted = polarity;
  for (const Term a : terms_.args(t)) {
    if (const std::optional<bool> known = terms_.known_truth(a)) {
      wanted = wanted != *known;
    } else if (remaining.is_valid()) {
      return sink_.formula(t, polarity);
    } else {
      remaining = a;
    }
  }
  open(remaining, wanted);
}

// With a known branch, (ite c a b) is a conjunction or a disjunction of c, or its negation, with the other branch.
void Flattener::choice(Term t, bool polarity) {
  const Args args = terms_.args(t);
  if (const std::optional<bool> condition = terms_.known_truth(args[0])) {
    return open(args[*condition ? 1 : 2], polarity);
  }
  if (args[1] == args[2]) return open(args[1], polarity);
  const std::optional<bool> yes = terms_.known_truth(args[1]);
  const std::optional<bool> no = terms_.known_truth(args[2]);
  if (!yes && !no) return sink_.formula(t, polarity);
  const Term other = yes ? args[2] : args[1];
  const bool known = yes ? *yes : *no;
  // The value of the condition that selects the known branch.
  const bool forcing = yes.has_value();
  if (known == polarity) {
    if (!terms_.known_truth(other)) return sink_.formula(t, polarity);
    return open(args[0], forcing);
  }
  open(other, polarity);
  open(args[0], !forcing);
}

void Flattener::equality(Term t, bool polarity) {
  if (terms_.sort(terms_.args(t)[0]) == Sort::real) {
    chain(t, polarity, Relation::equal);
  } else {
    agreement(t, polarity, polarity);
  }
}

// An equality between formulas, or its negation, which a constant among them decides.
void Flattener::agreement(Term t, bool polarity, bool agree) {
  const Args args = terms_.args(t);
  std::optional<bool> value;
  Term remaining;
  bool single = true;  // the open arguments are all the same
  for (const Term a : args) {
    if (const std::optional<bool> known = terms_.known_truth(a)) {
      value = known;
    } else {
      single = single && (!remaining.is_valid() || a == remaining);
      remaining = a;
    }
  }
  if (!value || (!agree && !single)) return sink_.formula(t, polarity);
  if (!agree) return open(remaining, !*value);
  for (const Term* a = args.end(); a != args.begin();) {
    if (!terms_.known_truth(*--a)) open(*a, *value);
  }
}

void Flattener::chain(Term t, bool polarity, Relation relation) {
  const Args args = terms_.args(t);
  if (!polarity && args.size() > 2) return sink_.formula(t, polarity);
  const Relation wanted = polarity ? relation : negation(relation);
  for (std::uint32_t i = 1; i < args.size(); ++i) sink_.linear_literal(t, args[i - 1], wanted, args[i]);
}

void Flattener::distinction(Term t, bool polarity) {
  const Args args = terms_.args(t);
  if (terms_.sort(args[0]) == Sort::boolean)
    return agreement(t, polarity, !polarity);  // two arguments, or the value were known
  if (!polarity && args.size() > 2) return sink_.formula(t, polarity);
  const Relation wanted = polarity ? Relation::distinct : Relation::equal;
  for (std::uint32_t i = 0; i < args.size(); ++i) {
    for (std::uint32_t j = i + 1; j < args.size(); ++j) sink_.linear_literal(t, args[i], wanted, args[j]);
  }
}

}  // namespace

void flatten(const TermManager& terms, Term formula, LiteralSink& sink) {
  assert(terms.sort(formula) == Sort::boolean);
  Flattener(terms, sink).run(formula);
}

}  // namespace tarku::smt
