// Makes an unsatisfiable core irreducible.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

// `background` and `candidates` are formulas that contradict each other together. Gives positions in `candidates`,
// ascending, such that those candidates and the background still do, and no longer when any one of them is left out.
//
// Each candidate is left out once: when the rest is still unsatisfiable it stays out, with all that the core of the
// rest does not mention. One whose check has no answer stays in. What the test throws passes through. `work` limits
// each check, 0 for no limit.
std::vector<std::size_t> minimize_core(TermManager& terms, const std::vector<Term>& background,
                                       const std::vector<Term>& candidates, const TerminationTest* test,
                                       std::uint64_t work);

}  // namespace tarku::smt
