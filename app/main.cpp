// The command line: options, signals, exit statuses.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <new>
#include <string>

#include "app/packed_source.h"
#include "tarku/numbers/allocation.h"
#include "tarku/smt/engine.h"
#include "tarku/smtlib/interpreter.h"
#include "tarku/smtlib/version.h"

namespace {

enum ExitStatus : int { exit_fine = 0, exit_errors_in_input = 1, exit_usage_or_io = 2, exit_signal = 128 };

constexpr const char* summary =
    "Decides SMT-LIB 2.6 scripts and SMT-LIB 1.2 benchmarks in QF_LRA and QF_RDL with exact arithmetic.";

constexpr const char* footnote =
    "Exit status: 0 when all is fine, 1 when the script has errors (each is reported as it is met and the session\n"
    "goes on), 2 for wrong usage or unreadable input, 130 when interrupted, 143 when terminated. An interrupt "
    "(Ctrl-C)\n"
    "or SIGTERM during a check makes it answer unknown; a second one, or one at any other time, ends the program. An\n"
    "answer that does not stand its check is not given: the program prints what it knows on standard error and aborts.";

struct Settings {
  std::string file;
  int verbosity = 0;
  bool statistics = false;
  double check_seconds = 0;
  double memory_mebibytes = 0;
  bool check_answers = true;
  std::string proof_file;
  std::string real_format = "smtlib";
};

void describe_options(CLI::App* app, Settings* settings) {
  constexpr double most_seconds = 1e9, most_mebibytes = 1e9;
  app->footer(footnote);
  app->set_version_flag("--version", "tarku " + std::string(tarku::smtlib::version));
  app->add_option("FILE", settings->file,
                  "The script, possibly packed by gzip, bzip2 or xz; standard input when there is none");
  app->add_option("--verbose", settings->verbosity, "Trace level of the solver, 0 (the default) to 9")
      ->type_name("N")
      ->check(CLI::Range(0, 9));
  app->add_flag("--stats", settings->statistics, "Print figures on standard error at the end");
  app->add_option("--timeout", settings->check_seconds,
                  "Let each check answer unknown after so many seconds; 0 (the default) for no limit")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, most_seconds));
  app->add_option("--memory", settings->memory_mebibytes,
                  "Let a check answer unknown when the program comes to occupy so much memory; 0 (the default) for no "
                  "limit")
      ->type_name("MIB")
      ->check(CLI::Range(0.0, most_mebibytes));
  app->add_flag("--check-answers,!--no-check-answers", settings->check_answers,
                "Check the model or the certificate before each answer (the default), or trust the search");
  app->add_option("--proof", settings->proof_file, "Write the certificate of every unsat to this file")
      ->type_name("FILE");
  app->add_option("--real-format", settings->real_format,
                  "How to write Real values: smtlib (the default), fraction, or decimal:N with N digits behind the "
                  "point and a '?' when something was cut off")
      ->type_name("FORMAT")
      ->check([](const std::string& text) {
        return tarku::smtlib::parse_real_format(text) ? "" : "not smtlib, fraction or decimal:N (N from 1 to 9999)";
      });
}

tarku::smtlib::Interrupt interrupt;

extern "C" void handle_signal(int signal) {
  if (!interrupt.request()) _exit(exit_signal + signal);
}

std::ofstream open_for_proofs(const std::string& name) {
  std::ofstream file;
  if (name.empty()) return file;
  file.open(name, std::ios::trunc);
  if (!file) throw std::runtime_error("cannot open '" + name + "'");
  return file;
}

int run(const Settings& settings) {
  using tarku::smtlib::Interpreter;
  using tarku::smtlib::Source;
  constexpr double bytes_per_mebibyte = 1 << 20;
  std::ofstream proofs = open_for_proofs(settings.proof_file);
  // Never taken apart: the end of the program gives its memory back faster.
  static Interpreter* const interpreter =
      new Interpreter(std::cout, std::cerr,
                      {settings.verbosity, settings.check_seconds,
                       static_cast<std::uint64_t>(settings.memory_mebibytes * bytes_per_mebibyte), &interrupt,
                       settings.check_answers, settings.proof_file.empty() ? nullptr : &proofs,
                       tarku::smtlib::parse_real_format(settings.real_format).value()});
  const bool is_file = !settings.file.empty();
  const std::string name = is_file ? settings.file : "<stdin>";
  Source source = is_file ? Source::of_file(settings.file) : Source::of_descriptor(STDIN_FILENO);
  const auto read = [&source](char* to, std::size_t room) { return source.read(to, room); };
  const int status = interpreter->run(Source(tarku::unpacked(read, name)), name);
  if (settings.statistics) interpreter->print_statistics(std::cerr);
  if (!std::cout.flush()) throw std::runtime_error("cannot write to standard output");
  if (!proofs.flush()) throw std::runtime_error("cannot write '" + settings.proof_file + "'");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  CLI::App app(summary, "tarku");
  describe_options(&app, &settings);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? exit_fine : exit_usage_or_io;
  }
  tarku::throw_when_numbers_run_out_of_memory();
  std::signal(SIGINT, handle_signal);
  std::signal(SIGTERM, handle_signal);
  try {
    return run(settings);
  } catch (const tarku::smt::AnswerRefused& refusal) {
    std::cerr << refusal.dump() << "tarku: internal error: " << refusal.what() << std::endl;
    std::abort();
  } catch (const std::bad_alloc&) {
    std::cerr << "tarku: out of memory" << std::endl;
    return exit_usage_or_io;
  } catch (const std::exception& error) {
    std::cerr << "tarku: " << error.what() << std::endl;
    return exit_usage_or_io;
  }
}
