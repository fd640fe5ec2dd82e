// Random tester of smt::Engine: sequences of calls with interruptions and limits, each answer judged by a fresh engine.
//
//   engine_tester [--seed N] [--count N] [--seconds N] [--sabotage N]
//   engine_tester --replay FILE...
//
// Each sequence has a seed of its own; the first one that fails is made small and printed, and the exit status is 1.
// With --sabotage the judge is misled in one of several ways, and the exit status says whether it has noticed.
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "tests/tools/engine_judge.h"
#include "tests/tools/engine_trace.h"
#include "tests/tools/failure.h"
#include "tests/tools/isolation.h"

namespace tarku::engine_tester {
namespace {

using Clock = std::chrono::steady_clock;
using tester::ChildResult;
using tester::Failure;

constexpr unsigned kSequenceSeconds = 60;
constexpr int kShrinkBudget = 2000;         // runs
constexpr std::uint64_t kLongRun = 2000;    // sequences after which everything must have been met
constexpr std::uint64_t kAlarmPeriod = 16;  // sequences between two settings of the alarm clock

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t count = 1000;
  double seconds = 0;
  Sabotage sabotage = Sabotage::none;
  std::vector<std::string> replay_files;
};

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: engine_tester [--seed N] [--count N] [--seconds N] [--sabotage 1..5] [--replay FILE...]\n");
  std::exit(2);
}

Options parse_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (++i == argc) usage();
    if (name == "--replay") {
      options.replay_files.assign(argv + i, argv + argc);
      return options;
    }
    const std::uint64_t number = std::strtoull(argv[i], nullptr, 10);
    if (name == "--seed") {
      options.seed = number;
    } else if (name == "--count") {
      options.count = number;
    } else if (name == "--seconds") {
      options.seconds = static_cast<double>(number);
    } else if (name == "--sabotage" && number >= 1 && number <= 5) {
      options.sabotage = static_cast<Sabotage>(number);
    } else {
      usage();
    }
  }
  return options;
}

// ==== one trace ====

// Throws Failure with the step that went wrong in its text.
void run(const Trace& trace, Sabotage sabotage, Tally* tally) {
  Judge judge(sabotage, tally);
  std::size_t place = 0;
  for (const Step& step : trace) {
    ++place;
    try {
      judge.take(step);
    } catch (const Failure& failure) {
      throw Failure(failure.category(), "at step " + std::to_string(place) + ", " + step.call + ": " + failure.what());
    }
  }
}

// The category of the failure and its text; both empty when all is well. A crash is a failure, too.
struct Outcome {
  std::string category, text;
};

Outcome run_isolated(const Trace& trace, Sabotage sabotage) {
  const ChildResult result = tester::run_in_child(
      [&](const tester::Sink& sink) {
        Tally tally;
        try {
          run(trace, sabotage, &tally);
        } catch (const Failure& failure) {
          sink(failure.category() + "\n" + failure.what());
        }
      },
      true, kSequenceSeconds);
  if (!result.crash.empty()) return {"crash", result.crash + " " + result.complaint};
  const std::size_t end = result.output.find('\n');
  if (end == std::string::npos) return {};
  return {result.output.substr(0, end), result.output.substr(end + 1)};
}

// Leaves out steps, many at once first, and then assumptions, as long as the failure stays of its category.
Trace shrunk(Trace trace, const std::function<bool(const Trace&)>& fails) {
  int budget = kShrinkBudget;
  for (std::size_t length = trace.size() / 2; length > 0; length /= 2) {
    for (bool has_changed = true; has_changed;) {
      has_changed = false;
      for (std::size_t i = 0; i + length <= trace.size() && budget-- > 0;) {
        Trace candidate = trace;
        const auto first = candidate.begin() + static_cast<std::ptrdiff_t>(i);
        candidate.erase(first, first + static_cast<std::ptrdiff_t>(length));
        if (!fails(candidate)) {
          ++i;
          continue;
        }
        trace = std::move(candidate);
        has_changed = true;
      }
    }
  }
  for (std::size_t i = 0; i < trace.size(); ++i) {
    for (std::size_t j = 0; trace[i].call == "check-assuming" && j < trace[i].formulas.size() && budget-- > 0;) {
      Trace candidate = trace;
      candidate[i].formulas.erase(candidate[i].formulas.begin() + static_cast<std::ptrdiff_t>(j));
      if (fails(candidate)) {
        trace = std::move(candidate);
      } else {
        ++j;
      }
    }
  }
  return trace;
}

void report(std::uint64_t seed, Sabotage sabotage) {
  Trace trace = random_trace(seed);
  const Outcome found = run_isolated(trace, sabotage);
  std::printf("\nFAILED: seed %llu; again: engine_tester --seed %llu --count 1\n",
              static_cast<unsigned long long>(seed), static_cast<unsigned long long>(seed));
  if (found.category.empty()) {
    std::printf("alone the sequence does not fail\n");
    return;
  }
  trace = shrunk(trace, [&](const Trace& t) { return run_isolated(t, sabotage).category == found.category; });
  std::printf("---- trace ----\n%s---- %s\n", to_str(trace).c_str(), run_isolated(trace, sabotage).text.c_str());
}

// ==== many ====

// The child writes, the parent reads.
struct Progress {
  std::uint64_t current = 0;  // sequence
  bool is_finished = false;
  Tally tally;
};

// Ends early at the first failure.
void run_sequences(const Options& options, Clock::time_point start, Progress* progress) {
  for (; progress->current < options.count; ++progress->current) {
    if (progress->current % kAlarmPeriod == 0) alarm(kSequenceSeconds);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (options.seconds > 0 && seconds > options.seconds) break;
    try {
      run(random_trace(options.seed + progress->current), options.sabotage, &progress->tally);
    } catch (const Failure&) {
      return;
    }
  }
  alarm(0);
  progress->is_finished = true;
}

// What a long run must have met; null when it has met all.
const char* unexercised(const Tally& t) {
  const std::pair<const char*, std::uint64_t> all[] = {{"sat", t.sat},
                                                       {"unsat", t.unsat},
                                                       {"unknown", t.unknown},
                                                       {"stopped check", t.stopped_checks},
                                                       {"stopped question", t.stopped_questions},
                                                       {"core", t.cores},
                                                       {"minimal core", t.minimal_cores},
                                                       {"failed assumption", t.assumptions},
                                                       {"model", t.models},
                                                       {"certificate", t.certificates},
                                                       {"misuse", t.misuses}};
  for (const auto& [name, count] : all) {
    std::printf("  %s: %llu\n", name, static_cast<unsigned long long>(count));
  }
  for (const auto& [name, count] : all) {
    if (count == 0) return name;
  }
  return nullptr;
}

int explore(const Options& options) {
  const Clock::time_point start = Clock::now();
  tester::Shared<Progress> progress;
  tester::run_in_child([&](const tester::Sink&) { run_sequences(options, start, &*progress); }, false, 0);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf("engine_tester: seeds from %llu on, %llu sequences, %.1f s\n",
              static_cast<unsigned long long>(options.seed), static_cast<unsigned long long>(progress->current),
              seconds);
  if (!progress->is_finished) {
    report(options.seed + progress->current, options.sabotage);
    return 1;
  }
  const char* const missing = unexercised(progress->tally);
  if (missing == nullptr || progress->current < kLongRun) return 0;
  std::printf("FAILED: no %s in so many sequences\n", missing);
  return 1;
}

int explore_sabotaged(const Options& options) {
  const bool is_noticed = explore(options) != 0;
  std::printf(is_noticed ? "noticed, as it should be\n" : "FAILED: the sabotage was not noticed\n");
  return is_noticed ? 0 : 1;
}

int replay_files(const Options& options) {
  int failures = 0;
  for (const std::string& name : options.replay_files) {
    std::ifstream in(name);
    const Outcome outcome = in ? run_isolated(read_trace(in), options.sabotage) : Outcome{"file", "cannot be read"};
    if (outcome.category.empty()) continue;
    ++failures;
    std::printf("%s: %s: %s\n", name.c_str(), outcome.category.c_str(), outcome.text.c_str());
  }
  std::printf("%zu traces, %d failures\n", options.replay_files.size(), failures);
  return failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tarku::engine_tester

int main(int argc, char** argv) {
  using namespace tarku::engine_tester;
  const Options options = parse_options(argc, argv);
  if (!options.replay_files.empty()) return replay_files(options);
  return options.sabotage == Sabotage::none ? explore(options) : explore_sabotaged(options);
}
