// ProofLog: every clause that a search derives, with what it follows from, until somebody asks for a certificate.
//
// Most of what is derived plays no part in the end. A certificate is made backwards: from its last clause to all that
// this one rests on, and only that is told, together with what the variables in it stand for.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/certificate.h"

namespace tarku::smt {

using proof::Clause;

// Tells what the variables of clauses stand for, each once: everything that a declaration mentions comes before it.
class Vocabulary {
 public:
  virtual ~Vocabulary() = default;
  virtual void begin() = 0;  // of a certificate
  virtual void declare(int variable, proof::CertificateSink& sink) = 0;
};

class ProofLog {
 public:
  using Id = std::uint32_t;

  // ---- one step each; gives its number. The rules are those of the sink. ----
  Id input(std::uint64_t source, const Clause& clause) { return add(Rule::input, source, clause); }
  Id gate(int variable, const Clause& clause) { return add(Rule::gate, static_cast<std::uint64_t>(variable), clause); }
  Id branch(int real_variable, const Clause& clause) {
    return add(Rule::branch, static_cast<std::uint64_t>(real_variable), clause);
  }
  Id split(const Clause& clause) { return add(Rule::split, 0, clause); }
  Id farkas(const Clause& clause, const std::vector<QNumber>& multipliers);
  Id rup(const Clause& clause, const std::vector<Id>& antecedents);

  std::size_t size() const { return steps_.size(); }
  Clause clause(Id id) const;

  // The sources of the inputs that a clause rests on, ascending.
  std::vector<std::uint64_t> sources(Id last) const;
  // Tells the certificate that ends with the clause `last`. Literals for which `is_dropped` is true are left out
  // everywhere; those of the last clause must be such.
  void tell(std::uint64_t check, Id last, const std::function<bool(int)>& is_dropped, Vocabulary& vocabulary,
            proof::CertificateSink& sink) const;

  // What a sink knows that is told the certificates of many conclusions.
  struct Told {
    std::vector<proof::ClauseId>
        ids;  // by step that rests on nothing that is dropped: its id there, 0 before it is told
    proof::ClauseId last = 0;
  };
  // Tells what the sink does not know yet. Gives the ids of clauses that hold only as long as what is dropped is false.
  std::vector<proof::ClauseId> tell_rest(Id last, const std::function<bool(int)>& is_dropped, Vocabulary& vocabulary,
                                         proof::CertificateSink& sink, Told* told) const;

 private:
  enum class Rule : std::uint8_t { input, gate, branch, split, farkas, rup };
  struct Step {
    Rule rule;
    std::uint32_t num_literals;
    std::uint32_t num_antecedents;  // rup; farkas: the multipliers begin at `data` in multipliers_
    std::uint64_t data;             // source, variable, or the place of the multipliers
    std::size_t first;              // of the literals, then the antecedents, in words_
  };

  Id add(Rule rule, std::uint64_t data, const Clause& clause);
  std::vector<bool> needed_for(Id last) const;
  std::vector<Id> missing_for(Id last, const Told& told) const;
  void tell_step(const Step& step, const Clause& clause, const std::vector<proof::ClauseId>& ids, proof::ClauseId id,
                 proof::CertificateSink& sink) const;

  std::vector<Step> steps_;
  std::vector<std::int32_t> words_;
  std::vector<QNumber> multipliers_;
};

}  // namespace tarku::smt
