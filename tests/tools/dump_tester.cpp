// Compares the SMT-LIB dumps of random solver states with the solver itself, through other solvers' eyes.
//
//   dump_tester [--seed N] [--count N] [--sabotage]
//
// Sequence number i has the seed N + i, as in the random tester. Between its operations a state is dumped now and then,
// and then checked; z3 and cvc5, as far as they are installed, must find the dump satisfiable exactly when that check
// answers true. A dump says nothing of disequalities, of bounds that were refused, nor of equations without variables,
// so states that are unsatisfiable for one of these are passed over. Dumping must change nothing. --sabotage expects
// the opposite of one check and succeeds when that is noticed. Exit status 77: there is no other solver.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/checker.h"
#include "tests/tools/generator.h"
#include "tests/unit/support/solver_state.h"

namespace tarku::tester {
namespace {

constexpr std::size_t kBatch = 2000;  // dumps that one process reads
constexpr int kSkipped = 77;

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t count = 1000;
  bool sabotage = false;
};

// ==== 01 STATES ====

struct State {
  std::uint64_t seed;
  std::size_t operations;  // of that sequence that led to it
  std::string dump;
  bool satisfiable;
};

struct Tally {
  std::size_t states = 0, repeated = 0, passed_over = 0, not_smtlib = 0, unsat = 0;
};

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::string dump_of(const la::Solver& solver) {
  const std::string before = test::state_text(solver);
  std::ostringstream text, status;
  solver.debug_dump_smtlib(text);
  solver.dump_debug_status(status);
  if (test::state_text(solver) != before) throw Failure("dump", "changes the solver");
  return text.str();
}

// Whether the dump tells all that a partial check goes by.
bool is_told_by_bounds(const Model& model, const la::Solver& solver) {
  if (model.contradictory_equations || model.has_failed_push()) return false;
  const auto is_diseq = [&](int c) { return std::count(model.diseqs.begin(), model.diseqs.end(), c) != 0; };
  return !model.in_conflict || std::none_of(solver.conflict_.begin(), solver.conflict_.end(), is_diseq);
}

class Collector {
 public:
  // Appends the states of one sequence.
  void run_sequence(std::uint64_t seed) {
    Features features;
    features.diseq = features.propagation = features.model = true;
    Generator generator(seed, features);
    Random random(seed);
    Checker checker(generator.config());
    for (int i = 0; i < generator.length(); ++i) {
      const Op op = generator.next(checker.model(), checker.last_was_sat());
      checker.run(op);
      if (random.chance(op.kind == OpKind::kPush ? 40 : 5)) take(seed, static_cast<std::size_t>(i) + 1, &checker);
    }
  }

  std::vector<State> states;
  Tally tally;

 private:
  void take(std::uint64_t seed, std::size_t operations, Checker* checker) {
    const std::string dump = dump_of(checker->solver());
    if (!is_told_by_bounds(checker->model(), checker->solver())) {
      ++tally.passed_over;
    } else if (contains(dump, "(+)")) {  // a row without terms
      ++tally.not_smtlib;
    } else if (!seen_.insert(dump).second) {
      ++tally.repeated;
    } else {
      Op check;
      check.kind = OpKind::kCheck;
      check.partial = true;
      checker->run(check);
      const bool satisfiable = !checker->solver().in_conflict_;
      states.push_back({seed, operations, dump, satisfiable});
      ++tally.states;
      tally.unsat += !satisfiable;
    }
  }

  std::set<std::string> seen_;
};

// ==== 02 OTHER SOLVERS ====

// A file that goes with this object.
class ScratchFile {
 public:
  ScratchFile() {
    const char* directory = std::getenv("TMPDIR");
    path_ = std::string(directory != nullptr ? directory : "/tmp") + "/tarku-dumps-XXXXXX";
    const int file = mkstemp(path_.data());
    if (file < 0) throw std::runtime_error("cannot make " + path_);
    close(file);
  }
  ~ScratchFile() { unlink(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct Judge {
  std::string name;
  std::string command;   // to be followed by the name of a script
  bool reads_lone_sums;  // "(+ t)", as a row of one term is dumped
};

std::vector<Judge> installed_judges() {
  std::vector<Judge> judges;
  for (const Judge& judge : {Judge{"z3", "z3", true}, Judge{"cvc5", "cvc5 --lang=smt2", false}}) {
    if (std::system(("command -v " + judge.name + " >/dev/null 2>&1").c_str()) == 0) judges.push_back(judge);
  }
  return judges;
}

// The lines that the command prints.
std::vector<std::string> output_of(const std::string& command) {
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  std::vector<std::string> lines;
  char buffer[1024];
  while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
    lines.emplace_back(buffer);
    if (lines.back().back() == '\n') lines.back().pop_back();
  }
  pclose(pipe);
  return lines;
}

// Whether the dump has a row of one term.
bool has_lone_sum(const std::string& dump) {
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t sum = line.find(" (+ (* ");
    if (line.compare(0, 11, "(assert (= ") == 0 && line.find(" (* ", sum + 4) == std::string::npos) return true;
  }
  return false;
}

// Gives the first state on which the judge and the solver differ, as text; empty when they agree on all.
std::string compare(const Judge& judge, const std::vector<const State*>& states) {
  ScratchFile script;
  std::ofstream out(script.path());
  for (const State* state : states) out << state->dump << "(reset)\n";
  out.close();
  const std::vector<std::string> lines = output_of(judge.command + " " + script.path() + " 2>&1");
  for (std::size_t i = 0; i < states.size(); ++i) {
    const std::string expected = states[i]->satisfiable ? "sat" : "unsat";
    const std::string answer = i < lines.size() ? lines[i] : "nothing";
    if (answer == expected) continue;
    return judge.name + " answers " + answer + " where a check answers " + expected + ": seed " +
           std::to_string(states[i]->seed) + ", after operation " + std::to_string(states[i]->operations) + "\n" +
           states[i]->dump;
  }
  return lines.size() == states.size() ? "" : judge.name + " says more: " + lines[states.size()];
}

// The same for any number of states.
std::string compare_all(const Judge& judge, const std::vector<State>& states) {
  std::vector<const State*> batch;
  std::size_t compared = 0;
  std::string offence;
  for (std::size_t i = 0; i < states.size() && offence.empty(); ++i) {
    if (judge.reads_lone_sums || !has_lone_sum(states[i].dump)) batch.push_back(&states[i]);
    if (batch.size() < kBatch && i + 1 < states.size()) continue;
    offence = compare(judge, batch);
    compared += batch.size();
    batch.clear();
  }
  std::printf("%s: %zu dumps compared\n", judge.name.c_str(), compared);
  return offence;
}

// ==== 03 THE RUN ====

Options parse_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    const bool has_operand = i + 1 < argc;
    if (name == "--sabotage") {
      options.sabotage = true;
    } else if (name == "--seed" && has_operand) {
      options.seed = std::strtoull(argv[++i], nullptr, 10);
    } else if (name == "--count" && has_operand) {
      options.count = std::strtoull(argv[++i], nullptr, 10);
    } else {
      std::fprintf(stderr, "usage: dump_tester [--seed N] [--count N] [--sabotage]\n");
      std::exit(2);
    }
  }
  return options;
}

int run(const Options& options) {
  const std::vector<Judge> judges = installed_judges();
  if (judges.empty()) {
    std::printf("dump_tester: neither z3 nor cvc5 is installed\n");
    return kSkipped;
  }
  Collector collector;
  for (std::uint64_t i = 0; i < options.count; ++i) collector.run_sequence(options.seed + i);
  const Tally& tally = collector.tally;
  std::printf("%zu states, %zu of them unsat; left out: %zu seen before, %zu not told by bounds, %zu not SMT-LIB\n",
              tally.states, tally.unsat, tally.repeated, tally.passed_over, tally.not_smtlib);
  if (tally.unsat == 0 || tally.unsat == tally.states) {
    std::printf("FAILED: too few states\n");
    return 1;
  }
  if (options.sabotage) {
    const auto whole = std::find_if(collector.states.rbegin(), collector.states.rend(),
                                    [](const State& state) { return !has_lone_sum(state.dump); });
    whole->satisfiable = !whole->satisfiable;
  }
  for (const Judge& judge : judges) {
    const std::string offence = compare_all(judge, collector.states);
    if (offence.empty() != options.sabotage) continue;
    std::printf("FAILED: %s\n", options.sabotage ? "the sabotage was not noticed" : offence.c_str());
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace tarku::tester

int main(int argc, char** argv) {
  try {
    return tarku::tester::run(tarku::tester::parse_options(argc, argv));
  } catch (const std::exception& error) {
    std::printf("FAILED: %s\n", error.what());
    return 1;
  }
}
