// Refutation: a proof of arithmetic as sums of constraints, and how it becomes a certificate.
//
// A proof object is a graph of combinations of bounds. All that counts of it is what it adds up to: each hypothesis
// with its multiplier. The terms of that sum cancel by the equations that hold for good; their multiples are not in the
// proof object, they are found here and become summands like the others. A disequality splits the case in two, each
// with a sum of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/certificate.h"
#include "tarku/proof/equation_span.h"
#include "tarku/proof/proof.h"

namespace tarku::proof {

// What the constraint indices of proofs mean, in the words of the problem that somebody stated.
class Constraints {
 public:
  struct Meaning {  // sum of terms `relation` value
    std::vector<Monomial> terms;
    Relation relation;
    QNumber value;
  };
  virtual ~Constraints() = default;
  virtual Meaning meaning(int constraint) = 0;
  virtual Relation relation(int constraint) = 0;  // of the meaning, without its terms
  // The equations, named by constraint indices, that any sum may use.
  virtual EquationSpan& equations() = 0;
  // Which assertion says the constraint, for `input` steps.
  virtual std::uint64_t source(int constraint) = 0;
  virtual std::string real_name(int variable) = 0;
};

class Derivation;

class Refutation {
 public:
  // In which way a constraint takes part in a sum.
  enum class Role : std::uint8_t {
    as_told,
    negated,  // an inequality's opposite
    less,     // of the two strict sides of a disequality
    greater
  };
  struct Summand {
    int constraint;
    Role role;
    QNumber multiplier;  // positive; of either sign for equalities
  };

  // Of a conflict: the proof is a combination of hypotheses, or a split whose sides are refutations.
  // Of an implication (LaCombImp): the hypotheses contradict the negation of what is implied.
  // Throws Exception when the proof does not add up.
  static Refutation of(const Proof& proof, Constraints& constraints);
  // Of an equation that others contradict. Throws Exception when they do not.
  static Refutation of_equation(int equation, Constraints& constraints);
  // Of constraints whose sum is a contradiction. Throws Exception when it is none.
  static Refutation of_sum(const std::vector<Summand>& sum, Constraints& constraints);

  // The constraints that take part, ascending.
  std::vector<int> constraints() const;

  // The clause that says that not all summands hold.
  struct Lemma {
    ClauseId id;
    Clause clause;
  };
  Lemma derive(Derivation& steps) const;

  // Calls the sink from the first step to `qed`.
  void certify(std::uint64_t check, Constraints& constraints, CertificateSink& sink) const;

 private:
  friend class RefutationMaker;

  Lemma combine(Derivation& steps) const;
  Lemma join(Derivation& steps) const;

  // A leaf has a sum, an inner node a disequality and two sides.
  std::vector<Summand> sum_;
  int split_ = -1;
  std::unique_ptr<Refutation> less_, greater_;
};

// Takes the steps by which a lemma is derived.
class Derivation {
 public:
  virtual ~Derivation() = default;
  // The literal that says that a constraint holds in its role.
  virtual int literal(int constraint, Refutation::Role role) = 0;
  // Steps as those of certificates; each gives the id of its clause.
  virtual ClauseId farkas(const Clause& clause, const std::vector<QNumber>& multipliers) = 0;
  virtual ClauseId split(const Clause& clause) = 0;
  virtual ClauseId rup(const Clause& clause, const std::vector<ClauseId>& antecedents) = 0;
};

}  // namespace tarku::proof
