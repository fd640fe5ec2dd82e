// The proof steps of linear arithmetic: hypotheses, linear combinations, implications and disequality splits.
#pragma once

#include <cassert>
#include <memory>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/proof.h"

namespace tarku::la {

class LaProof : public proof::Proof {};

// A leaf: a bound constraint assumed true.
class LaHyp : public LaProof {
 public:
  // `side` is 0 for a lower or upper bound, -1 for an equality or disequality as it stands, +1 for one taken negated.
  LaHyp(int index, int side);

  int index() const { return index_; }
  int side() const { return side_; }

 private:
  int index_;  // the constraint, never negative
  int side_;
};

// The sum  c1 * p1 + c2 * p2  of two proofs. A null coefficient means 1. Owns the coefficients and one reference to
// each premise; a null premise contributes nothing.
class LaComb : public LaProof {
 public:
  // Takes over all four pointers; the constructor itself cannot fail.
  LaComb(QNumber* c1, Proof* p1, QNumber* c2, Proof* p2, int a, int b, int c) noexcept;
  ~LaComb() override;

  const QNumber* coeff1() const { return coeff1_.get(); }
  const Proof* premise1() const { return premise1_; }
  const QNumber* coeff2() const { return coeff2_.get(); }
  const Proof* premise2() const { return premise2_; }
  // What the maker noted about the second premise. From a conflicting row: 2 when its basic variable is above the upper
  // bound, 1 when below the lower; the sign of the premise's coefficient in the row; the sign of its variable's value.
  int a() const { return a_; }
  int b() const { return b_; }
  int c() const { return c_; }

 private:
  Proof** premise_slot(std::uint32_t i) noexcept override;

  std::unique_ptr<QNumber> coeff1_;
  Proof* premise1_;
  std::unique_ptr<QNumber> coeff2_;
  Proof* premise2_;
  int a_, b_, c_;
};

// A constraint follows from the premise. Owns one reference to it.
class LaCombImp : public LaProof {
 public:
  // Takes over the premise; the constructor itself cannot fail.
  LaCombImp(int index, int zero, Proof* premise) noexcept;
  ~LaCombImp() override;

  int index() const { return index_; }  // the implied constraint
  int zero() const { return zero_; }    // always 0 so far
  const Proof* premise() const { return premise_; }

 private:
  Proof** premise_slot(std::uint32_t i) noexcept override;

  int index_;
  int zero_;
  Proof* premise_;
};

// Both sides of a disequality are contradictory. Shares its premises: the caller keeps its own references.
class LaNeq : public LaProof {
 public:
  // Adds one reference to each premise that is not null.
  LaNeq(int id, Proof* less, Proof* greater) noexcept;
  ~LaNeq() override;

  int id() const { return id_; }                     // the disequality
  const Proof* less() const { return less_; }        // refutes  x < c
  const Proof* greater() const { return greater_; }  // refutes  x > c

 private:
  Proof** premise_slot(std::uint32_t i) noexcept override;

  int id_;
  Proof* less_;
  Proof* greater_;
};

}  // namespace tarku::la
