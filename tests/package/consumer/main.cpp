// Uses the installed library: x >= 3 and x <= 2 contradict each other, x >= 3 alone does not.
#include "tarku/la/lasolver.h"

int main() {
  using tarku::QNumber;
  using tarku::la::DNumber;
  tarku::la::Solver solver(false, 0);
  solver.tell_lower_bound(1, 1, DNumber(QNumber(3)));
  solver.tell_upper_bound(2, 1, DNumber(QNumber(2)));
  const bool alone = solver.push_constraint(1) && solver.check(false);
  const bool both = solver.push_constraint(2) && solver.check(false);
  return alone && !both ? 0 : 1;
}
