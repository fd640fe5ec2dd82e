// Defined functions with parameters: kept as straight-line programs and expanded at each application.
//
// While the body of a definition is read, subterms without parameters become terms at once. The others become steps of
// a program: step k applies an operator, or another defined function, to terms and to the results of earlier steps.
// An application runs the program with the arguments in the parameters' slots. So a body is read and resolved once,
// where it is defined, and its free names keep the meaning they had there; whether products are linear is decided at
// each application. Functions that apply functions run on an explicit stack, and what an application came to is
// remembered, so that shared subterms stay shared and towers of definitions do not blow up.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarku/smt/term.h"
#include "tarku/smtlib/binding.h"

namespace tarku::smtlib {

// One defined function. Slots 0 .. parameters-1 hold the arguments, the following ones the results of the steps.
struct Macro {
  struct Step {
    bool is_call;
    smt::Op op;            // when it is no call
    std::uint32_t callee;  // when it is one: index in the table
    std::uint32_t first;   // its operands: operands[first .. first+count)
    std::uint32_t count;
  };
  struct TermsHash {
    std::size_t operator()(const std::vector<smt::Term>& terms) const;
  };

  std::string name;
  std::vector<smt::Sort> parameters;
  smt::Sort sort = smt::Sort::boolean;
  std::vector<Step> steps;
  std::vector<Value> operands;
  Value result;
  std::unordered_map<std::vector<smt::Term>, smt::Term, TermsHash> known;  // applications expanded so far
};

class MacroTable {
 public:
  explicit MacroTable(smt::TermManager& terms) : terms_(terms) {}

  std::uint32_t add(Macro macro);
  const Macro& operator[](std::uint32_t index) const { return macros_[index]; }

  // The term that the application of macro `index` comes to. Needs: arguments of the parameters' number and sorts.
  // Throws TermError when an operator of the body does not take what it is given, e.g. a product is not linear, and
  // when the application takes too many steps.
  smt::Term expand(std::uint32_t index, const std::vector<smt::Term>& arguments);

 private:
  struct Activation {
    std::uint32_t macro;
    std::uint32_t next_step;
    std::vector<smt::Term> slots;
  };

  void advance();
  void call(std::uint32_t index, std::vector<smt::Term> arguments);
  static smt::Term resolve(Value value, const std::vector<smt::Term>& slots);

  smt::TermManager& terms_;
  std::deque<Macro> macros_;     // never shrinks: definitions may refer to ones whose names are gone
  std::uint64_t num_steps_ = 0;  // in all macros
  std::vector<Activation> stack_;
  std::vector<smt::Term> scratch_;
  smt::Term returned_;  // of the call that ended last
};

// Collects the program of a definition while its body is read.
class MacroBuilder {
 public:
  MacroBuilder(smt::TermManager& terms, std::string name);

  Value add_parameter(smt::Sort sort);
  // The application of `op`; throws TermError for a wrong number of arguments or wrong sorts.
  Value apply(smt::Op op, const std::vector<Value>& arguments);
  // Needs: arguments of the parameters' number and sorts.
  Value call(std::uint32_t callee, smt::Sort sort, const std::vector<Value>& arguments);
  smt::Sort sort(Value value) const;
  Macro finish(Value result);

 private:
  Value add_step(Macro::Step step, smt::Sort sort, const std::vector<Value>& arguments);

  smt::TermManager& terms_;
  Macro macro_;
  std::vector<smt::Sort> sorts_;  // by slot
  std::vector<smt::Term> scratch_;
};

}  // namespace tarku::smtlib
