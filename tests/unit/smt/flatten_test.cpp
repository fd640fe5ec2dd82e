// Flattening: which literals a formula falls apart into, and what is handed on as it stands.
#include "tarku/smt/flatten.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

const char* name_of(Relation r) {
  switch (r) {
    case Relation::less:
      return "<";
    case Relation::less_equal:
      return "<=";
    case Relation::equal:
      return "=";
    case Relation::distinct:
      return "!=";
    case Relation::greater_equal:
      return ">=";
    case Relation::greater:
      return ">";
  }
  return "";
}

// Writes what it receives as text, separated by blanks.
class Recorder : public LiteralSink {
 public:
  explicit Recorder(const TermManager& terms) : terms_(terms) {}

  void boolean_literal(Term symbol, bool value) override { add((value ? "" : "-") + terms_.name(symbol)); }
  void linear_literal(Term, Term left, Relation relation, Term right) override {
    add(show(left) + name_of(relation) + show(right));
  }
  void falsity() override { add("false"); }
  void formula(Term term, bool polarity) override {
    add(std::string(polarity ? "[" : "-[") + std::string(to_str(terms_.op(term))) + "]");
    handed_on.push_back(term);
  }

  std::string text;
  std::vector<Term> handed_on;

 private:
  void add(const std::string& literal) { text += (text.empty() ? "" : " ") + literal; }
  std::string show(Term t) const {
    switch (terms_.op(t)) {
      case Op::symbol:
        return terms_.name(t);
      case Op::numeral:
        return terms_.value(t).to_str();
      default:
        return "term";
    }
  }
  const TermManager& terms_;
};

class FlattenTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  std::vector<Term> handed_on;

  std::string flat(Term t) {
    Recorder recorder(terms);
    flatten(terms, t, recorder);
    handed_on = recorder.handed_on;
    return recorder.text;
  }
  std::string flat(std::string_view t) { return flat(text(t)); }
};

TEST_F(FlattenTest, Conjunctions) {
  EXPECT_EQ(flat("true"), "");
  EXPECT_EQ(flat("false"), "false");
  EXPECT_EQ(flat("p"), "p");
  EXPECT_EQ(flat("(not p)"), "-p");
  EXPECT_EQ(flat("(not (not p))"), "p");
  EXPECT_EQ(flat("(and p (not q) (and r (< x y)))"), "p -q r x<y");
  EXPECT_EQ(flat("(not (or p (not q) (not (and r p))))"), "-p q r p");
  EXPECT_EQ(flat("(not (=> p q r))"), "p q -r");
  EXPECT_EQ(flat("(not (and p))"), "-p");
}

TEST_F(FlattenTest, ConstantsInsideAreFolded) {
  EXPECT_EQ(flat("(and p true)"), "p");
  EXPECT_EQ(flat("(and p false)"), "false");
  EXPECT_EQ(flat("(or false p (< 2 1))"), "p");
  EXPECT_EQ(flat("(not (and true p true))"), "-p");
  EXPECT_EQ(flat("(or p p false)"), "p");
  EXPECT_EQ(flat("(=> true p)"), "p");
  EXPECT_EQ(flat("(=> true p false)"), "-p");
  EXPECT_EQ(flat("(=> true true (and p q))"), "p q");
  EXPECT_EQ(flat("(=> p true)"), "");
  EXPECT_EQ(flat("(xor true p)"), "-p");
  EXPECT_EQ(flat("(xor true p true)"), "p");
  EXPECT_EQ(flat("(not (xor p false))"), "-p");
  EXPECT_EQ(flat("(= true p)"), "p");
  EXPECT_EQ(flat("(= p false)"), "-p");
  EXPECT_EQ(flat("(= p q true r)"), "p q r");
  EXPECT_EQ(flat("(= p q (not true))"), "-p -q");
  EXPECT_EQ(flat("(not (= true (and p q) true))"), "-[and]");
  EXPECT_EQ(flat("(not (= false (and p q)))"), "p q");
  EXPECT_EQ(flat("(distinct p true)"), "-p");
  EXPECT_EQ(flat("(not (distinct p true))"), "p");
}

TEST_F(FlattenTest, ChoicesWithAKnownPart) {
  EXPECT_EQ(flat("(ite true p q)"), "p");
  EXPECT_EQ(flat("(ite (< 2 1) p q)"), "q");
  EXPECT_EQ(flat("(not (ite false p q))"), "-q");
  EXPECT_EQ(flat("(ite p q q)"), "q");
  EXPECT_EQ(flat("(ite p q false)"), "p q");
  EXPECT_EQ(flat("(ite p false q)"), "-p q");
  EXPECT_EQ(flat("(not (ite p true q))"), "-p -q");
  EXPECT_EQ(flat("(not (ite p q true))"), "p -q");
  EXPECT_EQ(flat("(ite p true false)"), "p");
  EXPECT_EQ(flat("(ite p false true)"), "-p");
  EXPECT_EQ(flat("(not (ite p true false))"), "-p");
  EXPECT_EQ(flat("(not (ite p false true))"), "p");
  for (const char* open : {"(ite p true q)", "(ite p q true)", "(ite p q r)"}) EXPECT_EQ(flat(open), "[ite]") << open;
  for (const char* open : {"(not (ite p q false))", "(not (ite p false q))", "(not (ite p q r))"}) {
    EXPECT_EQ(flat(open), "-[ite]") << open;
  }
}

TEST_F(FlattenTest, ComparisonsChain) {
  EXPECT_EQ(flat("(<= x y z 3)"), "x<=y y<=z z<=3");
  EXPECT_EQ(flat("(> x y 1)"), "x>y y>1");
  EXPECT_EQ(flat("(= x y z)"), "x=y y=z");
  EXPECT_EQ(flat("(not (<= x y))"), "x>y");
  EXPECT_EQ(flat("(not (< x y))"), "x>=y");
  EXPECT_EQ(flat("(not (>= x y))"), "x<y");
  EXPECT_EQ(flat("(not (> x y))"), "x<=y");
  EXPECT_EQ(flat("(not (= x y))"), "x!=y");
  EXPECT_EQ(flat("(distinct x y z)"), "x!=y x!=z y!=z");
  EXPECT_EQ(flat("(not (distinct x y))"), "x=y");
}

TEST_F(FlattenTest, HandsOnTheSmallestDisjunctions) {
  EXPECT_EQ(flat("(and p (or q r) (< x y))"), "p [or] x<y");
  EXPECT_EQ(handed_on, std::vector<Term>{text("(or q r)")});
  EXPECT_EQ(flat("(not (or p (and q r)))"), "-p -[and]");
  EXPECT_EQ(handed_on, std::vector<Term>{text("(and q r)")});
  EXPECT_EQ(flat("(=> p q)"), "[=>]");
  EXPECT_EQ(flat("(xor p q)"), "[xor]");
  EXPECT_EQ(flat("(not (xor p q))"), "-[xor]");
  EXPECT_EQ(flat("(= p q)"), "[=]");
  EXPECT_EQ(flat("(not (= p q true))"), "-[=]");
  EXPECT_EQ(flat("(distinct p q)"), "[distinct]");
  EXPECT_EQ(flat("(not (< x y z))"), "-[<]");
  EXPECT_EQ(flat("(not (distinct x y z))"), "-[distinct]");
}

TEST_F(FlattenTest, ManyLevelsDeep) {
  Term nots = text("p"), ands = text("q");
  const Term r = text("r");
  for (int i = 0; i < 200001; ++i) nots = terms.mk(Op::not_op, nots);
  for (int i = 0; i < 200000; ++i) ands = terms.mk(Op::and_op, r, ands);
  EXPECT_EQ(flat(nots), "-p");
  EXPECT_EQ(flat(terms.mk(Op::and_op, ands, text("p"))), "r q p");
}

TEST_F(FlattenTest, SharedSubtermsAreMetOncePerPolarity) {
  Term t = text("(and p (< x y))");
  for (int i = 0; i < 100; ++i) t = terms.mk(Op::and_op, t, t);
  EXPECT_EQ(flat(t), "p x<y");
  // Both polarities of one subterm.
  EXPECT_EQ(flat("(and (not q) (and r q) (and r q))"), "-q r q");
}

}  // namespace
}  // namespace tarku::smt
