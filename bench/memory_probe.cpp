// Peak memory of one solver on a generated sparse system; a program of its own, so that the peak is the solver's.
//
//   memory_probe [ROWS COLS TERMS [LIMIT_MIB]]      (10000 20000 3; no limit)
//
// Prints the steps with their times, and the largest resident set the process ever had. Fails when the verdict is wrong
// or the peak exceeds the limit.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "bench/generators.h"

namespace {

long peak_kib() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

class Stopwatch {
 public:
  double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void report(const char* step, double seconds) {
  std::printf("%-10s %8.2f s  peak %7.1f MiB\n", step, seconds, static_cast<double>(peak_kib()) / 1024);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const int rows = argc > 3 ? std::atoi(argv[1]) : 10000;
  const int cols = argc > 3 ? std::atoi(argv[2]) : 20000;
  const int terms = argc > 3 ? std::atoi(argv[3]) : 3;
  const long limit_mib = argc > 4 ? std::atol(argv[4]) : 0;
  if ((argc != 1 && argc != 4 && argc != 5) || rows < 1 || terms < 1 || cols < terms) {
    std::fprintf(stderr, "usage: memory_probe [ROWS COLS TERMS [LIMIT_MIB]]\n");
    return 2;
  }
  std::printf("%d rows, %d columns, %d terms a row\n", rows, cols, terms);

  Stopwatch total;
  const auto problem = tarku::bench::sparse_system(rows, cols, terms, 50, 1);
  tarku::la::Solver solver(false, 0);
  tarku::bench::tell(problem, solver);
  report("told", total.seconds());
  const bool verdict = tarku::bench::assert_and_check(problem, solver);
  report("decided", total.seconds());
  std::printf("%s, %d pivots\n", verdict ? "sat" : "unsat", solver.num_pivots_);

  if (verdict != problem.satisfiable) {
    std::fprintf(stderr, "memory_probe: error: wrong verdict\n");
    return 1;
  }
  if (limit_mib > 0 && peak_kib() > limit_mib * 1024) {
    std::fprintf(stderr, "memory_probe: error: peak above %ld MiB\n", limit_mib);
    return 1;
  }
  return 0;
}
