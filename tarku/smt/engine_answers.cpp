// The engine's answers: refutations, models, and their checks.
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <utility>

#include "tarku/proof/certificate.h"
#include "tarku/smt/checking_sink.h"
#include "tarku/smt/core_minimizer.h"
#include "tarku/smt/engine_internal.h"
#include "tarku/smt/term_assertions.h"

namespace tarku::smt {

// ---- refutations ----

std::vector<int> Engine::unsat_core() {
  require(Answer::unsat, "unsat_core");
  std::vector<int> result = within_limits([this] { return core(); });
  result.erase(std::lower_bound(result.begin(), result.end(), num_asserted_), result.end());
  return result;
}

std::vector<std::size_t> Engine::failed_assumptions() {
  require(Answer::unsat, "failed_assumptions");
  return positions_of_assumptions(within_limits([this] { return core(); }));
}

std::vector<std::size_t> Engine::positions_of_assumptions(const std::vector<int>& indices) const {
  std::vector<std::size_t> result;
  for (const int index : indices) {
    if (index >= num_asserted_) result.push_back(static_cast<std::size_t>(index - num_asserted_));
  }
  return result;
}

std::vector<int> Engine::core() {
  if (conflict_.is_boolean && !search_->clauses().is_logged()) throw Exception() << "unsat_core: no proofs were kept";
  if (!conflict_.is_arithmetic()) return conflict_.assertions;
  std::vector<int> result;
  for (const int constraint : refutation().constraints()) result.push_back(assertion_of(constraint));
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

std::vector<int> Engine::minimal_core(const std::function<bool(int)>& is_member) {
  require(Answer::unsat, "minimal_core");
  return minimize([&](int index) { return index < num_asserted_ && is_member(index); });
}

std::vector<std::size_t> Engine::minimal_failed_assumptions() {
  require(Answer::unsat, "minimal_failed_assumptions");
  return positions_of_assumptions(minimize([this](int index) { return index >= num_asserted_; }));
}

// By checks of an engine of its own. All that is no member stays in force.
std::vector<int> Engine::minimize(const std::function<bool(int)>& is_member) {
  std::vector<Term> background, candidates;
  std::vector<int> members;
  for (const Assertion& assertion : assertions_) {
    if (!is_member(assertion.index)) background.push_back(assertion.formula);
  }
  return within_limits([&] {
    for (const int index : core()) {
      if (!is_member(index)) continue;
      members.push_back(index);
      candidates.push_back(find_assertion(static_cast<std::uint64_t>(index))->formula);
    }
    std::vector<int> result;
    for (const std::size_t i : minimize_core(terms_, background, candidates, &limiter_, limiter_.limits().work)) {
      result.push_back(members[i]);
    }
    return result;
  });
}

void Engine::certify(std::uint64_t check, proof::CertificateSink& sink) {
  require(Answer::unsat, "certify");
  within_limits([&] { tell_refutation(check, sink); });
}

void Engine::tell_refutation(std::uint64_t check, proof::CertificateSink& sink) {
  if (conflict_.is_boolean) {
    if (!search_->clauses().is_logged()) throw Exception() << "certify: no proofs were kept";
    return search_->clauses().certify(check, conflict_.conclusion, sink);
  }
  if (conflict_.is_arithmetic()) return refutation().certify(check, stated(), sink);
  const auto source = [this](std::size_t i) { return static_cast<std::uint64_t>(conflict_.assertions[i]); };
  sink.begin(check);
  if (conflict_.symbol == 0) {  // one assertion is false by itself
    sink.input(1, source(0), {});
    return sink.qed(1);
  }
  // The sign tells which of the two says that the symbol is true.
  const int first = conflict_.symbol > 0 ? 1 : -1;
  sink.boolean(1, terms_.name(boolean_symbols_[static_cast<std::size_t>(std::abs(conflict_.symbol)) - 1]));
  sink.input(1, source(0), {first});
  sink.input(2, source(conflict_.assertions.size() - 1), {-first});
  sink.rup(3, {}, {1, 2});
  sink.qed(3);
}

const proof::Refutation& Engine::refutation() {
  if (!refutation_ && !conflict_.sum.empty()) refutation_ = proof::Refutation::of_sum(conflict_.sum, stated());
  if (!refutation_) {
    refutation_ = conflict_.proof != nullptr ? proof::Refutation::of(*conflict_.proof, stated())
                                             : proof::Refutation::of_equation(conflict_.equality, stated());
  }
  return *refutation_;
}

StatedConstraints& Engine::stated() {
  if (!stated_) {
    stated_.emplace(terms_, atoms_, [this](int constraint) { return assertion_of(constraint); });
    stated_->equations().set_poll([this] { poll(); });
    num_stated_equations_ = 0;
  }
  for (; num_stated_equations_ < equality_pivots_.size(); ++num_stated_equations_) {
    const EqualityPivot& pivot = equality_pivots_[num_stated_equations_];
    stated_->add_equation(pivot.constraint, pivot.unknown);
  }
  return *stated_;
}

// ---- checking answers ----

// The three answers have three proofs: of sat a model, of unsat a certificate; unknown claims nothing.
void Engine::verify(Answer answer) {
  if (answer == Answer::sat) verify_model();
  if (answer == Answer::unsat) verify_refutation();
}

void Engine::verify_model() {
  for (const Assertion& assertion : assertions_) {
    poll();
    if (model().bool_value(assertion.formula)) continue;
    std::ostringstream values;
    solver_->dump_debug_status(values);
    throw AnswerRefused("sat", "assertion " + std::to_string(assertion.index) + " is false in the model", values.str());
  }
}

void Engine::verify_refutation() {
  const auto assertion = [this](std::uint64_t index) {
    const Assertion* const found = find_assertion(index);
    return found != nullptr ? found->formula : Term();
  };
  const auto real = [this](int variable) { return atoms_.symbol(variable); };
  const auto boolean = [this](int) {
    return boolean_symbols_[static_cast<std::size_t>(std::abs(conflict_.symbol)) - 1];
  };
  if (conflict_.is_boolean) return verify_search();
  TermAssertions assertions(terms_, {assertion, real, boolean});
  checker::Checker checker(&assertions);
  CheckingSink sink(checker);
  try {
    tell_refutation(0, sink);
    if (!checker.is_finished()) throw checker::Refused("the certificate has no end");
  } catch (const Interrupted&) {
    throw;
  } catch (const checker::Refused& refusal) {
    refuse_unsat(refusal.what());
  } catch (const Exception& failure) {
    refuse_unsat(failure.what());
  }
}

void Engine::verify_search() {
  if (!search_checker_) search_checker_ = std::make_unique<SearchChecker>(*this);
  try {
    SearchChecker& kept = *search_checker_;
    CheckingSink sink(kept.checker);
    const auto passing = search_->clauses().certify_rest(conflict_.conclusion, sink, &kept.told);
    if (!kept.checker.is_finished()) throw checker::Refused("the certificate has no end");
    kept.checker.reopen();
    kept.checker.remove(passing);
  } catch (const checker::Refused& refusal) {
    search_checker_.reset();
    refuse_unsat(refusal.what());
  } catch (...) {
    search_checker_.reset();
    throw;
  }
}

void Engine::refuse_unsat(const std::string& reason) {
  std::ostringstream text;
  try {
    proof::CertificateWriter writer(text);
    tell_refutation(0, writer);
  } catch (const Exception&) {
    text << "; the certificate ends here\n";
  }
  solver_->debug_dump_smtlib(text);
  throw AnswerRefused("unsat", reason, text.str());
}

// ---- models ----

QNumber Engine::real_value(Term t) {
  require(Answer::sat, "real_value");
  require_term(t, Sort::real, "real_value");
  return within_limits([&] { return model().real_value(t); });
}

bool Engine::bool_value(Term t) {
  require(Answer::sat, "bool_value");
  require_term(t, Sort::boolean, "bool_value");
  return within_limits([&] { return model().bool_value(t); });
}

Evaluator& Engine::model() {
  if (!model_) {
    if (!has_found_) prepare_values();
    model_.emplace(
        terms_, [this](Term symbol) { return symbol_value(symbol); },
        [this](Term symbol) { return symbol_truth(symbol); }, &limiter_);
  }
  return *model_;
}

// With disequalities in force a small infinitesimal is not enough: the solver has to move values apart.
void Engine::prepare_values() {
  separated_ = !solver_->diseqs_.empty();
  if (separated_) {
    separate_values();
  } else {
    delta_ = short_fraction(solver_->smallest_ratio());
  }
}

// Halving an infinitesimal ends in vain when unequal values happen to meet each time. Odd parts of it meet other
// values.
void Engine::separate_values() {
  auto& solver = static_cast<TheorySolver&>(*solver_);
  for (int divisor = 1;; divisor += 2) {
    solver.set_divisor(divisor);
    try {
      return solver.build_model({});
    } catch (const Interrupted&) {
      throw;
    } catch (const Exception&) {
      if (divisor > std::numeric_limits<int>::max() - 2) throw;
    }
  }
}

QNumber Engine::symbol_value(Term symbol) {
  const int variable = atoms_.find_variable(symbol);
  if (!has_found_) return variable_value(variable);
  const auto index = static_cast<std::size_t>(variable);
  return index < found_values_.size() ? found_values_[index] : QNumber();
}

// Variable 0 stands for none.
QNumber Engine::variable_value(int variable) {
  QNumber result;
  if (variable == 0) return result;
  la::DNumber value;
  if (!(separated_ && solver_->get_value(variable, &result)) && solver_->get_abstract_value(variable, &value)) {
    result = value.real();
    result.add_mul(value.delta(), delta_);
  }
  return result + offset(variable);
}

bool Engine::symbol_truth(Term symbol) {
  const auto found = boolean_variables_.find(symbol.id());
  if (found != boolean_variables_.end() && static_cast<std::size_t>(found->second) < boolean_holders_.size()) {
    const Holder& holder = boolean_holders_[static_cast<std::size_t>(found->second)];
    if (holder.count > 0) return holder.value;
  }
  if (const auto truth = found_truths_.find(found == boolean_variables_.end() ? 0 : found->second);
      has_found_ && truth != found_truths_.end()) {
    return truth->second;
  }
  // The guide's models are of literals alone: the SAT solver has no answer then.
  const int variable = has_found_ && !formulas_.empty() ? search_->clausifier().find_symbol(symbol) : 0;
  return variable != 0 && search_->value(variable);
}

}  // namespace tarku::smt
