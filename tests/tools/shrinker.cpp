// Delta debugging on traces (A. Zeller and R. Hildebrandt, "Simplifying and isolating failure-inducing input", 2002).
#include "tests/tools/shrinker.h"

#include <algorithm>
#include <map>

namespace tarku::tester {

namespace {

class Shrinker {
 public:
  Shrinker(Trace trace, const std::function<bool(const Trace&)>& fails, int budget)
      : trace_(std::move(trace)), fails_(fails), budget_(budget) {}

  Trace run() {
    bool smaller = true;
    while (smaller && budget_ > 0) {
      smaller = drop_ops();
      smaller = simplify_config() || smaller;
      smaller = simplify_ops() || smaller;
      smaller = rename_variables() || smaller;
    }
    return trace_;
  }

 private:
  bool accept(const Trace& candidate) {
    if (budget_ <= 0) return false;
    --budget_;
    if (!fails_(candidate)) return false;
    trace_ = candidate;
    return true;
  }

  bool drop_ops() {
    const std::size_t before = trace_.ops.size();
    for (std::size_t chunk = std::max<std::size_t>(1, before / 2); chunk > 0; chunk /= 2) {
      for (std::size_t end = trace_.ops.size(); end > 0;
           end = std::min(end - std::min(end, chunk), trace_.ops.size())) {
        const std::size_t begin = end > chunk ? end - chunk : 0;
        Trace candidate = trace_;
        candidate.ops.erase(candidate.ops.begin() + static_cast<std::ptrdiff_t>(begin),
                            candidate.ops.begin() + static_cast<std::ptrdiff_t>(end));
        accept(candidate);
      }
    }
    return trace_.ops.size() < before;
  }

  bool simplify_config() {
    Config config;
    const auto attempt = [&](auto field, auto value) {
      if (trace_.config.*field == value) return false;
      Trace candidate = trace_;
      candidate.config.*field = value;
      return accept(candidate);
    };
    bool smaller = attempt(&Config::proofs, config.proofs);
    smaller |= attempt(&Config::hooks, config.hooks);
    smaller |= attempt(&Config::lazy, config.lazy);
    smaller |= attempt(&Config::eliminate, false);
    smaller |= attempt(&Config::pivot_limit, config.pivot_limit);
    smaller |= attempt(&Config::propagation, config.propagation);
    return smaller;
  }

  bool attempt_op(std::size_t place, const Op& op) {
    if (to_str(op) == to_str(trace_.ops[place])) return false;
    Trace candidate = trace_;
    candidate.ops[place] = op;
    return accept(candidate);
  }

  bool simplify_ops() {
    bool smaller = false;
    for (std::size_t place = 0; place < trace_.ops.size(); ++place) {
      smaller |= simplify_terms(place);
      smaller |= drop_eqs(place);
      smaller |= simplify_bound(place);
      smaller |= simplify_numbers(place);
    }
    return smaller;
  }

  bool simplify_terms(std::size_t place) {
    bool smaller = false;
    for (std::size_t i = trace_.ops[place].terms.size(); i-- > 0;) {
      Op op = trace_.ops[place];
      op.terms.erase(op.terms.begin() + static_cast<std::ptrdiff_t>(i));
      if (attempt_op(place, op)) {
        smaller = true;
        continue;
      }
      op = trace_.ops[place];
      op.terms[i].coeff = op.terms[i].coeff.sign();
      smaller |= attempt_op(place, op);
    }
    return smaller;
  }

  bool drop_eqs(std::size_t place) {
    bool smaller = false;
    for (std::size_t i = trace_.ops[place].eqs.size(); i-- > 0;) {
      Op op = trace_.ops[place];
      op.eqs.erase(op.eqs.begin() + static_cast<std::ptrdiff_t>(i));
      if (attempt_op(place, op)) {
        smaller = true;
        continue;
      }
      for (std::size_t k = trace_.ops[place].eqs[i].terms.size(); k-- > 0;) {
        op = trace_.ops[place];
        op.eqs[i].terms.erase(op.eqs[i].terms.begin() + static_cast<std::ptrdiff_t>(k));
        smaller |= attempt_op(place, op);
      }
    }
    return smaller;
  }

  bool simplify_bound(std::size_t place) {
    if (trace_.ops[place].kind != OpKind::kTell) return false;
    bool smaller = false;
    for (const BoundKind kind : {kLower, kUpper}) {
      if (trace_.ops[place].bound_kind != kEqual) break;
      Op op = trace_.ops[place];
      op.bound_kind = kind;
      smaller |= attempt_op(place, op);
    }
    Op op = trace_.ops[place];
    op.bound.delta = 0;
    smaller |= attempt_op(place, op);
    const Rational real = trace_.ops[place].bound.real;
    for (const Rational& value : {Rational(0), Rational(real.sign()), real.floor()}) {
      if (trace_.ops[place].bound.real.abs() < value.abs()) continue;
      op = trace_.ops[place];
      op.bound.real = value;
      if (!attempt_op(place, op)) continue;
      smaller = true;
      break;
    }
    return smaller;
  }

  bool simplify_numbers(std::size_t place) {
    bool smaller = false;
    Op op = trace_.ops[place];
    op.constant = 0;
    smaller |= attempt_op(place, op);
    for (std::int64_t number = 0; number < std::min<std::int64_t>(3, trace_.ops[place].number); ++number) {
      op = trace_.ops[place];
      op.number = number;
      if (attempt_op(place, op)) return true;
    }
    op = trace_.ops[place];
    if (op.kind == OpKind::kCheck && !op.partial) {
      op.partial = true;
      smaller |= attempt_op(place, op);
    }
    return smaller;
  }

  // Numbers the variables from 1, order kept.
  bool rename_variables() {
    std::map<int, int> names;
    for (const Op& op : trace_.ops) {
      if (op.var > 0) names[op.var] = 0;
      for (const Term& term : op.terms) names[term.var] = 0;
      for (const Linear& eq : op.eqs) {
        for (const Term& term : eq.terms) names[term.var] = 0;
      }
    }
    int next = 0;
    bool changes = false;
    for (auto& [old, fresh] : names) {
      fresh = ++next;
      changes |= old != fresh;
    }
    if (!changes) return false;
    Trace candidate = trace_;
    for (Op& op : candidate.ops) {
      if (op.var > 0) op.var = names[op.var];
      for (Term& term : op.terms) term.var = names[term.var];
      for (Linear& eq : op.eqs) {
        for (Term& term : eq.terms) term.var = names[term.var];
      }
    }
    return accept(candidate);
  }

  Trace trace_;
  const std::function<bool(const Trace&)>& fails_;
  int budget_;
};

}  // namespace

Trace shrink(Trace trace, const std::function<bool(const Trace&)>& fails, int budget) {
  return Shrinker(std::move(trace), fails, budget).run();
}

}  // namespace tarku::tester
