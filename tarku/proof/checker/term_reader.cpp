// The grammar of terms as a loop over open forms.
#include "tarku/proof/checker/term_reader.h"

#include <algorithm>
#include <utility>

#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

// ==== the loop ====

// Each round takes what begins a value or ends an application. A complete value is given to the form around it, which
// may be complete then, too.
Value TermReader::read_value() {
  for (;;) {
    lexer_.next();
    bool is_complete = begin();
    while (is_complete && !frames_.empty()) is_complete = give_value();
    if (!is_complete) continue;
    const Value value = values_.back();
    values_.pop_back();
    return value;
  }
}

Formula TermReader::read_formula(const char* what) {
  const Value value = read_value();
  if (value.sort != Sort::boolean) throw Refused(std::string(what) + " is of sort " + to_str(value.sort));
  return value.formula();
}

Value TermReader::read_body(Definition* definition) {
  definition_ = definition;
  const Value value = read_value();
  definition_ = nullptr;
  return value;
}

// Gives true when a value is complete; it is on top of the stack then.
bool TermReader::begin() {
  switch (lexer_.token().kind) {
    case TokenKind::left:
      return begin_form();
    case TokenKind::right:
      end_application();
      return true;
    case TokenKind::number:
      push_number();
      return true;
    default:
      push_meaning(meaning_of_token());
      return true;
  }
}

bool TermReader::begin_form() {
  const Token& token = lexer_.next();
  std::optional<Sort> sort;
  if (token.kind == TokenKind::left) {  // ((as NAME SORT) ARGUMENT...)
    if (!lexer_.next().is_word("as")) lexer_.fail_expected("'as'");
    const Meaning head = read_qualified(&sort);
    begin_application(head, sort);
  } else if (token.is_word("let")) {
    begin_let();
  } else if (token.is_word("!")) {
    frames_.push_back({Frame::Kind::annotation, values_.size()});
  } else if (token.is_word("as")) {
    push_meaning(read_qualified(&sort));
    require_sort(values_.back(), sort);
    return true;
  } else {
    begin_application(meaning_of_token(), sort);
  }
  return false;
}

// Gives the innermost form the value on top of the stack. True when the form is complete and its value on top.
bool TermReader::give_value() {
  switch (frames_.back().kind) {
    case Frame::Kind::bindings:
      return continue_let();
    case Frame::Kind::body:
      end_let();
      return true;
    case Frame::Kind::annotation:
      end_annotation();
      return true;
    default:
      return false;  // an application takes any number of values
  }
}

// ==== names and numbers ====

Meaning TermReader::meaning_of_token() const {
  const Token& token = lexer_.token();
  if (!token.is_symbol()) lexer_.fail_expected("a term");
  const Meaning* meaning = names_.find(token.text);
  if (meaning == nullptr) throw Refused("'" + token.text + "' has no meaning");
  return *meaning;
}

// Reads `NAME SORT)`.
Meaning TermReader::read_qualified(std::optional<Sort>* sort) {
  lexer_.expect_symbol("a name");
  const Meaning meaning = meaning_of_token();
  *sort = read_sort();
  lexer_.expect_right("')'");
  return meaning;
}

void TermReader::require_sort(Value value, std::optional<Sort> sort) {
  if (!sort || value.sort == *sort) return;
  throw Refused("a term of sort " + to_str(value.sort) + " is said to be of sort " + to_str(*sort));
}

void TermReader::push_number() {
  Number value;
  if (!parse_decimal(lexer_.token().text, &value)) throw Refused("malformed number");
  values_.push_back(Value::of(formulas_.reals().numeral(value)));
}

void TermReader::push_meaning(const Meaning& meaning) {
  if (meaning.kind != Meaning::Kind::value) throw Refused("a function without arguments");
  values_.push_back(meaning.value);
}

// ==== applications ====

void TermReader::begin_application(const Meaning& head, std::optional<Sort> sort) {
  if (head.kind == Meaning::Kind::value) throw Refused("'" + lexer_.token().text + "' takes no arguments");
  frames_.push_back({Frame::Kind::application, values_.size(), 0, 0, head, sort});
}

void TermReader::end_application() {
  if (frames_.empty() || frames_.back().kind != Frame::Kind::application) lexer_.fail_expected("a term");
  const Frame frame = frames_.back();
  frames_.pop_back();
  const auto first = values_.begin() + static_cast<std::ptrdiff_t>(frame.first);
  const std::vector<Value> args(first, values_.end());
  values_.erase(first, values_.end());
  values_.push_back(apply(frame.head, args));
  require_sort(values_.back(), frame.sort);
}

Value TermReader::apply(const Meaning& head, const std::vector<Value>& args) {
  const bool is_open = std::any_of(args.begin(), args.end(), [](const Value& v) { return v.is_open; });
  if (head.kind == Meaning::Kind::op) {
    return is_open ? definition_->add_application(head.op, args) : checker::apply(&formulas_, head.op, args);
  }
  definitions_.require_arguments(head.definition, args);
  if (!is_open) return definitions_.apply(head.definition, args);
  return definition_->add_call(head.definition, definitions_[head.definition].sort(), args);
}

// ==== let ====

void TermReader::begin_let() {
  lexer_.expect_left("'(' of the bindings");
  lexer_.expect_left("a binding");
  frames_.push_back({Frame::Kind::bindings, values_.size(), let_names_.size()});
  let_names_.push_back(lexer_.expect_symbol("a name"));
}

// One more variable has its value. They get their meanings together, after the last one.
bool TermReader::continue_let() {
  lexer_.expect_right("')'");
  if (lexer_.next().kind == TokenKind::left) {
    let_names_.push_back(lexer_.expect_symbol("a name"));
    return false;
  }
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("a binding or ')'");
  Frame& frame = frames_.back();
  frame.kind = Frame::Kind::body;
  frame.scope = names_.open_scope();
  for (std::size_t i = 0; frame.first + i < values_.size(); ++i) {
    const std::string& name = let_names_[frame.first_name + i];
    if (!names_.bind(frame.scope, name, values_[frame.first + i])) throw Refused("'" + name + "' is bound twice");
  }
  let_names_.resize(frame.first_name);
  values_.resize(frame.first);
  return false;
}

void TermReader::end_let() {
  lexer_.expect_right("')' after the body of 'let'");
  names_.close_scope(frames_.back().scope);
  frames_.pop_back();
}

// ==== annotations ====

// Reads the attributes; all but `:named` are passed over.
void TermReader::end_annotation() {
  if (lexer_.next().kind != TokenKind::keyword) lexer_.fail_expected("an attribute");
  while (lexer_.token().kind == TokenKind::keyword) {
    if (lexer_.token().text == ":named") {
      name_value(values_.back());
    } else if (lexer_.next().kind == TokenKind::keyword || lexer_.token().kind == TokenKind::right) {
      continue;  // without a value
    } else {
      lexer_.skip_expression();
    }
    lexer_.next();
  }
  if (lexer_.token().kind != TokenKind::right) lexer_.fail_expected("an attribute or ')'");
  frames_.pop_back();
}

void TermReader::name_value(Value value) {
  const std::string& name = lexer_.expect_symbol("a name");
  if (value.is_open) throw Refused("'" + name + "' would name a term with parameters");
  names_.declare(name, Meaning::of(value));
}

// ==== sorts ====

Sort TermReader::read_sort() {
  return read_sort_body({}).sort;
}

SortMeaning TermReader::read_sort_body(const std::vector<std::string>& parameters) {
  std::vector<SortFrame> frames;
  std::vector<SortMeaning> sorts;
  do {
    lexer_.next();
    if (lexer_.token().kind == TokenKind::left) {
      lexer_.expect_symbol("a sort");
      frames.push_back({sort_of_token(), sorts.size()});
    } else if (lexer_.token().kind == TokenKind::right && !frames.empty()) {
      const SortFrame frame = frames.back();
      frames.pop_back();
      const auto first = sorts.begin() + static_cast<std::ptrdiff_t>(frame.first_arg);
      const SortMeaning sort = apply_sort(frame.head, {first, sorts.end()});
      sorts.erase(first, sorts.end());
      sorts.push_back(sort);
    } else {
      const auto parameter = std::find(parameters.begin(), parameters.end(), lexer_.token().text);
      const bool is_parameter = parameter != parameters.end() && lexer_.token().is_symbol();
      const auto index = static_cast<std::size_t>(parameter - parameters.begin());
      sorts.push_back(is_parameter ? SortMeaning{0, index, {}} : apply_sort(sort_of_token(), {}));
    }
  } while (!frames.empty());
  return sorts.back();
}

SortMeaning TermReader::sort_of_token() const {
  const Token& token = lexer_.token();
  if (!token.is_symbol()) lexer_.fail_expected("a sort");
  const SortMeaning* sort = names_.find_sort(token.text);
  if (sort == nullptr) throw Refused("the sort '" + token.text + "' is not known");
  return *sort;
}

// Which of its arguments a defined sort is, or what else.
SortMeaning TermReader::apply_sort(const SortMeaning& head, const std::vector<SortMeaning>& args) {
  if (args.size() != head.arity) {
    throw Refused("wrong number of parameters of a sort: " + std::to_string(args.size()) + ", not " +
                  std::to_string(head.arity));
  }
  if (head.parameter) return args[*head.parameter];
  return {0, {}, head.sort};
}

}  // namespace tarku::checker
