// Solver: an incremental SAT solver that a theory can take part in.
//
// Everything the system knows of its SAT solver is in this folder; docs/sat.md tells what lies behind. Life of a
// solver:
//
//   connect            at most once, before the first observed variable
//   new variables, add_clause, assume, set_...     in any order
//   solve or simplify  gives an answer; the theory is asked from within
//   value              after sat, failed after unsat: until the next call of the second kind
//
// Assumptions hold for one solve. To take clauses back, give each of them the negation of a fresh activation variable
// a, assume a while they are wanted, and add the clause {-a} when they are not. Nothing else is ever taken back.
//
// Calls out of order, and literals of variables that were never made, throw Exception and change nothing.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tarku/sat/literal.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::sat {

class ProofListener;
class Theory;

enum class Answer { sat, unsat, unknown };

struct Options {
  ProofListener* proof = nullptr;  // hears everything, from the start; must outlive the solver
  bool inprocessing = true;        // simplify clauses during the search
  int seed = 0;
  std::vector<std::pair<std::string, int>> settings;  // of the solver behind, by its own names
};

struct Statistics {
  std::uint64_t solves = 0;
  std::uint64_t learned = 0;       // clauses derived by the search
  std::uint64_t clauses = 0;       // kept now, without learned ones
  std::uint64_t learned_kept = 0;  // now
  std::uint64_t levels = 0;        // told to the theory, as the following ones
  std::uint64_t assignments = 0;
  std::uint64_t backtracks = 0;
  std::uint64_t propagations = 0;    // literals that the theory gave
  std::uint64_t explanations = 0;    // those that had to be explained
  std::uint64_t theory_clauses = 0;  // given by next_clause
  std::uint64_t model_checks = 0;
};

class Solver {
 public:
  virtual ~Solver() = default;

  // ---- the problem ----

  virtual Variable new_variable() = 0;

  // A variable that the theory hears of. Such variables are never eliminated.
  virtual Variable new_observed_variable() = 0;

  virtual int num_variables() const = 0;
  virtual bool is_observed(Variable variable) const = 0;
  virtual void add_clause(const Clause& clause) = 0;

  // The theory must outlive the solver.
  virtual void connect(Theory& theory) = 0;

  // ---- solving ----

  virtual void assume(Literal literal) = 0;  // for the next solve

  // Decides the clauses and the theory under the assumptions, and forgets those. Throws what a callback threw, after
  // the search has ended; the solver is as good as before then, and the assumptions are forgotten, too.
  virtual Answer solve() = 0;

  // Simplifies the clauses in `rounds` rounds, without search, and finds the answer unsat now and then; unknown
  // otherwise. Assumptions wait for the next solve.
  virtual Answer simplify(int rounds) = 0;

  // Takes the stack of the theory down to level 0 now. The next solve would do it anyway. Keeps the answer.
  virtual void unwind() = 0;

  // ---- answers ----

  virtual bool value(Literal literal) = 0;           // after sat
  virtual bool failed(Literal literal) = 0;          // after unsat: whether this assumption takes part in it
  virtual bool is_fixed(Literal literal) const = 0;  // known to be true in all models, so far; at any time

  // ---- guidance and limits ----

  // The value that decisions try first. Callbacks may set it, too.
  virtual void set_phase(Literal literal) = 0;
  virtual void clear_phase(Variable variable) = 0;

  // For the next solve: gives unknown when it has taken more than that many. Negative: no limit.
  virtual void limit_conflicts(int number) = 0;
  virtual void limit_decisions(int number) = 0;

  // Polled during solve and simplify, null for none; what it throws ends them. Theories poll their own.
  virtual void set_termination_test(const TerminationTest* test) = 0;

  virtual Statistics statistics() const = 0;
};

}  // namespace tarku::sat
