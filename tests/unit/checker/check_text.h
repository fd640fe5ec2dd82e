// Test support: checks certificates that are given as text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tarku/proof/checker/reader.h"
#include "tarku/proof/checker/refused.h"
#include "tarku/proof/checker/script.h"

namespace tarku::checker::test {

struct Outcome {
  std::string refusal;  // empty when all was accepted
  std::vector<Certified> certified;
};

// Checks the text, against a script unless that is empty.
inline Outcome check(const std::string& text, const std::string& script_text = "") {
  Outcome outcome;
  try {
    std::istringstream in(text), script_in(script_text);
    std::unique_ptr<Script> script;
    if (!script_text.empty()) script = std::make_unique<Script>(script_in, "s");
    Reader reader(in, "c", script.get());
    for (Certified certified; reader.next(&certified);) outcome.certified.push_back(certified);
  } catch (const Refused& refused) {
    outcome.refusal = refused.what();
  }
  return outcome;
}

// The reason for which the text is refused; empty when it is not.
inline std::string refusal(const std::string& text, const std::string& script_text = "") {
  return check(text, script_text).refusal;
}

// The reason for which the last of these lines is refused when all those before are accepted.
inline std::string refused_step(const std::string& steps) {
  const std::string start = "tarku-certificate 1\ncheck 0\n";
  const std::string ended = start + steps + "\n";
  const auto last = std::count(ended.begin(), ended.end(), '\n');
  const std::string place = "c:" + std::to_string(last) + ": ";
  const std::string found = refusal(ended);
  if (found.compare(0, place.size(), place) != 0) return "not in the last line: " + found;
  return found.substr(place.size());
}

inline std::string repeat(const std::string& part, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

}  // namespace tarku::checker::test
