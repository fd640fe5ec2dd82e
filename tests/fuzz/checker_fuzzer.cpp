// Bytes as a script with a certificate behind it, which begins with the first header line; without one, all of it is
// the certificate.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>

#include "tarku/proof/checker/reader.h"
#include "tarku/proof/checker/refused.h"
#include "tarku/proof/checker/script.h"
#include "tests/fuzz/streams.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarku::checker;
  const std::string text = tarku::fuzz::to_text(data, size);
  const std::size_t header = text.find("tarku-certificate");
  const std::size_t middle = header == std::string::npos ? 0 : header;
  std::istringstream script_text(text.substr(0, middle)), certificate_text(text.substr(middle));
  try {
    std::unique_ptr<Script> script;
    if (middle > 0) script = std::make_unique<Script>(script_text, "script");
    Reader reader(certificate_text, "certificate", script.get());
    Certified certified;
    while (reader.next(&certified)) continue;
  } catch (const Refused&) {
  }
  return 0;
}
