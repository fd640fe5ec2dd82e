// The values of number and string tokens, and how large a computed number may be.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/term.h"

namespace tarku::smtlib {

// The value of a numeral or decimal token: digits, possibly with a point and digits behind it. Exact at any length.
QNumber number_value(std::string_view text);

// Throws smt::TermError when `op` is to multiply or divide numerals that are larger together than anyone means. A few
// definitions that square each other make numbers that no memory holds.
void check_size(const smt::TermManager& terms, smt::Op op, const smt::Term* args, std::size_t count);

// The characters that a string token stands for: each doubled quote is one.
std::string string_value(std::string_view text);

}  // namespace tarku::smtlib
