// Vocabulary: what the variables of a certificate stand for.
//
// A Real variable is a symbol, or conditional: it stands for one of two sums, by a condition. A propositional variable
// is a symbol, an atom, which is a linear constraint, or a gate, which is a formula over literals. Whatever a
// declaration mentions is declared before it, so that all meanings can be found in the order of declaration.
//
// Inside, Real variables and propositions have indices in the order of their declarations. The code of a literal is
// twice the index of its proposition, plus 1 when it is negated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/assertions.h"
#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/interner.h"
#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/variable_map.h"

namespace tarku::checker {

using Literal = int;  // a propositional variable, or minus one

constexpr int max_variable = 1 << 30;

struct Monomial {
  Number coefficient;
  int variable;  // a Real one
};

// The sum of the terms and a constant.
struct Sum {
  std::vector<Monomial> terms;
  Number constant = 0;
};

constexpr bool is_negated(std::uint32_t code) {
  return (code & 1) != 0;
}

class Vocabulary {
 public:
  struct Term {
    std::uint32_t real;  // its index
    Number coefficient;
  };
  struct Equation {  // sum of terms = constant; or another relation
    std::size_t first = 0, end = 0;
    Number constant = 0;
  };
  // The variable is a sum under the condition, and another one without it: the two equations.
  struct Conditional {
    std::uint32_t condition;
    Equation yes, no;
  };
  enum class Kind : std::uint8_t { symbol, atom, conjunction, equivalence, choice };
  struct Proposition {
    int variable;
    Kind kind;
    Relation relation = Relation::equal;  // the next two are of an atom
    Equation equation = {};
    std::size_t first_arg = 0, end_arg = 0;  // of a gate; a conjunction has each once, in order
    std::string symbol = {};
    bool has_meaning = false;
    Formula meaning = {};
  };

  // assertions: may be null, then nothing has a meaning.
  explicit Vocabulary(Assertions* assertions) : assertions_(assertions) {}

  // The assertions know now what symbols mean.
  void give_meanings();

  // ---- declarations. They throw Refused for what is wrong, and have no effect then. ----
  void declare_real(int variable, std::string_view symbol);
  void declare_bool(int variable, std::string_view symbol);
  void define_atom(int variable, const std::vector<Monomial>& terms, Relation relation, const Number& constant);
  void define_conjunction(int variable, const std::vector<Literal>& args);
  void define_equivalence(int variable, Literal a, Literal b);
  void define_choice(int variable, Literal condition, Literal yes, Literal no);
  void define_conditional(int variable, Literal condition, const Sum& yes, const Sum& no);

  // ---- what is declared. Numbers that are not are refused. ----
  std::uint32_t code(Literal literal) const;
  std::vector<std::uint32_t> codes(const std::vector<Literal>& literals) const;
  Literal literal(std::uint32_t code) const;
  const Proposition& proposition(std::uint32_t code) const { return propositions_[code >> 1]; }
  const Proposition& gate(int variable) const;
  const Conditional& conditional(int variable) const;

  std::size_t num_reals() const { return reals_.size(); }
  std::size_t num_propositions() const { return propositions_.size(); }
  const std::string& name_of_real(std::uint32_t index) const { return reals_[index].symbol; }
  const Term& term(std::size_t i) const { return terms_[i]; }
  Words args(const Proposition& gate) const;
  // The number that `b`, terms and constant, is multiplied with in `a`; 0 when there is none.
  Number ratio(const Equation& a, const Equation& b) const;

  // Needs: meanings are given.
  Formula meaning(std::uint32_t code);

 private:
  static constexpr std::uint32_t none = VariableMap::none;

  struct Real {
    int variable;
    std::uint32_t conditional;     // in conditionals_, or none
    std::size_t num_propositions;  // declared before it
    std::string symbol;
    RealTerm meaning;
  };

  void require_new_real(int variable) const;
  void require_new_proposition(int variable) const;
  std::uint32_t index_of_real(int variable) const;
  std::vector<Term> ordered(const std::vector<Monomial>& monomials) const;
  Equation add_equation(const std::vector<Term>& terms, const Number& constant);
  Equation add_branch(std::uint32_t real, std::vector<Term> terms, const Number& constant);
  void add_real(Real real);
  void add_proposition(Proposition proposition);
  void add_gate(int variable, Kind kind, const std::vector<std::uint32_t>& args);

  void give_meaning(Real* real);
  void give_meaning(Proposition* proposition);
  Formula meaning_of_atom(const Proposition& atom) const;
  Formula meaning_of_gate(const Proposition& gate);
  RealTerm meaning_of_branch(const Equation& equation) const;

  Assertions* assertions_;
  bool has_meanings_ = false;
  VariableMap real_index_, proposition_index_;
  std::vector<Real> reals_;
  std::vector<Conditional> conditionals_;
  std::vector<Proposition> propositions_;
  std::vector<Term> terms_;          // of all equations, one after the other; in each by index of the Real variable
  std::vector<std::uint32_t> args_;  // codes, of all gates
};

}  // namespace tarku::checker
