// Test support: runs a script given as text and keeps what came out.
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarku/smtlib/interpreter.h"

namespace tarku::smtlib {

struct Transcript {
  std::string out;
  std::string diagnostics;
  int status;
};

inline Transcript run_script(std::string text, Interpreter::Options options = {}) {
  std::ostringstream out, diagnostics;
  Interpreter interpreter(out, diagnostics, options);
  const int status = interpreter.run(Source::of_text(std::move(text)), "test.smt2");
  return {out.str(), diagnostics.str(), status};
}

// Only the answers.
inline std::string answers(std::string text) {
  return run_script(std::move(text)).out;
}

inline std::string repeat(const std::string& part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

// A source that hands out the text in pieces of at most `size` bytes.
inline Source in_pieces(std::string text, std::size_t size) {
  Source whole = Source::of_text(std::move(text));
  return Source(
      [whole, size](char* to, std::size_t room) mutable { return whole.read(to, room < size ? room : size); });
}

}  // namespace tarku::smtlib
