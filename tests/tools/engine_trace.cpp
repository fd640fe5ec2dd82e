// Traces as text, and the generator.
#include "tests/tools/engine_trace.h"

#include <algorithm>
#include <istream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace tarku::engine_tester {

// ==== text ====

bool takes_number(const std::string& call) {
  static const char* const calls[] = {"stop", "work", "memory", "answers", "proofs", "presolve", "seed", "share"};
  return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

namespace {

bool takes_formulas(const std::string& call) {
  return call == "assert" || call == "check-assuming";
}

Step read_step(const std::string& line) {
  std::istringstream text(line);
  Step step;
  text >> step.call;
  std::string word;
  if (step.call == "stop") {
    text >> word;
    step.formulas.push_back(word);
  }
  if (takes_number(step.call)) {
    if (!(text >> step.number)) throw std::runtime_error("a number is missing: " + line);
    return step;
  }
  while (takes_formulas(step.call) && std::getline(text >> std::ws, word, '|')) {
    word.erase(word.find_last_not_of(' ') + 1);
    step.formulas.push_back(word);
  }
  return step;
}

}  // namespace

std::string to_str(const Step& step) {
  std::string text = step.call;
  const char* separator = " ";
  for (const std::string& formula : step.formulas) {
    text += separator + formula;
    separator = " | ";
  }
  if (takes_number(step.call)) text += " " + std::to_string(step.number);
  return text;
}

std::string to_str(const Trace& trace) {
  std::string text;
  for (const Step& step : trace) text += to_str(step) + "\n";
  return text;
}

Trace read_trace(std::istream& in) {
  Trace trace;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line[0] != '#') trace.push_back(read_step(line));
  }
  return trace;
}

// ==== chance ====

namespace {

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) {
    num_reals_ = 1 + below(4);
    structure_ = below(3) * 40;
    has_ite_ = below(2) == 0;
    has_big_numbers_ = below(4) == 0;
  }

  Trace trace() {
    Trace trace;
    if (below(3) == 0) trace.push_back({"presolve", {}, 0});
    if (below(3) == 0) trace.push_back({"share", {}, 0});
    if (below(4) == 0) trace.push_back({"seed", {}, static_cast<std::int64_t>(below(1000))});
    if (below(2) == 0) trace.push_back({"answers", {}, 1});
    const std::size_t length = 5 + below(45);
    while (trace.size() < length) add_step(&trace);
    return trace;
  }

 private:
  std::uint64_t below(std::uint64_t end) { return random_() % end; }
  bool chance(std::uint64_t percent) { return below(100) < percent; }
  template <std::size_t n>
  std::string one_of(const char* const (&words)[n]) {
    return words[below(n)];
  }

  void add_step(Trace* trace) {
    const std::uint64_t what = below(100);
    if (what < 34) return trace->push_back({"assert", {formula(3)}, 0});
    if (what < 42) return trace->push_back({"push", {}, 0});
    if (what < 49) return trace->push_back({"pop", {}, 0});
    if (what < 55) return add_setting(trace);
    if (what < 63) add_stop(trace);
    if (what < 75) {
      trace->push_back({"check", {}, 0});
    } else if (what < 85) {
      Step step{"check-assuming", {}, 0};
      for (std::uint64_t i = below(4); i > 0; --i) step.formulas.push_back(formula(below(3)));
      trace->push_back(step);
    }
    if (below(8) == 0) add_stop(trace);
    trace->push_back({question(), {}, 0});
  }

  std::string question() {
    return one_of({"core", "minimal-core", "failed", "minimal-failed", "model", "model", "model", "certify"});
  }

  // Most searches are short; a few are stopped late.
  void add_stop(Trace* trace) {
    const auto poll = static_cast<std::int64_t>(1 + below(std::uint64_t{1} << (1 + below(9))));
    trace->push_back({"stop", {one_of({"interrupted", "interrupted", "memory", "foreign"})}, poll});
  }

  void add_setting(Trace* trace) {
    const std::string name = one_of({"work", "work", "memory", "answers", "proofs"});
    std::int64_t number = static_cast<std::int64_t>(below(2));
    if (name == "work" && number != 0) number = static_cast<std::int64_t>(below(3000));
    trace->push_back({name, {}, number});
    if (name == "memory" && number != 0 && below(2) == 0) {
      trace->push_back({"check", {}, 0});
      trace->push_back({name, {}, 0});
    }
  }

  std::string number() {
    if (has_big_numbers_ && below(6) == 0) return one_of({"123456789012345678901234567890", "1/98765432109876543210"});
    return one_of({"0", "0", "1", "1", "2", "3", "-1", "-2", "1/2", "-5/3", "7"});
  }

  std::string real_symbol() { return std::string(1, "xyzw"[below(num_reals_)]); }

  std::string real(std::uint64_t depth) {
    if (depth == 0 || below(4) == 0) return below(6) == 0 ? number() : real_symbol();
    const std::uint64_t what = below(has_ite_ ? 6 : 4);
    if (what < 2) return "(+ " + real(depth - 1) + " " + real(depth - 1) + ")";
    if (what == 2) return "(- " + real(depth - 1) + " " + real(depth - 1) + ")";
    if (what == 3) return "(* " + number() + " " + real(depth - 1) + ")";
    const std::string yes = real(depth - 1), no = real(depth - 1);
    return "(ite " + formula(depth - 1) + " " + yes + " " + no + ")";
  }

  std::string atom(std::uint64_t depth) {
    if (below(5) == 0) return one_of({"p", "q", "(not p)", "(not q)"});
    const std::string left = real(depth), right = below(2) == 0 ? number() : real(depth);
    return "(" + one_of({"<=", "<=", "<", ">=", ">=", ">", "=", "=", "distinct"}) + " " + left + " " + right + ")";
  }

  std::string formula(std::uint64_t depth) {
    if (depth == 0 || !chance(structure_)) return atom(depth == 0 ? 0 : depth - 1);
    const std::uint64_t what = below(9);
    if (what == 0) return "(not " + formula(depth - 1) + ")";
    if (what == 1) return "(ite " + formula(depth - 1) + " " + formula(depth - 1) + " " + formula(depth - 1) + ")";
    std::string text = "(" + one_of({"or", "or", "or", "and", "and", "=>", "xor", "="});
    for (std::uint64_t i = 2 + below(2); i > 0; --i) text += " " + formula(depth - 1);
    return text + ")";
  }

  std::mt19937_64 random_;
  std::uint64_t num_reals_;
  std::uint64_t structure_;  // percentage of formulas that are no atoms
  bool has_ite_;
  bool has_big_numbers_;
};

}  // namespace

Trace random_trace(std::uint64_t seed) {
  return Generator(seed).trace();
}

}  // namespace tarku::engine_tester
