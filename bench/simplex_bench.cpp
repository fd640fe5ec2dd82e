// Speed of the solver on generated linear programs: whole checks, searches alone, and incremental re-checks.
//
// Three series over the same problems:
//   whole/        builds a solver, tells everything, asserts everything, decides
//   search/       the same, but only asserting and deciding are timed
//   incremental/  unsatisfiable ones only: takes the last bound back, decides, asserts it again, decides
// Counters: pivots of one round, pivots per second of timed work, allocations of one round and per pivot.
// Every verdict is compared with the known one; a wrong one stops the benchmark with an error.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/generators.h"

namespace {

using tarku::bench::allocation_count;
using tarku::bench::Problem;
using tarku::la::Solver;
using State = benchmark::State;

struct Totals {
  double rounds = 0, pivots = 0, allocations = 0;
};

void report(State& state, const Problem& problem, const Totals& totals) {
  using benchmark::Counter;
  const double rounds = totals.rounds > 0 ? totals.rounds : 1;
  state.counters["pivots"] = totals.pivots / rounds;
  state.counters["pivots/s"] = Counter(totals.pivots, Counter::kIsRate);
  state.counters["allocs"] = totals.allocations / rounds;
  state.counters["allocs/pivot"] = totals.pivots > 0 ? totals.allocations / totals.pivots : 0;
  state.SetLabel(problem.satisfiable ? "sat" : "unsat");
}

// Times setting up and deciding together (whole), or only deciding.
void decide(State& state, const Problem& problem, bool whole) {
  Totals totals;
  for (auto _ : state) {
    if (!whole) state.PauseTiming();
    std::uint64_t start = allocation_count;
    auto solver = std::make_unique<Solver>(false, 0);
    tarku::bench::tell(problem, *solver);
    if (!whole) {
      start = allocation_count;
      state.ResumeTiming();
    }
    const bool verdict = tarku::bench::assert_and_check(problem, *solver);
    if (!whole) state.PauseTiming();
    totals.allocations += static_cast<double>(allocation_count - start);
    totals.pivots += solver->num_pivots_;
    ++totals.rounds;
    if (verdict != problem.satisfiable) {
      state.SkipWithError("wrong verdict");
      return;
    }
    solver.reset();
    if (!whole) state.ResumeTiming();
  }
  report(state, problem, totals);
}

void recheck(State& state, const Problem& problem) {
  Solver solver(false, 0);
  tarku::bench::tell(problem, solver);
  bool right = tarku::bench::assert_and_check(problem, solver) == problem.satisfiable;
  const int last = solver.constraint_stack_.back().first;
  const std::uint64_t start = allocation_count;
  const int first_pivot = solver.num_pivots_;
  Totals totals;
  for (auto _ : state) {
    solver.pop_constraint();
    right = solver.check(false) && right;  // all but the last bound can be satisfied
    const bool verdict = solver.push_constraint(last) && solver.check(false);
    right = right && verdict == problem.satisfiable;
    ++totals.rounds;
  }
  if (!right) state.SkipWithError("wrong verdict");
  totals.pivots = solver.num_pivots_ - first_pivot;
  totals.allocations = static_cast<double>(allocation_count - start);
  report(state, problem, totals);
}

std::vector<Problem> make_problems() {
  namespace b = tarku::bench;
  std::vector<Problem> problems;
  for (const bool satisfiable : {true, false}) {
    problems.push_back(b::dense_random(10, 15, satisfiable, 1));
    problems.push_back(b::dense_random(30, 40, satisfiable, 2));
    problems.push_back(b::assignment(8, satisfiable, 3));
    problems.push_back(b::assignment(20, satisfiable, 4));
    problems.push_back(b::flow(50, 4, satisfiable, 5));
    problems.push_back(b::flow(400, 4, satisfiable, 6));
    problems.push_back(b::klee_minty(8, satisfiable));
    problems.push_back(b::klee_minty(20, satisfiable));
    problems.push_back(b::difference_chain(100, satisfiable));
    problems.push_back(b::difference_chain(1000, satisfiable));
    problems.push_back(b::big_coefficients(6, satisfiable, 7));
    problems.push_back(b::big_coefficients(16, satisfiable, 8));
  }
  problems.push_back(b::sparse_system(1000, 2000, 3, 50, 9));
  return problems;
}

void add(const std::string& series, const Problem& problem, const std::function<void(State&)>& body) {
  const std::string name = series + problem.name + (problem.satisfiable ? "/sat" : "/unsat");
  benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int argc, char** argv) {
  tarku::bench::count_gmp_allocations();
  const std::vector<Problem> problems = make_problems();
  for (const Problem& problem : problems) {
    add("whole/", problem, [&problem](State& state) { decide(state, problem, true); });
    add("search/", problem, [&problem](State& state) { decide(state, problem, false); });
    if (!problem.satisfiable) add("incremental/", problem, [&problem](State& state) { recheck(state, problem); });
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
