// Evaluator: the exact value of any term under an assignment of the symbols.
//
// Values of inner terms are kept, so that several terms of one model cost no more than their common DAG. The walk keeps
// its own stack; terms may nest as deep as memory allows.
#pragma once

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class Evaluator {
 public:
  using RealOf = std::function<QNumber(Term)>;
  using BoolOf = std::function<bool(Term)>;

  // `real_of` and `bool_of` give the value of a symbol; each symbol is asked for once. `test` is polled now and then,
  // null for none; when it throws, the question can be asked again.
  Evaluator(const TermManager& terms, RealOf real_of, BoolOf bool_of, const TerminationTest* test = nullptr);

  // Terms may also be made after the evaluator.
  QNumber real_value(Term t);  // needs: sort Real
  bool bool_value(Term t);     // needs: sort Bool

 private:
  struct Frame {
    Term term;
    bool expanded;  // its arguments have been visited
  };

  void run(Term root);
  bool is_done(Term t) const;
  void compute(Term t);
  QNumber compute_real(Op op, const Args& args) const;
  bool compute_bool(Op op, const Args& args) const;
  bool chain_holds(Op op, const Args& args) const;
  bool link_holds(Op op, Term a, Term b) const;
  bool all_different(const Args& args) const;
  const QNumber& real(Term t) const;  // of a term that is done
  bool truth(Term t) const;           // of a term that is done

  const TermManager& terms_;
  RealOf real_of_;
  BoolOf bool_of_;
  const TerminationTest* test_;
  std::unordered_map<std::uint32_t, QNumber> reals_;  // by term id; numerals are not kept
  std::unordered_map<std::uint32_t, bool> truths_;    // by term id; constants are not kept
  std::vector<Frame> stack_;
};

}  // namespace tarku::smt
