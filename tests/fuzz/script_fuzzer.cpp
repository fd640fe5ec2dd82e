// Bytes as a script, or a benchmark of SMT-LIB 1.2, through a whole session. Answers are checked before they are given.
#include <cstddef>
#include <cstdint>

#include "tarku/smtlib/interpreter.h"
#include "tests/fuzz/streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tarku::fuzz::Discarding;
  using tarku::smtlib::Interpreter;
  Discarding answers, diagnostics, proofs;
  Interpreter::Options options;
  options.check_polls = 300;
  options.proofs = &proofs;
  options.may_open_files = false;
  Interpreter interpreter(answers, diagnostics, options);
  const auto read = tarku::fuzz::in_pieces(tarku::fuzz::to_text(data, size));
  interpreter.run(tarku::smtlib::Source(read), "script");
  return 0;
}
