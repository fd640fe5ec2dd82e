// What formulas and Real terms are outside the tables that hold them: small numbers, equal for equal things.
#pragma once

#include <cstdint>

namespace tarku::checker {

enum class Relation : std::uint8_t { less, less_equal, equal, greater_equal, greater };

// The relation s for which `a s b` says what `b r a` does.
constexpr Relation mirror(Relation r) {
  constexpr Relation mirrored[] = {Relation::greater, Relation::greater_equal, Relation::equal, Relation::less_equal,
                                   Relation::less};
  return mirrored[static_cast<int>(r)];
}

// A formula of one FormulaTable. Negation costs nothing: a formula and its negation differ in the lowest bit.
class Formula {
 public:
  Formula() = default;  // true
  static Formula truth(bool value) { return Formula(value ? 0 : 1); }
  static Formula of_code(std::uint32_t code) { return Formula(code); }

  Formula operator!() const { return Formula(code_ ^ 1); }
  // The formula itself, or its negation when `negated`.
  Formula negated_if(bool negated) const { return Formula(code_ ^ (negated ? 1 : 0)); }

  bool is_truth() const { return code_ <= 1; }  // one of the two constants
  bool is_true() const { return code_ == 0; }
  bool is_false() const { return code_ == 1; }
  bool is_negated() const { return (code_ & 1) != 0; }
  std::uint32_t node() const { return code_ >> 1; }
  std::uint32_t code() const { return code_; }

  friend bool operator==(Formula a, Formula b) { return a.code_ == b.code_; }
  friend bool operator!=(Formula a, Formula b) { return a.code_ != b.code_; }
  friend bool operator<(Formula a, Formula b) { return a.code_ < b.code_; }

 private:
  explicit Formula(std::uint32_t code) : code_(code) {}
  std::uint32_t code_ = 0;
};

// A term of sort Real of one RealTable; the default handle refers to none.
class RealTerm {
 public:
  RealTerm() = default;
  explicit RealTerm(std::uint32_t id) : id_(id) {}

  bool is_valid() const { return id_ != none; }
  std::uint32_t id() const { return id_; }

  friend bool operator==(RealTerm a, RealTerm b) { return a.id_ == b.id_; }
  friend bool operator!=(RealTerm a, RealTerm b) { return a.id_ != b.id_; }
  friend bool operator<(RealTerm a, RealTerm b) { return a.id_ < b.id_; }

 private:
  static constexpr std::uint32_t none = 0xffffffffu;
  std::uint32_t id_ = none;
};

}  // namespace tarku::checker
