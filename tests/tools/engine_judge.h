// Goes through a trace with an engine and judges every answer by engines that are made for that question alone.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/term.h"
#include "tarku/termination_test.h"
#include "tests/tools/engine_trace.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::engine_tester {

// Ways of spoiling what the judge sees, to see whether it notices.
enum class Sabotage : int { none, lost_assertion, small_core, wrong_value, large_core, small_assumptions };

// What happened, so that a long run can tell whether it has met everything.
struct Tally {
  std::uint64_t sat = 0, unsat = 0, unknown = 0;
  std::uint64_t stopped_checks = 0, stopped_questions = 0;
  std::uint64_t cores = 0, minimal_cores = 0, assumptions = 0, models = 0, certificates = 0, misuses = 0;
};

// Throws what the trace says at the poll that it says, once.
class Stopper : public TerminationTest {
 public:
  struct Foreign {};
  enum class Kind { interrupted, memory, foreign };

  void arm(Kind kind, std::int64_t polls);
  void disarm() { left_ = 0; }
  bool has_fired() const { return has_fired_; }  // since it was armed
  Kind kind() const { return kind_; }
  void operator()() const override;

 private:
  Kind kind_ = Kind::interrupted;
  mutable std::int64_t left_ = 0;
  mutable bool has_fired_ = false;
};

class Judge {
 public:
  Judge(Sabotage sabotage, Tally* tally);

  // Throws tester::Failure when the engine does anything wrong.
  void take(const Step& step);

 private:
  struct Asserted {
    std::string formula;
    int index;
  };

  void assert_formula(const std::string& formula);
  void push();
  void pop();
  void set(const Step& step);
  void check(const std::vector<std::string>& assumptions);
  void judge_unknown();
  void ask(const std::string& question);
  template <class Call>
  void ask_within(smt::Answer wanted, Call&& call);
  void judge_core(bool is_minimal);
  void judge_assumptions(bool is_minimal);
  void judge_refuted(const std::vector<int>& core, const std::vector<std::size_t>& failed, bool is_complete) const;
  void judge_irreducible(const std::vector<int>& core) const;
  void judge_model();
  void judge_certificate();
  std::vector<std::string> in_force() const;
  std::string formula_of(int index) const;
  static smt::Answer fresh_answer(const std::vector<std::string>& formulas);
  bool spoils(Sabotage sabotage) const { return sabotage_ == sabotage; }

  Sabotage sabotage_;
  Tally& tally_;
  smt::TermManager terms_;
  smt::test::TermText text_{terms_};
  Stopper stopper_;
  smt::Engine engine_{terms_};

  // The mirror.
  std::vector<Asserted> asserted_;
  std::vector<std::size_t> levels_;
  std::vector<std::string> assumptions_;  // of the last check
  int num_asserted_ = 0;
  bool has_checked_ = false;
  bool has_answer_ = false;
  bool may_be_forgotten_ = false;  // a question was stopped since the answer
  bool keeps_proofs_ = true, checks_answers_ = false;
  bool had_record_ = true;  // the last answer may be asked for a core
  smt::Answer answer_ = smt::Answer::unknown;
  smt::Limits limits_;
};

}  // namespace tarku::engine_tester
