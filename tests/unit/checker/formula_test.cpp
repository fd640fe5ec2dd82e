// Formulas and Real terms: equal meanings of one shape are one node, constants are folded, sharing costs nothing.
#include "tarku/proof/checker/formula.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {
namespace {

class CheckerFormula : public testing::Test {
 protected:
  FormulaTable table;
  RealTable& reals = table.reals();
  RealTerm x = reals.symbol(), y = reals.symbol(), z = reals.symbol();
  Formula p = table.symbol(), q = table.symbol(), r = table.symbol();
  const Formula yes = Formula::truth(true), no = Formula::truth(false);

  RealTerm number(const Number& value) { return reals.numeral(value); }
  RealTerm times(const Number& factor, RealTerm t) { return reals.product({number(factor), t}); }
  Formula compare(Relation relation, RealTerm a, RealTerm b) { return table.comparison(relation, {a, b}); }
  Formula less(RealTerm a, RealTerm b) { return compare(Relation::less, a, b); }
  Formula at_most(RealTerm a, RealTerm b) { return compare(Relation::less_equal, a, b); }
  Formula equal(RealTerm a, RealTerm b) { return compare(Relation::equal, a, b); }

  std::string form(RealTerm a, RealTerm b) {
    const LinearForm difference = reals.difference_form(a, b);
    std::string text;
    for (const Addend& addend : difference.addends) {
      text += to_str(addend.factor) + (addend.term == x ? "x" : addend.term == y ? "y" : addend.term == z ? "z" : "?");
      text += " ";
    }
    return text + to_str(difference.constant);
  }
  std::string form(RealTerm a) { return form(a, number(0)); }
};

// ---- Real terms ----

TEST_F(CheckerFormula, EveryArithmeticOperator) {
  EXPECT_EQ(form(reals.sum({z, number(1), x, number(2)})), "1x 1z 3");
  EXPECT_EQ(form(reals.difference({x, y, number(1)})), "1x -1y -1");
  EXPECT_EQ(form(reals.difference({reals.sum({x, number(1)})})), "-1x -1");
  EXPECT_EQ(form(reals.product({number(2), reals.sum({x, number(1)}), number(3)})), "6x 6");
  EXPECT_EQ(form(reals.quotient({reals.difference({x, number(3)}), number(2), number(5)})), "1/10x -3/10");
  EXPECT_EQ(form(reals.product({number(0), x})), "0");
  EXPECT_EQ(form(reals.sum({x, y}), reals.sum({y, x})), "0");
  EXPECT_EQ(reals.sum({x}), x);
}

TEST_F(CheckerFormula, ConstantsOfArithmeticFold) {
  const RealTerm five = reals.sum({number(2), number(3)});
  EXPECT_EQ(five, number(5));
  EXPECT_EQ(reals.quotient({number(1), number(3)}), number(Number(1) / 3));
  EXPECT_EQ(reals.difference({x, x}), number(0));
  EXPECT_EQ(times(2, times(Number(1) / 2, x)), x);
  EXPECT_TRUE(reals.is_numeral(five));
  EXPECT_FALSE(reals.is_numeral(x));
  EXPECT_EQ(reals.value(five), Number(5));
}

TEST_F(CheckerFormula, RefusesWhatIsNotLinear) {
  EXPECT_THROW(reals.product({x, y}), Refused);
  EXPECT_THROW(reals.product({x, x}), Refused);
  EXPECT_THROW(reals.quotient({number(1), x}), Refused);
  EXPECT_THROW(reals.quotient({x, number(0)}), Refused);
  EXPECT_NO_THROW(reals.product({x, number(0), number(3)}));
}

TEST_F(CheckerFormula, RealChoices) {
  const RealTerm open = reals.choice(p, x, y);
  EXPECT_EQ(reals.choice(yes, x, y), x);
  EXPECT_EQ(reals.choice(no, x, y), y);
  EXPECT_EQ(reals.choice(p, x, y), open);
  EXPECT_NE(reals.choice(p, y, x), open);
  EXPECT_EQ(reals.choice(!p, y, x), open);
  EXPECT_EQ(reals.choice(p, x, x), x);
  EXPECT_EQ(table.resolve(open), open);
  EXPECT_EQ(form(reals.sum({open, x})), "1x 1? 0");
}

// 2^200 paths, and a form of 40 addends.
TEST_F(CheckerFormula, SharedTermsAreMultipliedOutOnce) {
  std::vector<RealTerm> symbols;
  for (int i = 0; i < 40; ++i) symbols.push_back(reals.symbol());
  RealTerm sum = reals.sum(symbols);
  Number expected = 1;
  for (int i = 0; i < 200; ++i) {
    sum = reals.sum({sum, reals.difference({sum, reals.product({number(1), x})}), x});
    expected *= 2;
  }
  const LinearForm form = reals.difference_form(sum, number(0));
  ASSERT_EQ(form.addends.size(), 40u);
  for (const Addend& addend : form.addends) EXPECT_EQ(addend.factor, expected);
  EXPECT_LT(reals.size(), 1000u);
}

// Each step sums what came before: all forms together would be quadratic.
TEST_F(CheckerFormula, LongChainsStaySmall) {
  constexpr std::size_t steps = 20000;
  RealTerm sum = x;
  for (std::size_t i = 0; i < steps; ++i) {
    sum = reals.sum({sum, reals.symbol()});
    less(sum, number(3));
  }
  EXPECT_LE(reals.size(), 2 * steps + 10);
  EXPECT_EQ(reals.difference_form(sum, x).addends.size(), steps);
}

// ---- atoms ----

TEST_F(CheckerFormula, SpellingsOfOneConstraintAreOneFormula) {
  const Formula bound = at_most(x, number(1));
  EXPECT_EQ(at_most(times(2, x), number(2)), bound);
  EXPECT_EQ(compare(Relation::greater_equal, times(-1, x), number(-1)), bound);
  EXPECT_EQ(!compare(Relation::greater, x, number(1)), bound);
  EXPECT_EQ(compare(Relation::greater_equal, number(1), x), bound);
  EXPECT_EQ(at_most(reals.sum({x, y}), reals.sum({y, number(1)})), bound);
  EXPECT_EQ(table.atom({{{x, 2}}, -2}, Relation::less_equal), bound);
  EXPECT_EQ(table.atom({{{x, -1}, {y, 3}, {y, -3}}, 1}, Relation::greater_equal), bound);
  for (const Formula other : {less(x, number(1)), at_most(x, number(2)), at_most(y, number(1)), at_most(number(1), x),
                              equal(x, number(1)), !bound}) {
    EXPECT_NE(other, bound);
  }
  EXPECT_EQ(equal(x, y), equal(times(-3, y), times(-3, x)));
  EXPECT_EQ(equal(x, y).is_negated(), false);
}

TEST_F(CheckerFormula, AtomsWithoutLeavesAreConstants) {
  EXPECT_EQ(less(x, x), no);
  EXPECT_EQ(at_most(x, x), yes);
  EXPECT_EQ(equal(x, reals.sum({x, number(1)})), no);
  const Relation relations[] = {Relation::less, Relation::less_equal, Relation::equal, Relation::greater_equal,
                                Relation::greater};
  const bool holds[5][3] = {
      {true, false, false}, {true, true, false}, {false, true, false}, {false, true, true}, {false, false, true}};
  for (int i = 0; i < 5; ++i) {
    for (int value = -1; value <= 1; ++value) {
      EXPECT_EQ(table.atom({{}, value}, relations[i]), Formula::truth(holds[i][value + 1]));
      EXPECT_EQ(compare(relations[i], number(value), number(0)), Formula::truth(holds[i][value + 1]));
    }
  }
}

TEST_F(CheckerFormula, LongComparisonsResolveToTheSameAtoms) {
  std::vector<RealTerm> symbols;
  for (int i = 0; i < 20; ++i) symbols.push_back(reals.symbol());
  const RealTerm flat = reals.sum(symbols);
  const RealTerm nested = reals.sum({flat, x, reals.difference({x})});
  const RealTerm twice = reals.sum({flat, flat});
  const Formula wanted = less(flat, number(3));
  EXPECT_EQ(table.kind(wanted), FormulaTable::atom_node);
  EXPECT_EQ(table.resolve(wanted), wanted);
  EXPECT_EQ(table.resolve(less(nested, number(3))), wanted);
  EXPECT_EQ(table.resolve(less(twice, number(6))), wanted);
  EXPECT_EQ(table.resolve(!less(twice, number(6))), !wanted);
  EXPECT_EQ(table.resolve(compare(Relation::greater_equal, twice, number(6))), !wanted);
  EXPECT_EQ(table.resolve(less(twice, reals.sum({flat, flat, number(1)}))), yes);
  EXPECT_EQ(table.resolve(equal(twice, reals.sum({flat, flat, number(1)}))), no);
  EXPECT_EQ(table.resolve(p), p);
}

TEST_F(CheckerFormula, ChainsAndPairs) {
  EXPECT_EQ(table.comparison(Relation::less, {x, y, z}), table.conjunction({less(x, y), less(y, z)}));
  EXPECT_EQ(table.comparison(Relation::equal, {x, y, number(1)}),
            table.conjunction({equal(y, number(1)), equal(x, y)}));
  EXPECT_EQ(table.distinct({x, y, z}), table.conjunction({!equal(x, y), !equal(y, z), !equal(z, x)}));
  EXPECT_EQ(table.distinct({x, y, x}), no);
  EXPECT_EQ(table.distinct({number(1), number(2), number(3)}), yes);
}

// ---- connectives ----

TEST_F(CheckerFormula, ConstantsOfConnectivesFold) {
  EXPECT_EQ(table.conjunction({}), yes);
  EXPECT_EQ(table.disjunction({}), no);
  EXPECT_EQ(table.conjunction({p, yes}), p);
  EXPECT_EQ(table.conjunction({p, no, q}), no);
  EXPECT_EQ(table.disjunction({p, no}), p);
  EXPECT_EQ(table.disjunction({p, yes}), yes);
  EXPECT_EQ(table.conjunction({p, q, p}), table.conjunction({q, p}));
  EXPECT_EQ(table.disjunction({p, p}), p);
  EXPECT_EQ(table.implication({p, no}), !p);
  EXPECT_EQ(table.implication({yes, p}), p);
  EXPECT_EQ(table.implication({no, p}), yes);
  EXPECT_EQ(table.implication({p, q, r}), table.disjunction({!p, !q, r}));
  EXPECT_EQ(!!p, p);
}

TEST_F(CheckerFormula, Equivalences) {
  EXPECT_EQ(table.equivalence({p, yes}), p);
  EXPECT_EQ(table.equivalence({no, p}), !p);
  EXPECT_EQ(table.equivalence({p, p}), yes);
  EXPECT_EQ(table.equivalence({p, !p}), no);
  EXPECT_EQ(table.equivalence({p, q}), table.equivalence({!q, !p}));
  EXPECT_EQ(table.equivalence({p, !q}), !table.equivalence({p, q}));
  EXPECT_EQ(table.equivalence({p, q, no}), table.conjunction({!p, !q}));
  EXPECT_EQ(table.equivalence({p, q, r}), table.conjunction({table.equivalence({p, q}), table.equivalence({q, r})}));
  EXPECT_EQ(table.exclusive_or({p, q}), !table.equivalence({p, q}));
  EXPECT_EQ(table.exclusive_or({q, q, p}), p);
  EXPECT_EQ(table.exclusive_or({p, yes, yes, yes}), !p);
  EXPECT_EQ(table.distinct({p, q}), table.exclusive_or({q, p}));
  EXPECT_EQ(table.distinct({p, q, r}), no);
}

TEST_F(CheckerFormula, Choices) {
  EXPECT_EQ(table.choice(yes, p, q), p);
  EXPECT_EQ(table.choice(no, p, q), q);
  EXPECT_EQ(table.choice(r, p, p), p);
  EXPECT_EQ(table.choice(r, yes, q), table.disjunction({r, q}));
  EXPECT_EQ(table.choice(r, no, q), table.conjunction({!r, q}));
  EXPECT_EQ(table.choice(r, p, yes), table.disjunction({!r, p}));
  EXPECT_EQ(table.choice(r, p, no), table.conjunction({r, p}));
  EXPECT_EQ(table.choice(!r, p, q), table.choice(r, q, p));
  EXPECT_EQ(table.choice(r, !p, !q), !table.choice(r, p, q));
  EXPECT_NE(table.choice(r, p, q), table.choice(r, q, p));
  EXPECT_EQ(table.choice(r, p, !p), table.equivalence({r, p}));
  EXPECT_EQ(table.choice(r, !p, p), table.exclusive_or({r, p}));
}

// ---- resolving ----

// Twenty symbols, and their sum in several spellings.
class LongSums : public CheckerFormula {
 protected:
  LongSums() {
    for (int i = 0; i < 20; ++i) symbols.push_back(reals.symbol());
    flat = reals.sum(symbols);
    nested = reals.sum({flat, x, reals.difference({x})});
    halves = reals.sum(
        {reals.sum({symbols.begin(), symbols.begin() + 10}), reals.sum({symbols.begin() + 10, symbols.end()})});
    doubled = reals.quotient({reals.sum({flat, flat}), number(2)});
  }
  std::vector<RealTerm> symbols;
  RealTerm flat, nested, halves, doubled;
};

TEST_F(LongSums, ChoicesBetweenEqualSumsAreOneTerm) {
  const RealTerm wanted = table.resolve(reals.choice(p, flat, x));
  for (const RealTerm sum : {nested, halves, doubled}) {
    EXPECT_EQ(table.resolve(sum), flat);
    EXPECT_EQ(table.resolve(reals.choice(p, sum, x)), wanted);
    EXPECT_EQ(table.resolve(reals.choice(!p, x, sum)), wanted);
    EXPECT_NE(table.resolve(reals.choice(p, x, sum)), wanted);
    EXPECT_NE(table.resolve(reals.choice(p, reals.sum({sum, number(1)}), x)), wanted);
    EXPECT_EQ(table.resolve(less(reals.choice(p, sum, x), number(3))), table.resolve(less(wanted, number(3))));
    EXPECT_EQ(table.resolve(less(reals.choice(p, sum, x), wanted)), no);
    EXPECT_EQ(table.resolve(at_most(reals.sum({reals.choice(p, sum, x), y}), reals.sum({wanted, y}))), yes);
  }
}

TEST_F(LongSums, ConditionsAreResolvedToo) {
  const auto term = [this](RealTerm sum) {
    const Formula condition = table.conjunction({p, table.disjunction({q, less(sum, number(1))})});
    return reals.choice(condition, x, reals.choice(less(sum, y), sum, z));
  };
  const RealTerm wanted = table.resolve(term(flat));
  EXPECT_EQ(table.resolve(wanted), wanted);
  for (const RealTerm sum : {nested, halves, doubled}) EXPECT_EQ(table.resolve(term(sum)), wanted);
  EXPECT_NE(table.resolve(term(reals.sum({flat, x}))), wanted);
}

// What turns out to be constant or equal folds away, however late.
TEST_F(LongSums, WhatFoldsWhenResolved) {
  const Formula always = less(nested, reals.sum({halves, number(1)}));
  const Formula never = less(reals.sum({halves, number(1)}), nested);
  EXPECT_FALSE(always.is_truth());
  EXPECT_EQ(table.resolve(always), yes);
  EXPECT_EQ(table.resolve(table.conjunction({p, always, q})), table.conjunction({p, q}));
  EXPECT_EQ(table.resolve(table.disjunction({p, never})), p);
  EXPECT_EQ(table.resolve(table.conjunction({p, never})), no);
  EXPECT_EQ(table.resolve(table.choice(always, p, q)), p);
  EXPECT_EQ(table.resolve(table.choice(p, never, q)), table.conjunction({!p, q}));
  EXPECT_EQ(table.resolve(table.equivalence({p, always})), p);
  EXPECT_EQ(table.resolve(table.equivalence({p, q, never})), table.conjunction({!p, !q}));
  EXPECT_EQ(table.resolve(table.exclusive_or({p, always, never})), !p);
  EXPECT_EQ(table.resolve(reals.choice(always, x, y)), x);
  EXPECT_EQ(table.resolve(reals.choice(never, x, reals.sum({y, z}))), reals.sum({y, z}));
  EXPECT_EQ(table.resolve(reals.choice(p, nested, halves)), flat);
  EXPECT_EQ(table.resolve(equal(reals.choice(never, x, nested), halves)), yes);
  EXPECT_EQ(table.resolve(less(reals.sum({reals.choice(always, nested, x), reals.difference({flat})}), y)),
            less(number(0), y));
  EXPECT_EQ(table.resolve(table.conjunction({less(nested, x), less(halves, x)})), table.resolve(less(flat, x)));
}

// Each condition is over the choice before: no calls may nest, and nothing may be done twice.
TEST_F(CheckerFormula, DeepChoicesAreResolvedInOrder) {
  constexpr int depth = 50000;
  const auto chain = [this](bool is_turned) {
    RealTerm term = x;
    for (int i = 0; i < depth; ++i) {
      const RealTerm more = is_turned ? reals.difference({term, number(-1)}) : reals.sum({number(1), term});
      const Formula condition = at_most(more, y);
      term = is_turned ? reals.choice(!condition, times(2, z), more) : reals.choice(condition, more, reals.sum({z, z}));
    }
    return less(term, z);
  };
  const Formula one = chain(false);
  EXPECT_EQ(chain(true), one);
  EXPECT_EQ(table.resolve(one), one);
  // once more over a leaf that comes to x only when it is resolved
  std::vector<RealTerm> symbols;
  for (int i = 0; i < 20; ++i) symbols.push_back(reals.symbol());
  const RealTerm sum = reals.sum(symbols), same = reals.sum({sum, y, reals.difference({y})});
  x = reals.choice(less(sum, reals.sum({same, number(1)})), x, y);
  const Formula other = chain(true);
  EXPECT_NE(other, one);
  EXPECT_EQ(table.resolve(other), one);
}

// All sums together would be quadratic; only those that are asked about are multiplied out.
TEST_F(CheckerFormula, BranchesStayWhatTheyAreUntilTheyAreResolved) {
  constexpr std::size_t steps = 20000;
  RealTerm sum = x;
  std::vector<RealTerm> choices;
  for (std::size_t i = 0; i < steps; ++i) {
    sum = reals.sum({sum, reals.symbol()});
    choices.push_back(reals.choice(p, sum, y));
    less(choices.back(), number(3));
  }
  EXPECT_LE(reals.size(), 4 * steps + 10);
  EXPECT_TRUE(reals.is_choice(table.resolve(choices[100])));
  EXPECT_EQ(table.resolve(reals.sum({choices[100], reals.difference({choices[100]})})), number(0));
  EXPECT_LE(reals.size(), 4 * steps + 20);
}

// Formulas of one structure in two spellings.
class Respelled {
 public:
  Respelled(FormulaTable* table, const std::vector<RealTerm>& leaves, const std::vector<Formula>& symbols,
            unsigned structure, unsigned spelling)
      : table_(*table), leaves_(leaves), symbols_(symbols), structure_(structure), spelling_(spelling) {}

  Formula formula(int depth) {
    if (depth == 0) return symbols_[pick(symbols_.size())];
    switch (pick(5)) {
      case 0: {
        const Formula a = formula(depth - 1), b = formula(depth - 1), c = formula(depth - 1);
        return toss() ? table_.conjunction({a, b, c}) : !table_.disjunction({!c, !a, !b});
      }
      case 1: {
        const Formula a = formula(depth - 1), b = formula(depth - 1);
        return toss() ? table_.equivalence({a, b}) : !table_.exclusive_or({b, a});
      }
      case 2: {
        const Formula a = formula(depth - 1), b = formula(depth - 1), c = formula(depth - 1);
        return toss() ? table_.choice(a, b, c) : table_.choice(!a, c, b);
      }
      default:
        return atom(depth - 1);
    }
  }

 private:
  std::size_t pick(std::size_t bound) { return structure_() % bound; }
  bool toss() { return spelling_() % 2 == 0; }

  Formula atom(int depth) {
    const RealTerm a = term(depth), b = term(depth);
    const bool is_equal = pick(3) == 0;
    const Relation relation = is_equal ? Relation::equal : Relation::less;
    if (toss()) return table_.comparison(relation, {a, b});
    const RealTerm c = table_.reals().difference({b, a});
    const RealTerm zero = table_.reals().numeral(0);
    return is_equal ? table_.comparison(relation, {c, zero}) : !table_.comparison(Relation::less_equal, {c, zero});
  }

  RealTerm term(int depth) {
    RealTable& reals = table_.reals();
    if (depth == 0) return leaves_[pick(leaves_.size())];
    if (pick(2) == 0) {
      const Formula condition = formula(depth - 1);
      const RealTerm yes = term(depth - 1), no = term(depth - 1);
      return toss() ? reals.choice(condition, yes, no) : reals.choice(!condition, no, yes);
    }
    std::vector<RealTerm> parts;
    for (std::size_t i = 0, count = pick(2) == 0 ? 24 : 2; i < count; ++i) parts.push_back(term(i < 2 ? depth - 1 : 0));
    return sum(parts);
  }

  // The sum in any order and any grouping, or twice and halved.
  RealTerm sum(std::vector<RealTerm> parts) {
    RealTable& reals = table_.reals();
    std::shuffle(parts.begin(), parts.end(), spelling_);
    const auto middle = parts.begin() + static_cast<std::ptrdiff_t>(spelling_() % parts.size());
    if (toss() || middle == parts.begin()) return reals.sum(parts);
    const RealTerm left = reals.sum({parts.begin(), middle}), right = reals.sum({middle, parts.end()});
    if (toss()) return reals.difference({left, reals.difference({right})});
    return reals.quotient({reals.sum({left, right, right, left}), reals.numeral(2)});
  }

  FormulaTable& table_;
  const std::vector<RealTerm>& leaves_;
  const std::vector<Formula>& symbols_;
  std::mt19937 structure_, spelling_;
};

TEST_F(CheckerFormula, SpellingsMakeNoDifferenceAnywhere) {
  std::vector<RealTerm> leaves{x, y, z, number(1)};
  for (int i = 0; i < 18; ++i) leaves.push_back(reals.symbol());
  const std::vector<Formula> symbols{p, q, r};
  std::size_t num_different = 0;
  Formula before;
  for (unsigned round = 0; round < 400; ++round) {
    const int depth = 3 + static_cast<int>(round % 4);
    const Formula a = Respelled(&table, leaves, symbols, round, 2 * round).formula(depth);
    const Formula b = Respelled(&table, leaves, symbols, round, 2 * round + 1).formula(depth);
    ASSERT_EQ(table.resolve(a), table.resolve(b)) << "round " << round;
    EXPECT_EQ(table.resolve(table.resolve(a)), table.resolve(a));
    num_different += a != b ? 1 : 0;
    if (depth > 4 && !table.resolve(a).is_truth()) {
      EXPECT_NE(table.resolve(a), before) << "round " << round;
    }
    before = table.resolve(a);
  }
  EXPECT_GT(num_different, 100u);
}

}  // namespace
}  // namespace tarku::checker
