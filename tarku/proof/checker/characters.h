// The characters of SMT-LIB's symbols.
#pragma once

#include <string_view>

namespace tarku::checker {

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// May stand in a simple symbol or a keyword.
constexpr bool is_symbol_character(char c) {
  if (is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) return true;
  return c != '\0' && std::string_view("~!@$%^&*_-+=<>.?/").find(c) != std::string_view::npos;
}

// May stand between the bars of a quoted symbol, or in a string.
constexpr bool is_quotable(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return is_blank(c) || (byte >= 0x20 && byte != 0x7f);
}

}  // namespace tarku::checker
