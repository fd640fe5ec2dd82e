// What proofs cost: conflict-heavy work with proof objects and without, in one run.
//
// Named WORK/PROBLEM/proofs_off and WORK/PROBLEM/proofs_on, so that bench/table compares them. The work of both is the
// same, pivot by pivot; one operation is one conflict, from the last answer to the next.
//
//   refute/  asserts all bounds of an unsatisfiable problem in a fresh solver and decides; only that is timed
//   recheck/ takes the last bound of an unsatisfiable problem back, decides, asserts it again, decides
//   walk/    random assertions, see walk.h: mostly conflicts of few bounds
//   split/   disequalities on fixed rows: both sides are refuted each time
//
// Differences of some per cent need repetitions in random order:
//   proof_bench --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true
#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/generators.h"
#include "bench/walk.h"

namespace {

using benchmark::Counter;
using tarku::QNumber;
using tarku::bench::allocation_count;
using tarku::bench::Problem;
using tarku::la::Solver;
using tarku::proof::Proof;
using State = benchmark::State;

struct Totals {
  double conflicts = 0, members = 0, allocations = 0, pivots = 0;
};

void report(State& state, const Totals& totals) {
  const double conflicts = totals.conflicts > 0 ? totals.conflicts : 1;
  state.counters["time/op"] = Counter(totals.conflicts, Counter::kIsRate | Counter::kInvert);
  state.counters["allocs/op"] = totals.allocations / conflicts;
  state.counters["members"] = totals.members / conflicts;
  state.counters["pivots/op"] = totals.pivots / conflicts;
}

void note_conflict(const Solver& solver, Totals* totals) {
  ++totals->conflicts;
  totals->members += static_cast<double>(solver.conflict_.size());
}

// As an engine would: it looks at the proof, and lets it go.
void take_proof(Solver& solver) {
  if (solver.proofs_enabled_) Proof::release(solver.get_conflict_proof());
}

void refute(State& state, const Problem& problem, bool proofs) {
  Totals totals;
  for (auto _ : state) {
    state.PauseTiming();
    auto solver = std::make_unique<Solver>(proofs, 0);
    tarku::bench::tell(problem, *solver);
    const std::uint64_t start = allocation_count;
    state.ResumeTiming();
    const bool verdict = tarku::bench::assert_and_check(problem, *solver);
    take_proof(*solver);
    state.PauseTiming();
    totals.allocations += static_cast<double>(allocation_count - start);
    totals.pivots += solver->num_pivots_;
    note_conflict(*solver, &totals);
    solver.reset();
    state.ResumeTiming();
    if (verdict) return state.SkipWithError("wrong verdict");
  }
  report(state, totals);
}

void recheck(State& state, const Problem& problem, bool proofs) {
  Solver solver(proofs, 0);
  tarku::bench::tell(problem, solver);
  bool right = !tarku::bench::assert_and_check(problem, solver);
  const int last = solver.constraint_stack_.back().first;
  const std::uint64_t start = allocation_count;
  const int first_pivot = solver.num_pivots_;
  Totals totals;
  for (auto _ : state) {
    solver.pop_constraint();
    right = solver.check(false) && right;
    right = !(solver.push_constraint(last) && solver.check(false)) && right;
    take_proof(solver);
    note_conflict(solver, &totals);
  }
  if (!right) return state.SkipWithError("wrong verdict");
  totals.pivots = solver.num_pivots_ - first_pivot;
  totals.allocations = static_cast<double>(allocation_count - start);
  report(state, totals);
}

void walk(State& state, const Problem& problem, bool proofs) {
  Solver solver(proofs, 0);
  tarku::bench::tell(problem, solver);
  solver.initialize();
  const std::uint64_t start = allocation_count;
  Totals totals;
  for (auto _ : state) {
    const auto walked = tarku::bench::Walk(problem, &solver, 1).run(2000);
    totals.conflicts += static_cast<double>(walked.conflicts);
    totals.members += static_cast<double>(walked.explanations);
  }
  totals.pivots = solver.num_pivots_;
  totals.allocations = static_cast<double>(allocation_count - start);
  report(state, totals);
}

// Rows whose variables are fixed may not have the value that they have; one disequality after the other is tried.
Problem fixed_rows(int rows, int terms) {
  Problem p;
  p.name = "fixed_rows/" + std::to_string(rows) + "x" + std::to_string(terms);
  tarku::bench::Random random(1);
  const int cols = 2 * terms;
  std::vector<std::int64_t> point;
  for (int j = 0; j < cols; ++j) {
    point.push_back(random.between(-20, 20));
    const int x = p.new_var();
    p.at_least(x, QNumber(point.back()));
    p.at_most(x, QNumber(point.back()));
  }
  std::vector<std::int64_t> values;
  for (int i = 0; i < rows; ++i) values.push_back(tarku::bench::add_random_row(&p, point, terms, &random));
  for (int i = 0; i < rows; ++i) p.not_equal(cols + 1 + i, QNumber(values[static_cast<std::size_t>(i)]));
  return p;
}

void split(State& state, const Problem& problem, bool proofs) {
  Solver solver(proofs, 0);
  tarku::bench::tell(problem, solver);
  const int rows = static_cast<int>(problem.rows.size());
  const int first_diseq = problem.past_bounds() - rows;
  bool right = true;
  for (int c = problem.first_bound(); c < first_diseq; ++c) right = solver.push_constraint(c) && right;
  right = solver.check(false) && right;
  const std::uint64_t start = allocation_count;
  Totals totals;
  for (auto _ : state) {
    for (int c = first_diseq; c < problem.past_bounds(); ++c) {
      solver.push_constraint(c);
      right = !solver.check(false) && right;
      take_proof(solver);
      note_conflict(solver, &totals);
      solver.pop_constraint();
    }
  }
  if (!right) return state.SkipWithError("wrong verdict");
  totals.pivots = solver.num_pivots_;
  totals.allocations = static_cast<double>(allocation_count - start);
  report(state, totals);
}

using Work = void (*)(State&, const Problem&, bool);

void add(const std::string& name, const Problem& problem, Work work) {
  for (const bool proofs : {false, true}) {
    std::string size = problem.name;
    for (char& letter : size) letter = letter == '/' ? '_' : letter;
    benchmark::RegisterBenchmark((name + "/" + size + (proofs ? "/proofs_on" : "/proofs_off")).c_str(),
                                 [work, &problem, proofs](State& state) { work(state, problem, proofs); })
        ->Unit(benchmark::kMicrosecond);
  }
}

}  // namespace

int main(int argc, char** argv) {
  namespace b = tarku::bench;
  b::count_gmp_allocations();
  const std::vector<Problem> unsatisfiable = {b::dense_random(10, 15, false, 1), b::assignment(8, false, 3),
                                              b::flow(50, 4, false, 5),          b::klee_minty(8, false),
                                              b::difference_chain(100, false),   b::big_coefficients(6, false, 7)};
  const std::vector<Problem> walks = {b::choices(0, 50, 0, 40, 20, 1), b::choices(50, 50, 3, 8, 10, 2),
                                      b::choices(20, 30, 12, 8, 10, 3), b::choices(500, 1000, 4, 4, 5, 4)};
  const std::vector<Problem> splits = {fixed_rows(50, 3), fixed_rows(20, 30)};
  for (const Problem& problem : unsatisfiable) {
    add("refute", problem, refute);
    add("recheck", problem, recheck);
  }
  for (const Problem& problem : walks) add("walk", problem, walk);
  for (const Problem& problem : splits) add("split", problem, split);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
