// Generated linear programs of known verdict, for benchmarks: random, combinatorial and nasty ones.
//
// Every generator is a function of its arguments and a seed alone, and says in `satisfiable` what a solver must answer;
// the reason is in the remark above it. Problems are plain records, so the same one can be told to many solvers.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/lasolver.h"

namespace tarku::bench {

using la::DNumber;
using la::Equation;
using Terms = std::vector<std::pair<int, QNumber>>;  // variable, coefficient

enum class BoundKind { lower, equal, upper, different };

struct Bound {
  int var;
  BoundKind kind;
  QNumber value;
};

struct Problem {
  std::string name;
  bool satisfiable = true;
  int num_vars = 0;            // variables are 1 .. num_vars, the defining ones of `rows` among them
  std::vector<Equation> rows;  // told under the constraint indices 1 .. rows.size()
  std::vector<Bound> bounds;   // told under the constraint indices that follow
  int first_bound() const { return static_cast<int>(rows.size()) + 1; }
  int past_bounds() const { return first_bound() + static_cast<int>(bounds.size()); }

  int new_var() { return ++num_vars; }
  // Adds a variable that stands for the sum of the terms; gives the variable.
  int new_row(const Terms& terms);
  void at_least(int var, const QNumber& value) { bounds.push_back({var, BoundKind::lower, value}); }
  void at_most(int var, const QNumber& value) { bounds.push_back({var, BoundKind::upper, value}); }
  void exactly(int var, const QNumber& value) { bounds.push_back({var, BoundKind::equal, value}); }
  void not_equal(int var, const QNumber& value) { bounds.push_back({var, BoundKind::different, value}); }
};

// The splitmix64 sequence: the same numbers on every machine, unlike the distributions of the standard library.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  // A number of [low, high].
  std::int64_t between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(high - low + 1));
  }
  std::int64_t nonzero(std::int64_t limit) {
    const std::int64_t value = between(1, limit);
    return next() % 2 == 0 ? value : -value;
  }

 private:
  std::uint64_t state_;
};

// ---- telling and asserting ----

inline int Problem::new_row(const Terms& terms) {
  const int var = new_var();
  rows.emplace_back(var);
  for (const auto& [x, c] : terms) rows.back().add_term(x, c);
  return var;
}

// Tells all equations (and puts them on the stack) and all bounds; asserts no bound.
inline void tell(const Problem& problem, la::Solver& solver) {
  int index = 0;
  for (const Equation& row : problem.rows) {
    solver.tell_equation(++index, row);
    solver.add_equation(index);
  }
  for (const Bound& bound : problem.bounds) {
    const DNumber value(bound.value);
    ++index;
    switch (bound.kind) {
      case BoundKind::lower:
        solver.tell_lower_bound(index, bound.var, value);
        break;
      case BoundKind::equal:
        solver.tell_equal_bound(index, bound.var, value);
        break;
      case BoundKind::upper:
        solver.tell_upper_bound(index, bound.var, value);
        break;
      case BoundKind::different:
        solver.tell_diseq_bound(index, bound.var, value);
        break;
    }
  }
}

// Asserts every bound and decides; false as soon as there is a conflict.
inline bool assert_and_check(const Problem& problem, la::Solver& solver) {
  for (int index = problem.first_bound(); index < problem.past_bounds(); ++index) {
    if (!solver.push_constraint(index)) return false;
  }
  return solver.check(false);
}

// ---- the generators ----

// `rows` rows over `cols` variables of [0, 100], every coefficient drawn from [-9, 9], bounded on one side by the value
// that a hidden integer point gives plus some room: satisfiable. The unsatisfiable variant adds the sum of all rows
// with an upper bound and asks it to exceed the sum of these bounds.
inline Problem dense_random(int rows, int cols, bool satisfiable, std::uint64_t seed) {
  Problem p;
  p.name = "dense_random/" + std::to_string(rows) + "x" + std::to_string(cols);
  p.satisfiable = satisfiable;
  Random random(seed);
  std::vector<std::int64_t> point;
  for (int j = 0; j < cols; ++j) {
    const int x = p.new_var();
    p.at_least(x, 0);
    p.at_most(x, 100);
    point.push_back(random.between(0, 100));
  }
  std::vector<std::int64_t> sum_coeffs(point.size(), 0);
  std::int64_t sum_bounds = 0;
  for (int i = 0; i < rows; ++i) {
    Terms terms;
    std::int64_t value = 0;
    const bool upper = random.next() % 2 == 0;
    for (std::size_t j = 0; j < point.size(); ++j) {
      const std::int64_t c = random.between(-9, 9);
      terms.emplace_back(static_cast<int>(j) + 1, QNumber(c, 1));
      value += c * point[j];
      if (upper) sum_coeffs[j] += c;
    }
    const int row = p.new_row(terms);
    if (upper) {
      const std::int64_t bound = value + random.between(0, 20);
      p.at_most(row, QNumber(bound));
      sum_bounds += bound;
    } else {
      p.at_least(row, QNumber(value - random.between(0, 20)));
    }
  }
  if (!satisfiable) {
    Terms terms;
    for (std::size_t j = 0; j < point.size(); ++j) terms.emplace_back(static_cast<int>(j) + 1, QNumber(sum_coeffs[j]));
    p.at_least(p.new_row(terms), QNumber(sum_bounds + 1));
  }
  return p;
}

// The n x n assignment polytope with random costs of [1, 100]. Satisfiable: the total cost may be that of the greedy
// assignment. Unsatisfiable: it must be below the sum of the cheapest entries of all rows.
inline Problem assignment(int n, bool satisfiable, std::uint64_t seed) {
  Problem p;
  p.name = "assignment/" + std::to_string(n);
  p.satisfiable = satisfiable;
  Random random(seed);
  std::vector<std::vector<int>> x(n, std::vector<int>(n)), cost = x;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      x[i][j] = p.new_var();
      cost[i][j] = static_cast<int>(random.between(1, 100));
      p.at_least(x[i][j], 0);
    }
  }
  Terms total;
  int greedy = 0, cheapest = 0;
  std::vector<bool> taken(n, false);
  for (int i = 0; i < n; ++i) {
    Terms across, down;
    int choice = -1, least = 0;
    for (int j = 0; j < n; ++j) {
      across.emplace_back(x[i][j], 1);
      down.emplace_back(x[j][i], 1);
      total.emplace_back(x[i][j], cost[i][j]);
      if (!taken[j] && (choice < 0 || cost[i][j] < cost[i][choice])) choice = j;
      if (cost[i][j] < cost[i][least]) least = j;
    }
    p.exactly(p.new_row(across), 1);
    p.exactly(p.new_row(down), 1);
    taken[choice] = true;
    greedy += cost[i][choice];
    cheapest += cost[i][least];
  }
  p.at_most(p.new_row(total), satisfiable ? greedy : cheapest - 1);
  return p;
}

// A random network with `degree` arcs out of every node, capacities of [1, 50] and the balances of a hidden flow:
// satisfiable. Unsatisfiable: one node wants one unit more, so the balances no longer add up to zero.
inline Problem flow(int nodes, int degree, bool satisfiable, std::uint64_t seed) {
  Problem p;
  p.name = "flow/" + std::to_string(nodes) + "x" + std::to_string(degree);
  p.satisfiable = satisfiable;
  Random random(seed);
  std::vector<Terms> net(nodes);
  std::vector<std::int64_t> balance(nodes, 0);
  for (int from = 0; from < nodes; ++from) {
    for (int k = 0; k < degree; ++k) {
      const int to = static_cast<int>((from + random.between(1, nodes - 1)) % nodes);
      const int arc = p.new_var();
      const std::int64_t capacity = random.between(1, 50), amount = random.between(0, capacity);
      p.at_least(arc, 0);
      p.at_most(arc, QNumber(capacity));
      net[from].emplace_back(arc, 1);
      net[to].emplace_back(arc, -1);
      balance[from] += amount;
      balance[to] -= amount;
    }
  }
  if (!satisfiable) ++balance[0];
  for (int v = 0; v < nodes; ++v) p.exactly(p.new_row(net[v]), QNumber(balance[v]));
  return p;
}

// The Klee-Minty cube: e <= x_1 <= 1 and e x_(j-1) <= x_j <= 1 - e x_(j-1) for e = 1/4. The greatest x_n is 1 - e^n,
// and that is what x_n must reach or exceed. Needs n <= 30 (powers of four in machine words).
inline Problem klee_minty(int n, bool satisfiable) {
  Problem p;
  p.name = "klee_minty/" + std::to_string(n);
  p.satisfiable = satisfiable;
  const QNumber e(1, 4);
  for (int j = 1; j <= n; ++j) p.new_var();
  p.at_least(1, e);
  p.at_most(1, 1);
  for (int j = 2; j <= n; ++j) {
    p.at_least(p.new_row({{j, 1}, {j - 1, e.neg()}}), 0);
    p.at_most(p.new_row({{j, 1}, {j - 1, e}}), 1);
  }
  const std::int64_t power = std::int64_t{1} << (2 * n);
  p.at_least(n, satisfiable ? QNumber(power - 1, power) : QNumber(1));
  return p;
}

// x_(i+1) - x_i >= 1 for n links over non-negative x, and x_(n+1) - x_1 at most n (satisfiable, everything tight) or
// n - 1.
inline Problem difference_chain(int n, bool satisfiable) {
  Problem p;
  p.name = "difference_chain/" + std::to_string(n);
  p.satisfiable = satisfiable;
  for (int i = 0; i <= n; ++i) p.at_least(p.new_var(), 0);
  for (int i = 1; i <= n; ++i) p.at_least(p.new_row({{i + 1, 1}, {i, -1}}), 1);
  p.at_most(p.new_row({{n + 1, 1}, {1, -1}}), satisfiable ? n : n - 1);
  return p;
}

// n equations in n unknowns of [-100, 100] whose coefficients are fractions of some 60 over 30 bits, so that numbers
// grow at once. A hidden point of small fractions solves them; unsatisfiable: the first unknown must lie below its only
// value.
inline Problem big_coefficients(int n, bool satisfiable, std::uint64_t seed) {
  Problem p;
  p.name = "big_coefficients/" + std::to_string(n);
  p.satisfiable = satisfiable;
  Random random(seed);
  std::vector<QNumber> point;
  for (int j = 0; j < n; ++j) {
    const int x = p.new_var();
    p.at_least(x, -100);
    p.at_most(x, 100);
    point.emplace_back(random.nonzero(99), random.between(1, 99));
  }
  for (int i = 0; i < n; ++i) {
    Terms terms;
    QNumber value;
    for (int j = 0; j < n; ++j) {
      const QNumber c(random.nonzero(std::int64_t{1} << 60), random.between(1, std::int64_t{1} << 30));
      terms.emplace_back(j + 1, c);
      value += c * point[static_cast<std::size_t>(j)];
    }
    p.exactly(p.new_row(terms), value);
  }
  p.at_most(1, satisfiable ? point[0] : point[0] - QNumber(1));
  return p;
}

// Adds a row of `terms` random variables out of those of `point`, which are the first ones, with coefficients of [-9,
// 9] without 0. Gives its value at the point.
inline std::int64_t add_random_row(Problem* p, const std::vector<std::int64_t>& point, int terms, Random* random) {
  Equation row(p->new_var());
  std::int64_t value = 0;
  for (int k = 0; k < terms;) {
    const auto j = static_cast<std::size_t>(random->between(0, static_cast<std::int64_t>(point.size()) - 1));
    if (row.coeff(static_cast<int>(j) + 1).sign() != 0) continue;  // drawn before: draw again
    const std::int64_t c = random->nonzero(9);
    row.add_term(static_cast<int>(j) + 1, QNumber(c));
    value += c * point[j];
    ++k;
  }
  p->rows.push_back(std::move(row));
  return value;
}

// `rows` rows of `terms` random variables out of `cols`, coefficients of [-9, 9] without 0; variables lie in
// [-100, 100], rows within `room` of the value at a hidden integer point: satisfiable.
inline Problem sparse_system(int rows, int cols, int terms, std::int64_t room, std::uint64_t seed) {
  Problem p;
  p.name = "sparse_system/" + std::to_string(rows) + "x" + std::to_string(cols);
  Random random(seed);
  std::vector<std::int64_t> point;
  for (int j = 0; j < cols; ++j) {
    const int x = p.new_var();
    p.at_least(x, -100);
    p.at_most(x, 100);
    point.push_back(random.between(-100, 100));
  }
  for (int i = 0; i < rows; ++i) {
    const std::int64_t value = add_random_row(&p, point, terms, &random);
    p.at_least(p.num_vars, QNumber(value - room));
    p.at_most(p.num_vars, QNumber(value + room));
  }
  return p;
}

// Something to choose from: `rows` rows of `terms` of the `cols` variables, and `per_var` one-sided bounds on every
// variable, defined ones included, in no particular order. A bound keeps a hidden point but for `stray` percent of
// them, so that what is asserted at random contradicts itself sooner or later.
inline Problem choices(int rows, int cols, int terms, int per_var, int stray, std::uint64_t seed) {
  Problem p;
  p.name = "choices/" + std::to_string(rows) + "x" + std::to_string(cols) + "x" + std::to_string(terms);
  Random random(seed);
  std::vector<std::int64_t> point;
  for (int j = 0; j < cols; ++j) {
    p.new_var();
    point.push_back(random.between(-20, 20));
  }
  std::vector<std::int64_t> values = point;
  for (int i = 0; i < rows; ++i) values.push_back(add_random_row(&p, point, terms, &random));
  for (int k = 0; k < per_var; ++k) {
    for (int var = 1; var <= p.num_vars; ++var) {
      const std::int64_t room = random.between(0, 10) * (random.between(1, 100) <= stray ? -1 : 1);
      const std::int64_t value = values[static_cast<std::size_t>(var) - 1];
      if (random.next() % 2 == 0) {
        p.at_least(var, QNumber(value - room));
      } else {
        p.at_most(var, QNumber(value + room));
      }
    }
  }
  return p;
}

// Variables of [0, 100] and rows over them, all zero where a solver starts; `diseqs` rows and variables in turn must
// not be. Satisfiable: no row is zero everywhere near the start, and a box is not covered by finitely many planes.
inline Problem different_rows(int rows, int cols, int diseqs, std::uint64_t seed) {
  Problem p;
  p.name = "different_rows/" + std::to_string(rows) + "x" + std::to_string(cols) + "x" + std::to_string(diseqs);
  Random random(seed);
  const std::vector<std::int64_t> origin(static_cast<std::size_t>(cols), 0);
  for (int j = 0; j < cols; ++j) {
    const int x = p.new_var();
    p.at_least(x, 0);
    p.at_most(x, 100);
  }
  for (int i = 0; i < rows; ++i) {
    add_random_row(&p, origin, 3, &random);
    p.at_least(p.num_vars, -1000);
    p.at_most(p.num_vars, 1000);
  }
  for (int k = 0; k < diseqs; ++k) {
    const bool of_row = k % 2 == 0 && k / 2 < rows;
    p.not_equal(of_row ? cols + 1 + k / 2 : 1 + k / 2, 0);
  }
  return p;
}

}  // namespace tarku::bench
