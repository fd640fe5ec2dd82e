// The loop over commands, the recovery from errors, and the channels of answers.
#include "tarku/smtlib/interpreter.h"

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
    : out_(out), diagnostics_(diagnostics), options_(options), interrupt_test_(options.interrupt, options.check_polls) {
  renew_session();
}

Interpreter::~Interpreter() = default;

void Interpreter::renew_session() {
  channels_.reset(new Channels{&out_, &diagnostics_, {}, {}});
  session_ = std::make_unique<Session>();
  session_->options.verbosity = options_.verbosity;
  session_->reader.set_lexer(lexer_.get());
  apply_options();
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
    lexer_->set_dialect(Dialect::script);
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
  const Command* const command = find_command(token.text);
  if (command == nullptr) reader().fail("unknown command " + quoted(token.text));
  try {
    (this->*command->run)();
    session_->has_begun = session_->has_begun || command->begins_session;
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

const Interpreter::Command* Interpreter::find_command(std::string_view name) {
  constexpr bool begins = true;
  static const std::unordered_map<std::string_view, Command> commands = {
      {"assert", {&Interpreter::assert_formula, begins}},
      {"benchmark", {&Interpreter::benchmark, begins}},
      {"check-sat", {&Interpreter::check_sat, begins}},
      {"check-sat-assuming", {&Interpreter::check_sat_assuming, begins}},
      {"declare-const", {&Interpreter::declare_const, begins}},
      {"declare-datatype", {&Interpreter::refuse_datatype, !begins}},
      {"declare-datatypes", {&Interpreter::refuse_datatype, !begins}},
      {"declare-fun", {&Interpreter::declare_fun, begins}},
      {"declare-sort", {&Interpreter::refuse_sort, !begins}},
      {"declare-sort-parameter", {&Interpreter::refuse_sort, !begins}},
      {"define-const", {&Interpreter::define_const, begins}},
      {"define-fun", {&Interpreter::define_fun, begins}},
      {"define-fun-rec", {&Interpreter::refuse_recursion, !begins}},
      {"define-funs-rec", {&Interpreter::refuse_recursion, !begins}},
      {"define-sort", {&Interpreter::define_sort, begins}},
      {"echo", {&Interpreter::echo, !begins}},
      {"exit", {&Interpreter::exit, !begins}},
      {"get-assertions", {&Interpreter::get_assertions, !begins}},
      {"get-assignment", {&Interpreter::get_assignment, !begins}},
      {"get-info", {&Interpreter::get_info, !begins}},
      {"get-model", {&Interpreter::get_model, !begins}},
      {"get-option", {&Interpreter::get_option, !begins}},
      {"get-proof", {&Interpreter::get_proof, !begins}},
      {"get-unsat-assumptions", {&Interpreter::get_unsat_assumptions, !begins}},
      {"get-unsat-core", {&Interpreter::get_unsat_core, !begins}},
      {"get-value", {&Interpreter::get_value, !begins}},
      {"pop", {&Interpreter::pop, begins}},
      {"push", {&Interpreter::push, begins}},
      {"reset", {&Interpreter::reset, !begins}},
      {"reset-assertions", {&Interpreter::reset_assertions, !begins}},
      {"set-info", {&Interpreter::set_info, !begins}},
      {"set-logic", {&Interpreter::set_logic, !begins}},
      {"set-option", {&Interpreter::set_option, !begins}},
  };
  const auto found = commands.find(name);
  return found == commands.end() ? nullptr : &found->second;
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
  if (reader().next().kind != TokenKind::right) reader().fail_expected("')' after " + quoted(name));
}

void Interpreter::open_channel(const std::string& name, bool is_regular, Position at) {
  std::ostream*& stream = is_regular ? channels_->regular : channels_->diagnostic;
  std::ofstream& file = is_regular ? channels_->regular_file : channels_->diagnostic_file;
  if (name == "stdout" || name == "stderr") {
    stream = name == "stdout" ? &out_ : &diagnostics_;
    file.close();
    return;
  }
  if (!options_.may_open_files) throw InputError(at, "opening files is not allowed");
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
