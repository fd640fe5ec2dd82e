// Reference counts of proofs: after every step of any history, interruptions and failed allocations included, each node
// counts exactly the references that there are, and nothing outlives the solver and those who hold a proof.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarku/termination_test.h"
#include "tests/unit/support/failing_new.h"
#include "tests/unit/support/proof_census.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using proof::Proof;
using test::BoundStatement;

using Ints = std::vector<int>;

// ---- histories ----

// A history is made beforehand, so that it can be repeated step by step under interruptions and failing allocations.
struct Step {
  enum class Kind { kRow, kTell, kPush, kPop, kCheck, kPartial, kModel, kRetract, kRetractRow, kRange, kDrain, kHold };
  Kind kind;
  int number = 0;  // constraint; variable of a row; for kHold which proof
  Equation equation;
  BoundStatement bound{};
};

struct History {
  void rows(std::string_view text) {
    for (const std::string& row : test::statements(text))
      add(Step::Kind::kRow, next_row++).equation = test::equation(row);
  }
  void bounds(std::string_view text) {
    for (const std::string& bound : test::statements(text)) {
      add(Step::Kind::kTell, 0).bound = test::bound_statement(bound);
    }
  }
  void push(const Ints& constraints) {
    for (int c : constraints) add(Step::Kind::kPush, c);
  }
  void pop(int times = 1) {
    for (int i = 0; i < times; ++i) add(Step::Kind::kPop, 0);
  }
  Step& add(Step::Kind kind, int number = 0) {
    steps.push_back(Step{kind, number, {}, {}});
    return steps.back();
  }

  int level = 2;  // of propagation
  std::vector<Step> steps;
  int next_row = 1001;
};

// Ways of making and dropping proofs.
enum Way {
  kPushConflict,
  kBuriedConflict,
  kSearchConflict,
  kRangeConflict,
  kSplitConflict,
  kImplication,
  kPopped,
  kRetracted,
  kRowRetracted,
  kToldAgain,
  kModelBuilt,
  kInterruption,
  kWays
};
using Tally = std::array<int, kWays>;  // how often each was taken; allocates nothing

struct Interrupted {};

class Interrupter : public TerminationTest {
 public:
  void operator()() const override {
    if (++polls == at) throw Interrupted();
  }
  mutable int polls = 0;
  int at = 0;
};

// Goes through a history, holding some of the proofs that the solver hands out.
class Player {
 public:
  Player(int level, int interrupt_at, bool retries) : solver(true, 0), retries_(retries) {
    solver.propagation_level_ = level;
    solver.termination_test_ = &interrupter;
    interrupter.at = interrupt_at;
    held.reserve(64);
  }

  void play(const Step& step) {
    try {
      carry_out(step);
    } catch (const Interrupted&) {
      ++tally[kInterruption];
      is_sat_ = false;
      EXPECT_EQ("", offence()) << "while interrupted";
      if (retries_) carry_out(step);
    }
  }

  std::string offence() const {
    std::vector<const Proof*> mine;
    for (const proof::Ref& ref : held) mine.push_back(ref.get());
    return test::proof_offence(solver, mine);
  }

  std::vector<proof::Ref> held;
  Interrupter interrupter;
  Tally tally{};
  Solver solver;

 private:
  void carry_out(const Step& step) {
    switch (step.kind) {
      case Step::Kind::kRow:
        return solver.tell_equation(step.number, step.equation);
      case Step::Kind::kTell:
        if (solver.constraints_.contains(step.bound.c)) ++tally[kToldAgain];
        return solver.do_tell_bound(step.bound.c, step.bound.var, step.bound.bound, step.bound.kind);
      case Step::Kind::kPush:
        return push(step.number);
      case Step::Kind::kPop:
        ++tally[kPopped];
        is_sat_ = false;
        solver.pop_constraint();
        return;
      case Step::Kind::kCheck:
      case Step::Kind::kPartial:
        return check(step.kind == Step::Kind::kPartial);
      case Step::Kind::kModel:
        return build_model();
      case Step::Kind::kRetract:
        ++tally[kRetracted];
        return solver.retract_bound(step.number);
      case Step::Kind::kRetractRow:
        return retract_row(step.number);
      case Step::Kind::kRange:
        return try_range(step.number);
      case Step::Kind::kDrain:
        return drain();
      case Step::Kind::kHold:
        return hold(step.number);
    }
  }
  void push(int c) {
    is_sat_ = false;
    const bool was_in_conflict = solver.in_conflict_;
    if (!solver.push_constraint(c) && !was_in_conflict) ++tally[kPushConflict];
  }
  void check(bool partial) {
    const bool was_in_conflict = solver.in_conflict_;
    is_sat_ = false;
    if (solver.check(partial)) {
      is_sat_ = !partial;
    } else if (was_in_conflict) {
      return;
    } else if (solver.failed_height_ != 0) {
      ++tally[kBuriedConflict];
    } else if (dynamic_cast<const LaNeq*>(solver.conflict_proof_) != nullptr) {
      ++tally[kSplitConflict];
    } else {
      ++tally[kSearchConflict];
    }
  }
  void build_model() {
    if (!is_sat_) return;
    solver.build_model({});
    ++tally[kModelBuilt];
  }
  // Legal while no implication stands; the row's variable is in no other equation.
  void retract_row(int var) {
    if (!is_sat_ || solver.num_implied_ != 0 || !solver.equations_.contains(1000 + var)) return;
    solver.retract_equation(1000 + var, var);
    ++tally[kRowRetracted];
    is_sat_ = false;
  }
  // Ranges contradict bounds only before a search has seen the latter.
  void try_range(int var) {
    if (solver.in_conflict_ || !solver.initialized_ || !solver.tableau_.is_basic(var)) return;
    if (!solver.try_range_implications(var)) ++tally[kRangeConflict];
  }
  void drain() {
    int c = 0;
    while (solver.next_implied(&c, &reason_)) {
      ++tally[kImplication];
      keep(solver.get_implication_proof(-1));
      keep(solver.get_implication_proof(c));
    }
  }
  void hold(int which) {
    if (which < 0) {
      keep(solver.get_conflict_proof());
    } else if (solver.constraints_.contains(which)) {
      keep(solver.get_or_create_hyp_proof(which, which % 2 == 0));
    }
  }
  // Lets the oldest go when there are many.
  void keep(Proof* proof) {
    proof::Ref ref(proof);
    if (ref == nullptr) return;
    if (held.size() == 20) held.erase(held.begin(), held.begin() + 10);
    held.push_back(std::move(ref));
  }

  bool retries_;
  bool is_sat_ = false;  // the last step was a whole check that answered true
  Ints reason_;
};

// ---- random histories ----

// Seven variables, three of them defined; of the bounds some are retracted and told again with other meanings.
class HistoryMaker {
 public:
  explicit HistoryMaker(unsigned seed) : random_(seed) {}

  History make(int steps) {
    history_.level = draw(3);
    tell_rows();
    history_.bounds("c101: x1 >= 1; c102: x2 >= 1; c103: x5 >= 2; c104: x5 <= 1; c105: x2 = 1; c106: x5 != 2");
    history_.bounds("c107: x1 <= 1");
    for (int c = 1; c <= kBounds; ++c) tell(c);
    for (int i = 0; i < steps; ++i) add_step();
    return std::move(history_);
  }

 private:
  static constexpr int kBounds = 36;

  int draw(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  bool is_on_stack(int c) const { return std::count(stack_.begin(), stack_.end(), c) != 0; }

  void tell_rows() {
    history_.next_row = 1005;
    history_.rows("x5 = x1 + x2; x6 = x1 - 2*x3; x7 = x2 + x3 - 1/2*x4");
  }
  void tell(int c) {
    static const char* const relations[] = {">=", "<=", "=", "<", ">", "!=", "!="};
    const int var = 1 + draw(7);
    history_.bounds("c" + std::to_string(c) + ": x" + std::to_string(var) + relations[draw(7)] +
                    std::to_string(draw(3) - 1));
    told_on_[var].push_back(c);
    var_of_[c] = var;
  }

  void add_step() {
    const int c = 1 + draw(kBounds);
    const int kind = draw(22);
    if (kind >= 20) {
      plan_conflict(kind == 20);
    } else if (kind < 8) {
      push(c);
      for (int row = 5; kind < 4 && row <= 7; ++row) history_.add(Step::Kind::kRange, row);
    } else if (kind < 11) {
      for (int times = kind == 8 ? draw(12) : 1; times > 0; --times) pop();
    } else if (kind < 14) {
      history_.add(kind == 11 ? Step::Kind::kPartial : Step::Kind::kCheck);
      history_.add(Step::Kind::kHold, -1);
      if (kind == 12 && draw(4) == 0) history_.add(Step::Kind::kRetractRow, 5 + draw(3));
      if (kind == 13) history_.add(Step::Kind::kModel);
    } else if (kind == 14) {
      history_.add(Step::Kind::kRange, 5 + draw(3));
    } else if (kind == 15) {
      history_.add(Step::Kind::kDrain);
    } else if (kind == 16) {
      history_.add(Step::Kind::kHold, c);
    } else if (kind == 17) {
      tell_rows();  // those that were retracted come back
    } else if (var_of_.count(c) == 0) {
      tell(c);
    } else {
      retract_or_tell_again(c, kind == 18);
    }
  }
  // Conflicts that chance alone hardly ever finds: of the range of a row, or of both sides of a disequality.
  void plan_conflict(bool of_range) {
    while (!stack_.empty()) pop();
    const Ints constraints = of_range ? Ints{101, 102, 104} : Ints{101, 105, 107, 106};
    history_.push(constraints);
    stack_ = constraints;
    if (of_range) history_.add(Step::Kind::kRange, 5);
    history_.add(Step::Kind::kCheck);
    history_.add(Step::Kind::kHold, -1);
  }
  void push(int c) {
    if (is_on_stack(c) || var_of_.count(c) == 0) return;
    history_.push({c});
    stack_.push_back(c);
  }
  void pop() {
    if (stack_.empty()) return;
    history_.pop();
    stack_.pop_back();
  }
  void retract_or_tell_again(int c, bool retract) {
    if (is_on_stack(c)) return;
    std::vector<int>& told = told_on_[var_of_[c]];
    if (!retract) return tell(c);
    // In reverse order of telling; an index that was told twice goes with its first retraction.
    if (told.back() != c || std::count(told.begin(), told.end(), c) != 1) return;
    told.pop_back();
    var_of_.erase(c);
    history_.add(Step::Kind::kRetract, c);
  }

  std::mt19937 random_;
  History history_;
  Ints stack_;
  std::map<int, Ints> told_on_;
  std::map<int, int> var_of_;
};

// Gives the number of polls. Whoever holds a proof may let go before the solver does, or after.
int play(const History& history, int interrupt_at, bool retries, Tally* tally) {
  const std::size_t live_before = test::live_blocks();
  int polls = 0;
  {
    std::vector<proof::Ref> survivors;
    {
      Player player(history.level, interrupt_at, retries);
      for (std::size_t i = 0; i < history.steps.size(); ++i) {
        player.play(history.steps[i]);
        EXPECT_EQ("", player.offence()) << "after step " << i;
        if (testing::Test::HasFailure()) return 0;
      }
      polls = player.interrupter.polls;
      *tally = player.tally;
      if (interrupt_at % 2 == 0) survivors = std::move(player.held);
    }
    test::ProofCensus census;
    for (const proof::Ref& survivor : survivors) census.hold(survivor.get());
    EXPECT_EQ("", census.offence()) << "without the solver";
  }
  EXPECT_EQ(live_before, test::live_blocks()) << "something outlived the solver";
  return polls;
}

class ProofCounts : public testing::TestWithParam<unsigned> {};

TEST_P(ProofCounts, AreExactAfterEveryStep) {
  Tally tally{};
  play(HistoryMaker(GetParam()).make(120), 0, false, &tally);
}

TEST_P(ProofCounts, AreExactWhicheverPollInterrupts) {
  const History history = HistoryMaker(1000 + GetParam()).make(60);
  Tally tally{};
  const int polls = play(history, 0, false, &tally);
  for (int at = 1; at <= polls && !HasFailure(); ++at) {
    for (bool retries : {false, true}) {
      SCOPED_TRACE(testing::Message() << "poll " << at << " of " << polls);
      play(history, at, retries, &tally);
      EXPECT_EQ(1, tally[kInterruption]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ProofCounts, testing::Range(1u, 61u));

// The random histories are worth something only if they take every way.
TEST(ProofCountHistories, TakeEveryWay) {
  Tally sums{};
  for (unsigned seed = 1; seed <= 60; ++seed) {
    Tally tally{};
    play(HistoryMaker(seed).make(120), 0, false, &tally);
    for (int way = 0; way < kWays; ++way) sums[static_cast<std::size_t>(way)] += tally[static_cast<std::size_t>(way)];
  }
  for (int way = 0; way < kInterruption; ++way) EXPECT_LT(10, sums[static_cast<std::size_t>(way)]) << "way " << way;
}

// ---- failing allocations ----

struct SmallHistory {
  const char* name;
  void (*make)(History*);
};

void make_push_conflict(History* h) {
  h->bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x1 = 1; c4: x2 >= 0");
  h->push({1, 2, 4});
  h->pop(2);
  h->push({3, 4});
  h->pop();
  h->add(Step::Kind::kCheck);  // buried
}

void make_search_conflict(History* h) {
  h->rows("x3 = 2*x1 - x2; x4 = x1 + x2 + x3");
  h->bounds("c1: x1 >= 3; c2: x2 = -1; c3: x3 <= 4; c4: x4 >= 90");
  h->push({1, 2, 3});
  h->add(Step::Kind::kCheck);
  h->add(Step::Kind::kHold, -1);
  h->pop();
  h->add(Step::Kind::kCheck);
}

void make_search_conflict_of_big_numbers(History* h) {
  h->rows("x3 = 100000000000000000000000/7*x1 - 300000000000000000000001/11*x2");
  h->bounds("c1: x1 >= 3; c2: x2 = -1; c3: x3 <= 4");
  h->push({1, 2, 3});
  h->add(Step::Kind::kCheck);
}

void make_split(History* h) {
  h->rows("x3 = x1 + x2; x4 = x1 - x2");
  h->bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x3 <= 3; c4: x3 != 3; c5: x4 != -1; c6: x3 <= 4; c7: x9 = 0; c8: x9 != 0");
  h->push({1, 2, 6, 5, 4});
  h->add(Step::Kind::kCheck);
  h->add(Step::Kind::kModel);
  h->push({3});
  h->add(Step::Kind::kCheck);
  h->add(Step::Kind::kHold, -1);
  h->pop();
  h->push({7, 8});
  h->add(Step::Kind::kCheck);
}

void make_trivial_implications(History* h) {
  h->bounds("c1: x1 >= 3; c2: x1 >= 2; c3: x1 >= 1; c4: x1 = 3; c5: x1 <= 9; c6: x1 <= 8");
  h->push({1});
  h->add(Step::Kind::kDrain);
  h->push({4});
  h->add(Step::Kind::kDrain);
  h->pop(2);
}

void make_range_implications(History* h) {
  h->rows("x4 = x1 + 2*x2 - x3; x5 = x1; x6 = 3*x2; x7 = x1 - 100000000000000000000001*x3");
  h->bounds("c1: x1 = 1; c2: x2 <= 1; c3: x3 >= 0; c4: x4 <= 3; c5: x5 <= 1; c6: x5 >= 1; c7: x6 <= 3; c8: x7 <= 1");
  h->push({1, 2, 3});
  for (int var : {4, 5, 6, 7}) h->add(Step::Kind::kRange, var);
  h->add(Step::Kind::kDrain);
  h->add(Step::Kind::kCheck);
  h->pop(2);
}

void make_range_conflict(History* h) {
  h->rows("x3 = x1 + 2*x2; x4 = 0");
  h->bounds("c1: x1 >= 2; c2: x2 >= 1; c3: x3 >= 3; c4: x3 <= 2; c5: x4 >= 0; c6: x4 <= 9");
  h->push({5, 1, 2, 4});
  h->add(Step::Kind::kRange, 4);
  h->add(Step::Kind::kRange, 3);
  h->add(Step::Kind::kHold, -1);
  h->pop();
}

void make_told_again(History* h) {
  h->bounds("c1: x1 >= 3; c2: x1 = 2; c3: x1 >= 1");
  h->push({1, 2});
  h->pop(2);
  h->bounds("c2: x1 <= 1; c1: x1 != 3");
  h->push({2, 1});
  h->add(Step::Kind::kCheck);
  h->pop(2);
  h->add(Step::Kind::kRetract, 1);
}

const SmallHistory kSmallHistories[] = {
    {"push_conflict", make_push_conflict},
    {"search_conflict", make_search_conflict},
    {"search_conflict_of_big_numbers", make_search_conflict_of_big_numbers},
    {"split", make_split},
    {"trivial_implications", make_trivial_implications},
    {"range_implications", make_range_implications},
    {"range_conflict", make_range_conflict},
    {"told_again", make_told_again},
};

// Lets the first `successes` allocations of the history succeed. Gives whether that was enough.
bool play_short_of_memory(const History& history, int successes) {
  const std::size_t live_before = test::live_blocks();
  bool completed = false;
  {
    std::unique_ptr<Player> player;
    try {
      test::FailingNew failing(successes);
      player = std::make_unique<Player>(history.level, 0, false);
      for (const Step& step : history.steps) player->play(step);
      completed = true;
    } catch (const std::bad_alloc&) {
    }
    if (player != nullptr) {
      EXPECT_EQ("", player->offence());
    }
  }
  EXPECT_EQ(live_before, test::live_blocks());
  return completed;
}

class ProofCountsShortOfMemory : public testing::TestWithParam<SmallHistory> {};

TEST_P(ProofCountsShortOfMemory, AreExactWhicheverAllocationFails) {
  if (!test::FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  History history;
  GetParam().make(&history);
  play_short_of_memory(history, -1);  // whatever is made once and stays is made now
  int successes = 0;
  while (!HasFailure() && !play_short_of_memory(history, successes)) ++successes;
  EXPECT_FALSE(HasFailure()) << "allocation " << successes << " failed";
  EXPECT_LT(30, successes);
}

INSTANTIATE_TEST_SUITE_P(Histories, ProofCountsShortOfMemory, testing::ValuesIn(kSmallHistories),
                         [](const auto& tested) { return tested.param.name; });

// Random ones, at every seventh allocation from a random one on.
TEST_P(ProofCounts, AreExactWhenAllocationsFail) {
  if (!test::FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  const History history = HistoryMaker(2000 + GetParam()).make(15);
  play_short_of_memory(history, -1);
  int successes = static_cast<int>(GetParam() % 7);
  while (!HasFailure() && !play_short_of_memory(history, successes)) successes += 7;
  EXPECT_FALSE(HasFailure()) << "allocation " << successes << " failed";
}

}  // namespace
}  // namespace tarku::la
