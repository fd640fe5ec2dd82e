// The lexer: one function for each kind of token over a sliding buffer.
#include "tarku/smtlib/lexer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tarku/smtlib/characters.h"

namespace tarku::smtlib {

Lexer::Lexer(Source source, std::size_t buffer_size)
    : source_(std::move(source)), buffer_(std::max<std::size_t>(buffer_size, 2) + 1) {
  start_ = current_ = end_ = buffer_.data();
  set_dialect(Dialect::script);
}

void Lexer::set_dialect(Dialect dialect) {
  dialect_ = dialect;
  symbol_bits_ = dialect == Dialect::script ? symbol_class : name_class;
}

// ---- movement through the text ----

inline void Lexer::skip_blanks() {
  for (;;) {
    for (; is_in_class(*current_, blank_class); ++current_) {
      if (*current_ == '\n') count_line();
    }
    start_ = current_;
    if (*current_ == ';') {
      skip_comment();
    } else if (current_ != end_ || !refill()) {
      return;
    }
  }
}

// Stops at the line's end, which skip_blanks counts.
void Lexer::skip_comment() {
  do {
    const void* found = std::memchr(current_, '\n', static_cast<std::size_t>(end_ - current_));
    current_ = found != nullptr ? static_cast<const char*>(found) : end_;
    start_ = current_;
  } while (current_ == end_ && refill());
}

inline void Lexer::skip_class(std::uint8_t bits) {
  do {
    const char* at = current_;
    while (is_in_class(*at, bits)) ++at;
    current_ = at;
  } while (current_ == end_ && refill());
}

// Consumes everything up to and including `closing`; false when a character on the way is neither printable nor blank.
bool Lexer::scan_to(char closing, const char* what) {
  bool clean = true;
  for (; more(); ++current_) {
    const char c = *current_;
    if (c == closing) {
      ++current_;
      return clean;
    }
    if (c == '\n') count_line();
    clean = clean && is_in_class(c, printable_class | blank_class);
  }
  fail(std::string("unterminated ") + what);
}

bool Lexer::at_class(std::uint8_t bits) {
  return more() && is_in_class(*current_, bits);
}

void Lexer::count_line() {
  ++line_;
  line_start_ = offset_of(current_) + 1;
}

// Drops what lies before the current token and reads on behind the rest; false at the end of the text.
// A token that fills the buffer doubles it, so that a long one costs linear time.
bool Lexer::refill() {
  const auto kept = static_cast<std::size_t>(end_ - start_);
  const auto consumed = static_cast<std::size_t>(current_ - start_);
  line_start_ -= offset_of(start_);
  std::memmove(buffer_.data(), start_, kept);
  if (kept + 1 == buffer_.size()) buffer_.resize(2 * buffer_.size());
  const std::size_t count = source_.read(buffer_.data() + kept, buffer_.size() - kept - 1);
  start_ = buffer_.data();
  current_ = start_ + consumed;
  end_ = buffer_.data() + kept + count;
  *end_ = '\0';
  return count != 0;
}

// ---- ends of tokens ----

inline const Token& Lexer::finish(TokenKind kind, std::size_t skip_front, std::size_t skip_back) {
  token_.kind = kind;
  token_.text = raw();
  if (record_ != nullptr) record_token();
  token_.text.remove_prefix(skip_front);
  token_.text.remove_suffix(skip_back);
  return token_;
}

void Lexer::record_token() {
  if (token_.kind != TokenKind::right && !record_->empty() && record_->back() != '(') record_->push_back(' ');
  record_->append(token_.text);
}

void Lexer::fail(const std::string& message) const {
  throw InputError(token_.at, message);
}

// ---- tokens ----

const Token& Lexer::next() {
  skip_blanks();
  start_ = current_;
  token_.at = {line_, static_cast<std::uint32_t>(offset_of(current_) - line_start_ + 1)};
  const char c = *current_;
  switch (c) {
    case '(':
      ++current_;
      ++depth_;
      return finish(TokenKind::left);
    case ')':
      ++current_;
      if (depth_ > 0) --depth_;
      return finish(TokenKind::right);
    case '|':
      return lex_quoted_symbol();
    case '"':
      return lex_string();
    case ':':
      return lex_keyword();
    case '#':
      return lex_hash();
    case '{':
      return dialect_ == Dialect::benchmark ? lex_braced() : lex_symbol();
    case '\0':
      return current_ == end_ ? finish(TokenKind::end) : lex_symbol();
    default:
      return is_in_class(c, digit_class) ? lex_number() : lex_symbol();
  }
}

// ---- one kind of token each; current_ is at its first character ----

const Token& Lexer::lex_symbol() {
  skip_class(symbol_bits_);
  if (current_ != start_) return finish(TokenKind::symbol);
  ++current_;
  const auto c = static_cast<unsigned char>(*start_);
  char shown[16];
  std::snprintf(shown, sizeof shown, c > 0x20 && c < 0x7f ? "'%c'" : "0x%02x", c);
  fail(std::string("illegal character ") + shown);
}

const Token& Lexer::lex_quoted_symbol() {
  ++current_;
  const bool clean = scan_to('|', "quoted symbol");
  if (!clean) fail("illegal character in a quoted symbol");
  if (raw().find('\\') != std::string_view::npos) fail("'\\' is not allowed in a quoted symbol");
  return finish(TokenKind::quoted_symbol, 1, 1);
}

const Token& Lexer::lex_string() {
  bool clean = true;
  do {  // a doubled quote is a quote and goes on
    ++current_;
    clean = scan_to('"', "string") && clean;
  } while (at('"'));
  if (!clean) fail("illegal character in a string");
  return finish(TokenKind::string, 1, 1);
}

// Braces do not nest; those within have a backslash before them.
const Token& Lexer::lex_braced() {
  char before = '{';
  for (++current_; more(); ++current_) {
    const char c = *current_;
    if (c == '}' && before != '\\') {
      ++current_;
      return finish(TokenKind::braced, 1, 1);
    }
    if (c == '\n') count_line();
    before = c;
  }
  fail("unterminated text in braces");
}

const Token& Lexer::lex_keyword() {
  ++current_;
  skip_class(symbol_bits_);
  if (raw().size() == 1) fail("':' is not followed by a word");
  return finish(TokenKind::keyword);
}

// Leading zeros are accepted although the standard has none.
const Token& Lexer::lex_number() {
  TokenKind kind = TokenKind::numeral;
  skip_class(digit_class);
  bool malformed = false;
  if (at('.')) {
    ++current_;
    malformed = !at_class(digit_class);
    skip_class(digit_class);
    kind = TokenKind::decimal;
  }
  if (malformed || at_class(symbol_bits_)) {
    skip_class(symbol_bits_);
    fail("malformed number '" + std::string(raw()) + "'");
  }
  return finish(kind);
}

const Token& Lexer::lex_hash() {
  ++current_;
  const bool is_hexadecimal = at('x');
  const bool is_binary = at('b');
  if (is_hexadecimal || is_binary) {
    ++current_;
    const std::uint8_t digits = is_hexadecimal ? hexadecimal_class : binary_class;
    const bool empty = !at_class(digits);
    skip_class(digits);
    if (!empty && !at_class(symbol_class)) return finish(is_hexadecimal ? TokenKind::hexadecimal : TokenKind::binary);
  }
  skip_class(symbol_class);
  fail("malformed literal '" + std::string(raw()) + "'");
}

}  // namespace tarku::smtlib
