// The values of number and string tokens.
#pragma once

#include <string>
#include <string_view>

#include "tarku/numbers/qnumber.h"

namespace tarku::smtlib {

// The value of a numeral or decimal token: digits, possibly with a point and digits behind it. Exact at any length.
QNumber number_value(std::string_view text);

// The characters that a string token stands for: each doubled quote is one.
std::string string_value(std::string_view text);

}  // namespace tarku::smtlib
