// The character classes of SMT-LIB's lexical rules, those of benchmarks included (lexer.h).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace tarku::smtlib {

// One bit for each class; a character can be in several.
enum CharacterClass : std::uint8_t {
  blank_class = 1,        // tab, line feed, carriage return, space
  digit_class = 2,        // 0-9
  symbol_class = 4,       // may stand in a simple symbol or a keyword
  hexadecimal_class = 8,  // 0-9 a-f A-F
  binary_class = 16,      // 0 1
  printable_class = 32,   // may stand in a string or a quoted symbol, blanks apart
  name_class = 64         // may stand in a symbol of a benchmark
};

constexpr std::array<std::uint8_t, 256> make_character_classes() {
  std::array<std::uint8_t, 256> classes{};
  const auto add = [&classes](std::string_view characters, std::uint8_t bits) {
    for (const char c : characters) classes[static_cast<unsigned char>(c)] |= bits;
  };
  add("\t\n\r ", blank_class);
  add("0123456789", digit_class | symbol_class | hexadecimal_class | name_class);
  add("01", binary_class);
  add("abcdefABCDEF", hexadecimal_class);
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ~!@$%^&*_-+=<>.?/", symbol_class | name_class);
  add("'", name_class);
  for (unsigned c = 0x20; c < 0x100; ++c) {
    if (c != 0x7f) classes[c] |= printable_class;
  }
  return classes;
}

inline constexpr std::array<std::uint8_t, 256> character_classes = make_character_classes();

constexpr bool is_in_class(char c, std::uint8_t bits) {
  return (character_classes[static_cast<unsigned char>(c)] & bits) != 0;
}

}  // namespace tarku::smtlib
