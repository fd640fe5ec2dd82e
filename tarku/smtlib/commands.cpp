// The commands, one function each. All of a command is read before any of it takes effect.
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tarku/proof/certificate.h"
#include "tarku/smtlib/interpreter.h"
#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/literal.h"
#include "tarku/smtlib/printer.h"
#include "tarku/smtlib/session.h"
#include "tarku/smtlib/theory.h"
#include "tarku/smtlib/version.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

const char* to_str(smt::Answer answer) {
  switch (answer) {
    case smt::Answer::sat:
      return "sat";
    case smt::Answer::unsat:
      return "unsat";
    default:
      return "unknown";
  }
}

std::optional<smt::Answer> parse_answer(std::string_view text) {
  for (const smt::Answer answer : {smt::Answer::sat, smt::Answer::unsat, smt::Answer::unknown}) {
    if (text == to_str(answer)) return answer;
  }
  return {};
}

// A reason is a symbol where it can be one, and else a string.
void print_reason(std::ostream& out, const std::string& reason) {
  if (reason.empty() || reason.find(' ') != std::string::npos) {
    print_string(out, reason);
  } else {
    print_symbol(out, reason);
  }
}

// Records the text of tokens for as long as it lives.
class Recording {
 public:
  Recording(Lexer& lexer, std::string* text) : lexer_(lexer) { lexer_.record(text); }
  ~Recording() { lexer_.record(nullptr); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

 private:
  Lexer& lexer_;
};

}  // namespace

// ==== logic, information, options ====

void Interpreter::set_logic() {
  const SymbolId id = reader().expect_symbol("the name of a logic");
  const Position at = reader().token().at;
  const std::string logic = session_->symbols.name(id);
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
    reader().skip_command();
    report_unsupported("the option " + quoted(keyword) + " is");
    return;
  }
  read_option_value(*option);
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
  session_->symbols.set_global_declarations(values.global_declarations);
  session_->engine->set_verbosity(static_cast<int>(values.verbosity));
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
    answer() << "(:assertion-stack-levels " << session_->engine->num_levels() << ")\n";
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
  session_->symbols.declare(id, Binding::to_value(Value::closed(term)), term);
  session_->term_parser.note_position(term, at);
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
  MacroBuilder builder(session.terms, session.symbols.name(id));
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
  std::optional<smt::Unsupported> unsupported;
  const int index = session_->engine->assert_term(formula, &unsupported);
  session_->assertion_names.resize(static_cast<std::size_t>(index) + 1);
  session_->assertion_names.back() = session_->term_parser.outermost_name();
  session_->change();
  if (unsupported) warn_unsupported(*unsupported);
  succeed();
}

void Interpreter::warn_unsupported(const smt::Unsupported& unsupported) {
  if (session_->has_warned) return;
  session_->has_warned = true;
  remark(session_->term_parser.position_of(unsupported.term))
      << "warning: " << unsupported.what << "; check-sat will answer unknown" << std::endl;
}

void Interpreter::push() {
  constexpr std::uint64_t most = 1000000;
  const std::uint64_t count = read_levels("push");
  if (count > most) throw InputError(command_at_, "pushing " + counted(count, "level") + " at once is too much");
  for (std::uint64_t i = 0; i < count; ++i) {
    session_->engine->push();
    session_->symbols.push();
  }
  session_->change();
  succeed();
}

void Interpreter::pop() {
  const std::uint64_t count = read_levels("pop");
  const auto depth = static_cast<std::uint64_t>(session_->engine->num_levels());
  if (count > depth) {
    throw InputError(command_at_, "popping " + counted(count, "level") + ", but only " + std::to_string(depth) +
                                      (depth == 1 ? " is" : " are") + " pushed");
  }
  for (std::uint64_t i = 0; i < count; ++i) {
    session_->engine->pop();
    session_->symbols.pop();
  }
  session_->change();
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
  session_->engine->set_verbosity(static_cast<int>(session_->options.verbosity));
  succeed();
}

// ==== checks and their results ====

void Interpreter::check_sat() {
  end_command("check-sat");
  smt::Engine& engine = *session_->engine;
  engine.set_termination_test(&limits_);
  const CheckLimits::Check running(limits_);
  engine.set_check_answers(options_.check_answers);
  ++num_checks_;
  const smt::Answer result = engine.check();
  session_->last_answer = result;
  if (result == smt::Answer::unsat && options_.proofs != nullptr) write_proof(*options_.proofs);
  answer() << to_str(result) << '\n';
  compare_with_status(result);
}

// A script tells the status of the check that follows.
void Interpreter::compare_with_status(smt::Answer result) {
  const auto expected = session_->expected_answer;
  session_->expected_answer.reset();
  if (!expected || *expected == result) return;
  if (*expected == smt::Answer::unknown || result == smt::Answer::unknown) return;
  remark(command_at_) << "warning: the answer is " << to_str(result) << ", but the script says :status "
                      << to_str(*expected) << std::endl;
}

void Interpreter::require_answer(smt::Answer wanted, const char* command) const {
  if (session_->last_answer == wanted) return;
  const std::string found = session_->last_answer ? std::string("the last one was ") + to_str(*session_->last_answer)
                                                  : std::string("nothing was checked since the assertions changed");
  throw InputError(command_at_, quoted(command) + " needs the answer " + to_str(wanted) + ", but " + found);
}

void Interpreter::get_model() {
  end_command("get-model");
  require_model("get-model");
  answer() << "(\n";
  for (const SymbolTable::Declaration& declaration : session_->symbols.declarations()) {
    if (!declaration.constant.is_valid()) continue;
    print_symbol(answer() << "  (define-fun ", session_->symbols.name(declaration.id));
    answer() << " () " << to_str(session_->terms.sort(declaration.constant)) << ' ';
    print_value(declaration.constant);
    answer() << ")\n";
  }
  answer() << ")\n";
}

void Interpreter::get_value() {
  struct Item {
    smt::Term term;
    std::size_t begin, end;  // of its text
  };
  std::string text;
  std::vector<Item> items;
  reader().expect_left("the terms of 'get-value'");
  {
    const Recording recording(*lexer_, &text);
    while (reader().next().kind != TokenKind::right) {
      const std::size_t begin = items.empty() ? 0 : items.back().end + 1;  // behind a blank
      const smt::Term term = session_->term_parser.parse();
      items.push_back({term, begin, text.size()});
    }
  }
  if (items.empty()) reader().fail_expected("a term");
  end_command("get-value");
  require_model("get-value");
  const char* separator = "(";
  for (const Item& item : items) {
    answer() << separator << '(' << std::string_view(text).substr(item.begin, item.end - item.begin) << ' ';
    print_value(item.term);
    answer() << ')';
    separator = "\n ";
  }
  answer() << ")\n";
}

void Interpreter::require_model(const char* command) const {
  if (!session_->options.produce_models) {
    throw InputError(command_at_, quoted(command) + " needs the option :produce-models");
  }
  require_answer(smt::Answer::sat, command);
}

void Interpreter::print_value(smt::Term term) {
  if (session_->terms.sort(term) == smt::Sort::real) {
    print_real(answer(), session_->engine->real_value(term));
  } else {
    print_bool(answer(), session_->engine->bool_value(term));
  }
}

void Interpreter::get_unsat_core() {
  end_command("get-unsat-core");
  if (!session_->options.produce_unsat_cores) {
    throw InputError(command_at_, "'get-unsat-core' needs the option :produce-unsat-cores");
  }
  require_answer(smt::Answer::unsat, "get-unsat-core");
  const auto& names = session_->assertion_names;
  const auto has_name = [&names](int index) { return names[static_cast<std::size_t>(index)].has_value(); };
  const char* separator = "";
  answer() << '(';
  for (const int index : unsat_core(has_name)) {
    if (!has_name(index)) continue;
    print_symbol(answer() << separator, session_->symbols.name(*names[static_cast<std::size_t>(index)]));
    separator = " ";
  }
  answer() << ")\n";
}

// A minimal core takes checks of its own, within the limits of one.
std::vector<int> Interpreter::unsat_core(const std::function<bool(int)>& has_name) {
  smt::Engine& engine = *session_->engine;
  if (!session_->options.minimal_unsat_cores) return engine.unsat_core();
  const CheckLimits::Check running(limits_);
  try {
    return engine.minimal_core(has_name);
  } catch (const smt::Interrupted& interruption) {
    remark(command_at_) << "warning: " << interruption.what() << "; the core is not minimal" << std::endl;
    return engine.unsat_core();
  }
}

// The certificate as one string, which keeps the answer an expression.
void Interpreter::get_proof() {
  end_command("get-proof");
  if (!session_->options.produce_proofs) throw InputError(command_at_, "'get-proof' needs the option :produce-proofs");
  require_answer(smt::Answer::unsat, "get-proof");
  std::ostringstream text;
  write_proof(text);
  print_string(answer(), text.str());
  answer() << '\n';
}

void Interpreter::write_proof(std::ostream& out) {
  proof::CertificateWriter writer(out);
  session_->engine->certify(num_checks_, writer);
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

}  // namespace tarku::smtlib
