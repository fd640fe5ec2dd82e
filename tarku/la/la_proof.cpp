// The proof steps of linear arithmetic: construction, and letting go of their premises.
#include "tarku/la/la_proof.h"

namespace tarku::la {

LaHyp::LaHyp(int index, int side) : index_(index), side_(side) {
  assert(index >= 0);
  assert(-1 <= side && side <= 1);
}

LaComb::LaComb(QNumber* c1, Proof* p1, QNumber* c2, Proof* p2, int a, int b, int c) noexcept
    : coeff1_(c1), premise1_(p1), coeff2_(c2), premise2_(p2), a_(a), b_(b), c_(c) {}

LaComb::~LaComb() {
  release(premise1_);
  release(premise2_);
}

proof::Proof** LaComb::premise_slot(std::uint32_t i) noexcept {
  if (i == 0) return &premise1_;
  return i == 1 ? &premise2_ : nullptr;
}

LaCombImp::LaCombImp(int index, int zero, Proof* premise) noexcept : index_(index), zero_(zero), premise_(premise) {}

LaCombImp::~LaCombImp() {
  release(premise_);
}

proof::Proof** LaCombImp::premise_slot(std::uint32_t i) noexcept {
  return i == 0 ? &premise_ : nullptr;
}

LaNeq::LaNeq(int id, Proof* less, Proof* greater) noexcept : id_(id), less_(less), greater_(greater) {
  if (less != nullptr) less->retain();
  if (greater != nullptr) greater->retain();
}

LaNeq::~LaNeq() {
  release(less_);
  release(greater_);
}

proof::Proof** LaNeq::premise_slot(std::uint32_t i) noexcept {
  if (i == 0) return &less_;
  return i == 1 ? &greater_ : nullptr;
}

}  // namespace tarku::la
