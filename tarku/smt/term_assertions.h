// TermAssertions: the assertions of an engine as the checker of certificates wants to see them.
//
// The checker compares each input of a certificate with the assertion that it claims to come from. The assertions are
// translated from the terms as they were made, into the checker's own formulas; nothing of what the engine made of
// them (normal forms, bounds, slack variables) takes part.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarku/proof/checker/checker.h"
#include "tarku/proof/checker/said_clauses.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

class TermAssertions : public checker::Assertions {
 public:
  // What the numbers of a certificate refer to; an invalid term stands for none.
  struct Resolver {
    std::function<Term(std::uint64_t)> assertion;  // in force
    std::function<Term(int)> real;                 // symbols
    std::function<Term(int)> boolean;
  };
  TermAssertions(const TermManager& terms, Resolver resolver) : terms_(terms), resolver_(std::move(resolver)) {}

  checker::FormulaTable& formulas() override { return formulas_; }
  void expect(std::uint64_t) override {}
  checker::RealTerm real_symbol(int variable, std::string_view symbol) override;
  checker::Formula bool_symbol(int variable, std::string_view symbol) override;
  std::string why_not(checker::Source source, const std::vector<checker::Formula>& clause) override;

 private:
  void require_name(Term symbol, std::string_view name) const;
  checker::Formula formula(Term t);
  void translate(Term root);
  bool is_translated(Term t) const;
  checker::RealTerm translate_real(Term t);
  checker::Formula translate_bool(Term t);
  checker::RealTerm real(Term t) const { return reals_.at(t.id()); }
  checker::Formula truth(Term t) const { return truths_.at(t.id()); }

  const TermManager& terms_;
  Resolver resolver_;
  checker::FormulaTable formulas_;
  std::unordered_map<std::uint32_t, checker::RealTerm> reals_;  // by term id
  std::unordered_map<std::uint32_t, checker::Formula> truths_;  // by term id
  checker::SaidClauses said_{&formulas_};
};

}  // namespace tarku::smt
