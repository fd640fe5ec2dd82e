// Which clauses assertions say: case by case, and at random against an evaluator.
#include "tarku/proof/checker/said_clauses.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tarku/proof/checker/script.h"

namespace tarku::checker {
namespace {

// Literals of clauses in the tests; negative ones are negations.
constexpr int num_literals = 16;
constexpr std::array<const char*, num_literals + 1> literal_texts = {"",
                                                                     "p",
                                                                     "q",
                                                                     "r",
                                                                     "(<= x 1)",
                                                                     "(< x 0)",
                                                                     "(= x y)",
                                                                     "(>= y (+ x 1))",
                                                                     "(> z 0)",
                                                                     "(< 0 1)",
                                                                     "(< 1 0)",
                                                                     "(and q r)",
                                                                     "(= p q)",
                                                                     "(ite p q r)",
                                                                     "(<= (ite p x y) 1)",
                                                                     "(or p q)",
                                                                     "(and p (or q r))"};

// One assertion, of which clauses can be asked.
class Asserted {
 public:
  explicit Asserted(const std::string& formula) {
    std::istringstream in(
        "(declare-const x Real)(declare-const y Real)(declare-const z Real)"
        "(declare-const p Bool)(declare-const q Bool)(declare-const r Bool)(assert " +
        formula + ")(check-sat)");
    script_ = std::make_unique<Script>(in, "s");
    script_->expect(1);
    const RealTerm x = script_->real_symbol(1, "x"), y = script_->real_symbol(2, "y"), z = script_->real_symbol(3, "z");
    const Formula p = script_->bool_symbol(1, "p"), q = script_->bool_symbol(2, "q"), r = script_->bool_symbol(3, "r");
    FormulaTable& table = script_->formulas();
    RealTable& reals = table.reals();
    literals_ = {Formula(),
                 p,
                 q,
                 r,
                 table.atom({{{x, 1}}, -1}, Relation::less_equal),
                 table.atom({{{x, 1}}, 0}, Relation::less),
                 table.atom({{{x, 1}, {y, -1}}, 0}, Relation::equal),
                 table.atom({{{x, -1}, {y, 1}}, -1}, Relation::greater_equal),
                 table.atom({{{z, 1}}, 0}, Relation::greater),
                 table.atom({{}, -1}, Relation::less),
                 table.atom({{}, 1}, Relation::less),
                 table.conjunction({q, r}),
                 table.equivalence({p, q}),
                 table.choice(p, q, r),
                 table.comparison(Relation::less_equal, {reals.choice(p, x, y), reals.numeral(1)}),
                 table.disjunction({p, q}),
                 table.conjunction({p, table.disjunction({q, r})})};
  }

  std::string why_not(const std::vector<int>& clause) {
    std::vector<Formula> formulas;
    for (const int l : clause) formulas.push_back(literals_[static_cast<std::size_t>(std::abs(l))].negated_if(l < 0));
    return script_->why_not(0, formulas);
  }
  bool says(const std::vector<int>& clause) { return why_not(clause).empty(); }

 private:
  std::unique_ptr<Script> script_;
  std::vector<Formula> literals_;
};

struct Case {
  const char* formula;
  std::vector<std::vector<int>> said;
  std::vector<std::vector<int>> not_said;
};

TEST(SaidClauses, CaseByCase) {
  const std::vector<Case> cases = {
      {"p", {{1}, {1, 1}, {1, -9}, {10, 1}, {9}, {2, 9}}, {{}, {-1}, {2}, {1, 2}, {10}}},
      {"(not p)", {{-1}}, {{1}, {}}},
      {"(and p q)", {{1}, {2}}, {{1, 2}, {}, {3}}},
      {"(or p q)", {{1, 2}, {2, 1}, {1, 2, 2, 1}, {1, 10, 2}}, {{1}, {2}, {1, 2, 3}, {1, -2}, {}}},
      {"(and p (and q (and r (<= x 1))))", {{1}, {2}, {3}, {4}}, {{5}, {1, 2}}},
      {"(or p (or q (or r (<= x 1))))", {{1, 2, 3, 4}}, {{1, 2, 3}, {1}}},
      {"(not (or p q))", {{-1}, {-2}}, {{-1, -2}, {1}}},
      {"(not (and p q))", {{-1, -2}}, {{-1}, {1, 2}}},
      {"(=> p q r)", {{-1, -2, 3}}, {{-1, 2}, {1, -2, 3}}},
      {"(not (=> p q))", {{1}, {-2}}, {{2}, {1, -2}}},
      {"(and (or p q) (or p r))", {{1, 2}, {1, 3}}, {{1}, {2, 3}, {1, 2, 3}}},
      {"(or p (not (and q (not r))))", {{1, -2, 3}}, {{1, 2}}},
      {"(= p true)", {{1}}, {{-1}}},
      {"(= false p)", {{-1}}, {{1}}},
      {"(= p q true)", {{1}, {2}}, {{1, 2}}},
      {"(xor p true)", {{-1}}, {{1}}},
      {"(distinct p false)", {{1}}, {{-1}}},
      {"(ite p q false)", {{1}, {2}}, {{1, 2}}},
      {"(ite p true q)", {{1, 2}}, {{1}, {2}}},
      {"(ite (< 0 1) p q)", {{1}}, {{2}}},
      {"(<= x 1)", {{4}}, {{-4}, {5}, {}}},
      {"(<= (* 2 x) 2)", {{4}}, {{5}}},
      {"(>= (- x) (- 1))", {{4}}, {}},
      {"(not (> x 1.0))", {{4}}, {}},
      {"(not (< x 1))", {}, {{4}, {-4}, {5}}},
      {"(< 0 (- x))", {{5}}, {{-5}}},
      {"(= y x)", {{6}}, {{-6}}},
      {"(distinct x y)", {{-6}}, {{6}}},
      {"(< x 0 z)", {{5}, {8}}, {{5, 8}}},
      {"(not (< x 0 z))", {{-5, -8}}, {{-5}}},
      {"(= x y x)", {{6}}, {}},
      {"(distinct x y (+ x 1))", {{-6}}, {{6}}},
      {"(not (distinct x y (+ x 1)))", {}, {{6}, {-6}}},
      {"(let ((a (+ x 1))) (<= a y))", {{7}}, {}},
      {"(ite p (<= x 1) (<= x 1))", {{4}}, {{1, 4}}},
      // constants
      {"true", {{9}, {-10, 2}}, {{}, {1}, {-9}}},
      {"false", {{}, {1}, {-4, 7}, {9}}, {}},
      {"(< (+ x 1) x)", {{}}, {}},
      {"(and p (> x (+ x 1)))", {{}, {1}, {2}}, {}},
      {"(or p false (< 1 0))", {{1}}, {{}}},
      {"(or p true)", {}, {{}, {1}}},
      {"(and p true (< 0 1))", {{1}}, {{}}},
      // formulas within clauses
      {"(or p (and q r))", {{1, 11}, {11, 1}}, {{1, 2}, {1, 3}, {1}, {1, 2, 3}, {11}, {1, -11}}},
      {"(=> (and q r) p)", {{1, -2, -3}, {1, -11}}, {{1, 11}, {-2, -3}}},
      {"(and q r)", {{2}, {3}, {11}}, {{-11}, {2, 3}, {1, 11}}},
      {"(and p (and q r))", {{1}, {2}, {3}, {11}}, {{1, 11}}},
      {"(not (and q r))", {{-2, -3}, {-11}, {-11, -2}}, {{11}, {-2}}},
      {"(or q p r)", {{1, 2, 3}, {15, 3}, {15, 2, 3}}, {{15}, {15, 1}}},
      {"(not (or p q))", {{-1}, {-2}, {-15}}, {{15}, {-1, -2}}},
      {"(or r (not (or p q)))", {{3, -15}}, {{3, -1}, {3, -2}, {3, -1, -2}, {3, 15}}},
      {"(and (or r q) p)", {{16}, {1}, {2, 3}}, {{-16}, {1, 2}}},
      {"(or (<= x 1) (and (or r q) p))", {{4, 16}}, {{4, 1}, {16}}},
      {"(= p q)", {{12}}, {{1, -2}, {-1, 2}, {1}, {-12}}},
      {"(= (not q) (not p))", {{12}}, {{-12}}},
      {"(xor p q)", {{-12}}, {{1, 2}, {-1, -2}, {12}}},
      {"(distinct q p)", {{-12}}, {{12}}},
      {"(ite q p (not p))", {{12}}, {{1, 2}}},
      {"(ite p q r)", {{13}}, {{-1, 2}, {1, 3}, {2, 3}, {-13}}},
      {"(or (not (ite (not p) (not r) (not q))) (= p q))", {{12, 13}}, {{12}, {13}}},
      {"(and p (or q (and r p)))", {{1}}, {{2}, {2, 3}}},
      {"(<= (ite p x y) 1)", {{14}}, {{4}, {-1, 4}, {-14}}},
      {"(=> (> (ite (not p) (+ y 0) x) 1) p)", {{1, 14}}, {{1, -14}, {14}}},
      {"(<= (ite p (+ x 1) (- y (- 1))) 2)", {}, {{14}, {-1, 4}}},
      {"(<= (ite (< x x) z (ite p x (- (- y)))) (ite q 1 1))", {{14}}, {{-14}}},
  };
  for (const Case& c : cases) {
    Asserted asserted(c.formula);
    for (const auto& clause : c.said)
      EXPECT_EQ(asserted.why_not(clause), "") << c.formula << testing::PrintToString(clause);
    for (const auto& clause : c.not_said)
      EXPECT_FALSE(asserted.says(clause)) << c.formula << testing::PrintToString(clause);
  }
}

TEST(SaidClauses, ReasonsNameWhatIsMissing) {
  EXPECT_EQ(Asserted("p").why_not({2}), "assertion 0 does not say so: none of its conjuncts is the clause");
}

// Comparisons that are multiplied out only when they are asked about may turn out to be constants.
TEST(SaidClauses, LongComparisonsThatAreConstants) {
  std::string long_sum = "(+ z";
  for (int i = 1; i <= 40; ++i) long_sum += " (ite p x " + std::to_string(i) + ".0)";
  long_sum += ")";
  const std::string never = "(let ((s " + long_sum + ")) (< (+ s s) (- (+ s s) 1)))";
  const std::string always = "(let ((s " + long_sum + ")) (> (+ s s) (- (+ s s) 1)))";
  EXPECT_TRUE(Asserted("(and p " + never + ")").says({}));
  EXPECT_TRUE(Asserted("(or q " + never + ")").says({2}));
  EXPECT_FALSE(Asserted("(or q " + always + ")").says({2}));
  EXPECT_FALSE(Asserted("(or q " + always + ")").says({}));
  EXPECT_TRUE(Asserted("(and q " + always + ")").says({2}));
}

// ---- at random ----

struct Assignment {
  bool truth[3];   // of p, q, r
  long number[3];  // of x, y, z
};

// A random formula as text, and its value.
class RandomFormula {
 public:
  explicit RandomFormula(std::mt19937* random) : random_(*random) {}

  struct Node {
    std::string op;
    std::vector<Node> args;
    long value = 0;  // of a number, or the index of a symbol
  };

  Node formula(int depth) {
    const char* const connectives[] = {"not", "and", "or", "=>", "xor", "ite", "=", "and", "or", "not"};
    const char* const relations[] = {"<", "<=", ">", ">=", "=", "distinct"};
    if (depth == 0 || below(6) == 0) {
      if (below(8) == 0) return {below(2) == 0 ? "true" : "false", {}, 0};
      if (below(2) == 0) return {"bool", {}, below(3)};
      Node atom{relations[below(6)], {}, 0};
      for (int i = below(4) == 0 ? 3 : 2; i > 0; --i) atom.args.push_back(term(2));
      return atom;
    }
    Node node{connectives[below(10)], {}, 0};
    const int count = node.op == "not" ? 1 : node.op == "ite" ? 3 : 2 + below(2);
    for (int i = 0; i < count; ++i) node.args.push_back(formula(depth - 1));
    return node;
  }

  Node term(int depth) {
    if (depth == 0 || below(3) == 0) return below(3) == 0 ? Node{"number", {}, below(3)} : Node{"real", {}, below(3)};
    switch (below(6)) {
      case 5:
        return {"ite", {formula(depth - 1), term(depth - 1), term(depth - 1)}, 0};
      case 0:
        return {"+", {term(depth - 1), term(depth - 1)}, 0};
      case 1:
        return {"-", {term(depth - 1), term(depth - 1)}, 0};
      case 2:
        return {"*", {{"number", {}, below(3)}, term(depth - 1)}, 0};
      default:
        return {"-", {term(depth - 1)}, 0};
    }
  }

  static std::string text(const Node& node) {
    if (node.op == "bool") return std::string(1, "pqr"[node.value]);
    if (node.op == "real") return std::string(1, "xyz"[node.value]);
    if (node.op == "number") return std::to_string(node.value);
    if (node.args.empty()) return node.op;
    std::string result = "(" + node.op;
    for (const Node& arg : node.args) result += " " + text(arg);
    return result + ")";
  }

  static long value(const Node& node, const Assignment& a) {
    if (node.op == "bool") return a.truth[node.value];
    if (node.op == "real") return a.number[node.value];
    if (node.op == "number") return node.value;
    if (node.op == "true" || node.op == "false") return node.op == "true";
    std::vector<long> v;
    for (const Node& arg : node.args) v.push_back(value(arg, a));
    return apply(node.op, v);
  }

 private:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

  static long apply(const std::string& op, const std::vector<long>& v) {
    if (op == "not") return !v[0];
    if (op == "ite") return v[0] ? v[1] : v[2];
    if (op == "=>") return implication(v);
    if (op == "distinct") return distinct(v);
    if (op == "-" && v.size() == 1) return -v[0];
    long result = v[0];
    bool chain = true;
    for (std::size_t i = 1; i < v.size(); ++i) {
      const long a = v[i - 1], b = v[i];
      chain = chain && (op == "=" ? a == b : op == "<" ? a < b : op == "<=" ? a <= b : op == ">" ? a > b : a >= b);
      if (op == "and") result = result && b;
      if (op == "or") result = result || b;
      if (op == "xor") result = result != b;
      if (op == "+") result += b;
      if (op == "-") result -= b;
      if (op == "*") result *= b;
    }
    const bool is_chain = op == "=" || op[0] == '<' || op[0] == '>';
    return is_chain ? chain : result;
  }
  static bool implication(const std::vector<long>& v) {
    for (std::size_t i = 0; i + 1 < v.size(); ++i) {
      if (!v[i]) return true;
    }
    return v.back();
  }
  static bool distinct(const std::vector<long>& v) {
    for (std::size_t i = 0; i < v.size(); ++i) {
      for (std::size_t j = i + 1; j < v.size(); ++j) {
        if (v[i] == v[j]) return false;
      }
    }
    return true;
  }

  std::mt19937& random_;
};

std::vector<Assignment> assignments() {
  std::vector<Assignment> all;
  for (int bits = 0; bits < 8; ++bits) {
    for (long x = -2; x <= 2; ++x) {
      for (long y = -2; y <= 2; ++y) {
        for (long z = -1; z <= 1; ++z) {
          all.push_back({{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0}, {x, y, z}});
        }
      }
    }
  }
  return all;
}

bool holds(const std::vector<int>& clause, const Assignment& a) {
  const auto [x, y, z] = a.number;
  const auto [p, q, r] = a.truth;
  const bool truths[] = {false,     p,
                         q,         r,
                         x <= 1,    x<0, x == y, y >= x + 1, z> 0,
                         true,      false,
                         q && r,    p == q,
                         p ? q : r, (p ? x : y) <= 1,
                         p || q,    p && (q || r)};
  for (const int l : clause) {
    if (truths[std::abs(l)] == (l > 0)) return true;
  }
  return false;
}

std::vector<std::vector<int>> short_clauses() {
  std::vector<std::vector<int>> clauses{{}};
  for (int a = -num_literals; a <= num_literals; ++a) {
    if (a != 0) clauses.push_back({a});
    for (int b = a + 1; b <= num_literals && a != 0; ++b) {
      if (b != 0) clauses.push_back({a, b});
    }
  }
  return clauses;
}

// Whatever a formula is found to say must follow from it.
TEST(SaidClauses, AreImpliedByTheFormula) {
  std::mt19937 random(11);
  const std::vector<Assignment> all = assignments();
  const std::vector<std::vector<int>> clauses = short_clauses();
  int num_said = 0;
  for (int round = 0; round < 800; ++round) {
    const RandomFormula::Node formula = RandomFormula(&random).formula(1 + round % 3);
    const std::string text = RandomFormula::text(formula);
    Asserted asserted(text);
    std::vector<Assignment> models;
    for (const Assignment& a : all) {
      if (RandomFormula::value(formula, a) != 0) models.push_back(a);
    }
    for (const auto& clause : clauses) {
      if (!asserted.says(clause)) continue;
      ++num_said;
      for (const Assignment& a : models) {
        ASSERT_TRUE(holds(clause, a)) << text << " is said to say " << testing::PrintToString(clause);
      }
    }
  }
  EXPECT_GT(num_said, 400);
}

// A conjunction of clauses, written in one of many ways.
class Spelling {
 public:
  explicit Spelling(std::mt19937* random) : random_(*random) {}

  std::string conjunction(std::vector<std::string> parts, bool positive) {
    if (parts.size() == 1) return positive ? parts[0] : "(not " + parts[0] + ")";
    const std::string rest = conjunction({parts.begin() + 1, parts.end()}, true);
    switch (below(4)) {
      case 0:
        return wrap("(and " + parts[0] + " " + rest + ")", positive);
      case 1:
        return wrap("(or (not " + parts[0] + ") (not " + rest + "))", !positive);
      case 2:
        return wrap("(=> " + parts[0] + " (not " + rest + "))", !positive);
      default:
        return wrap("(ite " + rest + " " + parts[0] + " false)", positive);
    }
  }
  std::string clause(const std::vector<int>& literals) {
    std::vector<std::string> parts;  // of the conjunction of the negations
    for (const int l : literals) {
      const std::string text = literal_texts[static_cast<std::size_t>(std::abs(l))];
      parts.push_back(l < 0 ? text : "(not " + text + ")");
    }
    if (parts.empty()) return "false";
    return conjunction(parts, false);
  }

 private:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }
  static std::string wrap(const std::string& text, bool positive) { return positive ? text : "(not " + text + ")"; }

  std::mt19937& random_;
};

// Whatever a conjunction of clauses is made of must be found.
TEST(SaidClauses, AreFoundInEverySpelling) {
  std::mt19937 random(12);
  for (int round = 0; round < 500; ++round) {
    Spelling spelling(&random);
    std::vector<std::vector<int>> clauses(1 + random() % 4);
    std::vector<std::string> texts;
    for (auto& clause : clauses) {
      clause.resize(1 + random() % 3);
      for (int& l : clause) l = static_cast<int>(1 + random() % num_literals) * (random() % 2 == 0 ? 1 : -1);
      texts.push_back(spelling.clause(clause));
    }
    const std::string formula = spelling.conjunction(texts, true);
    Asserted asserted(formula);
    for (const auto& clause : clauses) {
      EXPECT_TRUE(asserted.says(clause)) << formula << " does not say " << testing::PrintToString(clause);
    }
  }
}

}  // namespace
}  // namespace tarku::checker
