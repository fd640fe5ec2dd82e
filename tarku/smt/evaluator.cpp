// Evaluation: arguments first, by an explicit stack, each term once.
#include "tarku/smt/evaluator.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "tarku/termination_test.h"

namespace tarku::smt {

Evaluator::Evaluator(const TermManager& terms, RealOf real_of, BoolOf bool_of, const TerminationTest* test)
    : terms_(terms), real_of_(std::move(real_of)), bool_of_(std::move(bool_of)), test_(test) {}

QNumber Evaluator::real_value(Term t) {
  assert(terms_.sort(t) == Sort::real);
  run(t);
  return real(t);
}

bool Evaluator::bool_value(Term t) {
  assert(terms_.sort(t) == Sort::boolean);
  run(t);
  return truth(t);
}

void Evaluator::run(Term root) {
  stack_.assign(1, {root, false});
  while (!stack_.empty()) {
    const Frame top = stack_.back();
    if (is_done(top.term)) {
      stack_.pop_back();
    } else if (top.expanded) {
      if (test_ != nullptr) (*test_)();
      compute(top.term);
      stack_.pop_back();
    } else {
      stack_.back().expanded = true;
      for (const Term argument : terms_.args(top.term)) {
        if (!is_done(argument)) stack_.push_back({argument, false});
      }
    }
  }
}

bool Evaluator::is_done(Term t) const {
  const Op op = terms_.op(t);
  if (op == Op::numeral || op == Op::truth) return true;
  return terms_.sort(t) == Sort::real ? reals_.count(t.id()) != 0 : truths_.count(t.id()) != 0;
}

const QNumber& Evaluator::real(Term t) const {
  return terms_.op(t) == Op::numeral ? terms_.value(t) : reals_.at(t.id());
}

bool Evaluator::truth(Term t) const {
  return terms_.op(t) == Op::truth ? terms_.truth(t) : truths_.at(t.id());
}

void Evaluator::compute(Term t) {
  if (terms_.op(t) == Op::symbol) {
    if (terms_.sort(t) == Sort::real) {
      reals_.emplace(t.id(), real_of_(t));
    } else {
      truths_.emplace(t.id(), bool_of_(t));
    }
  } else if (terms_.sort(t) == Sort::real) {
    reals_.emplace(t.id(), compute_real(terms_.op(t), terms_.args(t)));
  } else {
    truths_.emplace(t.id(), compute_bool(terms_.op(t), terms_.args(t)));
  }
}

QNumber Evaluator::compute_real(Op op, const Args& args) const {
  if (op == Op::ite) return real(truth(args[0]) ? args[1] : args[2]);
  QNumber result = real(args[0]);
  if (op == Op::negate) result.negate();
  for (std::uint32_t i = 1; i < args.size(); ++i) {
    switch (op) {
      case Op::add:
        result += real(args[i]);
        break;
      case Op::subtract:
        result -= real(args[i]);
        break;
      case Op::multiply:
        result *= real(args[i]);
        break;
      default:
        assert(op == Op::divide), result /= real(args[i]);
        break;
    }
  }
  return result;
}

bool Evaluator::compute_bool(Op op, const Args& args) const {
  const auto is_true = [this](Term t) { return truth(t); };
  switch (op) {
    case Op::not_op:
      return !truth(args[0]);
    case Op::and_op:
      return std::all_of(args.begin(), args.end(), is_true);
    case Op::or_op:
      return std::any_of(args.begin(), args.end(), is_true);
    case Op::implies:
      return truth(args[args.size() - 1]) || !std::all_of(args.begin(), args.end() - 1, is_true);
    case Op::xor_op:
      return std::count_if(args.begin(), args.end(), is_true) % 2 == 1;
    case Op::ite:
      return truth(truth(args[0]) ? args[1] : args[2]);
    case Op::distinct:
      return all_different(args);
    default:
      return chain_holds(op, args);
  }
}

bool Evaluator::chain_holds(Op op, const Args& args) const {
  for (std::uint32_t i = 1; i < args.size(); ++i) {
    if (!link_holds(op, args[i - 1], args[i])) return false;
  }
  return true;
}

bool Evaluator::link_holds(Op op, Term a, Term b) const {
  if (terms_.sort(a) == Sort::boolean) return truth(a) == truth(b);
  const int comparison = QNumber::compare(real(a), real(b));
  switch (op) {
    case Op::equal:
      return comparison == 0;
    case Op::less:
      return comparison < 0;
    case Op::less_equal:
      return comparison <= 0;
    case Op::greater:
      return comparison > 0;
    default:
      assert(op == Op::greater_equal);
      return comparison >= 0;
  }
}

bool Evaluator::all_different(const Args& args) const {
  if (terms_.sort(args[0]) == Sort::boolean) return args.size() == 2 && truth(args[0]) != truth(args[1]);
  std::vector<QNumber> values;
  for (const Term t : args) values.push_back(real(t));
  std::sort(values.begin(), values.end());
  return std::adjacent_find(values.begin(), values.end()) == values.end();
}

}  // namespace tarku::smt
