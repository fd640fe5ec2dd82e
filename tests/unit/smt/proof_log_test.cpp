// Recorded steps, the certificates that are made of them, and what a checker says to those.
#include "tarku/smt/proof_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tarku/smt/checking_sink.h"
#include "tests/unit/checker/check_text.h"

namespace tarku::smt {
namespace {

// Variables 1 to 9 are symbols, 10 + i is  x <= i, 20 + i is  x < i, 30 + i is  x = i, and 40 is 1 and 2.
class Words : public Vocabulary {
 public:
  void begin() override { declared_.clear(); }
  void declare(int variable, proof::CertificateSink& sink) override {
    if (!declared_.insert(variable).second) return;
    if (variable < 10) return sink.boolean(variable, "p" + std::to_string(variable));
    if (variable == 40) {
      for (const int part : {1, 2}) declare(part, sink);
      return sink.conjunction(variable, {1, 2});
    }
    if (declared_.insert(x_).second) sink.real(1, "x");
    static constexpr proof::Relation relations[] = {proof::Relation::less_equal, proof::Relation::less,
                                                    proof::Relation::equal};
    sink.atom(variable, {{1, QNumber(1)}}, relations[variable / 10 - 1], QNumber(variable % 10));
  }

 private:
  static constexpr int x_ = 0;  // stands for the Real variable among the declared ones
  std::set<int> declared_;
};

const auto nothing = [](int) { return false; };

std::string text_of(const ProofLog& log, ProofLog::Id last, const std::function<bool(int)>& is_dropped = nothing) {
  std::ostringstream out;
  proof::CertificateWriter writer(out);
  Words words;
  log.tell(0, last, is_dropped, words, writer);
  return out.str();
}

// What the checker refuses in it, empty when nothing.
std::string refusal(const ProofLog& log, ProofLog::Id last, const std::function<bool(int)>& is_dropped = nothing) {
  try {
    checker::Checker judge;
    CheckingSink sink(judge);
    Words words;
    log.tell(0, last, is_dropped, words, sink);
    return judge.is_finished() ? "" : "not finished";
  } catch (const checker::Refused& refused) {
    return refused.what();
  }
}

// The text is as good as the steps.
void expect_accepted(const ProofLog& log, ProofLog::Id last, const std::function<bool(int)>& is_dropped = nothing) {
  EXPECT_EQ(refusal(log, last, is_dropped), "");
  EXPECT_EQ(checker::test::refusal(text_of(log, last, is_dropped)), "");
}

// ==== what is told ====

TEST(ProofLog, ClausesAreKeptAsTheyWereGiven) {
  ProofLog log;
  const ProofLog::Id a = log.input(7, {3, -1, 2}), b = log.farkas({-11, 12}, {QNumber(1), QNumber(1)});
  const ProofLog::Id c = log.rup({}, {a, b}), d = log.gate(40, {-40, 1});
  EXPECT_EQ(log.size(), 4u);
  EXPECT_EQ(log.clause(a), Clause({3, -1, 2}));
  EXPECT_EQ(log.clause(b), Clause({-11, 12}));
  EXPECT_EQ(log.clause(c), Clause());
  EXPECT_EQ(log.clause(d), Clause({-40, 1}));
}

TEST(ProofLog, OnlyWhatTheEndRestsOnIsTold) {
  ProofLog log;
  log.input(0, {5, 6});
  const ProofLog::Id p = log.input(1, {1});
  log.rup({5, 6, 7}, {0});
  const ProofLog::Id not_p = log.input(3, {-1});
  log.rup({1, 2}, {p});
  const ProofLog::Id end = log.rup({}, {p, not_p});
  log.rup({8}, {end});
  EXPECT_EQ(text_of(log, end),
            "tarku-certificate 1\ncheck 0\nbool 1 p1\ninput 1 1 1 0\ninput 2 3 -1 0\nrup 3 0 1 2\nqed 3\n");
  EXPECT_EQ(log.sources(end), std::vector<std::uint64_t>({1, 3}));
  expect_accepted(log, end);
}

TEST(ProofLog, StepsKeepTheirOrderAndAntecedentsTheirs) {
  ProofLog log;
  const ProofLog::Id a = log.input(2, {1, 2}), b = log.input(1, {-1, 2}), c = log.input(0, {-2});
  log.input(9, {9});
  const ProofLog::Id two = log.rup({2}, {b, a});
  const ProofLog::Id end = log.rup({}, {c, two});
  EXPECT_EQ(text_of(log, end),
            "tarku-certificate 1\ncheck 0\nbool 1 p1\nbool 2 p2\ninput 1 2 1 2 0\ninput 2 1 -1 2 0\ninput 3 0 -2 0\n"
            "rup 4 2 0 2 1\nrup 5 0 3 4\nqed 5\n");
  expect_accepted(log, end);
}

// ==== what is told later ====

// Literals of variable 9 are dropped: what rests on them holds for one conclusion only.
TEST(ProofLog, LaterConclusionsAreToldByWhatIsNew) {
  const auto is_guard = [](int literal) { return literal == -9; };
  ProofLog log;
  const ProofLog::Id a = log.input(0, {1, 2}), b = log.input(1, {-1, 2}), two = log.rup({2}, {b, a});
  const ProofLog::Id passing = log.input(2, {-2, -9}), first = log.rup({-9}, {two, passing});
  const ProofLog::Id again = log.input(3, {-2, -9}), second = log.rup({-9}, {two, again});

  std::ostringstream out;
  proof::CertificateWriter writer(out);
  Words words;
  writer.begin(0);
  ProofLog::Told told;
  EXPECT_EQ(log.tell_rest(first, is_guard, words, writer, &told), std::vector<proof::ClauseId>({4, 5}));
  const std::size_t middle = out.str().size();
  EXPECT_EQ(log.tell_rest(second, is_guard, words, writer, &told), std::vector<proof::ClauseId>({6, 7}));
  EXPECT_EQ(out.str().substr(0, middle),
            "tarku-certificate 1\ncheck 0\nbool 1 p1\nbool 2 p2\ninput 1 0 1 2 0\ninput 2 1 -1 2 0\nrup 3 2 0 2 1\n"
            "input 4 2 -2 0\nrup 5 0 3 4\nqed 5\n");
  EXPECT_EQ(out.str().substr(middle), "input 6 3 -2 0\nrup 7 0 3 6\nqed 7\n");
}

TEST(ProofLog, ACheckerThatStaysForgetsWhatPasses) {
  const auto is_guard = [](int literal) { return literal == -9; };
  ProofLog log;
  const ProofLog::Id two = log.input(0, {2}), passing = log.input(1, {-2, -9}), first = log.rup({-9}, {two, passing});
  checker::Checker judge;
  CheckingSink sink(judge);
  Words words;
  judge.begin(0);
  ProofLog::Told told;
  const std::vector<proof::ClauseId> gone = log.tell_rest(first, is_guard, words, sink, &told);
  EXPECT_TRUE(judge.is_finished());
  judge.reopen();
  EXPECT_FALSE(judge.is_finished());
  judge.remove(gone);
  EXPECT_THROW(judge.add_rup(10, {}, {1, 2}), checker::Refused) << "the second clause was that of a level";
  EXPECT_THROW(judge.finish(3), checker::Refused);
  EXPECT_NO_THROW(judge.add_rup(11, {2}, {1}));
}

TEST(ProofLog, SourcesAscendAndAreToldOnce) {
  ProofLog log;
  const ProofLog::Id a = log.input(8, {1, 2}), b = log.input(3, {-1}), c = log.input(8, {-2, 1}), d = log.input(5, {4});
  const ProofLog::Id e = log.rup({1}, {a, c});
  const ProofLog::Id end = log.rup({}, {e, b});
  EXPECT_EQ(log.sources(end), std::vector<std::uint64_t>({3, 8}));
  EXPECT_EQ(log.sources(e), std::vector<std::uint64_t>({8}));
  EXPECT_EQ(log.sources(d), std::vector<std::uint64_t>({5}));
}

TEST(ProofLog, VariablesAreDeclaredBeforeTheyAreUsedAndOnlyOnce) {
  ProofLog log;
  const ProofLog::Id gate = log.gate(40, {-40, 1}), top = log.input(0, {40}), deny = log.input(1, {-1});
  log.input(2, {9});
  const ProofLog::Id end = log.rup({}, {top, gate, deny});
  EXPECT_EQ(text_of(log, end),
            "tarku-certificate 1\ncheck 0\nbool 1 p1\nbool 2 p2\nand 40 1 2 0\ngate 1 40 -40 1 0\ninput 2 0 40 0\n"
            "input 3 1 -1 0\nrup 4 0 2 1 3\nqed 4\n");
  expect_accepted(log, end);
}

TEST(ProofLog, EachCertificateDeclaresAnew) {
  ProofLog log;
  const ProofLog::Id p = log.input(0, {1}), not_p = log.input(1, {-1});
  const ProofLog::Id end = log.rup({}, {p, not_p});
  std::ostringstream out;
  proof::CertificateWriter writer(out);
  Words words;
  log.tell(1, end, nothing, words, writer);
  log.tell(2, end, nothing, words, writer);
  const checker::test::Outcome outcome = checker::test::check(out.str());
  EXPECT_EQ(outcome.refusal, "");
  ASSERT_EQ(outcome.certified.size(), 2u);
  EXPECT_EQ(outcome.certified[1].check, 2u);
}

TEST(ProofLog, DroppedLiteralsAreLeftOutEverywhere) {
  ProofLog log;
  const auto is_guard = [](int literal) { return literal == -9; };
  const ProofLog::Id p = log.input(0, {1, -9}), not_p = log.input(1, {-1, -9});
  const ProofLog::Id end = log.rup({-9}, {p, not_p});
  EXPECT_EQ(text_of(log, end, is_guard),
            "tarku-certificate 1\ncheck 0\nbool 1 p1\ninput 1 0 1 0\ninput 2 1 -1 0\nrup 3 0 1 2\nqed 3\n");
  expect_accepted(log, end, is_guard);
}

TEST(ProofLog, MultipliersStayWithTheirClauses) {
  ProofLog log;
  log.farkas({-11, 12}, {QNumber(1), QNumber(1)});
  const ProofLog::Id low = log.farkas({-31, -23, 15}, {QNumber(1, 2), QNumber(0), QNumber(1, 2)});
  const ProofLog::Id one = log.input(0, {31}), three = log.input(1, {23}), five = log.input(2, {-15});
  const ProofLog::Id end = log.rup({}, {one, three, five, low});
  EXPECT_NE(text_of(log, end).find("farkas 1 -31 -23 15 0 1/2 0 1/2\n"), std::string::npos) << text_of(log, end);
  expect_accepted(log, end);
}

// ==== what the checker says ====

// 2 <= x <= 2 against x < 1 or x > 3, with every kind of step but those of `ite` terms.
struct Example {
  ProofLog log;
  ProofLog::Id end = 0;

  // One of the steps is spoiled, none if it is -1.
  explicit Example(int spoiled = -1) {
    const auto is = [spoiled](int step) { return spoiled == step; };
    const QNumber one(1), minus(-1), two(2);
    const ProofLog::Id below = log.input(0, is(0) ? Clause{-2, 12, 3} : Clause{-2, 12});
    const ProofLog::Id above = log.input(1, {-22}), outside = log.input(2, {-13, 21});
    const ProofLog::Id gate = log.gate(40, is(1) ? Clause{-40, 3} : Clause{-40, 2});
    const ProofLog::Id top = log.input(3, {40});
    const ProofLog::Id split = log.split({32, 22, is(2) ? 12 : -12});
    const ProofLog::Id low = log.farkas({-32, 13}, {is(3) ? two : one, one});
    const ProofLog::Id high = log.farkas({-32, -21}, {is(4) ? one : minus, one});
    const ProofLog::Id q = is(5) ? log.rup({2}, {gate}) : log.rup({2}, {top, gate});
    const ProofLog::Id at_most = log.rup({12}, {q, below});
    const ProofLog::Id equal = log.rup({is(6) ? 31 : 32}, {at_most, above, split});
    end = is(7) ? log.rup({}, {equal, low, high}) : log.rup({}, {equal, low, high, outside});
  }
};

TEST(ProofLog, TheCheckerAcceptsWhatIsRight) {
  const Example example;
  expect_accepted(example.log, example.end);
}

TEST(ProofLog, TheCheckerRefusesEachSpoiledStep) {
  for (int step = 0; step <= 7; ++step) {
    const Example example(step);
    EXPECT_NE(refusal(example.log, example.end), "") << step;
    EXPECT_NE(checker::test::refusal(text_of(example.log, example.end)), "") << step;
  }
}

// All clauses over a few variables are refuted by resolving one variable after the other away. Among them are steps
// that lead nowhere.
TEST(ProofLog, RandomResolutions) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    ProofLog log;
    const int num_variables = 1 + static_cast<int>(random() % 4);
    std::vector<ProofLog::Id> open;
    std::size_t num_needed = 0;
    const auto add_idle = [&] {
      if (random() % 2 == 0) log.input(100, {6, 7});
      if (random() % 3 == 0) log.rup({6, 7, 8}, {static_cast<ProofLog::Id>(random() % log.size())});
    };
    for (unsigned signs = 0; signs < (1u << num_variables); ++signs) {
      Clause clause;
      for (int v = 1; v <= num_variables; ++v) clause.push_back((signs >> (v - 1)) % 2 == 0 ? v : -v);
      std::shuffle(clause.begin(), clause.end(), random);
      open.push_back(log.input(signs, clause));
      ++num_needed;
      add_idle();
    }
    for (int v = 1; v <= num_variables; ++v) {
      std::vector<ProofLog::Id> resolved;
      for (std::size_t i = 0; i < open.size(); i += 2) {
        Clause clause = log.clause(open[i]);
        clause.erase(std::find(clause.begin(), clause.end(), v));
        resolved.push_back(log.rup(clause, {open[i], open[i + 1]}));
        ++num_needed;
        add_idle();
      }
      open = resolved;
    }
    const std::string text = text_of(log, open[0]);
    const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_EQ(count, num_needed + static_cast<std::size_t>(num_variables) + 3);
    EXPECT_EQ(log.sources(open[0]).size(), std::size_t{1} << num_variables);
    expect_accepted(log, open[0]);
  }
}

}  // namespace
}  // namespace tarku::smt
