// Conversions between the library's numbers and those of the test tools.
#pragma once

#include "tarku/la/equation.h"
#include "tarku/numbers/dnumber.h"
#include "tarku/numbers/qnumber.h"
#include "tests/tools/trace.h"

namespace tarku::tester {

Rational from_library(const QNumber& value);
Value from_library(const la::DNumber& value);  // must be finite
QNumber to_library(const Rational& value);
la::DNumber to_library(const Value& value);
la::Equation to_equation(const Op& op);  // of an equation operation
la::Equation to_equation(const Linear& eq);

}  // namespace tarku::tester
