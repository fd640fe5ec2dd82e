// Theory: what a SAT solver asks of the one who knows what its variables mean.
//
// A theory owns knowledge about the *observed* variables that is not among the clauses. While the SAT solver searches
// it tells the theory which observed literals are true, and asks what follows. The theory sees a stack:
//
//   new_level         opens a level; level 0 is there from the start, and what is on it stays true for good
//   assign(l)         puts l on the current level
//   backtrack(n)      takes away all levels above n, and what is on them
//
// and can rely on this:
//
//   ONCE        No literal is assigned while it, or its negation, is on the stack.
//   CURRENT     A question is asked when the stack holds everything that the SAT solver knows of observed variables;
//               explain alone may come while the stack is behind.
//   COMPLETE    check_model is asked when every observed variable is on the stack.
//   ROOT        A literal found to be true for good while the stack is high goes on its top, and comes back right after
//               each backtrack that takes it away, down to level 0.
//   SCOPE       Nothing is called except from within solve, simplify and unwind of the Solver. Between them the stack
//               stays as it is: after the answer sat it holds the model.
//
// The stack is told lazily, right before a question: levels that come and go between two questions are never seen.
//
// Callbacks may throw anything. The SAT solver then stops the search as soon as it can, asks nothing more (but
// explain), and solve throws the same exception. A new_level, assign or backtrack that threw counts as not done, and is
// called again when the next search needs it.
//
// Callbacks may call new_observed_variable, is_fixed, is_observed, num_variables, set_phase and statistics of the
// Solver; its other calls throw.
#pragma once

#include "tarku/sat/literal.h"

namespace tarku::sat {

class Theory {
 public:
  virtual ~Theory() = default;

  // ---- the stack ----

  virtual void new_level() = 0;
  virtual void assign(Literal literal) = 0;
  virtual void backtrack(int level) = 0;  // some level above it is open

  // ---- questions while observed variables may be open ----

  // A literal that follows from the stack, 0 when there is none (any more). Asked again until it gives 0; one that is
  // on the stack already is passed over. Giving one whose negation is on the stack reports a conflict.
  virtual Literal propagate() { return 0; }

  // Why `literal`, which propagate gave, follows: makes `reason`, empty before, a clause that holds it, and beside it
  // only literals whose negations were on the stack when propagate gave it. Asked while the literal is true by that, or
  // never; also after another callback threw.
  virtual void explain(Literal literal, Clause& reason) = 0;

  // Whether there is a clause to tell: over observed variables, and true whatever the stack. It may be a conflict, a
  // propagation or anything useful. Makes `clause`, empty before, that clause; asked again until it gives false. The
  // SAT solver may drop a forgettable clause at any time.
  virtual bool next_clause(Clause& clause, bool& forgettable) = 0;

  // The next decision. 0, or a literal that is assigned already, leaves it to the SAT solver.
  virtual Literal decide() { return 0; }

  // ---- the last question ----

  // Whether the complete stack is consistent. One who refuses it has a clause for next_clause that excludes it, or has
  // made a new observed variable; with neither, solve throws.
  virtual bool check_model() = 0;
};

}  // namespace tarku::sat
