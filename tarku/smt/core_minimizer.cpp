// Deletion-based minimisation on an engine of its own.
#include "tarku/smt/core_minimizer.h"

#include <algorithm>

#include "tarku/smt/engine.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

std::vector<std::size_t> minimize_core(TermManager& terms, const std::vector<Term>& background,
                                       const std::vector<Term>& candidates, TerminationTest* test) {
  Engine engine(terms);
  engine.set_termination_test(test);
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
    const bool is_superfluous = engine.check() == Answer::unsat;
    if (test != nullptr) (*test)();  // an interrupted check says nothing
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
