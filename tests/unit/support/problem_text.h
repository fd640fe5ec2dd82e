// Numbers, equations and rows as text, both ways; what a step prints; conversions for the independent judge.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tarku/la/tableau.h"
#include "tarku/numbers/dnumber.h"
#include "tests/unit/support/fourier_motzkin.h"

namespace tarku::test {

// ---- text to numbers, equations and bounds ----

inline std::string without_blanks(std::string_view text) {
  std::string out;
  for (char ch : text) {
    if (std::isspace(static_cast<unsigned char>(ch)) == 0) out += ch;
  }
  return out;
}

// The statements of a text, blanks removed, empty ones dropped.
inline std::vector<std::string> statements(std::string_view text) {
  std::vector<std::string> out;
  std::string current;
  for (char ch : std::string(text) + ";") {
    if (ch != ';' && ch != '\n') {
      current += ch;
    } else if (std::string s = without_blanks(std::exchange(current, "")); !s.empty()) {
      out.push_back(s);
    }
  }
  return out;
}

[[noreturn]] inline void bad_text(const std::string& text) {
  throw std::invalid_argument("cannot read: " + text);
}

inline QNumber rational(std::string_view text) {
  QNumber value;
  if (!QNumber::parse(text, &value)) bad_text(std::string(text));
  return value;
}

// "2*x1 - 1/2*x2 + 4 - delta" as terms in the order written, a constant and a multiple of delta.
struct Sum {
  std::vector<std::pair<int, QNumber>> terms;
  QNumber constant;
  QNumber delta;
};

inline Sum read_sum(std::string_view with_blanks) {
  const std::string text = without_blanks(with_blanks);
  Sum sum;
  for (std::size_t at = 0; at < text.size();) {
    bool negative = text[at] == '-';
    if (text[at] == '+' || text[at] == '-') ++at;
    std::size_t end = text.find_first_of("+-", at);
    std::string item = text.substr(at, end == std::string::npos ? end : end - at);
    at = end == std::string::npos ? text.size() : end;
    std::size_t star = item.find('*');
    std::string name = star == std::string::npos ? item : item.substr(star + 1);
    bool plain = std::isdigit(static_cast<unsigned char>(name[0])) != 0;
    QNumber factor = star != std::string::npos ? rational(item.substr(0, star)) : plain ? rational(item) : QNumber(1);
    if (negative) factor = QNumber(0) - factor;
    if (name == "delta") {
      sum.delta = sum.delta + factor;
    } else if (name[0] == 'x') {
      sum.terms.emplace_back(std::stoi(name.substr(1)), factor);
    } else if (plain) {
      sum.constant = sum.constant + factor;
    } else {
      bad_text(text);
    }
  }
  return sum;
}

// "5", "-1/2", "5-delta", "3+2*delta", "+inf", "-inf"
inline la::DNumber dnum(std::string_view text) {
  if (text == "+inf") return la::DNumber::plus_inf;
  if (text == "-inf") return la::DNumber::minus_inf;
  Sum sum = read_sum(text);
  return la::DNumber(sum.constant, sum.delta);
}

// "x3 = x1 + 2*x2" defines x3; "0 = x1 - x2" defines nothing.
inline la::Equation equation(std::string_view with_blanks) {
  const std::string text = without_blanks(with_blanks);
  std::size_t equals = text.find('=');
  if (equals == std::string::npos) bad_text(text);
  la::Equation eq = text[0] == 'x' ? la::Equation(std::stoi(text.substr(1, equals - 1))) : la::Equation();
  Sum sum = read_sum(text.substr(equals + 1));
  for (const auto& [var, c] : sum.terms) eq.add_term(var, c);
  eq.set_constant(sum.constant);
  return eq;
}

// "c1: x1 >= 5" as what is told: constraint, variable, kind (RangeKind) and bound, shifted by delta for > and <.
struct BoundStatement {
  int c;
  int var;
  int kind;
  la::DNumber bound;
};

inline BoundStatement bound_statement(std::string_view with_blanks) {
  const std::string text = without_blanks(with_blanks);
  const std::size_t colon = text.find(':');
  const std::size_t relation = text.find_first_of("<>=!", colon);
  const std::size_t number = text.find_first_not_of("<>=!", relation);
  BoundStatement out{std::stoi(text.substr(1, colon - 1)), std::stoi(text.substr(colon + 2)), 0,
                     dnum(text.substr(number))};
  const std::string sign = text.substr(relation, number - relation);
  if (sign == ">") out.bound = la::DNumber(out.bound.real(), out.bound.delta() + QNumber(1));
  if (sign == "<") out.bound = la::DNumber(out.bound.real(), out.bound.delta() - QNumber(1));
  out.kind = sign == "=" ? 2 : sign == "!=" ? 4 : sign[0] == '>' ? 1 : sign[0] == '<' ? 3 : 0;
  if (out.kind == 0) bad_text(text);
  return out;
}

// The terms in a text of our own, such as "x3 = x1 + 2*x2 - x4"; independent of Equation::to_str.
inline std::string show(const la::Equation& eq) {
  std::string text = eq.defining_var() == -1 ? "0 =" : "x" + std::to_string(eq.defining_var()) + " =";
  bool first = true;
  auto item = [&](const QNumber& c, const std::string& name) {
    std::string c_text = c.to_str();
    bool negative = c_text[0] == '-';
    if (negative) c_text.erase(0, 1);
    text += first ? (negative ? " -" : " ") : (negative ? " - " : " + ");
    text += name.empty() ? c_text : c_text == "1" ? name : c_text + "*" + name;
    first = false;
  };
  for (const auto& term : eq.terms()) item(term.coeff, "x" + std::to_string(term.var));
  if (eq.constant().sign() != 0 || first) item(eq.constant(), "");
  return text;
}

// All rows, ascending by basic variable: "x3 = x1 + x2; x4 = x1".
inline std::string show_rows(const la::Tableau& tableau) {
  std::string text;
  for (int v = 0; v < static_cast<int>(tableau.rows().size()); ++v) {
    if (!tableau.is_basic(v)) continue;
    text += (text.empty() ? "" : "; ") + show(tableau.row(v));
  }
  return text;
}

// The live members of a VarSet or VarSparseSet, or any range of ints.
template <class Set>
std::vector<int> members(const Set& set) {
  std::vector<int> out;
  for (int v : set) out.push_back(v);
  return out;
}

inline std::vector<int> basics_of(const la::Tableau& tableau, int var) {
  std::vector<int> out;
  for (auto it = tableau.basics_of_begin(var); it != tableau.basics_of_end(var); ++it) out.push_back(*it);
  return out;
}

// What `step` writes to standard output.
template <class Step>
std::string output_of(Step&& step) {
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  step();
  std::cout.flush();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// ---- conversions for the judge ----

inline mpq_class to_mpq(const QNumber& q) {
  mpq_class value(q.to_str());
  value.canonicalize();
  return value;
}

// sum(terms) + constant = 0, with -1 for the defining variable unless it stands among the terms.
inline LinearForm to_form(const la::Equation& eq) {
  LinearForm form;
  bool own = false;
  for (const auto& term : eq.terms()) {
    form.coeffs[term.var] = to_mpq(term.coeff);
    own = own || term.var == eq.defining_var();
  }
  if (eq.defining_var() != -1 && !own) form.coeffs[eq.defining_var()] = -1;
  form.real = to_mpq(eq.constant());
  return form;
}

// side > 0: var - bound; side < 0: bound - var
inline LinearForm to_form(int var, const la::DNumber& bound, int side) {
  LinearForm form;
  form.coeffs[var] = side;
  form.real = -side * to_mpq(bound.real());
  form.delta = -side * to_mpq(bound.delta());
  return form;
}

}  // namespace tarku::test
