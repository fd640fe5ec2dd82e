// Replayable records of what the random tester does to a solver, and their text form.
//
// A trace is a line with the configuration and one operation a line; '#' starts a remark:
//
//   config proofs=1 eliminate=1 pivot_limit=0 propagation=0 watch=1 hooks=0 lazy=0
//   equation 20 x3 : 2*x1 + -1/2*x2      tell x3 = 2*x1 - x2/2 under index 20; "_" instead of x3 defines nothing, a
//                                        constant and the own term of the defined variable may stand among the terms
//   tell 5 x3 <= 7-1d                    tell a bound under index 5: >=, =, <=, !=; d is the infinitesimal
//   push 5       pop                     assert a told bound; undo the last assertion
//   add_equation 20                      put an equation on the constraint stack
//   check full 0                         or "partial"; the number is the poll at which the search is interrupted, 0 for
//                                        none
//   retract 5    retract_equation 20     forget a told bound; forget an equation and the variable that it defines
//   pivot_limit 1                        set the owner's threshold for the smallest-index rule
//   propagation 2                        set the propagation level
//   keep 5                               set the owner's flag that survives telling again
//   values                               read all values
//   implied 2                            ask for up to two implications, 0 for all there are
//   model 0 : 2*x1 + -1 ; x2             build a model that keeps 2*x1 - 1 = 0 and x2 = 0 false if they are; the number
//                                        is the poll that interrupts
//
// An operation that is not legal where it stands is skipped, so every part of a trace is a trace.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "tests/tools/oracle.h"

namespace tarku::tester {

enum class OpKind {
  kEquation,
  kTell,
  kPush,
  kPop,
  kAddEquation,
  kCheck,
  kRetract,
  kRetractEquation,
  kPivotLimit,
  kKeep,
  kValues,
  kPropagation,
  kModel,
  kImplied,
};

// terms + constant = 0
struct Linear {
  Form terms;  // ascending variables
  Rational constant;
};

// Kinds of bounds, numbered as in the solver's interface.
enum BoundKind { kLower = 1, kEqual = 2, kUpper = 3, kDiseq = 4 };

struct Op {
  OpKind kind = OpKind::kPop;
  int index = 0;  // constraint index
  int var = 0;    // bounded or defined variable, -1 for an equation that defines none
  BoundKind bound_kind = kLower;
  Value bound;
  Form terms;               // of an equation; ascending variables
  Rational constant;        // of the same
  std::vector<Linear> eqs;  // of a model: equations to keep false
  bool partial = false;     // of a check
  std::int64_t number = 0;  // poll that interrupts; pivot limit; propagation level; number of implications
};

struct Config {
  bool proofs = false;
  bool eliminate = true;  // eliminate_unconstrained_
  std::int64_t pivot_limit = 0;
  int propagation = 0;
  bool watch = true;   // a termination test is installed during every check
  bool hooks = false;  // drive a derived solver that overrides every hook
  bool lazy = false;   // ask for implications only when an operation says so
};

struct Trace {
  Config config;
  std::vector<Op> ops;
};

std::string to_str(const Op& op);
std::string to_str(const Config& config);
std::string to_str(const Trace& trace);

// False with a message about the first offending line on malformed input.
bool read_trace(std::istream& in, Trace* out, std::string* error);

}  // namespace tarku::tester
