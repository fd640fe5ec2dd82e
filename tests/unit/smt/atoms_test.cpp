// The atom table: which atoms share a slack variable and a constraint.
#include "tarku/smt/atoms.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

class AtomsTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Linearizer linearizer{terms};
  AtomTable atoms;

  AtomsTest() {
    for (const char* name : {"x", "y", "z"}) text.symbol(name);  // numbers the terms in this order
  }

  AtomTable::Place add(std::string_view left, Relation relation, std::string_view right) {
    LinearForm form;
    linearizer.subtract(text(left), text(right), &form);
    return atoms.add(&form, relation);
  }

  const AtomTable::Bound& bound(const AtomTable::Place& place) const {
    for (const AtomTable::Bound& b : atoms.bounds()) {
      if (b.constraint == place.constraint) return b;
    }
    throw std::out_of_range("no bound of this index");
  }

  std::string row(int variable) const {
    for (const AtomTable::Row& r : atoms.rows()) {
      if (r.variable != variable) continue;
      std::string result;
      for (std::uint32_t i = 0; i < r.count; ++i) {
        const Monomial& m = atoms.monomials(r)[i];
        result += (i == 0 ? "" : " + ") + m.coeff.to_str() + terms.name(m.leaf);
      }
      return result;
    }
    return "no row";
  }
};

TEST_F(AtomsTest, OneSymbolIsBoundedDirectly) {
  const AtomTable::Place place = add("(* -2 x)", Relation::less, "(+ 3 x)");  // -3x < 3
  EXPECT_EQ(bound(place).variable, atoms.find_variable(text("x")));
  EXPECT_EQ(bound(place).relation, Relation::greater);
  EXPECT_EQ(bound(place).value, QNumber(-1));
  EXPECT_TRUE(atoms.rows().empty());
  EXPECT_EQ(atoms.find_variable(text("y")), 0);
}

TEST_F(AtomsTest, ConstantAtomsAreDecided) {
  EXPECT_EQ(add("(+ x 1)", Relation::less, "(+ x 2)").constraint, 0);
  EXPECT_TRUE(add("(+ x 1)", Relation::less, "(+ x 2)").constant);
  EXPECT_FALSE(add("(+ x 1)", Relation::less, "(+ x 1)").constant);
  EXPECT_TRUE(add("(+ x 1)", Relation::less_equal, "(+ x 1)").constant);
  EXPECT_TRUE(add("(+ x 1)", Relation::equal, "(+ 1 x)").constant);
  EXPECT_FALSE(add("(+ x 1)", Relation::distinct, "(+ 1 x)").constant);
  EXPECT_TRUE(add("1", Relation::greater, "1/2").constant);
  EXPECT_FALSE(add("1/2", Relation::greater_equal, "1").constant);
  EXPECT_TRUE(atoms.bounds().empty());
}

TEST_F(AtomsTest, ProportionalFormsShareOneSlackInBothOrientations) {
  const auto a = add("(- x (* 2 y))", Relation::less_equal, "3");
  const auto b = add("(* 1/2 x)", Relation::less_equal, "(+ y 5)");
  const auto c = add("(* 4 y)", Relation::less_equal, "(+ (* 2 x) 7)");  // -2x + 4y <= 7
  const auto d = add("(+ x (* 2 y))", Relation::less_equal, "3");
  EXPECT_EQ(bound(a).variable, bound(b).variable);
  EXPECT_EQ(bound(a).variable, bound(c).variable);
  EXPECT_NE(bound(a).variable, bound(d).variable);
  EXPECT_EQ(atoms.rows().size(), 2u);
  EXPECT_EQ(row(bound(a).variable), "1x + -2y");
  EXPECT_EQ(bound(b).relation, Relation::less_equal);
  EXPECT_EQ(bound(b).value, QNumber(10));
  EXPECT_EQ(bound(c).relation, Relation::greater_equal);
  EXPECT_EQ(bound(c).value, QNumber(-7L, 2L));
}

TEST_F(AtomsTest, CoefficientsBecomeCoprimeIntegers) {
  EXPECT_EQ(row(bound(add("(+ (* 0.10559 x) (* 0.5 y))", Relation::less, "1")).variable), "10559x + 50000y");
  EXPECT_EQ(row(bound(add("(+ (* -2/3 x) (* 4/5 y) (* 2 z))", Relation::less, "1")).variable), "5x + -6y + -15z");
  EXPECT_EQ(bound(add("(+ (* -2/3 x) (* 4/5 y) (* 2 z))", Relation::less, "1")).value, QNumber(-15L, 2L));
  EXPECT_EQ(row(bound(add("(+ (* 6 x) (* 10 y) (* 15 z))", Relation::less, "1")).variable), "6x + 10y + 15z");
  const std::string huge = "1" + std::string(40, '0');
  EXPECT_EQ(row(bound(add("(+ (* " + huge + " x) (* " + huge + " y))", Relation::less, "1")).variable), "1x + 1y");
}

TEST_F(AtomsTest, EqualBoundsAreOneConstraint) {
  const auto a = add("(+ x y)", Relation::less, "1");
  EXPECT_EQ(add("(+ (* 3 x) (* 3 y))", Relation::less, "3").constraint, a.constraint);
  EXPECT_EQ(add("(- 1 x y)", Relation::greater, "0").constraint, a.constraint);
  EXPECT_EQ(add("(- (- x) y)", Relation::greater, "-1").constraint, a.constraint);
  EXPECT_NE(add("(+ x y)", Relation::less_equal, "1").constraint, a.constraint);
  EXPECT_NE(add("(+ x y)", Relation::less, "2").constraint, a.constraint);
  EXPECT_NE(add("(+ x y)", Relation::equal, "1").constraint, a.constraint);
  EXPECT_EQ(atoms.bounds().size(), 4u);
}

TEST_F(AtomsTest, IndicesStartAtOneAndAreShared) {
  add("(+ x y)", Relation::less, "1");
  add("x", Relation::less, "1");
  add("(+ x z)", Relation::less, "1");
  std::vector<int> indices;
  for (const auto& r : atoms.rows()) indices.push_back(r.constraint);
  for (const auto& b : atoms.bounds()) indices.push_back(b.constraint);
  std::sort(indices.begin(), indices.end());
  EXPECT_EQ(indices, (std::vector<int>{1, 2, 3, 4, 5}));
  EXPECT_EQ(atoms.num_constraints(), 5);
  EXPECT_EQ(atoms.num_variables(), 5);
}

TEST_F(AtomsTest, ManyAtomsAreFoundAgain) {
  std::vector<int> first;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 2000; ++i) {
      LinearForm form;
      form.terms = {{text("x"), QNumber(1)}, {text("y"), QNumber(i % 100 + 1)}};
      form.constant = QNumber(-i);
      const int constraint = atoms.add(&form, Relation::less_equal).constraint;
      if (round == 0) {
        first.push_back(constraint);
      } else {
        ASSERT_EQ(constraint, first[static_cast<std::size_t>(i)]);
      }
    }
  }
  EXPECT_EQ(atoms.rows().size(), 100u);
  EXPECT_EQ(atoms.bounds().size(), 2000u);
}

TEST(Relations, NegationAndMirrorAgreeWithNumbers) {
  const auto holds = [](int a, Relation r, int b) {
    switch (r) {
      case Relation::less:
        return a < b;
      case Relation::less_equal:
        return a <= b;
      case Relation::equal:
        return a == b;
      case Relation::distinct:
        return a != b;
      case Relation::greater_equal:
        return a >= b;
      case Relation::greater:
        return a > b;
    }
    return false;
  };
  for (const Relation r : {Relation::less, Relation::less_equal, Relation::equal, Relation::distinct,
                           Relation::greater_equal, Relation::greater}) {
    for (int a = 0; a < 3; ++a) {
      for (int b = 0; b < 3; ++b) {
        EXPECT_NE(holds(a, r, b), holds(a, negation(r), b));
        EXPECT_EQ(holds(a, r, b), holds(b, mirror(r), a));
      }
    }
  }
}

}  // namespace
}  // namespace tarku::smt
