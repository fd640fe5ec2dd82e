// Expectations on the next token, and the words for what is found instead.
#include "tarku/smtlib/reader.h"

#include "tarku/smtlib/literal.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

std::string describe(const Token& token) {
  constexpr std::size_t longest = 60;
  switch (token.kind) {
    case TokenKind::left:
      return "'('";
    case TokenKind::right:
      return "')'";
    case TokenKind::string:
      return "a string";
    case TokenKind::braced:
      return "a text in braces";
    case TokenKind::end:
      return "the end of the input";
    default:
      return token.text.size() <= longest ? quoted(token.text)
                                          : quoted(std::string(token.text.substr(0, longest)) + "...");
  }
}

}  // namespace

void Reader::expect_left(std::string_view what) {
  if (next().kind != TokenKind::left) fail_expected("'(' before " + std::string(what));
}

void Reader::expect_right(std::string_view what) {
  if (next().kind != TokenKind::right) fail_expected("')' after " + std::string(what));
}

SymbolId Reader::expect_symbol(std::string_view what) {
  next();
  if (!is_symbol()) fail_expected(what);
  return symbol();
}

std::string_view Reader::expect_keyword(std::string_view what) {
  if (next().kind != TokenKind::keyword) fail_expected(what);
  return token().text;
}

std::uint64_t Reader::expect_count(std::string_view what) {
  next();
  return count(what);
}

std::uint64_t Reader::count(std::string_view what) {
  if (token().kind != TokenKind::numeral) fail_expected(what);
  constexpr std::uint64_t most = 1000000000000000000;
  std::uint64_t value = 0;
  for (const char c : token().text) {
    value = 10 * value + static_cast<std::uint64_t>(c - '0');
    if (value > most) fail(quoted(token().text) + " is too large");
  }
  return value;
}

std::string Reader::expect_string(std::string_view what) {
  if (next().kind != TokenKind::string) fail_expected(what);
  return string_value(token().text);
}

void Reader::skip_expression() {
  if (token().kind == TokenKind::right || token().kind == TokenKind::end) fail_expected("an expression");
  if (token().kind != TokenKind::left) return;
  const std::size_t inside = lexer_->depth();
  while (lexer_->depth() >= inside) {
    if (next().kind == TokenKind::end) fail_expected("')'");
  }
}

void Reader::skip_command() {
  while (lexer_->depth() > 0) {
    try {
      if (next().kind == TokenKind::end) return;
    } catch (const InputError&) {  // one error for one command is enough
    }
  }
}

void Reader::fail_expected(std::string_view what) const {
  fail("expected " + std::string(what) + ", found " + describe(token()));
}

}  // namespace tarku::smtlib
