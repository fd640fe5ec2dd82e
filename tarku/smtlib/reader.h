// Reader: what all parsers ask of the stream of tokens.
//
// Everywhere the "current" token is the latest one that was taken from the lexer. The expect functions take the next
// token and throw InputError, at its place, when it is not what the grammar wants there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/symbol_table.h"

namespace tarku::smtlib {

class Reader {
 public:
  explicit Reader(SymbolTable& symbols) : symbols_(symbols) {}
  void set_lexer(Lexer* lexer) { lexer_ = lexer; }  // must be set before anything is read

  const Token& next() {
    is_interned_ = false;
    return lexer_->next();
  }
  const Token& token() const { return lexer_->token(); }

  void expect_left(std::string_view what);   // what: what the parenthesis opens
  void expect_right(std::string_view what);  // what: what the parenthesis closes
  SymbolId expect_symbol(std::string_view what);
  std::string_view expect_keyword(std::string_view what);
  std::uint64_t expect_count(std::string_view what);  // a numeral, at most 10^18
  std::uint64_t count(std::string_view what);         // the same for the current token
  std::string expect_string(std::string_view what);

  // The current token as a symbol; false when it is none or a reserved word.
  bool is_symbol() {
    const TokenKind kind = token().kind;
    if (kind == TokenKind::symbol) return !SymbolTable::is_reserved(symbol());
    return kind == TokenKind::quoted_symbol;  // also when it is spelled like a reserved word
  }
  // Needs: a symbol or a reserved word.
  SymbolId symbol() {
    if (!is_interned_) id_ = symbols_.intern(token().text);
    is_interned_ = true;
    return id_;
  }
  // Of the current token; Reserved::count when it is none.
  Reserved reserved_word() {
    if (token().kind != TokenKind::symbol || !SymbolTable::is_reserved(symbol())) return Reserved::count;
    return static_cast<Reserved>(symbol());
  }

  // Passes over one expression of any kind; the current token is its first, and afterwards its last.
  void skip_expression();
  // Passes over what is left of the command, its closing parenthesis included, whatever it is.
  void skip_command();

  // Throws: "expected WHAT, found the current token".
  [[noreturn]] void fail_expected(std::string_view what) const;
  [[noreturn]] void fail(const std::string& message) const { throw InputError(token().at, message); }

 private:
  SymbolTable& symbols_;
  Lexer* lexer_ = nullptr;
  bool is_interned_ = false;  // id_ belongs to the current token
  SymbolId id_ = SymbolId{};
};

}  // namespace tarku::smtlib
