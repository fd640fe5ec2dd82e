// Peak memory of one solver on a generated sparse system; a program of its own, so that the peak is the solver's.
//
//   memory_probe [ROWS COLS TERMS [ROOM [LIMIT_MIB]]]      (10000 20000 3 10; no limit)
//
// ROOM is how far a row may stray from its value at the hidden solution; the less room, the more pivots. Prints the
// steps with their times, and the largest resident set the process ever had. Fails when the verdict is wrong or the
// peak exceeds the limit.
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
  const int room = argc > 4 ? std::atoi(argv[4]) : 10;
  const long limit_mib = argc > 5 ? std::atol(argv[5]) : 0;
  if (argc == 2 || argc == 3 || argc > 6 || rows < 1 || terms < 1 || cols < terms || room < 0) {
    std::fprintf(stderr, "usage: memory_probe [ROWS COLS TERMS [ROOM [LIMIT_MIB]]]\n");
    return 2;
  }
  std::printf("%d rows, %d columns, %d terms a row, room %d\n", rows, cols, terms, room);

  Stopwatch total;
  const auto problem = tarku::bench::sparse_system(rows, cols, terms, room, 1);
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
