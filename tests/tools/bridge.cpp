// Conversions between the library's numbers and those of the test tools.
#include "tests/tools/bridge.h"

#include <stdexcept>

namespace tarku::tester {

// Small values are read word by word and must be in lowest terms; big ones take the way through their text.
Rational from_library(const QNumber& value) {
  if (!value.is_small()) {
    Rational result;
    if (!Rational::parse(value.to_str(), &result)) throw std::runtime_error("bad number text: " + value.to_str());
    return result;
  }
  const Rational result(value.small_num(), value.small_den());
  if (result.small_num() != value.small_num() || result.small_den() != value.small_den()) {
    throw std::runtime_error("number not in lowest terms: " + value.to_str());
  }
  return result;
}

Value from_library(const la::DNumber& value) {
  if (value.is_infinite()) throw std::runtime_error("infinite value");
  return {from_library(value.real()), from_library(value.delta())};
}

QNumber to_library(const Rational& value) {
  if (value.is_small()) return QNumber(value.small_num(), value.small_den());
  QNumber result;
  if (!QNumber::parse(value.to_str(), &result)) throw std::runtime_error("unreadable number: " + value.to_str());
  return result;
}

la::DNumber to_library(const Value& value) {
  return {to_library(value.real), to_library(value.delta)};
}

la::Equation to_equation(const Op& op) {
  la::Equation equation = to_equation(Linear{op.terms, op.constant});
  equation.set_defining_var(op.var);
  return equation;
}

la::Equation to_equation(const Linear& eq) {
  la::Equation equation;
  for (const Term& term : eq.terms) equation.add_term(term.var, to_library(term.coeff));
  equation.set_constant(to_library(eq.constant));
  return equation;
}

}  // namespace tarku::tester
