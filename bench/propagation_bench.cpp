// Implied constraints: how many a second, and what looking for them costs.
//
// The same walk (see walk.h) at propagation levels 0, 1 and 2, named walk/PROBLEM/levelN; bench/table compares them.
// Counters: time and allocations of one assertion with its share of checks and pops, implied constraints per second and
// per assertion, and the conflicts met.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/generators.h"
#include "bench/walk.h"

namespace {

using benchmark::Counter;
using tarku::bench::allocation_count;
using tarku::bench::Problem;
using tarku::bench::Walk;
using tarku::bench::WalkTotals;
using State = benchmark::State;

constexpr std::uint64_t kPushes = 2000;  // of one walk

void walk(State& state, const Problem& problem, int level) {
  tarku::la::Solver solver(false, 0);
  solver.propagation_level_ = level;
  tarku::bench::tell(problem, solver);
  solver.initialize();
  WalkTotals totals;
  double rounds = 0, allocations = 0;
  for (auto _ : state) {
    const std::uint64_t start = allocation_count;
    totals = Walk(problem, &solver, 1).run(kPushes);
    allocations += static_cast<double>(allocation_count - start);
    ++rounds;
  }
  if ((level == 0) != (totals.implied == 0)) state.SkipWithError("implications at the wrong level");
  const double pushes = rounds * static_cast<double>(kPushes);
  state.counters["time/op"] = Counter(pushes, Counter::kIsRate | Counter::kInvert);
  state.counters["allocs/op"] = allocations / pushes;
  state.counters["implied/s"] = Counter(rounds * static_cast<double>(totals.implied), Counter::kIsRate);
  state.counters["implied/op"] = static_cast<double>(totals.implied) / static_cast<double>(kPushes);
  state.counters["conflicts"] = static_cast<double>(totals.conflicts);
}

}  // namespace

int main(int argc, char** argv) {
  tarku::bench::count_gmp_allocations();
  // Many bounds on few rows; long rows; and so many variables that most rows are not touched by a step.
  const std::vector<Problem> problems = {tarku::bench::choices(50, 50, 3, 8, 5, 1),
                                         tarku::bench::choices(20, 30, 12, 8, 5, 2),
                                         tarku::bench::choices(500, 1000, 4, 4, 2, 3)};
  for (const Problem& problem : problems) {
    for (int level = 0; level <= 2; ++level) {
      const std::string name =
          "walk/" + problem.name.substr(problem.name.find('/') + 1) + "/level" + std::to_string(level);
      benchmark::RegisterBenchmark(name.c_str(), [&problem, level](State& state) {
        walk(state, problem, level);
      })->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
