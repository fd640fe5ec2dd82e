// Script: reads an SMT-LIB script once, and knows then what its assertions say at each of its checks.
//
// This reader shares nothing with the one that the solver uses. It understands what QF_LRA and QF_RDL have: Bool and
// Real symbols, definitions, `let`, levels, resets, named terms, and benchmarks of SMT-LIB 1.2. Commands that have
// nothing to do with that are passed over; anything that it does not know in a term, a sort or a declaration makes it
// refuse the script.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/checker.h"
#include "tarku/proof/checker/definitions.h"
#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/names.h"
#include "tarku/proof/checker/said_clauses.h"
#include "tarku/proof/checker/script_lexer.h"
#include "tarku/proof/checker/term_reader.h"

namespace tarku::checker {

class Script : public Assertions {
 public:
  // Reads all of the text; name: its name in messages. Throws Refused ("NAME:LINE: what"), and Unreadable when the
  // stream fails.
  Script(std::istream& in, const std::string& name);

  std::size_t num_checks() const { return checks_.size(); }

  FormulaTable& formulas() override { return formulas_; }
  void expect(std::uint64_t check) override;
  RealTerm real_symbol(int variable, std::string_view symbol) override;
  Formula bool_symbol(int variable, std::string_view symbol) override;
  std::string why_not(Source source, const std::vector<Formula>& clause) override;

 private:
  struct Assertion {
    Formula formula;
    Time withdrawn;
  };
  // Sources count the assertions since the last reset, and go on with the assumptions of the check.
  struct Check {
    Time time;
    std::size_t first, num_assertions;  // in assertions_
    std::vector<Formula> assumptions;
  };
  class Commands;

  Value symbol(std::string_view symbol, Sort sort) const;

  FormulaTable formulas_;
  SaidClauses said_{&formulas_};
  Names names_;
  std::vector<Assertion> assertions_;
  std::vector<Check> checks_;
  std::size_t expected_ = 0;  // the check that is asked about, from 1
};

}  // namespace tarku::checker
