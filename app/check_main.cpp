// The command line of the certificate checker.
#include <CLI/CLI.hpp>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

#include "app/packed_source.h"
#include "tarku/proof/checker/reader.h"
#include "tarku/proof/checker/refused.h"
#include "tarku/proof/checker/script.h"
#include "tarku/smtlib/version.h"

namespace {

using tarku::checker::Certified;
using tarku::checker::Reader;
using tarku::checker::Refused;
using tarku::checker::Script;
using tarku::checker::Unreadable;

enum ExitStatus : int { exit_certified = 0, exit_refused = 1, exit_usage_or_io = 2 };

#ifdef TARKU_CHECKER_GMP
constexpr const char* program = "tarku-check-gmp";
#else
constexpr const char* program = "tarku-check";
#endif

constexpr const char* summary = "Checks certificates of unsatisfiability, one step after the other.";

constexpr const char* footnote =
    "With a script, every input of a certificate must be said by the assertion that it names. Without one, inputs are\n"
    "taken as given: they are unsatisfiable together, whatever they are.\n"
    "Exit status: 0 when every certificate is accepted, 1 when a step is refused or the script is not understood, 2 "
    "for\n"
    "wrong usage or unreadable input.";

struct Settings {
  std::string certificate;
  std::string script;
  bool quiet = false;
};

void describe_options(CLI::App* app, Settings* settings) {
  app->footer(footnote);
  app->set_version_flag("--version", std::string(program) + ' ' + std::string(tarku::smtlib::version));
  app->add_option("CERTIFICATE", settings->certificate, "The certificate; - for standard input")->required();
  app->add_option("SCRIPT", settings->script, "The script that it answers, possibly packed by gzip, bzip2 or xz");
  app->add_flag("--quiet", settings->quiet, "Print nothing when all is well");
}

// "1 input", "2 inputs".
std::string counted(std::size_t count, const std::string& thing) {
  return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

std::string report(const Certified& certified, bool has_script) {
  std::string text = "check " + std::to_string(certified.check) + ": unsat is certified (";
  text += counted(certified.inputs, "input") + (has_script ? "" : " taken as given");
  if (certified.gate_clauses > 0) text += ", " + counted(certified.gate_clauses, "gate clause");
  if (certified.branches > 0) text += ", " + counted(certified.branches, "branch clause");
  text += ", " + counted(certified.combinations, "combination");
  if (certified.splits > 0) text += ", " + counted(certified.splits, "split");
  return text + ", " + counted(certified.derived, "derived clause") + ")\n";
}

std::ifstream open(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw Unreadable(name + ": cannot be opened");
  return file;
}

// The text of a script, unpacked.
class ScriptText : public std::streambuf {
 public:
  explicit ScriptText(const std::string& name) : file_(open(name)), buffer_(std::size_t{1} << 16) {
    const auto read = [this](char* to, std::size_t room) {
      return static_cast<std::size_t>(file_.rdbuf()->sgetn(to, static_cast<std::streamsize>(room)));
    };
    read_ = tarku::unpacked(read, name);
  }

 private:
  int_type underflow() override {
    const std::size_t count = read_(buffer_.data(), buffer_.size());
    setg(buffer_.data(), buffer_.data(), buffer_.data() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(buffer_.front());
  }

  std::ifstream file_;
  tarku::ReadBytes read_;
  std::vector<char> buffer_;
};

void run(const Settings& settings) {
  std::unique_ptr<Script> script;
  if (!settings.script.empty()) {
    ScriptText text(settings.script);
    std::istream stream(&text);
    script = std::make_unique<Script>(stream, settings.script);
  }
  const bool is_file = settings.certificate != "-";
  std::ifstream file;
  if (is_file) file = open(settings.certificate);
  Reader reader(is_file ? file : std::cin, is_file ? settings.certificate : "<stdin>", script.get());
  Certified certified;
  while (reader.next(&certified)) {
    if (!settings.quiet) std::cout << report(certified, script != nullptr);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  Settings settings;
  CLI::App app(summary, program);
  describe_options(&app, &settings);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_certified : exit_usage_or_io;
  }
  int status = exit_certified;
  try {
    run(settings);
  } catch (const Refused& refused) {
    std::cout.flush();
    std::cerr << refused.what() << std::endl;
    status = exit_refused;
  } catch (const std::exception& error) {
    std::cerr << program << ": " << error.what() << std::endl;
    status = exit_usage_or_io;
  }
  if (std::cout.flush()) return status;
  std::cerr << program << ": cannot write to standard output" << std::endl;
  return exit_usage_or_io;
}
