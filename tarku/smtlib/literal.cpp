// Reading numbers: in machine words when they fit. How large they may become.
#include "tarku/smtlib/literal.h"

#include <cassert>

namespace tarku::smtlib {

QNumber number_value(std::string_view text) {
  constexpr std::size_t safe_length = 18;  // as many digits always fit in 64 bits
  if (text.size() <= safe_length) {
    long digits = 0;
    long scale = 1;
    bool behind_point = false;
    for (const char c : text) {
      if (c == '.') {
        behind_point = true;
        continue;
      }
      digits = 10 * digits + (c - '0');
      if (behind_point) scale *= 10;
    }
    return scale == 1 ? QNumber(digits) : QNumber(digits, scale);
  }
  QNumber value;
  [[maybe_unused]] const bool understood = QNumber::parse(text, &value);
  assert(understood);
  return value;
}

void check_size(const smt::TermManager& terms, smt::Op op, const smt::Term* args, std::size_t count) {
  constexpr std::size_t most_bits = std::size_t{1} << 22;  // more than a million digits
  if (op != smt::Op::multiply && op != smt::Op::divide) return;
  constexpr std::size_t most_word_bits = 128;  // of a number in machine words
  if (!terms.has_big_numerals() && count <= most_bits / most_word_bits) return;
  std::size_t bits = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (terms.op(args[i]) == smt::Op::numeral) bits += terms.value(args[i]).bit_size();
  }
  if (bits <= most_bits) return;
  smt::TermError error;
  error << "the numbers in '" << std::string(to_str(op)) << "' are too large";
  throw error;
}

std::string string_value(std::string_view text) {
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    value.push_back(text[i]);
    if (text[i] == '"') ++i;  // its twin follows
  }
  return value;
}

}  // namespace tarku::smtlib
