// Writes symbols, strings and values the way SMT-LIB reads them.
#pragma once

#include <iosfwd>
#include <string_view>

#include "tarku/numbers/qnumber.h"

namespace tarku::smtlib {

// The name, between bars when it is not a simple symbol.
void print_symbol(std::ostream& out, std::string_view name);
// The text between quotes, with every quote in it doubled.
void print_string(std::ostream& out, std::string_view text);
// A constant of sort Real in lowest terms: `3.0`, `(- 3.0)`, `(/ 1.0 3.0)`, `(- (/ 1.0 3.0))`.
void print_real(std::ostream& out, const QNumber& value);
void print_bool(std::ostream& out, bool value);

}  // namespace tarku::smtlib
