// Interpreter: carries out the commands of SMT-LIB scripts and answers them.
//
// It reads one command at a time, straight from the text, and flushes each answer, so a script file and a dialogue over
// a pipe are the same to it. A command with an error in it has no effect: the error is reported with its place, the
// rest of the command is passed over, and the session goes on.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smtlib/input_error.h"
#include "tarku/smtlib/limits.h"
#include "tarku/smtlib/printer.h"
#include "tarku/smtlib/source.h"

namespace tarku::smtlib {

class Lexer;
class Reader;
enum class SymbolId : std::uint32_t;
struct ScriptOption;
struct ScriptOptions;
struct Session;

class Interpreter {
 public:
  struct Options {
    int verbosity = 0;               // what scripts find in :verbosity
    double check_seconds = 0;        // limit for each check; 0: none
    std::uint64_t memory = 0;        // bytes that the process may occupy during a check; 0: no limit
    Interrupt* interrupt = nullptr;  // stops a check from outside; must outlive the interpreter
    bool check_answers = true;       // every answer is checked before it is given
    std::ostream* proofs = nullptr;  // gets the certificate of every unsat; must outlive the interpreter
    RealFormat real_format;          // of the values in answers
    bool may_open_files = true;      // scripts may choose files as channels
    std::uint64_t check_polls = 0;   // limit for each check in steps of the search; 0: none
  };

  // Answers go to `out`, warnings and remarks to `diagnostics`; both must outlive the interpreter.
  Interpreter(std::ostream& out, std::ostream& diagnostics, Options options);
  Interpreter(std::ostream& out, std::ostream& diagnostics) : Interpreter(out, diagnostics, Options()) {}
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  // Carries out the commands of `source` up to its end or to `exit`. `name` stands for it in messages. Gives the exit
  // status: 0 when no command so far was in error, else 1. A further run goes on with the same session.
  // Throws std::system_error when the source cannot be read, and smt::AnswerRefused when an answer does not stand its
  // check.
  int run(Source source, std::string name);
  // One line for each figure that the engine keeps.
  void print_statistics(std::ostream& out) const;

 private:
  struct Command {
    void (Interpreter::*run)();
    bool begins_session;  // what can be set at the beginning only is fixed after it
  };
  struct Channels;

  // ---- the loop (interpreter.cpp) ----
  bool step();
  void execute();
  void recover(const InputError& error);
  static const Command* find_command(std::string_view name);

  // ---- answers (interpreter.cpp) ----
  std::ostream& answer();
  std::ostream& remark(Position at);
  void succeed();
  void report_unsupported(const std::string& what);
  void end_command(std::string_view name);
  void renew_session();
  void open_channel(const std::string& name, bool is_regular, Position at);

  // Commands are called with their name as the current token.
  // ---- commands that tell (commands.cpp) ----
  void set_logic();
  void set_info();
  void set_option();
  void get_option();
  void get_info();
  void declare_fun();
  void declare_const();
  void define_fun();
  void define_const();
  void define_sort();
  void assert_formula();
  void push();
  void pop();
  void reset();
  void reset_assertions();
  void echo();
  void exit();
  void refuse_sort();
  void refuse_datatype();
  void refuse_recursion();

  // ---- their parts (commands.cpp) ----
  struct Parameter {
    SymbolId name;
    smt::Sort sort;
    Position at;
  };
  void read_option_value(const ScriptOption& option);
  void apply_options();
  void print_all_statistics();
  void declare_symbol(SymbolId id, Position at, const char* command);
  void define(SymbolId id, Position at, const std::vector<Parameter>& parameters, const char* command);
  std::uint64_t read_levels(const char* command);
  Reader& reader();

  // ---- commands that check and ask (checks.cpp) ----
  void check_sat();
  void check_sat_assuming();
  void benchmark();
  void get_assertions();
  void get_assignment();
  void get_model();
  void get_proof();
  void get_unsat_assumptions();
  void get_unsat_core();
  void get_value();

  // ---- their parts (checks.cpp) ----
  struct WrittenTerm {
    smt::Term term;
    std::string text;  // as it was written
    Position at;
  };
  std::vector<WrittenTerm> read_terms();
  void check(const std::vector<smt::Term>& assumptions);
  void compare_with_status(smt::Answer result);
  void require_option(bool ScriptOptions::*flag, const char* keyword, const char* command) const;
  void require_answer(smt::Answer wanted, const char* command) const;
  void require_model(const char* command) const;
  template <class Plain, class Minimal>
  auto minimal_if_wanted(Plain plain, Minimal minimal);
  void write_proof(std::ostream& out);
  void record_proof();
  void print_value(std::ostream& out, smt::Term term);

  std::ostream& out_;
  std::ostream& diagnostics_;
  Options options_;
  InterruptTest interrupt_test_;
  std::unique_ptr<Channels> channels_;  // where answers and remarks go at the moment
  std::unique_ptr<Session> session_;
  std::unique_ptr<Lexer> lexer_;  // of the current run
  std::string name_;              // of the current source
  Position command_at_;           // of the current command; line 0 outside of commands
  std::uint32_t stray_line_ = 0;  // the latest line with an error outside of commands
  std::uint64_t num_checks_ = 0;  // of the current run
  bool has_exited_ = false;
  bool has_errors_ = false;
  bool has_answered_ = false;  // the current command wrote something
};

}  // namespace tarku::smtlib
