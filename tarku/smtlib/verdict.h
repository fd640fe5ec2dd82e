// The words for answers.
#pragma once

#include <optional>
#include <string_view>

#include "tarku/smt/engine.h"

namespace tarku::smtlib {

inline const char* to_str(smt::Answer answer) {
  switch (answer) {
    case smt::Answer::sat:
      return "sat";
    case smt::Answer::unsat:
      return "unsat";
    default:
      return "unknown";
  }
}

inline std::optional<smt::Answer> parse_answer(std::string_view text) {
  for (const smt::Answer answer : {smt::Answer::sat, smt::Answer::unsat, smt::Answer::unknown}) {
    if (text == to_str(answer)) return answer;
  }
  return {};
}

}  // namespace tarku::smtlib
