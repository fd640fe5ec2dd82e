// Reading scripts: bytes per second of processor time, from the text to assertions that wait for a check.
//
// Three kinds of scripts, named reading/KIND/MEGABYTES: declarations; sums of 20 to 200 terms with integers, decimals
// and fractions as coefficients; and formulas with `let`, half of them chains of bound sums, half of bound formulas.
// Counters: allocations for each kilobyte.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "bench/generators.h"
#include "tarku/smtlib/interpreter.h"

namespace {

using tarku::bench::allocation_count;
using tarku::bench::Random;
using tarku::smtlib::Interpreter;
using tarku::smtlib::Source;
using State = benchmark::State;

constexpr std::int64_t kVariables = 20000;

// ---- scripts ----

std::string numbered(const std::string& prefix, std::int64_t number) {
  return prefix + std::to_string(number);
}

class Writer {
 public:
  std::string declarations(std::size_t size) {
    for (int i = 0; text_.size() < size; ++i) {
      text_ += "(declare-fun " + numbered("x_", i) + " () Real)\n(declare-const " + numbered("flow_", i) + " Real)\n";
      text_ += "(declare-fun " + numbered("p", i) + " () Bool)\n";
    }
    return text_;
  }

  std::string sums(std::size_t size) {
    declare_variables();
    while (text_.size() < size) {
      text_ += "(assert (<= (+";
      for (std::int64_t i = random_.between(20, 200); i > 0; --i) text_ += " (* " + coefficient() + " " + real() + ")";
      text_ += ") " + coefficient() + "))\n";
    }
    return text_;
  }

  std::string formulas(std::size_t size) {
    declare_variables();
    while (text_.size() < size) {
      const bool is_chain = random_.between(0, 1) == 0;
      const std::int64_t depth = random_.between(5, 30);
      names_.clear();
      text_ += "(assert ";
      for (std::int64_t i = 0; i < depth; ++i) {
        const std::string name = numbered(is_chain ? "?v_" : "$x", i);
        text_ +=
            "(let ((" + name + " " + (is_chain ? "(+ " + bound_or(real()) + " " + real() + ")" : connected()) + "))\n";
        names_.push_back(name);
      }
      text_ += is_chain ? "(<= " + bound_or(real()) + " " + coefficient() + ")" : connected();
      text_.append(static_cast<std::size_t>(depth), ')').append(")\n");
    }
    return text_;
  }

 private:
  void declare_variables() {
    for (int i = 0; i < kVariables; ++i) text_ += "(declare-fun " + numbered("x_", i) + " () Real)\n";
    for (int i = 0; i < kVariables; ++i) text_ += "(declare-fun " + numbered("p_", i) + " () Bool)\n";
  }
  std::string real() { return numbered("x_", random_.between(0, kVariables - 1)); }
  std::string boolean() { return numbered("p_", random_.between(0, kVariables - 1)); }
  std::string bound_or(const std::string& other) {
    if (names_.empty() || random_.between(0, 1) == 0) return other;
    return names_[static_cast<std::size_t>(random_.between(0, static_cast<std::int64_t>(names_.size()) - 1))];
  }
  std::string coefficient() {
    const std::string number = std::to_string(random_.between(1, 999));
    switch (random_.between(0, 3)) {
      case 0:
        return "(- " + number + ")";
      case 1:
        return number + "." + std::to_string(random_.between(1, 99));
      case 2:
        return "(/ " + number + " " + std::to_string(random_.between(2, 10)) + ")";
      default:
        return number;
    }
  }
  std::string atom() { return "(< (- " + real() + " " + real() + ") " + coefficient() + ")"; }
  std::string connected() {
    const char* const connectives[] = {"(and ", "(or ", "(=> ", "(ite "};
    return connectives[random_.between(0, 3)] + bound_or(atom()) + " " + bound_or(boolean()) + " (not " +
           bound_or(atom()) + "))";
  }

  Random random_{1};
  std::string text_ = "(set-logic QF_LRA)\n";
  std::vector<std::string> names_;  // that are bound in the current assertion
};

// ---- measurement ----

Source source_of(const std::string& text) {
  return Source([&text, offset = std::size_t{0}](char* to, std::size_t room) mutable {
    const std::size_t count = std::min(room, text.size() - offset);
    std::memcpy(to, text.data() + offset, count);
    offset += count;
    return count;
  });
}

void read(State& state, const std::string& text) {
  std::ostream nowhere(nullptr);
  double allocations = 0;
  for (auto _ : state) {
    const std::uint64_t start = allocation_count;
    Interpreter interpreter(nowhere, nowhere);
    if (interpreter.run(source_of(text), "script") != 0) state.SkipWithError("the script is in error");
    allocations += static_cast<double>(allocation_count - start);
  }
  const auto rounds = static_cast<double>(state.iterations());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
  state.counters["allocs/kB"] = 1000 * allocations / (rounds * static_cast<double>(text.size()));
}

}  // namespace

int main(int argc, char** argv) {
  tarku::bench::count_gmp_allocations();
  for (const std::size_t megabytes : {std::size_t{5}, std::size_t{50}}) {
    const std::size_t size = megabytes * 1000000;
    const auto add = [&](const std::string& kind, const std::string& text) {
      benchmark::RegisterBenchmark(("reading/" + kind + "/" + std::to_string(megabytes)).c_str(), [text](State& state) {
        read(state, text);
      })->Unit(benchmark::kMillisecond);
    };
    add("declarations", Writer().declarations(size));
    add("sums", Writer().sums(size));
    add("formulas", Writer().formulas(size));
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
