// The commands of a script, and the answers to a checker's questions.
#include "tarku/proof/checker/script.h"

#include <algorithm>
#include <ios>
#include <optional>
#include <utility>

#include "tarku/proof/checker/benchmark_reader.h"
#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

// ==== commands ====

// Reads the script; needed no longer than that.
class Script::Commands {
 public:
  Commands(Script* script, std::istream& in);
  // Gives false at the end of the script.
  bool run_next();
  std::size_t line() const { return lexer_.line(); }

 private:
  // Some that were pushed at once. All but the topmost of them are empty.
  struct Levels {
    std::size_t count;
    std::size_t num_in_force;  // when they began
  };

  void run(const std::string& command);
  void set_option();
  void declare_function();
  void declare_constant();
  void declare(std::string name);
  void define_function();
  void define_constant();
  void define(std::string name, const std::vector<std::string>& parameters, Definition definition);
  void define_sort();
  void assert_formula();
  void push();
  void pop();
  void reset();
  void reset_assertions();
  void check();
  void check_assuming();
  void benchmark();
  void exit() { has_exited_ = true; }

  std::size_t read_levels();
  void add_levels(std::size_t count);
  std::vector<std::string> read_names();
  void add_assertion(Formula formula);
  void withdraw_from(std::size_t first);
  Check new_check() const;
  void end_command() { lexer_.expect_right("')' at the end of the command"); }
  void skip_rest();

  Script& script_;
  Names& names_;
  ScriptLexer lexer_;
  Definitions definitions_;
  TermReader terms_;
  Time now_ = 0;
  std::size_t first_source_ = 0;       // in the script's assertions_
  std::vector<std::size_t> in_force_;  // in the script's assertions_
  std::vector<Levels> levels_;
  std::size_t num_levels_ = 0;  // in levels_
  bool has_exited_ = false;
};

Script::Commands::Commands(Script* script, std::istream& in)
    : script_(*script),
      names_(script->names_),
      lexer_(in),
      definitions_(&script->formulas_),
      terms_(&lexer_, &script->names_, &script->formulas_, &definitions_) {}

bool Script::Commands::run_next() {
  if (has_exited_ || lexer_.next().kind == TokenKind::end) return false;
  if (lexer_.token().kind != TokenKind::left) lexer_.fail_expected("a command");
  ++now_;
  run(lexer_.expect_symbol("the name of a command"));
  return true;
}

// All commands that matter to what is asserted when; the others are passed over.
void Script::Commands::run(const std::string& command) {
  struct Known {
    std::string_view name;
    void (Commands::*run)();
  };
  constexpr Known commands[] = {
      {"set-option", &Commands::set_option},
      {"declare-fun", &Commands::declare_function},
      {"declare-const", &Commands::declare_constant},
      {"define-fun", &Commands::define_function},
      {"define-const", &Commands::define_constant},
      {"define-sort", &Commands::define_sort},
      {"assert", &Commands::assert_formula},
      {"push", &Commands::push},
      {"pop", &Commands::pop},
      {"reset", &Commands::reset},
      {"reset-assertions", &Commands::reset_assertions},
      {"check-sat", &Commands::check},
      {"check-sat-assuming", &Commands::check_assuming},
      {"benchmark", &Commands::benchmark},
      {"exit", &Commands::exit},
  };
  for (const Known& known : commands) {
    if (known.name == command) return (this->*known.run)();
  }
  skip_rest();
}

void Script::Commands::skip_rest() {
  while (lexer_.next().kind != TokenKind::right) lexer_.skip_expression();
}

void Script::Commands::set_option() {
  if (lexer_.next().kind != TokenKind::keyword) lexer_.fail_expected("an option");
  if (lexer_.token().text != ":global-declarations") return skip_rest();
  lexer_.next();
  const bool is_on = lexer_.token().is_word("true");
  if (!is_on && !lexer_.token().is_word("false")) lexer_.fail_expected("true or false");
  names_.set_global_declarations(is_on);
  end_command();
}

// ---- declarations ----

void Script::Commands::declare_function() {
  const std::string name = lexer_.expect_symbol("a name");
  lexer_.expect_left("'()'");
  if (lexer_.next().kind != TokenKind::right) throw Refused("'" + name + "' is a function without a definition");
  declare(name);
}

void Script::Commands::declare_constant() {
  declare(lexer_.expect_symbol("a name"));
}

// Reads the sort.
void Script::Commands::declare(std::string name) {
  const Sort sort = terms_.read_sort();
  end_command();
  FormulaTable& formulas = script_.formulas_;
  const Value symbol = sort == Sort::real ? Value::of(formulas.reals().symbol()) : Value::of(formulas.symbol());
  names_.declare_symbol(name, symbol, now_);
}

void Script::Commands::define_function() {
  const std::string name = lexer_.expect_symbol("a name");
  std::vector<std::string> parameters;
  Definition definition;
  lexer_.expect_left("'(' of the parameters");
  while (lexer_.next().kind == TokenKind::left) {
    parameters.push_back(lexer_.expect_symbol("the name of a parameter"));
    definition.add_parameter(terms_.read_sort());
    lexer_.expect_right("')'");
  }
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("a parameter or ')'");
  define(name, parameters, std::move(definition));
}

void Script::Commands::define_constant() {
  define(lexer_.expect_symbol("a name"), {}, {});
}

// Reads the sort and the body.
void Script::Commands::define(std::string name, const std::vector<std::string>& parameters, Definition definition) {
  const Sort sort = terms_.read_sort();
  const std::size_t scope = names_.open_scope();
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (names_.bind(scope, parameters[i], Value::of_slot(definition.parameters()[i], i))) continue;
    throw Refused("there are two parameters '" + parameters[i] + "'");
  }
  const Value body = terms_.read_body(&definition);
  names_.close_scope(scope);
  end_command();
  if (body.sort != sort) throw Refused("the body of '" + name + "' is of sort " + to_str(body.sort));
  definition.finish(body);
  names_.declare(
      name, parameters.empty() ? Meaning::of(body) : Meaning::of_definition(definitions_.add(std::move(definition))));
}

void Script::Commands::define_sort() {
  const std::string name = lexer_.expect_symbol("a name");
  const std::vector<std::string> parameters = read_names();
  SortMeaning sort = terms_.read_sort_body(parameters);
  end_command();
  sort.arity = parameters.size();
  names_.declare_sort(name, sort);
}

// Names in parentheses, all different.
std::vector<std::string> Script::Commands::read_names() {
  std::vector<std::string> names;
  lexer_.expect_left("'(' of the parameters");
  while (lexer_.next().is_symbol()) {
    if (std::find(names.begin(), names.end(), lexer_.token().text) != names.end()) {
      throw Refused("there are two parameters '" + lexer_.token().text + "'");
    }
    names.push_back(lexer_.token().text);
  }
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("a parameter or ')'");
  return names;
}

// ---- assertions and levels ----

void Script::Commands::assert_formula() {
  const Formula formula = terms_.read_formula("the assertion");
  end_command();
  add_assertion(formula);
}

void Script::Commands::add_assertion(Formula formula) {
  in_force_.push_back(script_.assertions_.size());
  script_.assertions_.push_back({formula, never});
}

void Script::Commands::withdraw_from(std::size_t first) {
  for (std::size_t i = first; i < in_force_.size(); ++i) script_.assertions_[in_force_[i]].withdrawn = now_;
  in_force_.resize(first);
}

void Script::Commands::push() {
  constexpr std::size_t most = 1000000;
  const std::size_t count = read_levels();
  if (count > most) throw Refused("so many levels cannot be pushed or popped at once");
  add_levels(count);
}

void Script::Commands::add_levels(std::size_t count) {
  if (count == 0) return;
  levels_.push_back({count, in_force_.size()});
  names_.push();
  num_levels_ += count;
}

// Of those that were pushed at once some may have to come back.
void Script::Commands::pop() {
  const std::size_t count = read_levels();
  if (count > num_levels_) throw Refused("more levels are popped than there are");
  const std::size_t remaining = num_levels_ - count;
  while (num_levels_ > remaining) {
    num_levels_ -= levels_.back().count;
    withdraw_from(levels_.back().num_in_force);
    levels_.pop_back();
    names_.pop(now_);
  }
  add_levels(remaining - num_levels_);
}

// Reads the number of levels, 1 when it is not given, and the end of the command.
std::size_t Script::Commands::read_levels() {
  constexpr std::size_t most_digits = 9;
  if (lexer_.next().kind == TokenKind::right) return 1;
  const std::string text = lexer_.token().text;
  if (lexer_.token().kind != TokenKind::number || text.find('.') != std::string::npos) {
    lexer_.fail_expected("a number of levels");
  }
  if (text.size() > most_digits) throw Refused("so many levels cannot be pushed or popped at once");
  end_command();
  return std::stoul(text);
}

void Script::Commands::reset() {
  reset_assertions();
  names_.reset(now_);
}

void Script::Commands::reset_assertions() {
  end_command();
  withdraw_from(0);
  levels_.clear();
  num_levels_ = 0;
  names_.pop_all(now_);
  first_source_ = script_.assertions_.size();
}

// ---- checks ----

Script::Check Script::Commands::new_check() const {
  return {now_, first_source_, script_.assertions_.size() - first_source_, {}};
}

void Script::Commands::check() {
  end_command();
  script_.checks_.push_back(new_check());
}

void Script::Commands::check_assuming() {
  Check check = new_check();
  lexer_.expect_left("'(' of the assumptions");
  while (lexer_.next().kind != TokenKind::right) {
    lexer_.put_back();
    check.assumptions.push_back(terms_.read_formula("the assumption"));
  }
  end_command();
  script_.checks_.push_back(std::move(check));
}

// Declarations, assertions and a check in one command; the check comes a moment later.
void Script::Commands::benchmark() {
  BenchmarkReader reader(&lexer_, &names_, &script_.formulas_, now_);
  for (const Formula formula : reader.read()) add_assertion(formula);
  ++now_;
  script_.checks_.push_back(new_check());
}

// ==== the script as a judge ====

Script::Script(std::istream& in, const std::string& name) {
  Commands commands(this, in);
  try {
    while (commands.run_next()) continue;
  } catch (const Refused& refused) {
    throw Refused(name + ':' + std::to_string(commands.line()) + ": " + refused.what());
  } catch (const std::ios_base::failure&) {
    throw Unreadable(name + ": cannot be read");
  }
}

void Script::expect(std::uint64_t check) {
  if (check == 0) throw Refused("the checks of a script are counted from 1");
  if (check > checks_.size()) {
    throw Refused("there is no such check; the script has " + std::to_string(checks_.size()));
  }
  expected_ = check;
}

Value Script::symbol(std::string_view symbol, Sort sort) const {
  const std::optional<Value> found = names_.symbol_at(std::string(symbol), checks_[expected_ - 1].time);
  if (found && found->sort == sort) return *found;
  throw Refused("'" + std::string(symbol) + "' is no " + to_str(sort) + " symbol of the script at check " +
                std::to_string(expected_));
}

RealTerm Script::real_symbol(int, std::string_view symbol) {
  return this->symbol(symbol, Sort::real).term();
}

Formula Script::bool_symbol(int, std::string_view symbol) {
  return this->symbol(symbol, Sort::boolean).formula();
}

std::string Script::why_not(Source source, const std::vector<Formula>& clause) {
  const Check& check = checks_[expected_ - 1];
  const std::string assertion = "assertion " + std::to_string(source);
  Formula formula;
  if (source < check.num_assertions) {
    const Assertion& found = assertions_[check.first + source];
    if (found.withdrawn < check.time) return assertion + " is not in force at check " + std::to_string(expected_);
    formula = found.formula;
  } else if (source - check.num_assertions < check.assumptions.size()) {
    formula = check.assumptions[source - check.num_assertions];
  } else {
    return "there is no " + assertion + " at check " + std::to_string(expected_);
  }
  const std::string reason = said_.why_not(formula, clause);
  return reason.empty() ? "" : assertion + " does not say so: " + reason;
}

}  // namespace tarku::checker
