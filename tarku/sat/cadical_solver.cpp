// CaDiCaL behind our interface. The only file that knows it.
//
// Three small classes take CaDiCaL's callbacks, in the middle of which no exception may escape; CadicalSolver makes the
// calls, and keeps to the states that CaDiCaL allows them in (it ends the program when they are broken). What it leaves
// to others: theory_driver.h brings the theory's view of the search into shape, rescue.h carries exceptions.
#include "tarku/sat/cadical_solver.h"

#include <algorithm>
#include <cadical.hpp>
#include <optional>
#include <tracer.hpp>
#include <unordered_set>

#include "tarku/exception.h"
#include "tarku/sat/proof_listener.h"
#include "tarku/sat/rescue.h"
#include "tarku/sat/theory_driver.h"
#include "tarku/sat/trail.h"
#include "tarku/termination_test.h"

namespace tarku::sat {
namespace {

// ==== the theory ====

// CaDiCaL takes clauses literal by literal, a 0 at the end.
class ClauseReader {
 public:
  void open(const Clause& clause) {
    clause_ = &clause;
    next_ = 0;
  }
  bool is_open() const { return clause_ != nullptr; }
  Literal read() {
    if (next_ < clause_->size()) return (*clause_)[next_++];
    clause_ = nullptr;
    return 0;
  }

 private:
  const Clause* clause_ = nullptr;
  std::size_t next_ = 0;
};

class Propagator : public CaDiCaL::ExternalPropagator {
 public:
  // `solver` is stopped as soon as `rescue` holds something.
  Propagator(Theory& theory, Trail& trail, Rescue& rescue, Statistics& statistics, CaDiCaL::Solver& solver)
      : driver_(theory, trail, rescue, statistics), rescue_(rescue), solver_(solver) {
    are_reasons_forgettable = true;  // they are many, and can be had again
  }
  TheoryDriver& driver() { return driver_; }

  void notify_assignment(const std::vector<int>& literals) override {
    for (const int literal : literals) {
      // Variables that are fixed may come under the name of another one that is; fixed ones are told elsewhere, too.
      if (driver_.is_observed(literal)) driver_.on_assign(literal);
    }
  }
  void notify_new_decision_level() override { driver_.on_level(); }
  void notify_backtrack(std::size_t level) override { driver_.on_backtrack(level); }

  int cb_propagate() override { return stop_or(driver_.propagate()); }
  int cb_decide() override { return stop_or(driver_.decide()); }
  bool cb_check_found_model(const std::vector<int>&) override { return stop_or(driver_.check_model()); }
  bool cb_has_external_clause(bool& is_forgettable) override {
    if (!driver_.next_clause(is_forgettable)) return stop_or(false);
    reader_.open(driver_.clause());
    return true;
  }
  int cb_add_external_clause_lit() override { return reader_.read(); }
  int cb_add_reason_clause_lit(int propagated) override {
    if (!reader_.is_open()) {
      driver_.explain(propagated);
      reader_.open(driver_.clause());
    }
    return stop_or(reader_.read());
  }

 private:
  template <class Reply>
  Reply stop_or(Reply reply) {
    if (rescue_.holds() && solver_.state() == CaDiCaL::SOLVING) solver_.terminate();
    return reply;
  }

  TheoryDriver driver_;
  ClauseReader reader_;
  Rescue& rescue_;
  CaDiCaL::Solver& solver_;
};

// ==== the proof ====

// A clause that CaDiCaL takes out of its formula because it can repair models afterwards (weakens) may come back under
// the id it had. For the listener it never goes away.
class ProofTracer : public CaDiCaL::Tracer {
 public:
  ProofTracer(ProofListener& listener, Rescue& rescue) : listener_(listener), rescue_(rescue) {}
  void set_searching(bool searching) { searching_ = searching; }

  void add_original_clause(std::uint64_t id, bool, const std::vector<int>& clause, bool restored) override {
    tell([&] {
      if (restored) {
        weakened_.erase(id);
      } else if (searching_) {
        listener_.add_theory(id, clause);
      } else {
        listener_.add_input(id, clause);
      }
    });
  }
  void add_derived_clause(std::uint64_t id, bool, const std::vector<int>& clause,
                          const std::vector<std::uint64_t>& antecedents) override {
    tell([&] { listener_.add_derived(id, clause, antecedents); });
  }
  void add_assumption_clause(std::uint64_t id, const std::vector<int>& clause,
                             const std::vector<std::uint64_t>& antecedents) override {
    tell([&] {
      assumption_clauses_.push_back(id);
      listener_.add_derived(id, clause, antecedents);
    });
  }
  void weaken_minus(std::uint64_t id, const std::vector<int>&) override {
    tell([&] { weakened_.insert(id); });
  }
  void delete_clause(std::uint64_t id, bool, const std::vector<int>&) override {
    tell([&] {
      if (weakened_.count(id) == 0) listener_.remove(id);
    });
  }
  void conclude_unsat(CaDiCaL::ConclusionType, const std::vector<std::uint64_t>& ids) override {
    tell([&] { listener_.conclude(ids); });
  }
  void reset_assumptions() override {
    tell([&] {
      for (const ClauseId id : assumption_clauses_) listener_.remove(id);
      assumption_clauses_.clear();
    });
  }
  void conclude_contradiction() {
    tell([&] { listener_.conclude({}); });
  }

 private:
  template <class Call>
  void tell(Call&& call) noexcept {
    if (complete_) complete_ = rescue_.run(std::forward<Call>(call));
  }

  ProofListener& listener_;
  Rescue& rescue_;
  bool searching_ = false;
  bool complete_ = true;                      // nothing was lost to an exception so far
  std::unordered_set<ClauseId> weakened_;     // out of CaDiCaL's formula, not of the listener's
  std::vector<ClauseId> assumption_clauses_;  // of the last conclusion
};

// ==== everything else that CaDiCaL calls back for ====

class Watcher : public CaDiCaL::Terminator, public CaDiCaL::FixedAssignmentListener, public CaDiCaL::Learner {
 public:
  Watcher(Trail& trail, Rescue& rescue, Statistics& statistics)
      : trail_(trail), rescue_(rescue), statistics_(statistics) {}
  void set_test(const TerminationTest* test) { test_ = test; }

  bool terminate() override {
    if (test_ != nullptr && !rescue_.holds()) rescue_.run([&] { (*test_)(); });
    return rescue_.holds();
  }
  void notify_fixed_assignment(int literal) override {
    if (trail_.is_variable(std::abs(literal))) trail_.fix(literal);
  }
  bool learning(int) override {
    ++statistics_.learned;
    return false;
  }
  void learn(int) override {}

 private:
  Trail& trail_;
  Rescue& rescue_;
  Statistics& statistics_;
  const TerminationTest* test_ = nullptr;
};

// ==== the solver ====

class CadicalSolver final : public Solver {
 public:
  explicit CadicalSolver(const Options& options);
  ~CadicalSolver() override;
  CadicalSolver(const CadicalSolver&) = delete;
  CadicalSolver& operator=(const CadicalSolver&) = delete;

  Variable new_variable() override;
  Variable new_observed_variable() override;
  int num_variables() const override { return trail_.num_variables(); }
  bool is_observed(Variable variable) const override { return trail_.is_observed(variable); }
  void add_clause(const Clause& clause) override;
  void connect(Theory& theory) override;
  void assume(Literal literal) override;
  Answer solve() override;
  Answer simplify(int rounds) override;
  void unwind() override;
  bool value(Literal literal) override;
  bool failed(Literal literal) override;
  bool is_fixed(Literal literal) const override;
  void set_phase(Literal literal) override;
  void clear_phase(Variable variable) override;
  void limit_conflicts(int number) override;
  void limit_decisions(int number) override;
  void set_termination_test(const TerminationTest* test) override;
  Statistics statistics() const override;

 private:
  void set_option(const std::string& name, int value);
  void begin_change(const char* call);
  void require_idle(const char* call) const;
  void require_answer(Answer answer, const char* call) const;
  void require_literal(Literal literal, const char* call) const;
  const Literal* find_contradiction() const;
  Answer contradicted(Literal literal);
  void reserve_levels();
  void set_searching(bool searching);
  template <class Call>
  void entrust(Call&& call);
  template <class Run>
  Answer search(std::size_t num_assumptions, Run&& run);

  // Before cadical_, which calls back until it is gone.
  Trail trail_;
  Rescue rescue_;
  mutable Statistics statistics_;
  Watcher watcher_;
  std::unique_ptr<ProofTracer> tracer_;
  std::optional<Propagator> propagator_;
  CaDiCaL::Solver cadical_;

  bool searching_ = false;
  bool broken_ = false;  // CaDiCaL threw: nothing can be asked of it any more
  Answer answer_ = Answer::unknown;
  std::vector<Literal> assumptions_;  // for the next solve
  std::size_t num_assumptions_ = 0;   // of the last one
  Clause contradiction_;              // a failed pair of assumptions that CaDiCaL was not asked about
};

CadicalSolver::CadicalSolver(const Options& options) : watcher_(trail_, rescue_, statistics_) {
  set_option("quiet", 1);
  set_option("seed", options.seed);
  set_option("inprocessing", options.inprocessing ? 1 : 0);
  for (const auto& [name, value] : options.settings) set_option(name, value);
  if (options.proof != nullptr) {
    tracer_ = std::make_unique<ProofTracer>(*options.proof, rescue_);
    cadical_.connect_proof_tracer(tracer_.get(), /*antecedents=*/true);
  }
  cadical_.connect_terminator(&watcher_);
  cadical_.connect_fixed_listener(&watcher_);
  cadical_.connect_learner(&watcher_);
}

// CaDiCaL deletes tracers that it still has, and lets itself be parted from them only in a state that is valid.
CadicalSolver::~CadicalSolver() {
  if (broken_) {
    tracer_.release();
    return;
  }
  if (propagator_) cadical_.disconnect_external_propagator();
  if (tracer_) cadical_.disconnect_proof_tracer(tracer_.get());
}

void CadicalSolver::set_option(const std::string& name, int value) {
  if (!cadical_.set(name.c_str(), value)) throw Exception() << "CaDiCaL has no option " << name;
}

// ---- which calls are allowed ----

void CadicalSolver::require_idle(const char* call) const {
  if (broken_) throw Exception() << "sat::Solver::" << call << ": the solver was lost to an exception";
  if (searching_) throw Exception() << "sat::Solver::" << call << " called back during the search";
}

void CadicalSolver::begin_change(const char* call) {
  require_idle(call);
  answer_ = Answer::unknown;
}

void CadicalSolver::require_answer(Answer answer, const char* call) const {
  require_idle(call);
  if (answer_ != answer) {
    throw Exception() << "sat::Solver::" << call << ": the last answer was not "
                      << (answer == Answer::sat ? "sat" : "unsat");
  }
}

void CadicalSolver::require_literal(Literal literal, const char* call) const {
  // The negation of the smallest integer is none; written so that it is not computed.
  const bool known = literal > 0 ? literal <= num_variables() : literal < 0 && literal >= -num_variables();
  if (!known) throw Exception() << "sat::Solver::" << call << ": " << literal << " is no literal of any variable";
}

// ---- the problem ----

Variable CadicalSolver::new_variable() {
  require_idle("new_variable");
  trail_.add_variable(/*observed=*/false);
  return num_variables();
}

// CaDiCaL takes such variables during the search, too, provided that they are new to it (others may have been
// eliminated) and that it is not in the middle of a conflict analysis, which holds references into its tables.
Variable CadicalSolver::new_observed_variable() {
  if (!searching_) begin_change("new_observed_variable");
  if (!propagator_) throw Exception() << "sat::Solver::new_observed_variable: no theory is connected";
  if (propagator_->driver().is_explaining()) {
    throw Exception() << "sat::Solver::new_observed_variable called back by Theory::explain";
  }
  reserve_levels();
  propagator_->driver().reserve();
  trail_.add_variable(/*observed=*/true);
  entrust([&] { cadical_.add_observed_var(num_variables()); });
  return num_variables();
}

void CadicalSolver::add_clause(const Clause& clause) {
  require_idle("add_clause");
  for (const Literal literal : clause) require_literal(literal, "add_clause");
  begin_change("add_clause");
  entrust([&] { cadical_.clause(clause); });
  rescue_.rethrow();
}

void CadicalSolver::connect(Theory& theory) {
  require_idle("connect");
  if (propagator_) throw Exception() << "sat::Solver::connect: a theory is connected already";
  propagator_.emplace(theory, trail_, rescue_, statistics_, cadical_);
  cadical_.connect_external_propagator(&*propagator_);
}

// ---- solving ----

void CadicalSolver::assume(Literal literal) {
  require_idle("assume");
  require_literal(literal, "assume");
  answer_ = Answer::unknown;
  assumptions_.push_back(literal);
}

// A level is a decision or an assumption.
void CadicalSolver::reserve_levels() {
  trail_.reserve_levels(static_cast<std::size_t>(num_variables()) + num_assumptions_ + 2);
}

void CadicalSolver::set_searching(bool searching) {
  searching_ = searching;
  if (tracer_) tracer_->set_searching(searching);
}

// An exception of CaDiCaL's own, which is one about memory, leaves it in a state that nobody knows.
template <class Call>
void CadicalSolver::entrust(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (...) {
    broken_ = true;
    set_searching(false);
    throw;
  }
}

// Lets CaDiCaL run, and throws what was rescued meanwhile.
template <class Run>
Answer CadicalSolver::search(std::size_t num_assumptions, Run&& run) {
  num_assumptions_ = num_assumptions;
  reserve_levels();
  set_searching(true);
  int status = 0;
  entrust([&] {
    status = std::forward<Run>(run)();
    if (status == CaDiCaL::UNSATISFIABLE && tracer_) cadical_.conclude();
  });
  set_searching(false);
  rescue_.rethrow();
  if (status == CaDiCaL::SATISFIABLE) answer_ = Answer::sat;
  if (status == CaDiCaL::UNSATISFIABLE) answer_ = Answer::unsat;
  return answer_;
}

Answer CadicalSolver::solve() {
  begin_change("solve");
  ++statistics_.solves;
  contradiction_.clear();
  if (const Literal* literal = find_contradiction()) return contradicted(*literal);
  const std::vector<Literal> assumptions = std::exchange(assumptions_, {});
  return search(assumptions.size(), [&] {
    for (const Literal literal : assumptions) cadical_.assume(literal);
    const int status = cadical_.solve();
    // Asks for reasons; at the first question about failed assumptions otherwise, when the theory may be elsewhere.
    if (status == CaDiCaL::UNSATISFIABLE && !assumptions.empty()) cadical_.failed(assumptions.front());
    return status;
  });
}

Answer CadicalSolver::simplify(int rounds) {
  begin_change("simplify");
  return search(0, [&] {
    const int status = cadical_.simplify(std::max(rounds, 0));
    return status == CaDiCaL::UNSATISFIABLE ? status : 0;
  });
}

// CaDiCaL would conclude with a tautology, which nothing follows from.
const Literal* CadicalSolver::find_contradiction() const {
  const std::unordered_set<Literal> all(assumptions_.begin(), assumptions_.end());
  for (const Literal& literal : assumptions_) {
    if (all.count(-literal) != 0) return &literal;
  }
  return nullptr;
}

Answer CadicalSolver::contradicted(Literal literal) {
  contradiction_ = {literal, -literal};
  assumptions_.clear();
  if (tracer_) tracer_->conclude_contradiction();
  rescue_.rethrow();
  return answer_ = Answer::unsat;
}

void CadicalSolver::unwind() {
  require_idle("unwind");
  if (propagator_) propagator_->driver().unwind();
}

// ---- answers ----

bool CadicalSolver::value(Literal literal) {
  require_answer(Answer::sat, "value");
  require_literal(literal, "value");
  if (std::abs(literal) > cadical_.vars()) return literal < 0;  // made, never used
  return cadical_.val(literal) == literal;
}

bool CadicalSolver::failed(Literal literal) {
  require_answer(Answer::unsat, "failed");
  require_literal(literal, "failed");
  if (!contradiction_.empty()) return literal == contradiction_[0] || literal == contradiction_[1];
  return cadical_.failed(literal);
}

bool CadicalSolver::is_fixed(Literal literal) const {
  require_literal(literal, "is_fixed");
  return trail_.is_fixed(literal);
}

// ---- guidance and limits ----

void CadicalSolver::set_phase(Literal literal) {
  if (broken_) require_idle("set_phase");
  require_literal(literal, "set_phase");
  cadical_.phase(literal);
}

void CadicalSolver::clear_phase(Variable variable) {
  require_idle("clear_phase");
  require_literal(variable, "clear_phase");
  cadical_.unphase(variable);
}

void CadicalSolver::limit_conflicts(int number) {
  require_idle("limit_conflicts");
  cadical_.limit("conflicts", number);
}

void CadicalSolver::limit_decisions(int number) {
  require_idle("limit_decisions");
  cadical_.limit("decisions", number);
}

void CadicalSolver::set_termination_test(const TerminationTest* test) {
  require_idle("set_termination_test");
  watcher_.set_test(test);
}

Statistics CadicalSolver::statistics() const {
  if (!searching_ && !broken_) {
    statistics_.clauses = static_cast<std::uint64_t>(cadical_.irredundant());
    statistics_.learned_kept = static_cast<std::uint64_t>(cadical_.redundant());
  }
  return statistics_;
}

}  // namespace

std::unique_ptr<Solver> make_cadical(const Options& options) {
  return std::make_unique<CadicalSolver>(options);
}

}  // namespace tarku::sat
