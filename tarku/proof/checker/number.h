// Number: the exact rationals of the checker, and the little that it asks of them.
//
// The checker is built twice, over two kinds of rationals that share no code: once over QNumber, and with
// TARKU_CHECKER_GMP over the rationals of GMP. Both must come to the same judgements. A program holds one of the two
// builds: their names are the same.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#ifdef TARKU_CHECKER_GMP
#include <gmpxx.h>
#else
#include "tarku/numbers/qnumber.h"
#endif

namespace tarku::checker {

#ifdef TARKU_CHECKER_GMP
using Number = mpq_class;
#else
using Number = QNumber;
#endif

// Reads an integer or a fraction as certificates write it: an optional minus sign, digits, and possibly a slash and
// digits that are not all zero. Gives false on anything else and leaves *out as it was.
bool parse_fraction(std::string_view text, Number* out);

// Reads a numeral or a decimal as scripts write it: digits, and possibly a point and digits. The same otherwise.
bool parse_decimal(std::string_view text, Number* out);

// "-3/4", or "5" when the denominator is 1.
std::string to_str(const Number& value);

// -1, 0 or 1.
int sign(const Number& value);

// Equal values have equal hashes.
std::size_t hash(const Number& value);

// Of numerator and denominator together.
std::size_t bit_size(const Number& value);

// *sum += a * b.
void add_product(Number* sum, const Number& a, const Number& b);

}  // namespace tarku::checker
