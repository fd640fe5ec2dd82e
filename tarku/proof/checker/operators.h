// What the operators of scripts take and give, and their application.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/formula.h"

namespace tarku::checker {

enum class Sort : std::uint8_t { boolean, real };

std::string to_str(Sort sort);

enum class Op : std::uint8_t {
  negation,     // not
  conjunction,  // and
  disjunction,  // or
  implication,  // =>
  exclusive_or,
  choice,  // ite, of either sort
  equal,   // of either sort
  distinct,
  less,
  less_equal,
  greater,
  greater_equal,
  sum,
  difference,  // of one argument: its negative
  product,
  quotient,
  to_real  // the identity
};

// What a term of a script stands for: a formula, a Real term, or a slot of the definition that is being read.
struct Value {
  Sort sort = Sort::boolean;
  bool is_open = false;  // a slot
  std::uint32_t code = 0;

  static Value of(Formula f) { return {Sort::boolean, false, f.code()}; }
  static Value of(RealTerm t) { return {Sort::real, false, t.id()}; }
  static Value of_slot(Sort sort, std::size_t slot) { return {sort, true, static_cast<std::uint32_t>(slot)}; }
  Formula formula() const { return Formula::of_code(code); }  // needs: a closed one of sort Bool
  RealTerm term() const { return RealTerm(code); }            // needs: a closed one of sort Real
};

// The operator as scripts write it.
std::string_view to_str(Op op);

// The sort of an application. Throws Refused when the number or the sorts of the arguments do not fit.
Sort result_sort(Op op, const std::vector<Value>& args);

// The application itself. Needs: closed arguments. Throws Refused as result_sort does, and when it is not linear.
Value apply(FormulaTable* formulas, Op op, const std::vector<Value>& args);

}  // namespace tarku::checker
