// Clauses of formulas: exactly which ones for the small cases, and what they mean together against enumeration.
#include "tarku/smt/clausifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/smt/evaluator.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

std::string show(const Clause& clause) {
  std::string text;
  for (const int literal : clause) text += (text.empty() ? "" : " ") + std::to_string(literal);
  return text;
}

// Keeps all that it is told, and holds each step to the rules of the sink.
class Recorder : public ClauseSink {
 public:
  struct Atom {
    int when_true, when_false;
  };

  explicit Recorder(const AtomTable& atoms) : atoms_(atoms) {}

  int new_variable() override { return ++num_variables; }
  int new_observed_variable() override {
    observed.insert(++num_variables);
    return num_variables;
  }

  void symbol(int variable, Term symbol) override {
    declare(variable, {});
    symbols.emplace(variable, symbol);
  }
  void atom(int variable, int when_true, int when_false) override {
    declare(variable, {});
    meanings.insert({variable, {when_true, when_false}});
  }
  void conjunction(int variable, const Clause& args) override {
    declare(variable, args);
    gates.push_back(std::to_string(variable) + " and " + show(args));
  }
  void equivalence(int variable, int a, int b) override {
    declare(variable, {a, b});
    gates.push_back(std::to_string(variable) + " iff " + show({a, b}));
  }
  void choice(int variable, int condition, int yes, int no) override {
    declare(variable, {condition, yes, no});
    gates.push_back(std::to_string(variable) + " ite " + show({condition, yes, no}));
  }
  void conditional(int real_variable, Term term, int condition) override {
    expect_declared({condition});
    const auto [known, is_new] = conditionals.emplace(real_variable, term);
    EXPECT_TRUE(is_new || known->second == term);
  }

  void gate_clause(int variable, const Clause& clause) override {
    EXPECT_TRUE(std::find(clause.begin(), clause.end(), variable) != clause.end() ||
                std::find(clause.begin(), clause.end(), -variable) != clause.end());
    add(clause);
  }
  void conditional_clause(int real_variable, const Clause& clause) override {
    EXPECT_EQ(conditionals.count(real_variable), 1u);
    add(clause);
  }
  void case_clause(int atom, int real_variable, int selector, int case_literal, const Clause& clause) override {
    EXPECT_EQ(conditionals.count(real_variable), 1u);
    expect_declared({atom, selector, case_literal});
    EXPECT_TRUE(clause == Clause({-atom, -selector, case_literal}) ||
                clause == Clause({atom, -selector, -case_literal}))
        << show(clause);
    ++num_case_clauses;
    add(clause);
  }
  void farkas_clause(const Clause& clause, const std::vector<QNumber>& multipliers) override {
    expect_contradiction(clause, multipliers);
    farkas_clauses.push_back(clause);
    add(clause);
  }
  void split_clause(const Clause& clause) override {
    EXPECT_EQ(clause.size(), 3u);
    add(clause);
  }

  // All clauses since the last call.
  std::vector<std::string> news() {
    std::vector<std::string> result;
    for (; num_shown_ < clauses.size(); ++num_shown_) result.push_back(show(clauses[num_shown_]));
    std::sort(result.begin(), result.end());
    return result;
  }

  int num_variables = 0;
  std::set<int> observed;
  std::map<int, Term> symbols;
  std::map<int, Atom> meanings;  // of atoms
  std::map<int, Term> conditionals;
  std::vector<std::string> gates;
  std::vector<Clause> clauses, farkas_clauses;
  int num_case_clauses = 0;

 private:
  void declare(int variable, const Clause& parts) {
    expect_declared(parts);
    EXPECT_TRUE(declared_.insert(variable).second) << variable;
  }
  void expect_declared(const Clause& literals) {
    for (const int literal : literals) EXPECT_EQ(declared_.count(std::abs(literal)), 1u) << literal;
  }
  void add(const Clause& clause) {
    expect_declared(clause);
    clauses.push_back(clause);
  }

  // The negated literals are bounds on one variable, of which the multiples add up to 0 < 0 or worse.
  void expect_contradiction(const Clause& clause, const std::vector<QNumber>& multipliers) {
    ASSERT_EQ(clause.size(), multipliers.size());
    expect_declared(clause);
    QNumber coefficient, right;
    bool is_strict = false;
    for (std::size_t i = 0; i < clause.size(); ++i) {
      const Atom& atom = meanings.at(std::abs(clause[i]));
      const AtomTable::Bound& bound = atoms_.bound_of(clause[i] < 0 ? atom.when_true : atom.when_false);
      const bool is_lower = bound.relation == Relation::greater || bound.relation == Relation::greater_equal;
      const QNumber factor = is_lower ? multipliers[i].neg() : multipliers[i];
      ASSERT_TRUE(bound.relation == Relation::equal || !multipliers[i].is_negative());
      coefficient += factor;
      right.add_mul(factor, bound.value);
      is_strict = is_strict || bound.relation == Relation::less || bound.relation == Relation::greater;
    }
    EXPECT_TRUE(coefficient.is_zero()) << show(clause);
    EXPECT_TRUE(right.is_negative() || (right.is_zero() && is_strict)) << show(clause);
  }

  const AtomTable& atoms_;
  std::set<int> declared_;
  std::size_t num_shown_ = 0;
};

// Whether the clauses can be satisfied by values of the variables that have none yet.
bool is_satisfiable(const std::vector<Clause>& clauses, std::map<int, bool> values) {
  const auto value = [&values](int literal) {
    const auto found = values.find(std::abs(literal));
    return found == values.end() ? 0 : (found->second == (literal > 0) ? 1 : -1);
  };
  int open = 0;
  for (bool changed = true; changed;) {
    changed = false;
    open = 0;
    for (const Clause& clause : clauses) {
      int last = 0;
      int num_open = 0;
      bool is_true = false;
      for (const int literal : clause) {
        is_true = is_true || value(literal) > 0;
        if (value(literal) != 0) continue;
        last = literal;
        ++num_open;
      }
      if (is_true) continue;
      if (num_open == 0) return false;
      if (num_open == 1) values[std::abs(last)] = last > 0;
      changed = changed || num_open == 1;
      if (num_open > 1) open = last;
    }
  }
  if (open == 0) return true;
  for (const bool choice : {true, false}) {
    values[std::abs(open)] = choice;
    if (is_satisfiable(clauses, values)) return true;
  }
  return false;
}

// A clausifier with all that it needs.
struct Session {
  TermManager terms;
  test::TermText text{terms};
  Linearizer linearizer{terms};
  AtomTable atoms;
  Recorder recorder{atoms};
  Clausifier clausifier{terms, linearizer, atoms, recorder};

  std::string clause(const std::string& formula, bool polarity = true) {
    bool holds = false;
    const Clause result = clausifier.clause(text(formula), polarity, &holds);
    return holds ? "holds" : show(result);
  }
  // The literal of an atom.
  int literal(const std::string& atom) { return std::stoi(clause("(or " + atom + " false)")); }
};

using Lines = std::vector<std::string>;

// ==== meaning ====

// Compares the clauses of a formula with its value, for all values of its symbols out of a small set.
class Meaning {
 public:
  Meaning(Session& session, Term formula, bool polarity) : s_(session), formula_(formula), polarity_(polarity) {
    bool holds = false;
    const Clause told = s_.clausifier.clause(formula, polarity, &holds);
    clauses_ = s_.recorder.clauses;
    if (!holds) clauses_.push_back(told);
    for (std::uint32_t id = 0; id < s_.terms.num_terms(); ++id) {
      const Term t(id);
      if (s_.terms.op(t) == Op::symbol) (s_.terms.sort(t) == Sort::real ? reals_ : bools_).push_back(t);
    }
    for (const auto& entry : s_.recorder.conditionals) leaves_.push_back(entry.second);
  }

  // Gives the number of assignments that satisfy the formula, to see that both kinds occur.
  int compare() {
    choose_bool(0);
    return num_true_;
  }
  int num_assignments() const { return num_assignments_; }

 private:
  static const std::vector<QNumber>& numbers() {
    static const std::vector<QNumber> values = {QNumber(-1), QNumber(0), QNumber(1, 2), QNumber(1), QNumber(2)};
    return values;
  }

  void choose_bool(std::size_t i) {
    if (i == bools_.size()) return choose_real(0);
    for (const bool value : {true, false}) {
      truths_[bools_[i]] = value;
      choose_bool(i + 1);
    }
  }

  void choose_real(std::size_t i) {
    if (i == reals_.size()) return compare_assignment();
    for (const QNumber& value : numbers()) {
      values_[reals_[i]] = value;
      choose_real(i + 1);
    }
  }

  // With the right values of all `ite` terms the clauses say what the formula does. With others, which nothing but
  // the clauses keeps the solver from choosing, they say no less.
  void compare_assignment() {
    Evaluator evaluator(
        s_.terms, [this](Term t) { return values_.at(t); }, [this](Term t) { return truths_.at(t); });
    const bool expected = evaluator.bool_value(formula_) == polarity_;
    for (const Term leaf : leaves_) values_[leaf] = evaluator.real_value(leaf);
    ++num_assignments_;
    num_true_ += expected ? 1 : 0;
    EXPECT_EQ(is_satisfiable(clauses_, decided()), expected);
    if (expected) return;
    for (const Term leaf : leaves_) {
      const QNumber right = values_[leaf];
      for (const QNumber& wrong : numbers()) {
        values_[leaf] = wrong;
        EXPECT_FALSE(is_satisfiable(clauses_, decided()));
      }
      values_[leaf] = right;
    }
  }

  // The variables that stand for symbols and for what the theory sees.
  std::map<int, bool> decided() {
    std::map<int, bool> result;
    for (const auto& [variable, symbol] : s_.recorder.symbols) result[variable] = truths_.at(symbol);
    for (const int variable : s_.recorder.observed) {
      result[variable] = holds(s_.atoms.bound_of(s_.recorder.meanings.at(variable).when_true));
      EXPECT_NE(result[variable], holds(s_.atoms.bound_of(s_.recorder.meanings.at(variable).when_false)));
    }
    return result;
  }

  bool holds(const AtomTable::Bound& bound) {
    const QNumber difference = value_of(bound.variable) - bound.value;
    switch (bound.relation) {
      case Relation::less:
        return difference.is_negative();
      case Relation::less_equal:
        return !difference.is_positive();
      case Relation::greater_equal:
        return !difference.is_negative();
      case Relation::greater:
        return difference.is_positive();
      default:
        ADD_FAILURE() << "the theory sees bounds only";
        return false;
    }
  }

  QNumber value_of(int variable) {
    const int row = s_.atoms.row_of(variable);
    if (row < 0) return values_.at(s_.atoms.symbol(variable));
    const AtomTable::Row& sum = s_.atoms.rows()[static_cast<std::size_t>(row)];
    QNumber value;
    for (std::uint32_t i = 0; i < sum.count; ++i) {
      const Monomial& monomial = s_.atoms.monomials(sum)[i];
      value.add_mul(monomial.coeff, values_.at(monomial.leaf));
    }
    return value;
  }

  Session& s_;
  Term formula_;
  bool polarity_;
  std::vector<Clause> clauses_;
  std::vector<Term> bools_, reals_, leaves_;
  std::map<Term, bool> truths_;
  std::map<Term, QNumber> values_;  // of symbols and of `ite` terms
  int num_true_ = 0, num_assignments_ = 0;
};

// For either value that the formula may be wanted to have.
void expect_meaning(const std::string& formula) {
  for (const bool polarity : {true, false}) {
    SCOPED_TRACE((polarity ? "" : "not ") + formula);
    Session s;
    Meaning meaning(s, s.text(formula), polarity);
    const int num_true = meaning.compare();
    EXPECT_TRUE(num_true > 0 && num_true < meaning.num_assignments()) << "decides nothing";
  }
}

// ==== gates ====

TEST(Clausifier, ADisjunctionIsAClauseOfItsOwn) {
  Session s;
  EXPECT_EQ(s.clause("(or p (not q) (or r p))"), "1 -2 3");
  EXPECT_EQ(s.clause("(and p (=> q r))", false), "-1 4");  // 4 is q and not r
  EXPECT_EQ(s.clause("(=> p q r)"), "-1 -2 3");
  EXPECT_EQ(s.recorder.gates, Lines({"4 and -3 2"}));
}

TEST(Clausifier, AConjunctionSaysWhatItsSignNeeds) {
  Session s;
  s.clause("(or p q r)");  // gives them their numbers
  EXPECT_EQ(s.clause("(and p q)"), "4");
  EXPECT_EQ(s.recorder.gates, Lines({"4 and 1 2"}));
  EXPECT_EQ(s.recorder.news(), Lines({"-4 1", "-4 2"}));
  EXPECT_EQ(s.clause("(xor r (and p q))"), "-5");
  EXPECT_EQ(s.recorder.news(), Lines({"4 -1 -2", "5 -3 -4", "5 3 4"}));
}

TEST(Clausifier, AnEquivalenceSaysWhatItsSignNeeds) {
  Session s;
  EXPECT_EQ(s.clause("(= p q)"), "3");
  EXPECT_EQ(s.recorder.gates, Lines({"3 iff 1 2"}));
  EXPECT_EQ(s.recorder.news(), Lines({"-3 -1 2", "-3 1 -2"}));
  EXPECT_EQ(s.clause("(= p q)", false), "-3");
  EXPECT_EQ(s.recorder.news(), Lines({"3 -1 -2", "3 1 2"}));
}

TEST(Clausifier, AChoiceSaysWhatItsSignNeeds) {
  Session s;
  s.clause("(or p q r)");
  EXPECT_EQ(s.clause("(ite p q r)"), "4");
  EXPECT_EQ(s.recorder.gates, Lines({"4 ite 1 2 3"}));
  EXPECT_EQ(s.recorder.news(), Lines({"-4 -1 2", "-4 1 3", "-4 2 3"}));
  EXPECT_EQ(s.clause("(ite p q r)", false), "-4");
  EXPECT_EQ(s.recorder.news(), Lines({"4 -1 -2", "4 -2 -3", "4 1 -3"}));
}

TEST(Clausifier, EqualGatesAreOne) {
  const std::vector<std::vector<std::string>> groups = {
      {"(and p q)", "(and q p p)", "(not (or (not p) (not q)))", "(not (=> p (not q)))", "(ite p q false)"},
      {"(= p q)", "(= q p)", "(not (xor p q))", "(not (distinct q p))", "(ite p q (not q))"},
      {"(ite p q r)", "(ite (not p) r q)"},
      {"(xor p q r)", "(not (= (xor p q) r))", "(distinct (distinct p q) r)"},
      {"(= p q r)", "(and (= p q) (= q r))"}};
  for (const auto& group : groups) {
    Session s;
    const int first = s.literal(group.front());
    const int num_variables = s.recorder.num_variables;
    for (const std::string& formula : group) EXPECT_EQ(s.literal(formula), first) << formula;
    EXPECT_EQ(s.recorder.num_variables, num_variables) << group.front();
  }
}

TEST(Clausifier, WhatWasToldIsNotToldAgain) {
  Session s;
  s.clause("(or p (and q (or r (and p q))))");
  EXPECT_NE(s.recorder.news(), Lines());
  s.clause("(or p (and q (or r (and p q))))");
  s.clause("(and p q)");
  EXPECT_EQ(s.recorder.news(), Lines());
}

TEST(Clausifier, ConstantsVanish) {
  const std::pair<const char*, const char*> cases[] = {{"true", "holds"},
                                                       {"false", ""},
                                                       {"(or p true)", "holds"},
                                                       {"(and p false)", ""},
                                                       {"(or p false)", "1"},
                                                       {"(and p true)", "1"},
                                                       {"(or p (not p))", "holds"},
                                                       {"(or p p (not (not p)))", "1"},
                                                       {"(= p true)", "1"},
                                                       {"(= false p)", "-1"},
                                                       {"(xor p true)", "-1"},
                                                       {"(xor p false)", "1"},
                                                       {"(distinct p true)", "-1"},
                                                       {"(=> p false)", "-1"},
                                                       {"(=> true p)", "1"},
                                                       {"(ite true p q)", "1"},
                                                       {"(ite p q q)", "2"},
                                                       {"(ite p true false)", "1"},
                                                       {"(ite p false true)", "-1"},
                                                       {"(= p p)", "holds"},
                                                       {"(< 1 2)", "holds"},
                                                       {"(= 1 2)", ""},
                                                       {"(<= x x)", "holds"},
                                                       {"(< x x)", ""},
                                                       {"(or p (< (+ x 1) x))", "1"},
                                                       {"(distinct p q r)", ""}};
  for (const auto& [formula, expected] : cases) {
    Session s;
    s.clause("(or p q)");  // gives them their numbers
    EXPECT_EQ(s.clause(formula), expected) << formula;
    EXPECT_EQ(s.recorder.gates, Lines()) << formula;
  }
}

TEST(Clausifier, ClausesMeanTheFormula) {
  for (const char* formula : {"(and p q)",
                              "(or p (and q r))",
                              "(=> p q r)",
                              "(xor p q)",
                              "(xor p q r)",
                              "(= p q r)",
                              "(distinct p q)",
                              "(ite p q r)",
                              "(ite (xor p q) (and q r) (or p r))",
                              "(= p true q)",
                              "(= p false q)",
                              "(and p (or q true))",
                              "(ite p true q)",
                              "(ite p q true)",
                              "(ite p false q)",
                              "(ite p q false)",
                              "(ite p q (not q))",
                              "(= (and p q) (or q r) (not p))",
                              "(xor (= p q) (ite q r p) true)",
                              "(not (and (or p q) (or (not p) r)))"}) {
    expect_meaning(formula);
  }
}

TEST(Clausifier, LongParities) {
  expect_meaning("(xor p1 p2 p3 p4 p5 p6)");
  expect_meaning("(xor p1 (xor (not p2) (= p3 p4)) p1 p5 (not p6))");
}

TEST(Clausifier, DeepFormulasTakeNoStack) {
  Session s;
  Term formula = s.text("p");
  const Term q = s.text("q"), r = s.text("r");
  for (int depth = 0; depth < 50000; ++depth) {
    formula = s.terms.mk(depth % 2 == 0 ? Op::equal : Op::and_op, formula, depth % 3 == 0 ? q : r);
    formula = s.terms.mk(Op::not_op, formula);
  }
  bool holds = true;
  EXPECT_EQ(s.clausifier.clause(formula, true, &holds).size(), 2u);
  EXPECT_FALSE(holds);
  EXPECT_GT(s.recorder.clauses.size(), 50000u);
}

// ==== atoms ====

TEST(Clausifier, ABoundAndItsNegationAreOneVariable) {
  Session s;
  const int bound = s.literal("(<= x 3)");
  for (const char* same : {"(>= 3 x)", "(not (> x 3))", "(<= (* 2 x) 6)", "(>= (- 4 x) 1)"}) {
    EXPECT_EQ(s.literal(same), bound) << same;
  }
  EXPECT_EQ(s.literal("(> x 3)"), -bound);
  EXPECT_NE(s.literal("(< x 3)"), bound);
  EXPECT_EQ(s.recorder.observed.size(), 2u);
  const Recorder::Atom& atom = s.recorder.meanings.at(bound);
  EXPECT_EQ(s.clausifier.find_literal(atom.when_true), bound);
  EXPECT_EQ(s.clausifier.find_literal(atom.when_false), -bound);
}

TEST(Clausifier, WhatNoFormulaBroughtUpHasNoLiteral) {
  Session s;
  EXPECT_EQ(s.clausifier.find_symbol(s.text("p")), 0);
  s.clause("(or q (< x 1))");
  const int constraint = s.atoms.add_bound(s.atoms.variable(s.text("x")), Relation::less, QNumber(2));
  EXPECT_EQ(s.clausifier.find_literal(constraint), 0);
  EXPECT_EQ(s.clausifier.find_symbol(s.text("p")), 0);
  EXPECT_EQ(s.clausifier.find_symbol(s.text("q")), 1);
}

TEST(Clausifier, AnEqualityIsTwoBounds) {
  Session s;
  const int less_equal = s.literal("(<= x 3)"), less = s.literal("(< x 3)");
  s.recorder.news();
  EXPECT_EQ(s.clause("(= x 3)"), "3");
  EXPECT_EQ(s.recorder.observed, std::set<int>({less_equal, less}));
  EXPECT_EQ(s.recorder.news(), Lines({"-3 -2", "-3 1"}));
  EXPECT_EQ(s.clause("(distinct x 3)"), "-3");
  EXPECT_EQ(s.recorder.news(), Lines({"3 2 -1"}));
  EXPECT_EQ(s.literal("(= (* 2 x) 6)"), 3);
}

TEST(Clausifier, AConstraintIsAClauseToo) {
  Session s;
  const int x = s.atoms.variable(s.text("x"));
  bool holds = true;
  EXPECT_EQ(s.clausifier.unit_clause(s.atoms.add_bound(x, Relation::greater, QNumber(3)), &holds), Clause({-1}));
  EXPECT_FALSE(holds);
  EXPECT_EQ(s.clausifier.unit_clause(s.atoms.add_bound(x, Relation::less_equal, QNumber(3)), &holds), Clause({1}));
  EXPECT_EQ(s.clausifier.unit_clause(s.atoms.add_bound(x, Relation::distinct, QNumber(3)), &holds), Clause({-3}));
  EXPECT_EQ(s.recorder.meanings.size(), 3u);
}

// Whatever comes first, each upper bound implies every weaker one, and it takes at most two clauses for each.
TEST(Clausifier, BoundsAreChainedInAnyOrderOfArrival) {
  const std::vector<std::string> ascending = {"(< x 0)", "(<= x 0)", "(<= x 1/2)", "(< x 1)", "(<= x 3)"};
  std::vector<std::size_t> order = {0, 1, 2, 3, 4};
  do {
    Session s;
    std::vector<int> literals(ascending.size());
    for (const std::size_t i : order) {
      const std::size_t before = s.recorder.farkas_clauses.size();
      literals[i] = s.literal(ascending[i]);
      EXPECT_LE(s.recorder.farkas_clauses.size(), before + 2);
    }
    for (std::size_t i = 0; i < literals.size(); ++i) {
      for (std::size_t j = 0; j < literals.size(); ++j) {
        if (i == j) continue;
        const bool is_possible = is_satisfiable(s.recorder.clauses, {{literals[i], true}, {literals[j], false}});
        EXPECT_EQ(is_possible, j < i) << ascending[i] << " but not " << ascending[j];
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Clausifier, BoundsOfDifferentFormsAreNotChained) {
  Session s;
  s.clause("(or (< x 1) (< y 2) (< (+ x y) 3) (< (- x y) 4))");
  EXPECT_EQ(s.recorder.farkas_clauses.size(), 0u);
  s.clause("(or (< (* 2 x) 4) (> (+ x y) 7) (< (- y x) 5))");
  EXPECT_EQ(s.recorder.farkas_clauses.size(), 3u);
}

TEST(Clausifier, AtomsMeanWhatTheySay) {
  for (const char* formula :
       {"(or (< x 1) (= x 2))", "(= x 1)", "(distinct x y)", "(= x y 1)", "(distinct x y 1)", "(< 0 x y 2)",
        "(<= x y x)", "(and (=> p (>= x 1)) (=> (not p) (< (+ x y) 1/2)))", "(= p (= x y) (<= x 1))",
        "(xor (> x y) (> (* 2 x) y))", "(ite (= x 1) (< y 1) (>= y 1))"}) {
    expect_meaning(formula);
  }
}

// ==== `ite` terms ====

TEST(Clausifier, AnIteBecomesAVariableThatEqualsItsBranch) {
  Session s;
  s.clause("(<= (ite p x y) 1)");
  ASSERT_EQ(s.recorder.conditionals.size(), 1u);
  EXPECT_EQ(s.recorder.conditionals.begin()->first, s.atoms.variable(s.text("(ite p x y)")));
  EXPECT_EQ(s.recorder.observed.size(), 5u);  // its bound, and two sides of each of two equalities
  EXPECT_EQ(s.recorder.num_case_clauses, 0);
  s.recorder.news();
  s.clause("(< (+ (ite p x y) z) 1)");
  EXPECT_EQ(s.recorder.news(), Lines());  // it has its value already
}

TEST(Clausifier, AnIteOfConstantsIsReplacedByItsCases) {
  Session s;
  s.clause("(<= (ite p 1 (ite q 2 3)) 2)");
  EXPECT_EQ(s.recorder.observed.size(), 0u);
  EXPECT_GT(s.recorder.num_case_clauses, 0);
  Session t;
  t.clause("(<= (+ (ite p 1 (ite q 2 3)) x) 2)");
  EXPECT_GT(t.recorder.observed.size(), 0u);
  EXPECT_EQ(t.recorder.num_case_clauses, 0);
}

TEST(Clausifier, AnIteOfOneEqualityIsReplacedByItsCases) {
  Session s;
  s.clause("(= (ite p x y) z)");
  EXPECT_EQ(s.recorder.num_case_clauses, 2);
  Session shared;
  shared.text("(< (ite p x y) 1)");
  shared.clause("(= (ite p x y) z)");
  EXPECT_EQ(shared.recorder.num_case_clauses, 0);
}

TEST(Clausifier, ItesMeanWhatTheySay) {
  for (const char* formula :
       {"(<= (ite p x 1) 0)", "(< (ite p x y) 1)", "(= (ite p x y) 1)", "(= (ite p 0 1) (ite q 1 2))",
        "(distinct (ite p x 0) y)", "(< (ite p 0 1) (ite q 1/2 x))", "(<= (ite p 0 (ite q 1 2)) 1)",
        "(= (ite p (ite q 0 1) (ite r 1 2)) 1)", "(= (ite p (ite q x 1) 0) x)", "(= x (+ 1 (ite (< x 1) -1 y)))",
        "(>= (+ (ite p x 0) (ite (not p) 1 x)) 1)", "(or q (> (ite (and p q) x 2) (* 2 (ite (and p q) 1 x))))",
        "(= p (< (ite p 0 1) 1) (= q (= (ite q x 1) 1)))", "(< (ite (< (ite p x 1) 1) 0 x) 1)",
        "(and (= (ite p x 1) 1) (< (ite p x 1) (ite q 2 x)))", "(= (ite (or p (< 1 2)) x 0) 1)"}) {
    expect_meaning(formula);
  }
}

// ==== random formulas ====

// Terms over few symbols and numbers, constants among them.
class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}

  std::string formula(int depth) {
    static const char* const leaves[] = {"p", "q", "r", "p", "q", "r", "true", "false"};
    if (depth == 0) return below(3) == 0 ? atom(0) : leaves[below(8)];
    static const std::pair<const char*, int> operators[] = {
        {"and", 2}, {"and", 3}, {"or", 2}, {"or", 3},  {"=>", 2},  {"=>", 3},  {"xor", 2},
        {"xor", 3}, {"=", 2},   {"=", 3},  {"ite", 3}, {"ite", 3}, {"not", 1}, {"distinct", 2}};
    const int choice = below(16);
    if (choice >= 14) return atom(depth - 1);
    std::string text = std::string("(") + operators[choice].first;
    for (int i = 0; i < operators[choice].second; ++i) text += ' ' + formula(depth - 1);
    return text + ')';
  }

 private:
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  std::string atom(int depth) {
    static const char* const relations[] = {"<", "<=", "=", ">=", ">", "distinct"};
    return std::string("(") + relations[below(6)] + ' ' + real(depth) + ' ' + real(0) + ')';
  }

  std::string real(int depth) {
    static const char* const leaves[] = {"x", "0", "1", "1/2"};
    if (depth == 0 || below(4) == 0) return leaves[below(4)];
    if (below(3) == 0) return "(+ " + real(depth - 1) + ' ' + real(0) + ')';
    return "(ite " + formula(depth - 1) + ' ' + real(depth - 1) + ' ' + real(0) + ')';
  }

  std::mt19937 random_;
};

TEST(Clausifier, RandomFormulas) {
  for (unsigned seed = 0; seed < 600; ++seed) {
    const std::string formula = Dice(seed).formula(3);
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + formula);
    for (const bool polarity : {true, false}) {
      Session s;
      Meaning(s, s.text(formula), polarity).compare();
    }
    if (HasFailure()) return;
  }
}

// Later formulas find what earlier ones have left.
TEST(Clausifier, RandomSequences) {
  for (unsigned seed = 1000; seed < 1100; ++seed) {
    Session s;
    Dice dice(seed);
    for (int i = 0; i < 4; ++i) {
      const std::string formula = dice.formula(2);
      SCOPED_TRACE("seed " + std::to_string(seed) + ": " + formula);
      Meaning(s, s.text(formula), i % 2 == 0).compare();
    }
    if (HasFailure()) return;
  }
}

// ==== alternatives ====

// A constraint in short: `v1<=3` for variables in the order in which they came.
std::string show_constraint(const AtomTable& atoms, int constraint) {
  static const std::map<Relation, const char*> signs = {{Relation::less, "<"},    {Relation::less_equal, "<="},
                                                        {Relation::greater, ">"}, {Relation::greater_equal, ">="},
                                                        {Relation::equal, "="},   {Relation::distinct, "!="}};
  const AtomTable::Bound& bound = atoms.bound_of(constraint);
  const int row = atoms.row_of(bound.variable);
  std::string name;
  if (row < 0) name = "v" + std::to_string(bound.variable);
  for (std::uint32_t i = 0; row >= 0 && i < atoms.rows()[static_cast<std::size_t>(row)].count; ++i) {
    const Monomial& m = atoms.monomials(atoms.rows()[static_cast<std::size_t>(row)])[i];
    name += (i == 0 ? "" : "+") + m.coeff.to_str() + "v" + std::to_string(atoms.find_variable(m.leaf));
  }
  return name + signs.at(bound.relation) + bound.value.to_str();
}

// Cases are separated by bars, all in alphabetical order; x, y and z are the variables 1, 2 and 3.
Lines alternatives(const std::string& formula, bool polarity = true) {
  Session s;
  for (const char* name : {"x", "y", "z"}) s.atoms.variable(s.text(name));
  bool holds = false;
  const Clause clause = s.clausifier.clause(s.text(formula), polarity, &holds);
  std::vector<Alternatives> all;
  s.clausifier.add_alternatives(clause, &all);
  s.clausifier.take_alternatives_of_values(&all);
  Lines result;
  for (const Alternatives& each : all) {
    EXPECT_FALSE(each.is_relaxed);
    std::set<std::string> cases;
    for (const std::vector<int>& constraints : each.cases) {
      std::set<std::string> shown;
      for (const int constraint : constraints) shown.insert(show_constraint(s.atoms, constraint));
      cases.insert(std::accumulate(shown.begin(), shown.end(), std::string(),
                                   [](const std::string& a, const std::string& b) { return a + b + " "; }));
    }
    result.push_back(std::accumulate(cases.begin(), cases.end(), std::string(),
                                     [](const std::string& a, const std::string& b) { return a + "| " + b; }));
  }
  return result;
}

TEST(Clausifier, AlternativesOfDisjunctions) {
  EXPECT_EQ(alternatives("(or (<= x 1) (>= y 2))"), Lines({"| v1<=1 | v2>=2 "}));
  EXPECT_EQ(alternatives("(or (<= x 1) (not (>= y 2)))"), Lines({"| v1<=1 | v2<2 "}));
  EXPECT_EQ(alternatives("(and (<= x 1) (>= y 2))", false), Lines({"| v1>1 | v2<2 "}));
  EXPECT_EQ(alternatives("(or (= x 1) (= y 2) (= z 3))"), Lines({"| v1=1 | v2=2 | v3=3 "}));
  EXPECT_EQ(alternatives("(or (and (<= x 1) (= y 2)) (> x 1))"), Lines({"| v1<=1 v2=2 | v1>1 "}));
}

// A case of which nothing can be said makes all the others useless; part of a case may stay unsaid.
TEST(Clausifier, AlternativesThatSayNothing) {
  EXPECT_EQ(alternatives("(or (<= x 1) p)"), Lines());
  EXPECT_EQ(alternatives("(or (<= x 1) (distinct y 2))"), Lines());
  EXPECT_EQ(alternatives("(or (<= x 1) (and (<= y 2) p))"), Lines({"| v1<=1 | v2<=2 "}));
  EXPECT_EQ(alternatives("(<= x 1)"), Lines());
  EXPECT_EQ(alternatives("p"), Lines());
}

TEST(Clausifier, AlternativesOfChoices) {
  EXPECT_EQ(alternatives("(ite (>= x 0) (= y 1) (= y 2))"), Lines({"| v1<0 v2=2 | v1>=0 v2=1 "}));
  EXPECT_EQ(alternatives("(ite (>= x 0) (< y 1) (< y 2))", false), Lines({"| v1<0 v2>=2 | v1>=0 v2>=1 "}));
  EXPECT_EQ(alternatives("(ite p (= y 1) (= y 2))"), Lines({"| v2=1 | v2=2 "}));
}

// All parts of a conjunction hold when it does.
TEST(Clausifier, AlternativesOfSeveralChoices) {
  EXPECT_EQ(alternatives("(and (ite (>= x 0) (= y 1) (= y 2)) (ite (>= y 2) (= z 0) (= z x)))"),
            Lines({"| 1v1+-1v3=0 v2<2 | v2>=2 v3=0 ", "| v1<0 v2=2 | v1>=0 v2=1 "}));
}

TEST(Clausifier, AlternativesOfEqualitiesWithValues) {
  EXPECT_EQ(alternatives("(= y (ite (>= x 0) x 0))"), Lines({"| 1v1+-1v2=0 v1>=0 | v1<0 v2=0 "}));
  EXPECT_EQ(alternatives("(= y (ite (not (>= x 0)) 0 x))"), Lines({"| 1v1+-1v2=0 v1>=0 | v1<0 v2=0 "}));
}

// An `ite` with a Real variable of its own, the fourth here.
TEST(Clausifier, AlternativesOfValues) {
  EXPECT_EQ(alternatives("(<= (+ y (ite (>= x 0) x 0)) 1)"), Lines({"| 1v1+-1v4=0 v1>=0 | v1<0 v4=0 "}));
  EXPECT_EQ(alternatives("(<= (+ y (ite p x z)) 1)"), Lines({"| 1v1+-1v4=0 | 1v3+-1v4=0 "}));
}

// The literal of a constraint that no formula has brought up is made, and linked with its neighbours.
TEST(Clausifier, LiteralsForBoundsOfTheTheory) {
  Session s;
  const int three = s.literal("(<= x 3)");
  s.recorder.news();
  const int x = s.atoms.find_variable(s.text("x"));
  const int five = s.clausifier.bound_literal(s.atoms.add_bound(x, Relation::less_equal, QNumber(5)));
  EXPECT_EQ(s.recorder.news(), Lines({show({-three, five})}));
  EXPECT_EQ(s.clausifier.bound_literal(s.atoms.add_bound(x, Relation::greater, QNumber(5))), -five);
  EXPECT_EQ(s.clausifier.bound_literal(s.atoms.add_bound(x, Relation::less_equal, QNumber(3))), three);
  EXPECT_EQ(s.recorder.news(), Lines());
  EXPECT_EQ(s.recorder.observed.count(five), 1u);
}

}  // namespace
}  // namespace tarku::smt
