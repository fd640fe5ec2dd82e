// The term grammar as a loop over frames.
#include "tarku/smtlib/term_parser.h"

#include <cassert>
#include <string>

#include "tarku/smtlib/literal.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

using smt::Term;

// ==== the loop ====

Term TermParser::parse() {
  return parse_body(nullptr).term;
}

Value TermParser::parse_body(MacroBuilder* builder) {
  assert(frames_.empty() && operands_.empty());
  builder_ = builder;
  outermost_name_.reset();
  const Value value = read();
  builder_ = nullptr;
  return value;
}

// Each round takes one token that begins a value or ends an application. Once a value is complete the forms around it
// go on, which may complete them in turn.
Value TermParser::read() {
  for (;;) {
    bool complete = true;
    if (reader_.token().kind == TokenKind::left) {
      complete = open_form();
    } else if (reader_.token().kind == TokenKind::right) {
      close_application();
    } else {
      read_atom();
    }
    while (complete && !frames_.empty()) complete = continue_form();
    if (complete) {
      const Value value = operands_.back();
      operands_.pop_back();
      return value;
    }
    reader_.next();
  }
}

// Reads the beginning of a parenthesised form. Gives true when it was all of it and its value is on the stack.
bool TermParser::open_form() {
  const Position at = reader_.token().at;
  if (reader_.next().kind == TokenKind::left) {
    if (reader_.next(), reader_.reserved_word() != Reserved::as) reader_.fail_expected("'as'");
    open_application(at, read_qualified());
    return false;
  }
  switch (reader_.reserved_word()) {
    case Reserved::count:
      if (!reader_.is_symbol()) reader_.fail_expected("a function");
      open_application(at, identify(reader_.symbol(), "function"));
      return false;
    case Reserved::let:
      open_let(at);
      return false;
    case Reserved::exclamation:
      frames_.push_back({Frame::Kind::annotation, at, operands_.size(), 0, {}, {}, {}});
      return false;
    case Reserved::as:
      operands_.push_back(value_of(read_qualified(), at));
      return true;
    case Reserved::forall:
    case Reserved::exists:
      reader_.fail("quantifiers are not part of this logic");
    case Reserved::underscore:
      reader_.fail("indexed names are not part of this logic");
    default:
      reader_.fail(quoted(reader_.token().text) + " is not supported in terms");
  }
}

// Gives the innermost form the value on top of the stack. True when that completes it, with its own value on top.
bool TermParser::continue_form() {
  switch (frames_.back().kind) {
    case Frame::Kind::let_bindings:
      return continue_bindings();
    case Frame::Kind::let_body:
      return close_let();
    case Frame::Kind::annotation:
      return close_annotation();
    default:
      return false;  // an application takes any number of values
  }
}

void TermParser::read_atom() {
  switch (reader_.token().kind) {
    case TokenKind::numeral:
    case TokenKind::decimal:
      read_number();
      return;
    case TokenKind::hexadecimal:
    case TokenKind::binary:
    case TokenKind::string:
      reader_.fail("literals of this kind have no sort in this logic");
    default:
      if (!reader_.is_symbol()) reader_.fail_expected("a term");
      read_symbol();
  }
}

void TermParser::read_number() {
  const Value value = Value::closed(terms_.mk_real(number_value(reader_.token().text)));
  terms_.prefetch(value.term);
  operands_.push_back(value);
}

void TermParser::read_symbol() {
  const SymbolId id = reader_.symbol();
  const Binding& binding = symbols_.lookup(id);
  if (binding.kind != Binding::Kind::value) fail_value(id, reader_.token().at);
  if (binding.value.is_closed()) terms_.prefetch(binding.value.term);
  operands_.push_back(binding.value);
}

void TermParser::abandon() {
  frames_.clear();
  operands_.clear();
  names_.clear();
  symbols_.close_scope(0);
  builder_ = nullptr;
}

// ==== applications ====

void TermParser::open_application(Position at, const Identifier& function) {
  if (function.binding.kind == Binding::Kind::value) {
    reader_.fail(quoted(symbols_.name(function.name)) + " is not a function and takes no arguments");
  }
  frames_.push_back(
      {Frame::Kind::application, at, operands_.size(), 0, function.name, function.binding, function.ascribed});
}

void TermParser::close_application() {
  if (frames_.empty() || frames_.back().kind != Frame::Kind::application) reader_.fail_expected("a term");
  const Frame& frame = frames_.back();
  if (operands_.size() == frame.first_operand) {
    throw InputError(frame.at, quoted(symbols_.name(frame.name)) + " is given no arguments");
  }
  Value value;
  try {
    value = apply(frame);
  } catch (const smt::TermError& error) {
    throw InputError(frame.at, error.what());
  }
  check_ascription(frame.ascribed, value, frame.at);
  operands_.resize(frame.first_operand + 1);
  operands_.back() = value;
  frames_.pop_back();
}

// The value of the innermost application; its arguments are on the stack of operands.
Value TermParser::apply(const Frame& frame) {
  const Value* const first = operands_.data() + frame.first_operand;
  const std::size_t count = operands_.size() - frame.first_operand;
  arguments_.resize(count);
  bool all_closed = true;
  for (std::size_t i = 0; i < count; ++i) {
    all_closed = all_closed && first[i].is_closed();
    arguments_[i] = first[i].term;
  }
  open_arguments_.clear();
  if (!all_closed) open_arguments_.assign(first, first + count);
  switch (frame.head.kind) {
    case Binding::Kind::op:
      return apply_op(frame);
    case Binding::Kind::macro:
      return apply_macro(frame);
    default:
      return apply_to_real(frame);
  }
}

Value TermParser::apply_op(const Frame& frame) {
  if (open_arguments_.empty()) {
    check_size(terms_, frame.head.op, arguments_.data(), arguments_.size());
    return Value::closed(terms_.mk(frame.head.op, arguments_));
  }
  return builder_->apply(frame.head.op, open_arguments_);
}

Value TermParser::apply_macro(const Frame& frame) {
  const Macro& macro = macros_[frame.head.macro];
  check_arguments(frame, macro.parameters);
  if (!open_arguments_.empty()) return builder_->call(frame.head.macro, macro.sort, open_arguments_);
  try {
    return Value::closed(macros_.expand(frame.head.macro, arguments_));
  } catch (const smt::TermError& error) {
    throw InputError(frame.at, "in the expansion of " + quoted(symbols_.name(frame.name)) + ": " + error.what());
  }
}

Value TermParser::apply_to_real(const Frame& frame) {
  check_arguments(frame, {smt::Sort::real});
  return operands_[frame.first_operand];
}

void TermParser::check_arguments(const Frame& frame, const std::vector<smt::Sort>& wanted) const {
  const std::size_t count = operands_.size() - frame.first_operand;
  const std::string name = quoted(symbols_.name(frame.name));
  if (count != wanted.size()) {
    throw InputError(frame.at, name + " takes " + counted(wanted.size(), "argument") + ", but " +
                                   std::to_string(count) + (count == 1 ? " is given" : " are given"));
  }
  for (std::size_t i = 0; i < count; ++i) {
    const smt::Sort given = sort_of(operands_[frame.first_operand + i]);
    if (given == wanted[i]) continue;
    throw InputError(frame.at, name + " takes a " + std::string(to_str(wanted[i])) + " as argument " +
                                   std::to_string(i + 1) + ", but it is of sort " + std::string(to_str(given)));
  }
}

// ==== let ====

void TermParser::open_let(Position at) {
  reader_.expect_left("the variables of 'let'");
  frames_.push_back({Frame::Kind::let_bindings, at, operands_.size(), names_.size(), {}, {}, {}});
  reader_.expect_left("a variable of 'let'");
  read_let_name();
}

void TermParser::read_let_name() {
  names_.push_back(reader_.expect_symbol("the name of a variable"));
}

// One more variable has its value. The variables get their meaning together, once all values are known.
bool TermParser::continue_bindings() {
  reader_.expect_right("the value of a variable");
  if (reader_.next().kind == TokenKind::left) {
    read_let_name();
    return false;
  }
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("another variable of 'let' or ')'");
  Frame& frame = frames_.back();
  const SymbolTable::Scope scope = symbols_.open_scope();
  for (std::size_t i = frame.mark, j = frame.first_operand; i < names_.size(); ++i, ++j) {
    if (symbols_.bind_local(scope, names_[i], operands_[j])) continue;
    throw InputError(frame.at, quoted(symbols_.name(names_[i])) + " occurs twice among the variables of one 'let'");
  }
  names_.resize(frame.mark);
  operands_.resize(frame.first_operand);
  frame.kind = Frame::Kind::let_body;
  frame.mark = scope;
  return false;
}

bool TermParser::close_let() {
  reader_.expect_right("the body of 'let'");
  symbols_.close_scope(frames_.back().mark);
  frames_.pop_back();
  return true;
}

// ==== annotations ====

// Reads the attributes. All but `:named` are passed over, with their values.
bool TermParser::close_annotation() {
  const Value value = operands_.back();
  if (reader_.next().kind != TokenKind::keyword) reader_.fail_expected("an attribute");
  while (reader_.token().kind == TokenKind::keyword) {
    if (reader_.token().text == ":named") {
      name_value(value, frames_.size() == 1);
      reader_.next();
    } else if (reader_.next().kind != TokenKind::keyword && reader_.token().kind != TokenKind::right) {
      reader_.skip_expression();
      reader_.next();
    }
  }
  if (reader_.token().kind != TokenKind::right) reader_.fail_expected("an attribute or ')'");
  frames_.pop_back();
  return true;
}

void TermParser::name_value(Value value, bool is_outermost) {
  const SymbolId id = reader_.expect_symbol("a name after ':named'");
  if (!value.is_closed()) {
    reader_.fail("only a term without parameters can be named, which " + quoted(symbols_.name(id)) + " would not be");
  }
  if (!symbols_.declare(id, Binding::to_value(value), SymbolTable::Origin::named)) reader_.fail(symbols_.why_taken(id));
  if (is_outermost) outermost_name_ = id;
}

// ==== names and values ====

// Reads `NAME SORT)` after `(as`.
TermParser::Identifier TermParser::read_qualified() {
  Identifier identifier = identify(reader_.expect_symbol("a name"), "symbol");
  identifier.ascribed = sorts_.parse();
  reader_.expect_right("the sort in 'as'");
  return identifier;
}

TermParser::Identifier TermParser::identify(SymbolId id, const char* what) const {
  const Binding& binding = symbols_.lookup(id);
  if (binding.kind == Binding::Kind::none) fail_unknown(id, what);
  return {id, binding, {}};
}

void TermParser::fail_unknown(SymbolId id, const char* what) const {
  const std::string_view name = symbols_.name(id);
  const bool is_negative = name.size() > 1 && name[0] == '-' && name[1] >= '0' && name[1] <= '9';
  const std::string hint = is_negative ? "; negative numbers are written (- " + std::string(name.substr(1)) + ")" : "";
  reader_.fail(std::string("unknown ") + what + " " + quoted(name) + hint);
}

Value TermParser::value_of(const Identifier& identifier, Position at) const {
  if (identifier.binding.kind != Binding::Kind::value) fail_value(identifier.name, at);
  check_ascription(identifier.ascribed, identifier.binding.value, at);
  return identifier.binding.value;
}

// Why the name does not stand for a value.
void TermParser::fail_value(SymbolId id, Position at) const {
  if (symbols_.lookup(id).kind == Binding::Kind::none) fail_unknown(id, "symbol");
  throw InputError(at, quoted(symbols_.name(id)) + " is a function and needs arguments");
}

void TermParser::check_ascription(const std::optional<smt::Sort>& ascribed, Value value, Position at) const {
  if (!ascribed || *ascribed == sort_of(value)) return;
  throw InputError(
      at, "the term is of sort " + std::string(to_str(sort_of(value))) + ", not " + std::string(to_str(*ascribed)));
}

smt::Sort TermParser::sort_of(Value value) const {
  return value.is_closed() ? terms_.sort(value.term) : builder_->sort(value);
}

}  // namespace tarku::smtlib
