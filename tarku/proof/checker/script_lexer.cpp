// One function for each kind of token.
#include "tarku/proof/checker/script_lexer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tarku/proof/checker/characters.h"
#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

bool Token::is_reserved() const {
  constexpr std::string_view reserved[] = {"!", "_", "as", "let", "exists", "forall", "match", "par"};
  return kind == TokenKind::word && std::find(std::begin(reserved), std::end(reserved), text) != std::end(reserved);
}

ScriptLexer::ScriptLexer(std::istream& in) : in_(in) {}

// ==== characters ====

bool ScriptLexer::at_symbol_character() {
  if (dialect_ == Dialect::benchmark && at('\'')) return true;
  return peek() != end_of_text && is_symbol_character(static_cast<char>(peek()));
}

void ScriptLexer::skip() {
  if (in_.rdbuf()->sbumpc() == '\n') ++line_;
}

// Moves the character in front into the token.
void ScriptLexer::take() {
  token_.text.push_back(static_cast<char>(peek()));
  skip();
}

void ScriptLexer::skip_blanks() {
  for (; peek() != end_of_text; skip()) {
    if (at(';')) {
      while (peek() != end_of_text && !at('\n')) skip();
      if (peek() == end_of_text) return;
    } else if (!is_blank(static_cast<char>(peek()))) {
      return;
    }
  }
}

void ScriptLexer::take_symbol_characters() {
  while (at_symbol_character()) take();
}

// Takes everything before `closing`, and skips that.
void ScriptLexer::take_until(char closing, const char* what) {
  while (!at(closing)) {
    if (peek() == end_of_text) throw Refused(std::string("a ") + what + " is not closed");
    if (!is_quotable(static_cast<char>(peek()))) throw Refused(std::string("illegal character in a ") + what);
    take();
  }
  skip();
}

// ==== tokens ====

const Token& ScriptLexer::next() {
  if (is_put_back_) {
    is_put_back_ = false;
    return token_;
  }
  skip_blanks();
  token_.text.clear();
  token_line_ = line_;
  const int c = peek();
  if (c == end_of_text) {
    token_.kind = TokenKind::end;
  } else if (c == '(' || c == ')') {
    token_.kind = c == '(' ? TokenKind::left : TokenKind::right;
    skip();
  } else if (c == '|') {
    read_quoted();
  } else if (c == '"') {
    read_string();
  } else if (c == '{' && dialect_ == Dialect::benchmark) {
    read_braced();
  } else if (is_digit(static_cast<char>(c))) {
    read_number();
  } else {
    read_other();
  }
  return token_;
}

void ScriptLexer::read_quoted() {
  token_.kind = TokenKind::quoted;
  skip();
  take_until('|', "quoted symbol");
  if (token_.text.find('\\') != std::string::npos) throw Refused("'\\' is not allowed in a quoted symbol");
}

// A quote within a string is written twice.
void ScriptLexer::read_string() {
  token_.kind = TokenKind::literal;
  do {
    skip();
    take_until('"', "string");
  } while (at('"'));
}

// Inner braces have a backslash before them.
void ScriptLexer::read_braced() {
  token_.kind = TokenKind::literal;
  do {
    take();
    if (peek() == end_of_text) throw Refused("a text in braces is not closed");
  } while (!at('}') || token_.text.back() == '\\');
  take();
}

void ScriptLexer::read_number() {
  token_.kind = TokenKind::number;
  take_symbol_characters();
  const auto is_point = [](char c) { return c == '.'; };
  const bool has_digits_only =
      std::all_of(token_.text.begin(), token_.text.end(), [&](char c) { return is_digit(c) || is_point(c); });
  const auto points = std::count_if(token_.text.begin(), token_.text.end(), is_point);
  if (has_digits_only && points <= 1 && !is_point(token_.text.back())) return;
  throw Refused("malformed number '" + token_.text + "'");
}

// Words, keywords, #x and #b.
void ScriptLexer::read_other() {
  const bool is_marked = at(':') || at('#');
  token_.kind = at(':') ? TokenKind::keyword : at('#') ? TokenKind::literal : TokenKind::word;
  if (is_marked) take();
  take_symbol_characters();
  if (is_marked && token_.text.size() == 1) throw Refused("'" + token_.text + "' is not followed by a word");
  if (token_.text.empty()) throw Refused("the character with code " + std::to_string(peek()) + " begins no word");
}

// ==== expectations ====

void ScriptLexer::fail_expected(const char* what) const {
  const std::string found = token_.kind == TokenKind::end     ? "the end of the text"
                            : token_.kind == TokenKind::left  ? "'('"
                            : token_.kind == TokenKind::right ? "')'"
                                                              : "'" + token_.text + "'";
  throw Refused(std::string(what) + " is expected, not " + found);
}

void ScriptLexer::expect_left(const char* what) {
  if (next().kind != TokenKind::left) fail_expected(what);
}

void ScriptLexer::expect_right(const char* what) {
  if (next().kind != TokenKind::right) fail_expected(what);
}

const std::string& ScriptLexer::expect_symbol(const char* what) {
  if (!next().is_symbol()) fail_expected(what);
  return token_.text;
}

void ScriptLexer::skip_expression() {
  std::size_t depth = 0;
  for (;; next()) {
    if (token_.kind == TokenKind::left) ++depth;
    if (token_.kind == TokenKind::end || (token_.kind == TokenKind::right && depth == 0))
      fail_expected("an expression");
    if (token_.kind == TokenKind::right) --depth;
    if (depth == 0) return;
  }
}

}  // namespace tarku::checker
