// Takes the place of cadical_solver.cpp in a library built without CaDiCaL, for those who need arithmetic alone.
#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"

namespace tarku::sat {

std::unique_ptr<Solver> make_cadical(const Options&) {
  throw Exception() << "this build of the library has no SAT solver (TARKU_WITH_CADICAL=ON gives it one)";
}

}  // namespace tarku::sat
