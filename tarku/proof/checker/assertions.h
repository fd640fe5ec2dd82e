// Assertions: what the inputs of a certificate are compared with.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/formula.h"

namespace tarku::checker {

using Source = std::uint64_t;

// Meanings are formulas and terms of the table that the assertions own.
class Assertions {
 public:
  virtual ~Assertions() = default;

  virtual FormulaTable& formulas() = 0;
  // All that follows is about this check. Throws Refused when there is none of this number.
  virtual void expect(std::uint64_t check) = 0;
  // What a variable of the certificate stands for at that check. Throw Refused when the symbol, given without bars, is
  // none of that sort.
  virtual RealTerm real_symbol(int variable, std::string_view symbol) = 0;
  virtual Formula bool_symbol(int variable, std::string_view symbol) = 0;
  // Why the assertion does not say the clause at that check; empty when it does.
  virtual std::string why_not(Source source, const std::vector<Formula>& clause) = 0;
};

}  // namespace tarku::checker
