// The mirror of what is asserted, and the judgement of answers.
#include "tests/tools/engine_judge.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "tarku/proof/certificate.h"
#include "tarku/smt/evaluator.h"
#include "tests/tools/failure.h"

namespace tarku::engine_tester {

using smt::Answer;
using smt::Sort;
using smt::Term;
using tester::Failure;
using tester::require;

// ==== stopping ====

void Stopper::arm(Kind kind, std::int64_t polls) {
  kind_ = kind;
  left_ = polls;
  has_fired_ = false;
}

void Stopper::operator()() const {
  if (left_ == 0 || --left_ > 0) return;
  has_fired_ = true;
  if (kind_ == Kind::memory) throw std::bad_alloc();
  if (kind_ == Kind::foreign) throw Foreign();
  smt::Interrupted stopped;
  stopped << "stopped";
  throw stopped;
}

// ==== steps ====

Judge::Judge(Sabotage sabotage, Tally* tally) : sabotage_(sabotage), tally_(*tally) {
  engine_.set_termination_test(&stopper_);
}

void Judge::take(const Step& step) {
  try {
    if (step.call == "assert") return assert_formula(step.formulas.at(0));
    if (step.call == "pop") return pop();
    if (step.call == "check" || step.call == "check-assuming") return check(step.formulas);
    if (step.call == "push") return push();
    if (takes_number(step.call)) return set(step);
    ask(step.call);
  } catch (const smt::AnswerRefused& refusal) {
    throw Failure("refused", refusal.what());
  } catch (const Exception& unexpected) {
    throw Failure("exception", unexpected.what());
  }
}

void Judge::assert_formula(const std::string& formula) {
  has_answer_ = false;
  const Term term = text_(formula);
  if (spoils(Sabotage::lost_assertion) && num_asserted_ % 7 == 6) {
    asserted_.push_back({formula, engine_.assert_term(terms_.mk_bool(true))});
  } else {
    asserted_.push_back({formula, engine_.assert_term(term)});
  }
  require(asserted_.back().index == num_asserted_++, "index", "an assertion has an unexpected index");
}

void Judge::push() {
  engine_.push();
  levels_.push_back(asserted_.size());
  has_answer_ = false;
}

void Judge::pop() {
  if (levels_.empty()) {
    try {
      engine_.pop();
    } catch (const Exception&) {
      ++tally_.misuses;
      return;
    }
    throw Failure("misuse", "a pop without any level did not throw");
  }
  engine_.pop();
  asserted_.resize(levels_.back());
  levels_.pop_back();
  has_answer_ = false;
  require(engine_.num_levels() == static_cast<int>(levels_.size()), "levels", "another number of levels");
}

void Judge::set(const Step& step) {
  if (step.call == "stop") {
    const std::string& kind = step.formulas.at(0);
    return stopper_.arm(kind == "memory"    ? Stopper::Kind::memory
                        : kind == "foreign" ? Stopper::Kind::foreign
                                            : Stopper::Kind::interrupted,
                        step.number);
  }
  if (step.call == "work") limits_.work = static_cast<std::uint64_t>(step.number);
  if (step.call == "memory") limits_.memory = static_cast<std::uint64_t>(step.number);
  engine_.set_limits(limits_);
  const bool on = step.number != 0;
  if (step.call == "answers") engine_.set_check_answers(checks_answers_ = on);
  if (step.call == "proofs") engine_.set_keep_proofs(keeps_proofs_ = on);
  if (step.call == "share") engine_.set_first_share(static_cast<std::uint64_t>(step.number));
  if (step.call == "presolve" && !has_checked_) engine_.set_presolve(on);
  if (step.call == "seed" && !has_checked_) engine_.set_random_seed(static_cast<std::uint64_t>(step.number));
}

// ==== checks ====

void Judge::check(const std::vector<std::string>& assumptions) {
  std::vector<Term> terms;
  for (const std::string& assumption : assumptions) terms.push_back(text_(assumption));
  has_checked_ = true;
  has_answer_ = may_be_forgotten_ = false;
  assumptions_ = assumptions;
  had_record_ = keeps_proofs_ || checks_answers_;
  const bool had_fired = stopper_.has_fired();
  try {
    answer_ = engine_.check(terms);
  } catch (const Stopper::Foreign&) {
    ++tally_.stopped_checks;
    return;
  }
  has_answer_ = true;
  require(engine_.num_levels() == static_cast<int>(levels_.size()), "levels", "assumptions count as a level");
  if (!had_fired && stopper_.has_fired()) {
    ++tally_.stopped_checks;
    require(answer_ == Answer::unknown, "verdict", "an answer in spite of an interruption");
    const char* const reason = stopper_.kind() == Stopper::Kind::memory ? "memout" : "stopped";
    return require(engine_.reason_unknown() == reason, "reason", [this] { return engine_.reason_unknown(); });
  }
  if (answer_ == Answer::unknown) return judge_unknown();
  require(engine_.reason_unknown().empty(), "reason", "a reason beside an answer");
  ++(answer_ == Answer::sat ? tally_.sat : tally_.unsat);
  std::vector<std::string> all = in_force();
  all.insert(all.end(), assumptions.begin(), assumptions.end());
  require(fresh_answer(all) == answer_, "verdict", [this] {
    return std::string("the answer is ") + (answer_ == Answer::sat ? "sat" : "unsat") + ", a fresh engine differs";
  });
}

void Judge::judge_unknown() {
  ++tally_.unknown;
  const std::string& reason = engine_.reason_unknown();
  const bool is_right = (reason == "resourceout" && limits_.work != 0) || (reason == "memout" && limits_.memory != 0);
  require(is_right, "reason", [&] { return "unknown without a limit: " + reason; });
}

std::vector<std::string> Judge::in_force() const {
  std::vector<std::string> formulas;
  for (const Asserted& asserted : asserted_) formulas.push_back(asserted.formula);
  return formulas;
}

// Of an engine that has never known anything else, with every answer checked.
Answer Judge::fresh_answer(const std::vector<std::string>& formulas) {
  smt::TermManager terms;
  smt::test::TermText text(terms);
  smt::Engine engine(terms);
  engine.set_check_answers(true);
  for (const std::string& formula : formulas) engine.assert_term(text(formula));
  return engine.check();
}

// ==== questions ====

void Judge::ask(const std::string& question) {
  if (question == "model") return ask_within(Answer::sat, [this] { judge_model(); });
  if (question == "core") return ask_within(Answer::unsat, [this] { judge_core(false); });
  if (question == "minimal-core") return ask_within(Answer::unsat, [this] { judge_core(true); });
  if (question == "failed") return ask_within(Answer::unsat, [this] { judge_assumptions(false); });
  if (question == "minimal-failed") return ask_within(Answer::unsat, [this] { judge_assumptions(true); });
  if (question == "certify") ask_within(Answer::unsat, [this] { judge_certificate(); });
}

// A question at the wrong time must be refused, and one that is stopped may be asked again or be gone.
template <class Call>
void Judge::ask_within(Answer wanted, Call&& call) {
  const bool is_allowed = has_answer_ && answer_ == wanted && (wanted == Answer::sat || had_record_);
  try {
    call();
  } catch (const Failure&) {
    throw;
  } catch (const smt::Interrupted&) {
    require(stopper_.has_fired() || limits_.work != 0 || limits_.memory != 0, "reason", "stopped for no reason");
    may_be_forgotten_ = true;
    ++tally_.stopped_questions;
    return;
  } catch (const Stopper::Foreign&) {
    may_be_forgotten_ = true;
    ++tally_.stopped_questions;
    return;
  } catch (const Exception& refused) {
    require(!is_allowed || may_be_forgotten_, "misuse", [&] { return std::string(refused.what()); });
    ++tally_.misuses;
    return;
  }
  // Without a record some refutations can still be told: those that took no search over formulas.
  require(is_allowed || (has_answer_ && answer_ == wanted), "misuse", "a question out of order was answered");
}

// ---- refutations ----

void Judge::judge_core(bool is_minimal) {
  std::vector<int> core = is_minimal ? engine_.minimal_core([](int) { return true; }) : engine_.unsat_core();
  ++(is_minimal ? tally_.minimal_cores : tally_.cores);
  if (spoils(Sabotage::small_core) && !core.empty()) core.pop_back();
  if (spoils(Sabotage::large_core) && is_minimal) {
    core.clear();
    for (const Asserted& asserted : asserted_) core.push_back(asserted.index);
  }
  require(std::is_sorted(core.begin(), core.end()), "core", "the core does not ascend");
  if (!is_minimal) return judge_refuted(core, engine_.failed_assumptions(), true);
  std::vector<std::size_t> all(assumptions_.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  judge_refuted(core, all, true);
  if (limits_.work == 0) judge_irreducible(core);
}

void Judge::judge_assumptions(bool is_minimal) {
  std::vector<std::size_t> failed = is_minimal ? engine_.minimal_failed_assumptions() : engine_.failed_assumptions();
  if (!assumptions_.empty()) ++tally_.assumptions;
  if (spoils(Sabotage::small_assumptions) && !failed.empty()) failed.pop_back();
  std::vector<int> all;
  for (const Asserted& asserted : asserted_) all.push_back(asserted.index);
  judge_refuted(all, failed, true);
  if (!is_minimal || limits_.work != 0) return;
  for (const std::size_t left_out : failed) {
    std::vector<std::size_t> rest = failed;
    rest.erase(std::find(rest.begin(), rest.end(), left_out));
    judge_refuted(all, rest, false);
  }
}

void Judge::judge_irreducible(const std::vector<int>& core) const {
  std::vector<std::size_t> all(assumptions_.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  for (const int left_out : core) {
    std::vector<int> rest = core;
    rest.erase(std::find(rest.begin(), rest.end(), left_out));
    judge_refuted(rest, all, false);
  }
}

// Whether these assertions and assumptions are unsatisfiable together (`is_complete`), or satisfiable.
void Judge::judge_refuted(const std::vector<int>& core, const std::vector<std::size_t>& failed,
                          bool is_complete) const {
  std::vector<std::string> formulas;
  for (const int index : core) formulas.push_back(formula_of(index));
  for (const std::size_t position : failed) {
    require(position < assumptions_.size(), "core", "an assumption that was not made");
    formulas.push_back(assumptions_[position]);
  }
  const Answer answer = fresh_answer(formulas);
  if (is_complete) return require(answer == Answer::unsat, "core", "the core is satisfiable");
  require(answer == Answer::sat, "minimal", "the core is not minimal");
}

std::string Judge::formula_of(int index) const {
  for (const Asserted& asserted : asserted_) {
    if (asserted.index == index) return asserted.formula;
  }
  throw Failure("core", "an assertion that is not in force");
}

void Judge::judge_certificate() {
  std::ostringstream text;
  proof::CertificateWriter writer(text);
  engine_.certify(1, writer);
  ++tally_.certificates;
  require(text.str().find("qed") != std::string::npos, "certificate", "the certificate has no end");
}

// ---- models ----

// The values of all symbols, in an evaluator of its own.
void Judge::judge_model() {
  smt::TermManager terms;
  smt::test::TermText text(terms);
  std::map<std::uint32_t, QNumber> reals;
  std::map<std::uint32_t, bool> truths;
  for (const char* name : {"x", "y", "z", "w"}) {
    QNumber value = engine_.real_value(text_.symbol(name));
    if (spoils(Sabotage::wrong_value) && name[0] == 'x') value += QNumber(1, 3);
    reals[text.symbol(name).id()] = value;
  }
  for (const char* name : {"p", "q"}) truths[text.symbol(name).id()] = engine_.bool_value(text_.symbol(name));
  ++tally_.models;
  smt::Evaluator evaluator(
      terms, [&](Term t) { return reals.at(t.id()); }, [&](Term t) { return truths.at(t.id()); });
  std::vector<std::string> formulas = in_force();
  formulas.insert(formulas.end(), assumptions_.begin(), assumptions_.end());
  for (const std::string& formula : formulas) {
    require(evaluator.bool_value(text(formula)), "model", [&] { return "false in the model: " + formula; });
  }
}

}  // namespace tarku::engine_tester
