// CheckingSink: a certificate that is checked while it is told.
#pragma once

#include "tarku/proof/certificate.h"
#include "tarku/proof/checker/checker.h"

namespace tarku::smt {

// Hands every step to a checker, which throws checker::Refused for one that is wrong.
class CheckingSink : public proof::CertificateSink {
 public:
  explicit CheckingSink(checker::Checker& checker) : checker_(checker) {}

  void begin(std::uint64_t check) override { checker_.begin(check); }
  void real(int variable, std::string_view symbol) override { checker_.declare_real(variable, symbol); }
  void boolean(int variable, std::string_view symbol) override { checker_.declare_bool(variable, symbol); }
  void atom(int variable, const std::vector<proof::Monomial>& terms, proof::Relation relation,
            const QNumber& value) override;
  void conjunction(int variable, const proof::Clause& args) override { checker_.define_conjunction(variable, args); }
  void equivalence(int variable, int a, int b) override { checker_.define_equivalence(variable, a, b); }
  void choice(int variable, int condition, int yes, int no) override {
    checker_.define_choice(variable, condition, yes, no);
  }
  void conditional(int variable, int condition, const proof::Sum& yes, const proof::Sum& no) override;
  void gate(proof::ClauseId id, int variable, const proof::Clause& clause) override {
    checker_.add_gate(id, variable, clause);
  }
  void branch(proof::ClauseId id, int variable, const proof::Clause& clause) override {
    checker_.add_branch(id, variable, clause);
  }
  void input(proof::ClauseId id, std::uint64_t source, const proof::Clause& clause) override {
    checker_.add_input(id, source, clause);
  }
  void farkas(proof::ClauseId id, const proof::Clause& clause, const std::vector<QNumber>& multipliers) override {
    checker_.add_farkas(id, clause, multipliers);
  }
  void split(proof::ClauseId id, const proof::Clause& clause) override { checker_.add_split(id, clause); }
  void rup(proof::ClauseId id, const proof::Clause& clause, const std::vector<proof::ClauseId>& antecedents) override {
    checker_.add_rup(id, clause, antecedents);
  }
  void qed(proof::ClauseId id) override { checker_.finish(id); }

 private:
  checker::Checker& checker_;
};

}  // namespace tarku::smt
