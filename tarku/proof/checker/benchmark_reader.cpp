// Attributes one after the other; formulas as a loop over open forms.
#include "tarku/proof/checker/benchmark_reader.h"

#include <string_view>
#include <utility>

#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

struct Operator {
  std::string_view name;
  Op op;
};

constexpr Operator operators[] = {
    {"not", Op::negation},        {"and", Op::conjunction},  {"or", Op::disjunction},
    {"implies", Op::implication}, {"xor", Op::exclusive_or}, {"iff", Op::equal},
    {"if_then_else", Op::choice}, {"ite", Op::choice},       {"=", Op::equal},
    {"distinct", Op::distinct},   {"<", Op::less},           {">", Op::greater},
    {"<=", Op::less_equal},       {">=", Op::greater_equal}, {"+", Op::sum},
    {"*", Op::product},           {"-", Op::difference},     {"~", Op::difference},
    {"/", Op::quotient},
};

const Operator* find_operator(std::string_view name) {
  for (const Operator& each : operators) {
    if (each.name == name) return &each;
  }
  return nullptr;
}

}  // namespace

// ==== attributes ====

std::vector<Formula> BenchmarkReader::read() {
  lexer_.set_dialect(Dialect::benchmark);
  expect_name("the name of a benchmark");
  lexer_.next();
  while (lexer_.token().kind == TokenKind::keyword) read_attribute(std::string(lexer_.token().text));
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("an attribute or ')'");
  lexer_.set_dialect(Dialect::script);
  return std::move(asserted_);
}

// Afterwards the token is the one behind the attribute.
void BenchmarkReader::read_attribute(const std::string& keyword) {
  if (keyword == ":extrasorts") throw Refused("sorts other than Real are not known");
  if (keyword == ":extrafuns" || keyword == ":extrapreds") {
    read_symbols(keyword == ":extrafuns");
  } else if (keyword == ":assumption" || keyword == ":formula") {
    read_formula();
  } else {
    return skip_annotation();
  }
  lexer_.next();
}

// A list of `(NAME SORT)`, or of `(NAME)` for predicates.
void BenchmarkReader::read_symbols(bool are_functions) {
  lexer_.expect_left("'(' of the symbols");
  while (lexer_.next().kind == TokenKind::left) {
    const std::string name = expect_name("a name");
    Sort sort = Sort::boolean;
    if (are_functions) {
      const SortMeaning* const known = names_.find_sort(expect_name("a sort"));
      if (known == nullptr || known->arity != 0) throw Refused("the sort '" + lexer_.token().text + "' is not known");
      sort = known->sort;
    }
    lexer_.next();
    end_form();
    const bool is_real = sort == Sort::real;
    names_.declare_symbol(name, is_real ? Value::of(formulas_.reals().symbol()) : Value::of(formulas_.symbol()), now_);
  }
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("a symbol or ')'");
}

void BenchmarkReader::read_formula() {
  lexer_.next();
  const Value value = read_value();
  if (value.sort != Sort::boolean) throw Refused("the formula is of sort " + to_str(value.sort));
  asserted_.push_back(value.formula());
}

// Passes over a keyword and its value, if it has one, up to the token behind.
void BenchmarkReader::skip_annotation() {
  const TokenKind kind = lexer_.next().kind;
  if (kind == TokenKind::keyword || kind == TokenKind::right) return;
  lexer_.skip_expression();
  lexer_.next();
}

// From the token behind the last part of a form to its closing parenthesis.
void BenchmarkReader::end_form() {
  while (lexer_.token().kind == TokenKind::keyword) skip_annotation();
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("')'");
}

// Any word: none is reserved here.
const std::string& BenchmarkReader::expect_name(const char* what) {
  if (lexer_.next().kind != TokenKind::word) lexer_.fail_expected(what);
  return lexer_.token().text;
}

// ==== terms and formulas ====

// Begins with the present token. Each round takes what begins a value or ends an application. A complete value is given
// to the form around it, which may be complete then, too.
Value BenchmarkReader::read_value() {
  for (;; lexer_.next()) {
    bool is_complete = begin();
    while (is_complete && !frames_.empty()) is_complete = give_value();
    if (!is_complete) continue;
    const Value value = values_.back();
    values_.pop_back();
    return value;
  }
}

// Gives true when a value is complete; it is on top of the stack then.
bool BenchmarkReader::begin() {
  switch (lexer_.token().kind) {
    case TokenKind::left:
      return begin_form();
    case TokenKind::right:
    case TokenKind::keyword:
      end_application();
      return true;
    default:
      push_atom();
      return true;
  }
}

bool BenchmarkReader::begin_form() {
  const std::string word = expect_name("a connective, a predicate or a function");
  if (const Operator* const known = find_operator(word)) {
    frames_.push_back({Frame::Kind::application, word, values_.size(), known->op});
    return false;
  }
  if (word == "let" || word == "flet") {
    begin_let(word);
    return false;
  }
  push_atom();  // with annotations
  if (lexer_.next().kind != TokenKind::keyword) throw Refused("'" + word + "' takes no arguments");
  end_form();
  return true;
}

void BenchmarkReader::begin_let(const std::string& word) {
  lexer_.expect_left("'(' of the binding");
  const std::string variable = expect_name("a variable");
  if (variable[0] != (word == "let" ? '?' : '$')) throw Refused("'" + word + "' does not bind '" + variable + "'");
  frames_.push_back({Frame::Kind::binding, variable});
}

void BenchmarkReader::push_atom() {
  const Token& token = lexer_.token();
  if (token.kind == TokenKind::number) {
    Number value;
    if (!parse_decimal(token.text, &value)) throw Refused("malformed number");
    values_.push_back(Value::of(formulas_.reals().numeral(value)));
    return;
  }
  if (token.kind != TokenKind::word) lexer_.fail_expected("a term or a formula");
  const Meaning* const meaning = names_.find(token.text);
  if (meaning == nullptr || meaning->kind != Meaning::Kind::value) throw Refused("'" + token.text + "' is no symbol");
  values_.push_back(meaning->value);
}

// Gives the innermost form the value on top of the stack. True when the form is complete and its value on top.
bool BenchmarkReader::give_value() {
  Frame& frame = frames_.back();
  if (frame.kind == Frame::Kind::application) return false;  // takes any number of values
  lexer_.next();
  end_form();
  if (frame.kind == Frame::Kind::binding) {
    frame.kind = Frame::Kind::body;
    frame.scope = names_.open_scope();
    names_.bind(frame.scope, frame.name, values_.back());
    values_.pop_back();
    return false;
  }
  names_.close_scope(frame.scope);
  frames_.pop_back();
  return true;
}

void BenchmarkReader::end_application() {
  if (frames_.empty() || frames_.back().kind != Frame::Kind::application) {
    lexer_.fail_expected("a term or a formula");
  }
  end_form();
  const Frame frame = frames_.back();
  frames_.pop_back();
  const auto first = values_.begin() + static_cast<std::ptrdiff_t>(frame.first);
  const std::vector<Value> args(first, values_.end());
  if (frame.name == "~" && args.size() != 1) throw Refused("'~' takes one argument");
  values_.erase(first, values_.end());
  values_.push_back(apply(&formulas_, frame.op, args));
}

}  // namespace tarku::checker
