// Makes a failing trace small.
#pragma once

#include <functional>

#include "tests/tools/trace.h"

namespace tarku::tester {

// Drops operations, then simplifies what is left, as long as `fails` still says true; `fails(trace)` must be true to
// begin with. Asks at most `budget` times.
Trace shrink(Trace trace, const std::function<bool(const Trace&)>& fails, int budget);

}  // namespace tarku::tester
