// Writes symbols, strings and values the way SMT-LIB reads them.
#pragma once

#include <iosfwd>
#include <optional>
#include <string_view>

#include "tarku/numbers/qnumber.h"

namespace tarku::smtlib {

// The name, between bars when it is not a simple symbol.
void print_symbol(std::ostream& out, std::string_view name);
// The text between quotes, with every quote in it doubled.
void print_string(std::ostream& out, std::string_view text);
// A constant of sort Real in lowest terms: `3.0`, `(- 3.0)`, `(/ 1.0 3.0)`, `(- (/ 1.0 3.0))`.
void print_real(std::ostream& out, const QNumber& value);

// How values are written. Only the first form can be read back in.
struct RealFormat {
  enum class Kind {
    smtlib,    // as above
    fraction,  // `3`, `-1/3`
    decimal    // `3.0`, `-0.25`, `0.333?`: cut after so many digits, with a mark when something was cut off
  };
  Kind kind = Kind::smtlib;
  unsigned digits = 0;  // of decimals, behind the point; at least 1
};
// Reads `smtlib`, `fraction` or `decimal:N` with N from 1 to 9999.
std::optional<RealFormat> parse_real_format(std::string_view text);
void print_real(std::ostream& out, const QNumber& value, const RealFormat& format);

void print_bool(std::ostream& out, bool value);

}  // namespace tarku::smtlib
