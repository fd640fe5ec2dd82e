// Output of symbols, strings and values.
#include "tarku/smtlib/printer.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "tarku/smtlib/characters.h"

namespace tarku::smtlib {

namespace {

constexpr std::string_view reserved_words[] = {
    // of the grammar
    "BINARY", "DECIMAL", "HEXADECIMAL", "NUMERAL", "STRING", "_", "!", "as", "let", "exists", "forall", "lambda",
    "match", "par",
    // of the commands
    "assert", "check-sat", "check-sat-assuming", "declare-const", "declare-datatype", "declare-datatypes",
    "declare-fun", "declare-sort", "declare-sort-parameter", "define-const", "define-fun", "define-fun-rec",
    "define-funs-rec", "define-sort", "echo", "exit", "get-assertions", "get-assignment", "get-info", "get-model",
    "get-option", "get-proof", "get-unsat-assumptions", "get-unsat-core", "get-value", "pop", "push", "reset",
    "reset-assertions", "set-info", "set-logic", "set-option"};

bool is_simple_symbol(std::string_view name) {
  if (name.empty() || is_in_class(name[0], digit_class)) return false;
  if (!std::all_of(name.begin(), name.end(), [](char c) { return is_in_class(c, symbol_class); })) return false;
  return std::find(std::begin(reserved_words), std::end(reserved_words), name) == std::end(reserved_words);
}

// Digits behind the point without the zeros at their end, but one digit at least.
std::string_view without_zeros(std::string_view digits) {
  while (digits.size() > 1 && digits.back() == '0') digits.remove_suffix(1);
  return digits;
}

void print_decimal(std::ostream& out, const QNumber& value, unsigned num_digits) {
  QNumber scale;
  QNumber::parse("1" + std::string(num_digits, '0'), &scale);
  const QNumber scaled = value.abs() * scale;
  const QNumber cut = scaled.floor();
  std::string digits = cut.to_str();
  if (digits.size() <= num_digits) digits.insert(0, num_digits + 1 - digits.size(), '0');
  const std::size_t point = digits.size() - num_digits;
  const std::string_view behind = std::string_view(digits).substr(point);
  const bool is_exact = cut == scaled;
  if (value.is_negative()) out << '-';
  out << std::string_view(digits).substr(0, point) << '.' << (is_exact ? without_zeros(behind) : behind)
      << (is_exact ? "" : "?");
}

}  // namespace

void print_symbol(std::ostream& out, std::string_view name) {
  if (is_simple_symbol(name)) {
    out << name;
  } else {
    out << '|' << name << '|';
  }
}

void print_string(std::ostream& out, std::string_view text) {
  out << '"';
  for (const char c : text) {
    if (c == '"') out << '"';
    out << c;
  }
  out << '"';
}

void print_real(std::ostream& out, const QNumber& value) {
  const QNumber size = value.abs();
  if (value.is_negative()) out << "(- ";
  if (size.is_integer()) {
    out << size << ".0";
  } else {
    out << "(/ " << size.numerator() << ".0 " << size.denominator() << ".0)";
  }
  if (value.is_negative()) out << ')';
}

std::optional<RealFormat> parse_real_format(std::string_view text) {
  constexpr std::string_view decimal = "decimal:";
  constexpr std::size_t most_places = 4;
  if (text == "smtlib") return RealFormat{RealFormat::Kind::smtlib, 0};
  if (text == "fraction") return RealFormat{RealFormat::Kind::fraction, 0};
  if (text.substr(0, decimal.size()) != decimal) return {};
  text.remove_prefix(decimal.size());
  if (text.empty() || text.size() > most_places) return {};
  if (!std::all_of(text.begin(), text.end(), [](char c) { return is_in_class(c, digit_class); })) return {};
  const auto digits = static_cast<unsigned>(std::stoul(std::string(text)));
  if (digits == 0) return {};
  return RealFormat{RealFormat::Kind::decimal, digits};
}

void print_real(std::ostream& out, const QNumber& value, const RealFormat& format) {
  switch (format.kind) {
    case RealFormat::Kind::smtlib:
      return print_real(out, value);
    case RealFormat::Kind::fraction:
      out << value;
      return;
    case RealFormat::Kind::decimal:
      return print_decimal(out, value, format.digits);
  }
}

void print_bool(std::ostream& out, bool value) {
  out << (value ? "true" : "false");
}

}  // namespace tarku::smtlib
