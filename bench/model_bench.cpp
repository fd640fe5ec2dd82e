// Models of large problems with many disequalities: deciding, and building the model.
//
// Named model/PROBLEM/check, model/PROBLEM/build and, with equations that make it halve delta some sixty times where
// the last disequality is on a value of delta, model/PROBLEM/build_halving. The last size of a problem's name is the
// number of disequalities. Every model is looked at; a wrong one stops the benchmark.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/generators.h"

namespace {

using tarku::QNumber;
using tarku::bench::allocation_count;
using tarku::bench::Bound;
using tarku::bench::BoundKind;
using tarku::bench::Problem;
using tarku::la::Equation;
using tarku::la::Solver;
using State = benchmark::State;

bool keeps(const Bound& bound, const QNumber& value) {
  switch (bound.kind) {
    case BoundKind::lower:
      return value >= bound.value;
    case BoundKind::upper:
      return value <= bound.value;
    case BoundKind::equal:
      return value == bound.value;
    case BoundKind::different:
      return value != bound.value;
  }
  return false;
}

bool model_fits(const Problem& problem, Solver& solver) {
  QNumber value;
  for (const Bound& bound : problem.bounds) {
    if (!solver.get_value(bound.var, &value) || !keeps(bound, value)) return false;
  }
  for (const Equation& row : problem.rows) {
    QNumber sum;
    for (const Equation::VarCoeff& term : row.terms()) {
      if (!solver.get_value(term.var, &value)) return false;
      sum += value * term.coeff;
    }
    if (!solver.get_value(row.defining_var(), &value) || value != sum) return false;
  }
  return true;
}

void check(State& state, const Problem& problem) {
  Solver solver(false, 0);
  tarku::bench::tell(problem, solver);
  bool right = tarku::bench::assert_and_check(problem, solver);
  const std::uint64_t first_allocation = allocation_count;
  const int first_pivot = solver.num_pivots_;
  double rounds = 0;
  for (auto _ : state) {
    right = solver.check(false) && right;
    ++rounds;
  }
  if (!right) return state.SkipWithError("wrong verdict");
  state.counters["allocs"] = static_cast<double>(allocation_count - first_allocation) / rounds;
  state.counters["pivots"] = (solver.num_pivots_ - first_pivot) / rounds;
}

// Takes a power of two for delta, at most 1.
class BinarySolver : public Solver {
 public:
  BinarySolver() : Solver(false, 0) {}
  void set_delta_value(QNumber& delta) override {
    QNumber power(1);
    while (delta < power) power *= QNumber(1, 2);
    delta.swap(power);
  }
};

// Equations that come true one after the other while delta is halved, if var has the value delta: 2^i * var = 1.
std::vector<Equation> obstacles(int var, int halvings) {
  std::vector<Equation> eqs;
  QNumber power(1);
  for (int i = 0; i < halvings; ++i, power += power) {
    eqs.emplace_back();
    eqs.back().add_term(var, power);
    eqs.back().set_constant(QNumber(-1));
  }
  return eqs;
}

// The model moves the values off the constants, so each round begins with a fresh solver.
void build(State& state, const Problem& problem, int halvings) {
  double rounds = 0, allocations = 0, pivots = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto solver = std::make_unique<BinarySolver>();
    tarku::bench::tell(problem, *solver);
    const bool verdict = tarku::bench::assert_and_check(problem, *solver);
    const std::vector<Equation> eqs = obstacles(problem.bounds.back().var, halvings);
    const std::uint64_t first_allocation = allocation_count;
    const int first_pivot = solver->num_pivots_;
    state.ResumeTiming();
    solver->build_model(eqs);
    state.PauseTiming();
    allocations += static_cast<double>(allocation_count - first_allocation);
    pivots += solver->num_pivots_ - first_pivot;
    ++rounds;
    if (!verdict || !model_fits(problem, *solver)) return state.SkipWithError("wrong model");
    solver.reset();
    state.ResumeTiming();
  }
  state.counters["allocs"] = allocations / rounds;
  state.counters["pivots"] = pivots / rounds;
}

// A system whose values lie on their bounds where the search leaves them, and must not.
Problem off_the_bounds(int rows, int cols, std::size_t diseqs) {
  Problem p = tarku::bench::sparse_system(rows, cols, 3, 50, 4);
  p.name = "off_the_bounds/" + std::to_string(rows) + "x" + std::to_string(cols) + "x" + std::to_string(diseqs);
  for (std::size_t i = p.bounds.size() - diseqs; diseqs > 0; ++i, --diseqs) {
    p.not_equal(p.bounds[i].var, p.bounds[i].value);
  }
  return p;
}

}  // namespace

int main(int argc, char** argv) {
  namespace b = tarku::bench;
  b::count_gmp_allocations();
  const std::vector<Problem> problems = {b::different_rows(100, 900, 100, 1),    b::different_rows(1000, 9000, 0, 2),
                                         b::different_rows(1000, 9000, 1000, 2), b::different_rows(5000, 5000, 1000, 3),
                                         off_the_bounds(3000, 7000, 0),          off_the_bounds(3000, 7000, 1000)};
  const auto add = [](const std::string& name, const std::function<void(State&)>& body) {
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond);
  };
  for (const Problem& problem : problems) {
    const std::string name = "model/" + problem.name;
    add(name + "/check", [&problem](State& state) { check(state, problem); });
    add(name + "/build", [&problem](State& state) { build(state, problem, 0); });
    add(name + "/build_halving", [&problem](State& state) { build(state, problem, 60); });
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
