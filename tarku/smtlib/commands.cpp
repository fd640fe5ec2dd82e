// The commands that tell the session something, one function each. All of a command is read before any of it takes
// effect.
#include <algorithm>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tarku/smtlib/interpreter.h"
#include "tarku/smtlib/printer.h"
#include "tarku/smtlib/session.h"
#include "tarku/smtlib/theory.h"
#include "tarku/smtlib/verdict.h"
#include "tarku/smtlib/version.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

// A reason is a symbol where it can be one, and else a string.
void print_reason(std::ostream& out, const std::string& reason) {
  if (reason.empty() || reason.find(' ') != std::string::npos) {
    print_string(out, reason);
  } else {
    print_symbol(out, reason);
  }
}

}  // namespace

// ==== logic, information, options ====

void Interpreter::set_logic() {
  const SymbolId id = reader().expect_symbol("the name of a logic");
  const Position at = reader().token().at;
  const std::string_view logic = session_->symbols.name(id);
  end_command("set-logic");
  if (session_->has_logic) throw InputError(at, "the logic is set already");
  if (!is_supported_logic(logic)) throw InputError(at, "unsupported logic " + quoted(logic));
  session_->has_logic = true;
  succeed();
}

void Interpreter::set_info() {
  const std::string keyword(reader().expect_keyword("a keyword"));
  if (reader().next().kind != TokenKind::right) {
    const bool is_status = keyword == ":status" && reader().token().kind == TokenKind::symbol;
    const auto status = is_status ? parse_answer(reader().token().text) : std::nullopt;
    reader().skip_expression();
    end_command("set-info");
    if (is_status) session_->expected_answer = status;
  }
  succeed();
}

void Interpreter::set_option() {
  const std::string keyword(reader().expect_keyword("the keyword of an option"));
  const ScriptOption* option = find_script_option(keyword);
  if (option == nullptr) {
    while (reader().next().kind != TokenKind::right) reader().skip_expression();
    report_unsupported("the option " + quoted(keyword) + " is");
    return;
  }
  if (option->is_for_beginning && session_->has_begun) {
    throw InputError(command_at_,
                     "the option " + quoted(keyword) + " can only be set before anything is declared or asserted");
  }
  read_option_value(*option);
  apply_options();
  succeed();
}

// Reads the value and the end of the command, and then sets the option.
void Interpreter::read_option_value(const ScriptOption& option) {
  ScriptOptions& values = session_->options;
  const Position at = command_at_;
  if (option.flag != nullptr) {
    const std::string value(reader().next().text);
    if (reader().token().kind != TokenKind::symbol || (value != "true" && value != "false")) {
      reader().fail_expected("true or false");
    }
    end_command("set-option");
    values.*option.flag = value == "true";
  } else if (option.number != nullptr) {
    const std::uint64_t value = reader().expect_count("a numeral");
    end_command("set-option");
    values.*option.number = value;
  } else {
    const std::string value = reader().expect_string("a string");
    end_command("set-option");
    open_channel(value, option.text == &ScriptOptions::regular_output_channel, at);
    values.*option.text = value;
  }
}

// Hands on what others than the commands have to know.
void Interpreter::apply_options() {
  constexpr std::uint64_t most = std::numeric_limits<int>::max();
  session_->symbols.set_global_declarations(session_->options.global_declarations);
  smt::Engine& engine = *session_->engine;
  engine.set_verbosity(static_cast<int>(std::min(session_->options.verbosity, most)));
  engine.set_random_seed(session_->options.random_seed);
  engine.set_limits({options_.check_seconds, options_.memory, session_->options.reproducible_resource_limit});
  engine.set_termination_test(&interrupt_test_);
}

void Interpreter::get_option() {
  const std::string keyword(reader().expect_keyword("the keyword of an option"));
  end_command("get-option");
  const ScriptOption* option = find_script_option(keyword);
  if (option == nullptr) {
    report_unsupported("the option " + quoted(keyword) + " is");
    return;
  }
  const ScriptOptions& values = session_->options;
  if (option->flag != nullptr) {
    print_bool(answer(), values.*option->flag);
  } else if (option->number != nullptr) {
    answer() << values.*option->number;
  } else {
    print_string(answer(), values.*option->text);
  }
  answer() << '\n';
}

void Interpreter::get_info() {
  const std::string keyword(reader().expect_keyword("a keyword"));
  end_command("get-info");
  if (keyword == ":name") {
    answer() << "(:name \"tarku\")\n";
  } else if (keyword == ":version") {
    answer() << "(:version \"" << version << "\")\n";
  } else if (keyword == ":authors") {
    answer() << "(:authors \"the tarku developers\")\n";
  } else if (keyword == ":error-behavior") {
    answer() << "(:error-behavior continued-execution)\n";
  } else if (keyword == ":assertion-stack-levels") {
    answer() << "(:assertion-stack-levels " << session_->num_levels() << ")\n";
  } else if (keyword == ":reason-unknown") {
    require_answer(smt::Answer::unknown, "get-info :reason-unknown");
    print_reason(answer() << "(:reason-unknown ", session_->engine->reason_unknown());
    answer() << ")\n";
  } else if (keyword == ":all-statistics") {
    print_all_statistics();
  } else {
    report_unsupported("the information " + quoted(keyword) + " is");
  }
}

void Interpreter::print_all_statistics() {
  std::vector<std::pair<std::string, std::string>> figures;
  session_->engine->get_stats(figures);
  const char* separator = "(";
  for (const auto& [name, figure] : figures) {
    answer() << separator << ':' << name << ' ' << figure;
    separator = "\n ";
  }
  answer() << (figures.empty() ? "()\n" : ")\n");
}

// ==== declarations ====

void Interpreter::declare_fun() {
  const SymbolId id = reader().expect_symbol("the name of a function");
  const Position at = reader().token().at;
  reader().expect_left("the sorts of arguments");
  if (reader().next().kind != TokenKind::right) {
    throw InputError(
        at, quoted(session_->symbols.name(id)) + " has arguments: uninterpreted functions are not part of this logic");
  }
  declare_symbol(id, at, "declare-fun");
}

void Interpreter::declare_const() {
  const SymbolId id = reader().expect_symbol("the name of a constant");
  declare_symbol(id, reader().token().at, "declare-const");
}

// Reads the sort and the end of the command.
void Interpreter::declare_symbol(SymbolId id, Position at, const char* command) {
  const smt::Sort sort = session_->sorts.parse();
  end_command(command);
  if (session_->symbols.is_taken(id)) throw InputError(at, session_->symbols.why_taken(id));
  const smt::Term term = session_->terms.mk_symbol(session_->symbols.name(id), sort);
  session_->symbols.declare(id, Binding::to_value(Value::closed(term)), SymbolTable::Origin::declared);
  succeed();
}

void Interpreter::define_const() {
  const SymbolId id = reader().expect_symbol("the name of a constant");
  define(id, reader().token().at, {}, "define-const");
}

void Interpreter::define_fun() {
  const SymbolId id = reader().expect_symbol("the name of a function");
  const Position at = reader().token().at;
  reader().expect_left("the parameters of a function");
  std::vector<Parameter> parameters;
  while (reader().next().kind == TokenKind::left) {
    const SymbolId name = reader().expect_symbol("the name of a parameter");
    const Position name_at = reader().token().at;
    parameters.push_back({name, session_->sorts.parse(), name_at});
    reader().expect_right("the sort of a parameter");
  }
  if (reader().token().kind != TokenKind::right) reader().fail_expected("a parameter or ')'");
  define(id, at, parameters, "define-fun");
}

// Reads the sort, the body and the end of the command.
void Interpreter::define(SymbolId id, Position at, const std::vector<Parameter>& parameters, const char* command) {
  Session& session = *session_;
  const smt::Sort sort = session.sorts.parse();
  MacroBuilder builder(session.terms, std::string(session.symbols.name(id)));
  const SymbolTable::Scope scope = session.symbols.open_scope();
  for (const Parameter& parameter : parameters) {
    if (session.symbols.bind_local(scope, parameter.name, builder.add_parameter(parameter.sort))) continue;
    throw InputError(parameter.at, quoted(session.symbols.name(parameter.name)) + " occurs twice among the parameters");
  }
  const Position body_at = reader().next().at;
  const Value body = session.term_parser.parse_body(parameters.empty() ? nullptr : &builder);
  session.symbols.close_scope(scope);
  end_command(command);
  if (builder.sort(body) != sort) {
    throw InputError(body_at, "the body of " + quoted(session.symbols.name(id)) + " is of sort " +
                                  std::string(to_str(builder.sort(body))) + ", not " + std::string(to_str(sort)));
  }
  if (session.symbols.is_taken(id)) throw InputError(at, session.symbols.why_taken(id));
  const Binding binding =
      parameters.empty() ? Binding::to_value(body) : Binding::to_macro(session.macros.add(builder.finish(body)));
  session.symbols.declare(id, binding);
  succeed();
}

void Interpreter::define_sort() {
  const SymbolId id = reader().expect_symbol("the name of a sort");
  const Position at = reader().token().at;
  reader().expect_left("the parameters of a sort");
  std::vector<SymbolId> parameters;
  while (reader().next(), reader().is_symbol()) parameters.push_back(reader().symbol());
  if (reader().token().kind != TokenKind::right) reader().fail_expected("a parameter or ')'");
  const SortTerm body = session_->sorts.parse_body(parameters);
  end_command("define-sort");
  const SortBinding binding{true, false, static_cast<std::uint32_t>(parameters.size()), body};
  if (!session_->symbols.declare_sort(id, binding)) throw InputError(at, session_->symbols.why_taken(id, true));
  succeed();
}

// ==== assertions and levels ====

void Interpreter::assert_formula() {
  const Position at = reader().next().at;
  const smt::Term formula = session_->term_parser.parse();
  end_command("assert");
  const smt::Sort sort = session_->terms.sort(formula);
  if (sort != smt::Sort::boolean) {
    throw InputError(at, "an assertion must be of sort Bool, but this is of sort " + std::string(to_str(sort)));
  }
  session_->assertions->add(formula, session_->term_parser.outermost_name());
  session_->change();
  succeed();
}

void Interpreter::push() {
  constexpr std::uint64_t most = 1000000;
  const std::uint64_t count = read_levels("push");
  if (count > most) throw InputError(command_at_, "pushing " + counted(count, "level") + " at once is too much");
  session_->push(count);
  succeed();
}

void Interpreter::pop() {
  const std::uint64_t count = read_levels("pop");
  const std::uint64_t depth = session_->num_levels();
  if (count > depth) {
    throw InputError(command_at_, "popping " + counted(count, "level") + ", but only " + std::to_string(depth) +
                                      (depth == 1 ? " is" : " are") + " pushed");
  }
  session_->pop(count);
  succeed();
}

// Reads the number of levels, 1 when it is not given, and the end of the command.
std::uint64_t Interpreter::read_levels(const char* command) {
  if (reader().next().kind == TokenKind::right) return 1;
  const std::uint64_t count = reader().count("a numeral");
  end_command(command);
  return count;
}

void Interpreter::reset() {
  end_command("reset");
  renew_session();
  succeed();
}

void Interpreter::reset_assertions() {
  end_command("reset-assertions");
  session_->reset_assertions();
  apply_options();
  succeed();
}

// ==== the rest ====

void Interpreter::echo() {
  const std::string text = reader().expect_string("a string");
  end_command("echo");
  print_string(answer(), text);
  answer() << '\n';
}

void Interpreter::exit() {
  end_command("exit");
  has_exited_ = true;
  succeed();
}

// ==== outside of the logic ====

void Interpreter::refuse_sort() {
  throw InputError(command_at_, "sorts other than Bool and Real are not part of this logic");
}

void Interpreter::refuse_datatype() {
  throw InputError(command_at_, "datatypes are not part of this logic");
}

void Interpreter::refuse_recursion() {
  throw InputError(command_at_, "recursive functions are not part of this logic; 'define-fun' defines others");
}

}  // namespace tarku::smtlib
