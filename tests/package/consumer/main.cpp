// Uses the installed library: x >= 3 and x <= 2 contradict each other, x >= 3 alone does not; a and not a do.
#include "tarku/la/lasolver.h"
#include "tarku/sat/cadical_solver.h"

static bool sat_solver_works() {
  const auto solver = tarku::sat::make_cadical();
  const tarku::sat::Variable a = solver->new_variable();
  solver->add_clause({a});
  const bool alone = solver->solve() == tarku::sat::Answer::sat;
  solver->add_clause({-a});
  return alone && solver->solve() == tarku::sat::Answer::unsat;
}

int main() {
  using tarku::QNumber;
  using tarku::la::DNumber;
  tarku::la::Solver solver(false, 0);
  solver.tell_lower_bound(1, 1, DNumber(QNumber(3)));
  solver.tell_upper_bound(2, 1, DNumber(QNumber(2)));
  const bool alone = solver.push_constraint(1) && solver.check(false);
  const bool both = solver.push_constraint(2) && solver.check(false);
  return alone && !both && sat_solver_works() ? 0 : 1;
}
