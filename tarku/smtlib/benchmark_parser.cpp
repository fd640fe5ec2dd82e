// Attributes one after the other, formulas as a loop over frames.
#include "tarku/smtlib/benchmark_parser.h"

#include <utility>

#include "tarku/smtlib/literal.h"
#include "tarku/smtlib/theory.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

using smt::Op;
using smt::Sort;
using smt::Term;

namespace {

struct NamedOp {
  std::string_view name;
  Op op;
};

constexpr NamedOp operators[] = {
    {"not", Op::not_op},        {"and", Op::and_op},       {"or", Op::or_op},
    {"implies", Op::implies},   {"xor", Op::xor_op},       {"iff", Op::equal},
    {"if_then_else", Op::ite},  {"ite", Op::ite},          {"=", Op::equal},
    {"distinct", Op::distinct}, {"<", Op::less},           {">", Op::greater},
    {"<=", Op::less_equal},     {">=", Op::greater_equal}, {"+", Op::add},
    {"*", Op::multiply},        {"-", Op::subtract},       {"~", Op::negate},
    {"/", Op::divide},
};

const NamedOp* find_operator(std::string_view name) {
  for (const NamedOp& entry : operators) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

}  // namespace

// ==== attributes ====

Benchmark BenchmarkParser::read() {
  expect_name("the name of a benchmark");
  reader_.next();
  while (reader_.token().kind == TokenKind::keyword) read_attribute(std::string(reader_.token().text));
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("an attribute or ')'");
  return std::move(benchmark_);
}

// Afterwards the current token is the one behind the attribute.
void BenchmarkParser::read_attribute(std::string_view keyword) {
  if (keyword == ":logic") {
    read_logic();
  } else if (keyword == ":extrafuns") {
    read_functions();
  } else if (keyword == ":extrapreds") {
    read_predicates();
  } else if (keyword == ":assumption" || keyword == ":formula") {
    read_formula();
  } else if (keyword == ":status") {
    benchmark_.status = symbols_.name(expect_name("a status"));
  } else if (keyword == ":extrasorts") {
    reader_.fail("sorts other than Real are not part of this logic");
  } else {
    return skip_annotation();
  }
  reader_.next();
}

void BenchmarkParser::read_logic() {
  const std::string_view logic = symbols_.name(expect_name("the name of a logic"));
  if (!is_supported_logic(logic)) reader_.fail("unsupported logic " + quoted(logic));
}

void BenchmarkParser::read_functions() {
  reader_.expect_left("the functions");
  while (reader_.next().kind == TokenKind::left) {
    const SymbolId name = expect_name("the name of a function");
    const Position at = reader_.token().at;
    expect_name("a sort");
    const SortBinding sort = symbols_.lookup_sort(reader_.symbol());
    if (!sort.is_bound || sort.arity != 0) reader_.fail("unknown sort " + quoted(reader_.token().text));
    if (reader_.next().kind == TokenKind::symbol) {
      throw InputError(at, quoted(symbols_.name(name)) + " has arguments: functions are not part of this logic");
    }
    declare(name, sort.body.sort);
  }
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("a function or ')'");
}

void BenchmarkParser::read_predicates() {
  reader_.expect_left("the predicates");
  while (reader_.next().kind == TokenKind::left) {
    const SymbolId name = expect_name("the name of a predicate");
    const Position at = reader_.token().at;
    if (reader_.next().kind == TokenKind::symbol) {
      throw InputError(at, quoted(symbols_.name(name)) + " has arguments: predicates are not part of this logic");
    }
    declare(name, Sort::boolean);
  }
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("a predicate or ')'");
}

void BenchmarkParser::declare(SymbolId id, Sort sort) {
  finish_form(symbols_.name(id));
  const Term symbol = terms_.mk_symbol(symbols_.name(id), sort);
  if (symbols_.declare(id, Binding::to_value(Value::closed(symbol)), SymbolTable::Origin::declared)) return;
  reader_.fail(symbols_.why_taken(id));
}

void BenchmarkParser::read_formula() {
  const Position at = reader_.next().at;
  const Term formula = read_term();
  if (terms_.sort(formula) != Sort::boolean) throw InputError(at, "this is a term and not a formula");
  benchmark_.formulas.push_back(formula);
}

// Passes over a keyword and its value, if it has one: the current token is the keyword, and then the one behind.
void BenchmarkParser::skip_annotation() {
  const TokenKind kind = reader_.next().kind;
  if (kind == TokenKind::keyword || kind == TokenKind::right) return;
  reader_.skip_expression();
  reader_.next();
}

// The current token is what comes behind the last argument, and then the closing parenthesis.
void BenchmarkParser::finish_form(std::string_view name) {
  while (reader_.token().kind == TokenKind::keyword) skip_annotation();
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("')' after " + quoted(name));
}

// Words that are reserved in scripts are names like others here.
SymbolId BenchmarkParser::expect_name(std::string_view what) {
  if (reader_.next().kind != TokenKind::symbol) reader_.fail_expected(what);
  return reader_.symbol();
}

// ==== terms and formulas ====

// Each round takes one token that begins a value or ends an application. Once a value is complete the forms around it
// go on, which may complete them in turn.
Term BenchmarkParser::read_term() {
  for (;;) {
    bool complete = true;
    switch (reader_.token().kind) {
      case TokenKind::left:
        complete = open_form();
        break;
      case TokenKind::right:
      case TokenKind::keyword:
        close_application();
        break;
      default:
        operands_.push_back(read_atom());
    }
    while (complete && !frames_.empty()) complete = continue_form();
    if (complete) {
      const Term value = operands_.back();
      operands_.pop_back();
      return value;
    }
    reader_.next();
  }
}

// Reads the beginning of a parenthesised form. Gives true when it was all of it and its value is on the stack.
bool BenchmarkParser::open_form() {
  const Position at = reader_.token().at;
  const SymbolId name = expect_name("a connective, a predicate or a function");
  const std::string_view word = symbols_.name(name);
  if (const NamedOp* const known = find_operator(word)) {
    frames_.push_back({Frame::Kind::application, at, operands_.size(), known->op, name, 0});
    return false;
  }
  if (word == "let" || word == "flet") {
    open_let(at, word);
    return false;
  }
  if (word == "forall" || word == "exists") reader_.fail("quantifiers are not part of this logic");
  operands_.push_back(read_atom());
  if (reader_.next().kind != TokenKind::keyword)
    reader_.fail(quoted(word) + " is not a function and takes no arguments");
  finish_form(word);
  return true;
}

void BenchmarkParser::open_let(Position at, std::string_view word) {
  reader_.expect_left("the variable of " + quoted(word));
  const SymbolId variable = expect_name("a variable");
  const char sign = word == "let" ? '?' : '$';
  if (symbols_.name(variable)[0] != sign) {
    reader_.fail(quoted(word) + " binds variables that begin with " + quoted(std::string(1, sign)));
  }
  frames_.push_back({Frame::Kind::let_value, at, operands_.size(), Op::truth, variable, 0});
}

// Gives the innermost form the value on top of the stack. True when that completes it, with its own value on top.
bool BenchmarkParser::continue_form() {
  Frame& frame = frames_.back();
  switch (frame.kind) {
    case Frame::Kind::application:
      return false;  // takes any number of values
    case Frame::Kind::let_value:
      reader_.next();
      finish_form(symbols_.name(frame.name));
      frame.kind = Frame::Kind::let_body;
      frame.scope = symbols_.open_scope();
      symbols_.bind_local(frame.scope, frame.name, Value::closed(operands_.back()));
      operands_.pop_back();
      return false;
    case Frame::Kind::let_body:
      reader_.next();
      finish_form(symbols_.name(frame.name));
      symbols_.close_scope(frame.scope);
      frames_.pop_back();
      return true;
  }
  return false;
}

void BenchmarkParser::close_application() {
  if (frames_.empty() || frames_.back().kind != Frame::Kind::application) reader_.fail_expected("a term or a formula");
  const Frame frame = frames_.back();
  finish_form(symbols_.name(frame.name));
  if (operands_.size() == frame.first_operand) {
    throw InputError(frame.at, quoted(symbols_.name(frame.name)) + " is given no arguments");
  }
  try {
    const Term* const args = operands_.data() + frame.first_operand;
    const std::size_t count = operands_.size() - frame.first_operand;
    check_size(terms_, frame.op, args, count);
    const Term value = terms_.mk(frame.op, args, count);
    operands_.resize(frame.first_operand);
    operands_.push_back(value);
  } catch (const smt::TermError& error) {
    throw InputError(frame.at, error.what());
  }
  frames_.pop_back();
}

Term BenchmarkParser::read_atom() {
  const Token& token = reader_.token();
  if (token.kind == TokenKind::numeral || token.kind == TokenKind::decimal) {
    return terms_.mk_real(number_value(token.text));
  }
  if (token.kind != TokenKind::symbol) reader_.fail_expected("a term or a formula");
  const Binding& binding = symbols_.lookup(reader_.symbol());
  if (binding.kind != Binding::Kind::value) reader_.fail("unknown symbol " + quoted(token.text));
  return binding.value.term;
}

}  // namespace tarku::smtlib
