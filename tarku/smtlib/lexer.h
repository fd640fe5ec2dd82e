// Cuts the text of a script into the tokens of SMT-LIB 2.6, or of the benchmarks that came before scripts.
//
// The text passes through one buffer. A token is a view into it, valid until the next one is asked for: whoever needs
// it longer copies or interns it. Nothing beyond the token's end is looked at unless the token cannot end without it,
// so a closing parenthesis is known to close before the next line has been typed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/smtlib/input_error.h"
#include "tarku/smtlib/source.h"

namespace tarku::smtlib {

enum class TokenKind : std::uint8_t {
  left,           // (
  right,          // )
  symbol,         // simple symbols, reserved words included
  quoted_symbol,  // |...|, the text without its bars
  keyword,        // :word, the text with its colon
  numeral,
  decimal,
  hexadecimal,  // #x..., the text with its mark
  binary,       // #b..., the text with its mark
  string,       // "...", the text without its quotes, but with every inner quote still doubled
  braced,       // {...} in a benchmark, the text without its braces, but with `\` before inner ones
  end           // of the input
};

enum class Dialect : std::uint8_t {
  script,
  benchmark  // of SMT-LIB 1.2: has {...}, and ' in symbols
};

struct Token {
  TokenKind kind = TokenKind::end;
  std::string_view text;
  Position at;
};

class Lexer {
 public:
  explicit Lexer(Source source, std::size_t buffer_size = std::size_t{1} << 17);
  Lexer(const Lexer&) = delete;
  Lexer& operator=(const Lexer&) = delete;

  // The next token; `end` again and again after the last. Throws InputError for text that is no token; that text is
  // consumed, so that the next call goes on behind it.
  const Token& next();
  // The latest token; its text is still valid.
  const Token& token() const { return token_; }
  // How many parentheses are open after the latest token. A `)` too many leaves it at 0.
  std::size_t depth() const { return depth_; }
  // Holds for what comes after the latest token.
  void set_dialect(Dialect dialect);
  // From now on appends all tokens to *text, with single blanks where they are needed; null stops it.
  void record(std::string* text) { record_ = text; }

 private:
  const Token& lex_symbol();
  const Token& lex_quoted_symbol();
  const Token& lex_string();
  const Token& lex_braced();
  const Token& lex_keyword();
  const Token& lex_number();
  const Token& lex_hash();
  const Token& finish(TokenKind kind, std::size_t skip_front = 0, std::size_t skip_back = 0);
  void record_token();
  [[noreturn]] void fail(const std::string& message) const;

  void skip_blanks();
  void skip_comment();
  void skip_class(std::uint8_t bits);
  bool scan_to(char closing, const char* what);
  bool at(char c) { return more() && *current_ == c; }
  bool at_class(std::uint8_t bits);
  bool more() { return current_ != end_ || refill(); }
  bool refill();
  void count_line();
  std::ptrdiff_t offset_of(const char* place) const { return place - buffer_.data(); }
  std::string_view raw() const { return {start_, static_cast<std::size_t>(current_ - start_)}; }

  Source source_;
  std::vector<char> buffer_;       // a window on the text; grows only for a token that is longer
  const char* start_;              // of the token that is being read: what lies before it may be dropped
  const char* current_;            // the first character that is not consumed
  char* end_;                      // of the text in the buffer; a null character stands here and ends every loop
  std::ptrdiff_t line_start_ = 0;  // offset of the current line from the buffer's beginning; often negative
  std::uint32_t line_ = 1;
  std::size_t depth_ = 0;
  Dialect dialect_ = Dialect::script;
  std::uint8_t symbol_bits_;  // the class of characters in symbols
  Token token_;
  std::string* record_ = nullptr;
};

}  // namespace tarku::smtlib
