// Certificates: the steps of a proof that a checker can follow without knowing how it was found.
//
// docs/formats.md tells what each step means and when it is right. A maker of a certificate calls the functions of a
// sink, one step after the other; the sink writes them down, or checks them on the spot.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <vector>

#include "tarku/numbers/qnumber.h"

namespace tarku::proof {

struct Monomial {
  int variable;  // a Real variable
  QNumber coeff;
};

enum class Relation : std::uint8_t { less, less_equal, equal, distinct, greater_equal, greater };

// As certificates write it; "distinct" has no such form, it is a negated equality.
std::string_view to_str(Relation relation);

using ClauseId = std::uint64_t;
// Literals are propositional variables, from 1, with the sign of their truth.
using Clause = std::vector<int>;

class CertificateSink {
 public:
  virtual ~CertificateSink() = default;

  // Starts a certificate; `check` is the number of the check that it answers, 0 when there is no script.
  virtual void begin(std::uint64_t check) = 0;
  virtual void real(int variable, std::string_view symbol) = 0;
  virtual void boolean(int variable, std::string_view symbol) = 0;
  // `variable` stands for  sum of terms `relation` value.  Needs: not distinct.
  virtual void atom(int variable, const std::vector<Monomial>& terms, Relation relation, const QNumber& value) = 0;
  virtual void input(ClauseId id, std::uint64_t source, const Clause& clause) = 0;
  virtual void farkas(ClauseId id, const Clause& clause, const std::vector<QNumber>& multipliers) = 0;
  virtual void split(ClauseId id, const Clause& clause) = 0;
  virtual void rup(ClauseId id, const Clause& clause, const std::vector<ClauseId>& antecedents) = 0;
  // Ends it: the clause is empty.
  virtual void qed(ClauseId id) = 0;
};

// Writes the text form, one line for each step.
class CertificateWriter : public CertificateSink {
 public:
  // The stream must outlive the writer; its errors are the owner's business.
  explicit CertificateWriter(std::ostream& out) : out_(out) {}

  void begin(std::uint64_t check) override;
  void real(int variable, std::string_view symbol) override;
  void boolean(int variable, std::string_view symbol) override;
  void atom(int variable, const std::vector<Monomial>& terms, Relation relation, const QNumber& value) override;
  void input(ClauseId id, std::uint64_t source, const Clause& clause) override;
  void farkas(ClauseId id, const Clause& clause, const std::vector<QNumber>& multipliers) override;
  void split(ClauseId id, const Clause& clause) override;
  void rup(ClauseId id, const Clause& clause, const std::vector<ClauseId>& antecedents) override;
  void qed(ClauseId id) override;

 private:
  void write_symbol(std::string_view symbol);
  void write_clause(const Clause& clause);

  std::ostream& out_;
};

}  // namespace tarku::proof
