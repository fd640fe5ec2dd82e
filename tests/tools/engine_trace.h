// Sequences of calls of smt::Engine as text, one line each, and their making by chance.
//
//   assert F              push             pop
//   check                 check-assuming F | F ...
//   core   minimal-core   failed   minimal-failed   model   certify
//   stop KIND N           the N-th poll from now on throws: interrupted, memory (std::bad_alloc) or foreign
//   work N   memory N     limits; 0 for none
//   answers N   proofs N  set_check_answers, set_keep_proofs; presolve N and seed N, before the first check; share N,
//   set_first_share
//
// Any selection of the lines of a trace is a trace: calls that are out of order are part of the test.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace tarku::engine_tester {

struct Step {
  std::string call;
  std::vector<std::string> formulas;  // or other words
  std::int64_t number = 0;
};
using Trace = std::vector<Step>;

bool takes_number(const std::string& call);
std::string to_str(const Step& step);
std::string to_str(const Trace& trace);
// Throws std::runtime_error for a line that is no step. Lines that begin with # are passed over.
Trace read_trace(std::istream& in);

// The same for the same seed, always.
Trace random_trace(std::uint64_t seed);

}  // namespace tarku::engine_tester
