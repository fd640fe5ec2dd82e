// The loop over commands, the recovery from errors, and the channels of answers.
#include "tarku/smtlib/interpreter.h"

#include <algorithm>
#include <fstream>
#include <ostream>
#include <sstream>
#include <unordered_map>

#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/printer.h"
#include "tarku/smtlib/session.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

constexpr Position outside{};  // stands for the place of a command where there is none

}  // namespace

// The streams behind the two channels, and the files among them.
struct Interpreter::Channels {
  std::ostream* regular;
  std::ostream* diagnostic;
  std::ofstream regular_file;
  std::ofstream diagnostic_file;
};

Interpreter::Interpreter(std::ostream& out, std::ostream& diagnostics, Options options)
    : out_(out), diagnostics_(diagnostics), options_(options), limits_(options.check_seconds, options.interrupt) {
  renew_session();
}

Interpreter::~Interpreter() = default;

void Interpreter::renew_session() {
  channels_.reset(new Channels{&out_, &diagnostics_, {}, {}});
  session_ = std::make_unique<Session>();
  session_->options.verbosity = static_cast<std::uint64_t>(std::max(options_.verbosity, 0));
  session_->engine->set_verbosity(options_.verbosity);
  session_->reader.set_lexer(lexer_.get());
}

// ---- the loop ----

int Interpreter::run(Source source, std::string name) {
  lexer_ = std::make_unique<Lexer>(std::move(source));
  session_->reader.set_lexer(lexer_.get());
  name_ = std::move(name);
  stray_line_ = 0;
  num_checks_ = 0;
  has_exited_ = false;
  while (step()) {
  }
  return has_errors_ ? 1 : 0;
}

// Takes the next command; false after the last.
bool Interpreter::step() {
  const std::size_t num_declarations = session_->symbols.declarations().size();
  try {
    command_at_ = outside;
    const Token& token = reader().next();
    if (token.kind == TokenKind::end) return false;
    if (token.kind != TokenKind::left) reader().fail_expected("a command");
    command_at_ = token.at;
    execute();
  } catch (const InputError& error) {
    session_->term_parser.abandon();
    session_->symbols.roll_back(num_declarations);
    recover(error);
  }
  if (has_answered_) channels_->regular->flush();
  has_answered_ = false;
  return !has_exited_;
}

void Interpreter::execute() {
  const Token& token = reader().next();
  if (token.kind != TokenKind::symbol) reader().fail_expected("the name of a command");
  const std::string name(token.text);
  const Command command = find_command(name);
  try {
    if (command != nullptr) {
      (this->*command)();
    } else if (is_command_of_the_standard(name)) {
      reader().skip_command();
      report_unsupported("the command " + quoted(name) + " is");
    } else {
      reader().fail("unknown command " + quoted(name));
    }
  } catch (const smt::AnswerRefused&) {  // a bug, not an error of the script
    throw;
  } catch (const Exception& error) {  // the engine was asked for something that it cannot do
    throw InputError(command_at_, error.what());
  }
}

// Reports the error before the rest of the command is read, which may have to be typed yet. Of the text outside
// commands the first error of a line speaks for all.
void Interpreter::recover(const InputError& error) {
  has_errors_ = true;
  if (command_at_.line == outside.line) {
    if (error.at().line == stray_line_) return;
    stray_line_ = error.at().line;
  }
  std::ostringstream message;
  message << name_ << ':' << error.at().line << ':' << error.at().column << ": " << error.message();
  answer() << "(error ";
  print_string(answer(), message.str());
  answer() << ")" << std::endl;
  reader().skip_command();
}

Interpreter::Command Interpreter::find_command(std::string_view name) {
  static const std::unordered_map<std::string_view, Command> commands = {
      {"set-logic", &Interpreter::set_logic},
      {"set-info", &Interpreter::set_info},
      {"set-option", &Interpreter::set_option},
      {"get-option", &Interpreter::get_option},
      {"get-info", &Interpreter::get_info},
      {"declare-fun", &Interpreter::declare_fun},
      {"declare-const", &Interpreter::declare_const},
      {"define-fun", &Interpreter::define_fun},
      {"define-const", &Interpreter::define_const},
      {"define-sort", &Interpreter::define_sort},
      {"assert", &Interpreter::assert_formula},
      {"push", &Interpreter::push},
      {"pop", &Interpreter::pop},
      {"check-sat", &Interpreter::check_sat},
      {"get-model", &Interpreter::get_model},
      {"get-value", &Interpreter::get_value},
      {"get-unsat-core", &Interpreter::get_unsat_core},
      {"get-proof", &Interpreter::get_proof},
      {"echo", &Interpreter::echo},
      {"reset", &Interpreter::reset},
      {"reset-assertions", &Interpreter::reset_assertions},
      {"exit", &Interpreter::exit},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? nullptr : found->second;
}

// Of the commands that find_command does not know.
bool Interpreter::is_command_of_the_standard(std::string_view name) {
  constexpr std::string_view names[] = {
      "check-sat-assuming", "declare-datatype", "declare-datatypes", "declare-sort",   "declare-sort-parameter",
      "define-fun-rec",     "define-funs-rec",  "get-assertions",    "get-assignment", "get-unsat-assumptions"};
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// ---- answers ----

std::ostream& Interpreter::answer() {
  has_answered_ = true;
  return *channels_->regular;
}

// Begins a line on the diagnostic channel.
std::ostream& Interpreter::remark(Position at) {
  return *channels_->diagnostic << name_ << ':' << at.line << ':' << at.column << ": ";
}

void Interpreter::succeed() {
  if (session_->options.print_success) answer() << "success\n";
}

// what: the subject of the remark, with its verb.
void Interpreter::report_unsupported(const std::string& what) {
  answer() << "unsupported\n";
  remark(command_at_) << what << " not supported" << std::endl;
}

void Interpreter::end_command(std::string_view name) {
  reader().expect_right(quoted(name));
}

void Interpreter::open_channel(const std::string& name, bool is_regular, Position at) {
  std::ostream*& stream = is_regular ? channels_->regular : channels_->diagnostic;
  std::ofstream& file = is_regular ? channels_->regular_file : channels_->diagnostic_file;
  if (name == "stdout" || name == "stderr") {
    stream = name == "stdout" ? &out_ : &diagnostics_;
    file.close();
    return;
  }
  std::ofstream opened(name, std::ios::app);
  if (!opened) throw InputError(at, "cannot open " + quoted(name));
  file = std::move(opened);
  stream = &file;
}

Reader& Interpreter::reader() {
  return session_->reader;
}

void Interpreter::print_statistics(std::ostream& out) const {
  std::vector<std::pair<std::string, std::string>> figures;
  session_->engine->get_stats(figures);
  for (const auto& [name, figure] : figures) out << name << ": " << figure << '\n';
  out.flush();
}

}  // namespace tarku::smtlib
