// Deletion-based minimisation on an engine of its own.
#include "tarku/smt/core_minimizer.h"

#include <algorithm>
#include <string>

#include "tarku/smt/engine.h"

namespace tarku::smt {

namespace {

// What stops a check stops the minimisation, except for the limit of the check itself.
constexpr const char* work_exhausted = "resourceout";

[[noreturn]] void pass_on(const std::string& reason) {
  Interrupted stopped;
  stopped << reason;
  throw stopped;
}

}  // namespace

std::vector<std::size_t> minimize_core(TermManager& terms, const std::vector<Term>& background,
                                       const std::vector<Term>& candidates, const TerminationTest* test,
                                       std::uint64_t work) {
  Engine engine(terms);
  engine.set_termination_test(test);
  Limits limits;
  limits.work = work;
  engine.set_limits(limits);
  for (const Term formula : background) engine.assert_term(formula);
  std::vector<std::size_t> needed;
  std::vector<std::size_t> open(candidates.size());
  for (std::size_t i = 0; i < open.size(); ++i) open[i] = open.size() - 1 - i;  // the first one is tried first
  while (!open.empty()) {
    const std::size_t tried = open.back();
    open.pop_back();
    engine.push();
    std::vector<int> index_of;
    for (const std::size_t other : open) index_of.push_back(engine.assert_term(candidates[other]));
    const Answer answer = engine.check();
    if (answer == Answer::unknown && engine.reason_unknown() != work_exhausted) pass_on(engine.reason_unknown());
    const bool is_superfluous = answer == Answer::unsat;
    const std::vector<int> core = is_superfluous ? engine.unsat_core() : std::vector<int>();
    engine.pop();
    if (!is_superfluous) {
      needed.push_back(tried);
      engine.assert_term(candidates[tried]);
      continue;
    }
    std::vector<std::size_t> rest;
    for (std::size_t i = 0; i < open.size(); ++i) {
      if (std::binary_search(core.begin(), core.end(), index_of[i])) rest.push_back(open[i]);
    }
    open = std::move(rest);
  }
  std::sort(needed.begin(), needed.end());
  return needed;
}

}  // namespace tarku::smt
