// ScriptLexer: cuts the text of a script into tokens, one character at a time. It knows those of benchmarks, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

namespace tarku::checker {

enum class TokenKind : std::uint8_t {
  left,     // (
  right,    // )
  word,     // a simple symbol, reserved words included
  quoted,   // |...|, the text without its bars
  keyword,  // :word, the text with its colon
  number,   // a numeral or a decimal
  literal,  // of another kind: "...", #x..., #b..., in a benchmark {...}
  end       // of the text
};

enum class Dialect : std::uint8_t {
  script,
  benchmark  // of SMT-LIB 1.2: has {...}, and ' in words
};

struct Token {
  TokenKind kind = TokenKind::end;
  std::string text;

  bool is_word(const char* word) const { return kind == TokenKind::word && text == word; }
  bool is_symbol() const { return kind == TokenKind::quoted || (kind == TokenKind::word && !is_reserved()); }
  bool is_reserved() const;  // a word that is no symbol
};

class ScriptLexer {
 public:
  // Needs: a stream with a buffer.
  explicit ScriptLexer(std::istream& in);

  // Moves on to the next token, to `end` again and again after the last. Throws Refused for text that is no token;
  // what the stream's buffer throws passes through.
  const Token& next();
  const Token& token() const { return token_; }
  // Holds for what comes after the latest token.
  void set_dialect(Dialect dialect) { dialect_ = dialect; }
  // Makes next() give the latest token once more.
  void put_back() { is_put_back_ = true; }
  std::size_t line() const { return token_line_; }  // on which the token begins, from 1

  // ---- moving on with expectations; throw Refused when they fail ----
  void expect_left(const char* what);
  void expect_right(const char* what);
  const std::string& expect_symbol(const char* what);
  // Moves from the first token of an expression to its last.
  void skip_expression();
  [[noreturn]] void fail_expected(const char* what) const;

 private:
  static constexpr int end_of_text = std::char_traits<char>::eof();

  int peek() { return in_.rdbuf()->sgetc(); }
  bool at(char c) { return peek() == static_cast<unsigned char>(c); }
  bool at_symbol_character();
  void skip();
  void take();
  void skip_blanks();
  void take_symbol_characters();
  void take_until(char closing, const char* what);
  void read_quoted();
  void read_string();
  void read_braced();
  void read_number();
  void read_other();

  std::istream& in_;
  Token token_;
  Dialect dialect_ = Dialect::script;
  std::size_t line_ = 1;
  std::size_t token_line_ = 1;
  bool is_put_back_ = false;
};

}  // namespace tarku::checker
