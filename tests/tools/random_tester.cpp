// Random tester of la::Solver: random legal sequences against a model and an exact oracle.
//
// Sequences are numbered; number i of a run has the seed --seed + i, from which everything follows. They run in a child
// process. When one fails or crashes, its trace is recorded, shrunk and printed; save it and give it to --replay.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/tools/checker.h"
#include "tests/tools/generator.h"
#include "tests/tools/isolation.h"
#include "tests/tools/shrinker.h"

namespace tarku::tester {
namespace {

constexpr unsigned kSequenceSeconds = 60;  // for one sequence that is recorded or replayed
constexpr int kShrinkBudget = 3000;
constexpr std::uint64_t kLongRun = 5000;  // sequences after which everything must have been exercised

// ==== 01 OPTIONS ====

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t count = 20000;
  double seconds = 0;  // 0: no limit
  Features features;
  std::string feature_names = "core";
  Sabotage sabotage = Sabotage::kNone;
  bool keep_going = false;
  bool isolate = true;
  bool shrink = true;
  bool strict = false;  // a replayed operation that is not legal counts as a failure
  std::string save_directory;
  std::vector<std::string> replay_files;
};

[[noreturn]] void usage(const std::string& offence) {
  std::fprintf(
      stderr,
      "%s\n"
      "usage: random_tester [--seed N] [--count N] [--seconds S] [--features core|diseq|propagation|model|all]\n"
      "                     [--keep-going] [--no-shrink] [--no-isolate] [--save DIRECTORY]\n"
      "                     [--sabotage 1..%d] [--threads 1] [--strict] [--replay FILE...]\n"
      "features may be joined by commas; --sabotage spoils what is observed and succeeds when that is noticed\n",
      offence.c_str(), kLastSabotage);
  std::exit(2);
}

std::uint64_t parse_number(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const std::uint64_t value = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || *end != 0 || errno != 0) usage("not a number: " + text);
  return value;
}

Features parse_features(const std::string& text) {
  Features features;
  std::istringstream names(text);
  for (std::string name; std::getline(names, name, ',');) {
    const bool all = name == "all";
    if (!all && name != "core" && name != "diseq" && name != "propagation" && name != "model") {
      usage("unknown feature: " + name);
    }
    features.diseq |= all || name == "diseq";
    features.propagation |= all || name == "propagation";
    features.model |= all || name == "model";
  }
  return features;
}

// Options without an operand. False when the name is none of them.
bool parse_switch(const std::string& name, Options* options) {
  if (name == "--keep-going") {
    options->keep_going = true;
  } else if (name == "--no-shrink") {
    options->shrink = false;
  } else if (name == "--strict") {
    options->strict = true;
  } else if (name == "--isolate" || name == "--no-isolate") {
    options->isolate = name == "--isolate";
  } else {
    return false;
  }
  return true;
}

void parse_operand(const std::string& name, const std::string& value, Options* options) {
  if (name == "--seed") {
    options->seed = parse_number(value);
  } else if (name == "--count") {
    options->count = parse_number(value);
  } else if (name == "--seconds") {
    options->seconds = static_cast<double>(parse_number(value));
  } else if (name == "--features") {
    options->feature_names = value;
    options->features = parse_features(value);
  } else if (name == "--sabotage") {
    const std::uint64_t mode = parse_number(value);
    if (mode > static_cast<std::uint64_t>(kLastSabotage)) usage("no such sabotage: " + value);
    options->sabotage = static_cast<Sabotage>(mode);
  } else if (name == "--save") {
    options->save_directory = value;
  } else if (name == "--threads") {
    if (value != "1") usage("only one thread: start several testers with different seeds instead");
  } else {
    usage("unknown option: " + name);
  }
}

Options parse_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    if (parse_switch(name, &options)) continue;
    if (name == "--replay") {
      options.replay_files.assign(argv + i + 1, argv + argc);
      if (options.replay_files.empty()) usage("--replay needs files");
      return options;
    }
    const std::size_t mark = name.find('=');
    if (mark != std::string::npos) {
      parse_operand(name.substr(0, mark), name.substr(mark + 1), &options);
    } else {
      if (i + 1 == argc) usage("missing operand of " + name);
      parse_operand(name, argv[++i], &options);
    }
  }
  return options;
}

// ==== 02 ONE SEQUENCE ====

// Runs the sequence of a seed. Each operation is shown to `record` before it is carried out; what a sequence without
// failure exercised is added to `tally`.
std::optional<Failure> run_sequence(std::uint64_t seed, const Options& options,
                                    const std::function<void(const std::string&)>& record, Tally* tally = nullptr) {
  Generator generator(seed, options.features);
  if (record) record(to_str(generator.config()) + "\n");
  try {
    Checker checker(generator.config(), options.sabotage);
    for (int i = 0; i < generator.length(); ++i) {
      const Op op = generator.next(checker.model(), checker.last_was_sat());
      if (record) record(to_str(op) + "\n");
      checker.run(op);
    }
    if (tally != nullptr) tally->add(checker.tally());
  } catch (const Failure& failure) {
    return failure;
  }
  return {};
}

// What a replay in a child came to: the category of the failure or the crash; empty when all went well.
struct Outcome {
  std::string category;
  std::string text;
};

Outcome outcome_of(const ChildResult& result) {
  if (!result.crash.empty()) {
    const std::string text = "crash: " + result.crash + (result.complaint.empty() ? "" : ", " + result.complaint);
    return {text, text};
  }
  const std::size_t end = result.output.find('\n');
  if (end == std::string::npos) return {};
  return {result.output.substr(0, end), result.output.substr(end + 1)};
}

Outcome replay_isolated(const Trace& trace, const Options& options) {
  return outcome_of(run_in_child(
      [&](const Sink& sink) {
        const Verdict verdict = replay(trace, options.sabotage, false);
        if (!verdict.failure) return;
        sink(verdict.failure->category() + "\n" + verdict.failure->what() + ", at step " +
             std::to_string(verdict.step + 1) + ": " + to_str(trace.ops[verdict.step]));
      },
      true, kSequenceSeconds));
}

Trace record_trace(std::uint64_t seed, const Options& options) {
  const ChildResult result =
      run_in_child([&](const Sink& sink) { run_sequence(seed, options, sink); }, true, kSequenceSeconds);
  Trace trace;
  std::string error;
  std::istringstream text(result.output);
  if (!read_trace(text, &trace, &error)) std::printf("unreadable trace: %s\n", error.c_str());
  return trace;
}

// ==== 03 REPORTS ====

void save(const Trace& trace, std::uint64_t seed, const Outcome& outcome, const Options& options) {
  if (options.save_directory.empty()) return;
  const std::string name = options.save_directory + "/fuzz-" + std::to_string(seed) + ".trace";
  std::ofstream(name) << "# " << outcome.text << "\n" << to_str(trace);
  std::printf("saved as %s\n", name.c_str());
}

// Records, shrinks and prints the sequence of a seed that went wrong.
void report(std::uint64_t seed, const Options& options) {
  std::printf("\nFAILED: seed %llu; again: random_tester --features %s --seed %llu --count 1\n",
              static_cast<unsigned long long>(seed), options.feature_names.c_str(),
              static_cast<unsigned long long>(seed));
  Trace trace = record_trace(seed, options);
  Outcome outcome = replay_isolated(trace, options);
  if (outcome.category.empty()) {
    std::printf("the recorded trace does not fail when replayed:\n%s\n", to_str(trace).c_str());
    return;
  }
  std::printf("%s\n", outcome.text.c_str());
  if (options.shrink) {
    const std::string category = outcome.category;
    trace = shrink(
        trace, [&](const Trace& candidate) { return replay_isolated(candidate, options).category == category; },
        kShrinkBudget);
    outcome = replay_isolated(trace, options);
  }
  std::printf("---- trace, %zu operations ----\n%s---- %s\n", trace.ops.size(), to_str(trace).c_str(),
              outcome.text.c_str());
  save(trace, seed, outcome, options);
  std::fflush(stdout);
}

// ==== 04 RUNS ====

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// How far a run has come; the child writes, the parent reads.
struct Progress {
  std::uint64_t current = 0;  // number of the sequence that is running
  bool finished = false;      // all sequences went well, or time is up
  char category[32] = "";     // of the failure that ended the run, unless it was a crash
  Tally tally;
};

// Runs the sequences from progress.current on, until one fails, all are done or time is up.
void run_sequences(const Options& options, Clock::time_point start, Progress* progress) {
  for (; progress->current < options.count; ++progress->current) {
    if (progress->current % 64 == 0) {
      alarm(kSequenceSeconds);
      if (options.seconds > 0 && seconds_since(start) > options.seconds) break;
    }
    const std::optional<Failure> failure =
        run_sequence(options.seed + progress->current, options, {}, &progress->tally);
    if (!failure) continue;
    std::snprintf(progress->category, sizeof progress->category, "%s", failure->category().c_str());
    return;
  }
  alarm(0);
  progress->finished = true;
}

// As run_sequences, crashes included.
void run_guarded(const Options& options, Clock::time_point start, Progress* progress) {
  if (!options.isolate) return run_sequences(options, start, progress);
  run_in_child([&](const Sink&) { run_sequences(options, start, progress); }, false, kSequenceSeconds);
}

// What a long run must have met at least once; gives the first thing that it has not, empty when there is none.
std::string unexercised(const Tally& tally, const Features& features) {
  const std::pair<const char*, bool> all[] = {
      {"satisfiable checks", tally.sat == 0},
      {"conflicts of searches", tally.search_conflicts == 0},
      {"conflicts of pushes", tally.push_conflicts == 0},
      {"interruptions", tally.interruptions == 0},
      {"interruptions of splits", features.diseq && tally.split_interruptions == 0},
      {"interruptions of models", features.model && features.diseq && tally.model_interruptions == 0},
      {"proofs", tally.proofs == 0},
      {"certificates", tally.certificates == 0},
      {"implications", features.propagation && tally.implications == 0},
      {"implications handed out", features.propagation && tally.handed_out == 0},
      {"models", features.model && tally.models == 0},
      {"questions about the values of splits", features.model && features.diseq && tally.restores == 0},
      {"questions about conflicts", features.model && tally.additions == 0},
  };
  for (const auto& [what, is_missing] : all) {
    if (is_missing) return what;
  }
  return {};
}

// Gives the number of failures.
std::uint64_t explore(const Options& options) {
  const Clock::time_point start = Clock::now();
  std::printf("random_tester: %s, seeds %llu to %llu\n", options.feature_names.c_str(),
              static_cast<unsigned long long>(options.seed),
              static_cast<unsigned long long>(options.seed + options.count - 1));
  Shared<Progress> progress;
  std::uint64_t failures = 0;
  while (true) {
    run_guarded(options, start, &*progress);
    if (progress->finished) break;
    ++failures;
    report(options.seed + progress->current, options);
    ++progress->current;
    if (!options.keep_going || progress->current >= options.count) break;
  }
  const double seconds = seconds_since(start);
  std::printf("%llu sequences, %llu failures, %.1f s, %.0f a second\n",
              static_cast<unsigned long long>(progress->current), static_cast<unsigned long long>(failures), seconds,
              static_cast<double>(progress->current) / seconds);
  std::printf("%s\n", progress->tally.to_str().c_str());
  if (failures == 0 && progress->current >= kLongRun) {
    const std::string missing = unexercised(progress->tally, options.features);
    if (!missing.empty()) {
      std::printf("FAILED: no %s in so many sequences\n", missing.c_str());
      ++failures;
    }
  }
  return failures;
}

// Runs until the sabotage is noticed in the expected way; gives whether it was. Other failures do not count.
bool is_sabotage_noticed(const Options& options) {
  Shared<Progress> progress;
  for (; progress->current < options.count; ++progress->current) {
    *progress->category = 0;
    run_guarded(options, Clock::now(), &*progress);
    if (progress->finished) break;
    if (std::strcmp(progress->category, category_of(options.sabotage)) != 0) continue;
    std::printf("noticed, as it should be: %s, seed %llu\n", progress->category,
                static_cast<unsigned long long>(options.seed + progress->current));
    return true;
  }
  std::printf("sabotage was not noticed as %s\n", category_of(options.sabotage));
  return false;
}

// Gives the number of files whose traces fail.
std::uint64_t replay_files(const Options& options) {
  std::uint64_t failures = 0;
  for (const std::string& name : options.replay_files) {
    Trace trace;
    std::string error;
    std::ifstream in(name);
    if (!in || !read_trace(in, &trace, &error)) usage("cannot read " + name + ": " + error);
    const Verdict verdict = replay(trace, options.sabotage, options.strict);
    if (!verdict.failure) continue;
    ++failures;
    std::printf("%s: %s, at step %zu: %s\n", name.c_str(), verdict.failure->what(), verdict.step + 1,
                to_str(trace.ops[verdict.step]).c_str());
  }
  std::printf("%zu traces, %llu failures\n", options.replay_files.size(), static_cast<unsigned long long>(failures));
  return failures;
}

int run(int argc, char** argv) {
  const Options options = parse_options(argc, argv);
  if (!options.replay_files.empty()) return replay_files(options) != 0 ? 1 : 0;
  if (options.sabotage != Sabotage::kNone) return is_sabotage_noticed(options) ? 0 : 1;
  return explore(options) != 0 ? 1 : 0;
}

}  // namespace
}  // namespace tarku::tester

int main(int argc, char** argv) {
  return tarku::tester::run(argc, argv);
}
