// Bytes as a script that the solver answers and the checker judges: where the solver has no errors to report, the
// checker understands the script too, and accepts every certificate.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "tarku/proof/checker/reader.h"
#include "tarku/proof/checker/script.h"
#include "tarku/smtlib/interpreter.h"
#include "tests/fuzz/streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tarku::smtlib::Interpreter;
  const std::string text = tarku::fuzz::to_text(data, size);
  tarku::fuzz::Discarding answers, diagnostics;
  std::ostringstream proofs;
  Interpreter::Options options;
  options.check_answers = false;  // that is done here
  options.check_polls = 300;
  options.proofs = &proofs;
  options.may_open_files = false;
  Interpreter interpreter(answers, diagnostics, options);
  if (interpreter.run(tarku::smtlib::Source(tarku::fuzz::in_pieces(text)), "script") != 0) return 0;

  std::istringstream script_text(text), certificates(proofs.str());
  tarku::checker::Script script(script_text, "script");
  if (certificates.str().empty()) return 0;
  tarku::checker::Reader reader(certificates, "certificate", &script);
  tarku::checker::Certified certified;
  while (reader.next(&certified)) continue;
  return 0;
}
