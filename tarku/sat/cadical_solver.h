// The SAT solver of the system: CaDiCaL behind the interface in solver.h.
#pragma once

#include <memory>

#include "tarku/sat/solver.h"

namespace tarku::sat {

// Throws Exception for settings that CaDiCaL does not know, and in a build of the library without CaDiCaL.
std::unique_ptr<Solver> make_cadical(const Options& options = {});

}  // namespace tarku::sat
