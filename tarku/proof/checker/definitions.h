// Definitions: the functions that a script defines with parameters, and their applications.
//
// The body of a definition is read once, where it stands, so its names mean what they mean there. Parts of it without
// parameters become values at once. The others become steps of a small program: each applies an operator or an earlier
// definition to values, to parameters and to the results of earlier steps. An application runs the program. Every
// application with the same arguments is run once, so a tower of definitions costs no more than its steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/interner.h"
#include "tarku/proof/checker/operators.h"

namespace tarku::checker {

// One definition; under construction while its body is read.
class Definition {
 public:
  Value add_parameter(Sort sort);
  // The results of steps to come, at least one of whose arguments is open. Throw Refused when the sorts do not fit.
  Value add_application(Op op, const std::vector<Value>& args);
  Value add_call(std::uint32_t definition, Sort sort, const std::vector<Value>& args);
  void finish(Value result) { result_ = result; }

  const std::vector<Sort>& parameters() const { return parameters_; }
  Sort sort() const { return result_.sort; }

 private:
  friend class Definitions;
  struct Step {
    bool is_call;
    std::uint32_t what;  // an Op, or the number of a definition
    std::size_t first;   // of its arguments in args_
    std::size_t count;
  };

  Value add_step(bool is_call, std::uint32_t what, Sort sort, const std::vector<Value>& args);

  std::vector<Sort> parameters_;
  std::vector<Step> steps_;
  std::vector<Value> args_;  // of all steps; a slot is a parameter or, after those, a step
  Value result_;
};

class Definitions {
 public:
  explicit Definitions(FormulaTable* formulas) : formulas_(*formulas) {}

  // Gives its number.
  std::uint32_t add(Definition definition);
  const Definition& operator[](std::uint32_t number) const { return definitions_[number]; }
  // Throws Refused when number or sorts of the arguments do not fit.
  void require_arguments(std::uint32_t number, const std::vector<Value>& args) const;
  // Needs: arguments that fit and are closed. Throws Refused when something in the body is not linear.
  Value apply(std::uint32_t number, const std::vector<Value>& args);

 private:
  struct Run {
    std::uint32_t application;
    std::uint32_t definition;
    std::size_t next_step;
    std::vector<Value> slots;
  };

  void call(std::uint32_t number, std::vector<Value> args);
  void advance();
  void give(Value result);

  FormulaTable& formulas_;
  std::vector<Definition> definitions_;
  std::size_t num_steps_ = 0;   // in all definitions
  SequenceTable applications_;  // the number of a definition and the codes of its arguments
  std::vector<Value> results_;  // by application, where it is known
  std::vector<bool> is_known_;
  std::vector<Run> runs_;  // the innermost one last
  Value given_;            // by the run that ended last
};

}  // namespace tarku::checker
