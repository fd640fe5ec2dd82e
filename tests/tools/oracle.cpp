// The two satisfiability tests of the oracle.
#include "tests/tools/oracle.h"

#include <algorithm>
#include <bitset>
#include <cstdint>

namespace tarku::tester {

// ==== 01 FORMS ====

Form normalized(Form terms) {
  std::stable_sort(terms.begin(), terms.end(), [](const Term& a, const Term& b) { return a.var < b.var; });
  Form result;
  for (Term& term : terms) {
    if (!result.empty() && result.back().var == term.var) {
      result.back().coeff += term.coeff;
    } else {
      if (!result.empty() && result.back().coeff.sign() == 0) result.pop_back();
      result.push_back(std::move(term));
    }
  }
  if (!result.empty() && result.back().coeff.sign() == 0) result.pop_back();
  return result;
}

Form sum(const Form& a, const Form& b, const Rational& factor) {
  Form result;
  result.reserve(a.size() + b.size());
  auto left = a.begin();
  auto right = b.begin();
  while (left != a.end() || right != b.end()) {
    if (right == b.end() || (left != a.end() && left->var < right->var)) {
      result.push_back(*left++);
    } else if (left == a.end() || right->var < left->var) {
      result.push_back({right->var, right->coeff * factor});
      ++right;
    } else {
      Rational coeff = left->coeff + right->coeff * factor;
      if (coeff.sign() != 0) result.push_back({left->var, std::move(coeff)});
      ++left;
      ++right;
    }
  }
  return result;
}

Rational coefficient(const Form& form, int var) {
  for (const Term& term : form) {
    if (term.var == var) return term.coeff;
  }
  return {};
}

std::string to_str(const Form& form) {
  std::string text;
  for (const Term& term : form) {
    if (!text.empty()) text += " + ";
    if (term.coeff != Rational(1)) text += term.coeff.to_str() + "*";
    text += "x" + std::to_string(term.var);
  }
  return text.empty() ? "0" : text;
}

// ==== 02 EQUATIONS ====

const EquationSystem::Definition* EquationSystem::find(int var) const {
  for (const Definition& definition : definitions_) {
    if (definition.var == var) return &definition;
  }
  return nullptr;
}

Form EquationSystem::reduce(const Form& form) const {
  Form result = form;
  for (const Term& term : form) {
    const Definition* definition = find(term.var);
    if (definition == nullptr) continue;
    result = sum(result, definition->value, term.coeff);
    const auto own = std::find_if(result.begin(), result.end(), [&](const Term& t) { return t.var == term.var; });
    result.erase(own);
  }
  return result;
}

bool EquationSystem::add(const Form& form) {
  const Form rest = reduce(form);
  if (rest.empty()) return false;
  const Term pivot = rest.back();
  Form value = rest;
  value.pop_back();
  for (Term& term : value) term.coeff = -(term.coeff / pivot.coeff);
  for (Definition& definition : definitions_) {
    const Rational factor = coefficient(definition.value, pivot.var);
    if (factor.sign() == 0) continue;
    definition.value = sum(definition.value, value, factor);
    const auto own = std::find_if(definition.value.begin(), definition.value.end(),
                                  [&](const Term& t) { return t.var == pivot.var; });
    definition.value.erase(own);
  }
  definitions_.push_back({pivot.var, std::move(value)});
  return true;
}

namespace {

__extension__ using Wide = __int128;

// ==== 03 DUAL SIMPLEX ON INTEGERS ====

// What a limit must stay at or below 0 by: real part, delta part, and the finer part of strict limits.
constexpr int kRightSides = 3;

// The tightest lower and upper limit of one variable.
struct Range {
  int var;
  const Limit* lower = nullptr;
  const Limit* upper = nullptr;
};

bool tighter(const Limit& a, const Limit& b) {
  const int order = compare(a.value, b.value);
  if (order == 0) return a.strict && !b.strict;
  return a.upper ? order < 0 : order > 0;
}

std::vector<Range> collect_ranges(const std::vector<Limit>& limits) {
  std::vector<Range> ranges;
  for (const Limit& limit : limits) {
    auto range = std::find_if(ranges.begin(), ranges.end(), [&](const Range& r) { return r.var == limit.var; });
    if (range == ranges.end()) range = ranges.insert(range, Range{limit.var});
    const Limit*& side = limit.upper ? range->upper : range->lower;
    if (side == nullptr || tighter(limit, *side)) side = &limit;
  }
  return ranges;
}

bool is_empty(const Range& range) {
  if (range.lower == nullptr || range.upper == nullptr) return false;
  const int order = compare(range.lower->value, range.upper->value);
  return order > 0 || (order == 0 && (range.lower->strict || range.upper->strict));
}

// Rows of rationals, one for each limit: slack = sum(entries * free variables) + right sides.
struct SlackRows {
  int columns = 0;  // free variables, then kRightSides constants
  std::vector<std::vector<Rational>> rows;
};

void add_slack_row(const Limit& limit, const Form& form, const std::vector<int>& free_vars, SlackRows* out) {
  std::vector<Rational> row(static_cast<std::size_t>(out->columns));
  for (const Term& term : form) {
    const auto place = std::lower_bound(free_vars.begin(), free_vars.end(), term.var) - free_vars.begin();
    row[static_cast<std::size_t>(place)] = limit.upper ? -term.coeff : term.coeff;
  }
  const std::size_t constants = free_vars.size();
  row[constants] = limit.upper ? limit.value.real : -limit.value.real;
  row[constants + 1] = limit.upper ? limit.value.delta : -limit.value.delta;
  row[constants + 2] = limit.strict ? -1 : 0;
  out->rows.push_back(std::move(row));
}

SlackRows make_slack_rows(const EquationSystem& equations, const std::vector<Range>& ranges) {
  std::vector<Form> forms;
  std::vector<int> free_vars;
  for (const Range& range : ranges) {
    forms.push_back(equations.reduce({{range.var, 1}}));
    for (const Term& term : forms.back()) free_vars.push_back(term.var);
  }
  std::sort(free_vars.begin(), free_vars.end());
  free_vars.erase(std::unique(free_vars.begin(), free_vars.end()), free_vars.end());
  SlackRows result;
  result.columns = static_cast<int>(free_vars.size()) + kRightSides;
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    if (ranges[i].lower != nullptr) add_slack_row(*ranges[i].lower, forms[i], free_vars, &result);
    if (ranges[i].upper != nullptr) add_slack_row(*ranges[i].upper, forms[i], free_vars, &result);
  }
  return result;
}

// Multiplies a row of rationals by the least common multiple of its denominators. False when 64 bits do not suffice.
bool to_integers(const std::vector<Rational>& row, std::int64_t* out) {
  Wide multiple = 1;
  for (const Rational& entry : row) {
    if (!entry.is_small()) return false;
    const std::int64_t den = entry.small_den();
    const auto current = static_cast<std::int64_t>(multiple);
    multiple *= den / std::__gcd(current, den);
    if (multiple > INT32_MAX) return false;
  }
  for (const Rational& entry : row) {
    const Wide scaled = multiple / entry.small_den() * entry.small_num();
    if (scaled > INT64_MAX || scaled < -INT64_MAX) return false;
    *out++ = static_cast<std::int64_t>(scaled);
  }
  return true;
}

bool to_integers(const std::vector<Rational>& row, mpz_class* out) {
  mpz_class multiple = 1;
  for (const Rational& entry : row) multiple = lcm(multiple, entry.den());
  for (const Rational& entry : row) *out++ = multiple / entry.den() * entry.num();
  return true;
}

// cell := (pivot * cell - a * b) / denominator, a division without remainder. False when 64 bits do not suffice.
bool cross(std::int64_t* cell, std::int64_t pivot, std::int64_t a, std::int64_t b, std::int64_t denominator) {
  const Wide value = static_cast<Wide>(pivot) * *cell - static_cast<Wide>(a) * b;
  if (value <= INT64_MAX && value >= -INT64_MAX) {
    *cell = static_cast<std::int64_t>(value) / denominator;
    return true;
  }
  const Wide quotient = value / denominator;
  if (quotient > INT64_MAX || quotient < -INT64_MAX) return false;
  *cell = static_cast<std::int64_t>(quotient);
  return true;
}

bool cross(mpz_class* cell, const mpz_class& pivot, const mpz_class& a, const mpz_class& b,
           const mpz_class& denominator) {
  *cell = (pivot * *cell - a * b) / denominator;
  return true;
}

enum class Outcome { kFeasible, kInfeasible, kOverflow };

// denominator * slack[row] = sum(entries * slack[column]) + constants, every slack at least 0.
// A column is solved for by an exchange that keeps all entries integers (Edmonds' method): each entry is a minor of
// the starting matrix, the denominator the minor of the basis.
template <class Int>
class IntegerTableau {
 public:
  // False when the entries do not fit.
  bool load(const SlackRows& source) {
    columns_ = static_cast<std::size_t>(source.columns);
    variables_ = columns_ - kRightSides;
    entries_.assign(source.rows.size() * columns_, Int(0));
    row_label_.clear();
    for (std::size_t i = 0; i < source.rows.size(); ++i) {
      if (!to_integers(source.rows[i], &entries_[i * columns_])) return false;
      row_label_.push_back(static_cast<int>(i));
    }
    column_label_.assign(variables_, kFreeVariable);
    denominator_ = 1;
    return true;
  }

  Outcome solve() {
    for (std::size_t column = 0; column < variables_; ++column) {
      if (!solve_for_free_variable(column)) return Outcome::kOverflow;
    }
    while (true) {
      const int row = lowest_negative_row();
      if (row < 0) return Outcome::kFeasible;
      const int column = lowest_helping_column(static_cast<std::size_t>(row));
      if (column < 0) return Outcome::kInfeasible;
      if (!exchange(static_cast<std::size_t>(row), static_cast<std::size_t>(column))) return Outcome::kOverflow;
    }
  }

 private:
  static constexpr int kFreeVariable = -1;

  Int& at(std::size_t row, std::size_t column) { return entries_[row * columns_ + column]; }

  // Exchanges the free variable with the slack of some row and drops that row: nothing bounds the variable itself.
  bool solve_for_free_variable(std::size_t column) {
    for (std::size_t row = 0; row < row_label_.size(); ++row) {
      if (at(row, column) == 0) continue;
      if (!exchange(row, column)) return false;
      const std::size_t last = row_label_.size() - 1;
      std::swap_ranges(&at(row, 0), &at(row, 0) + columns_, &at(last, 0));
      row_label_[row] = row_label_[last];
      row_label_.pop_back();
      return true;
    }
    return true;
  }

  bool is_negative(std::size_t row) {
    for (std::size_t side = variables_; side < columns_; ++side) {
      if (at(row, side) != 0) return at(row, side) < 0;
    }
    return false;
  }

  int lowest_negative_row() {
    int best = -1;
    for (std::size_t row = 0; row < row_label_.size(); ++row) {
      if (best >= 0 && row_label_[row] > row_label_[static_cast<std::size_t>(best)]) continue;
      if (is_negative(row)) best = static_cast<int>(row);
    }
    return best;
  }

  int lowest_helping_column(std::size_t row) {
    int best = -1;
    for (std::size_t column = 0; column < variables_; ++column) {
      if (column_label_[column] == kFreeVariable || !(at(row, column) > 0)) continue;
      if (best < 0 || column_label_[column] < column_label_[static_cast<std::size_t>(best)]) {
        best = static_cast<int>(column);
      }
    }
    return best;
  }

  bool exchange(std::size_t row, std::size_t column) {
    const Int pivot = at(row, column);
    for (std::size_t i = 0; i < row_label_.size(); ++i) {
      if (i == row) continue;
      const Int factor = at(i, column);
      for (std::size_t j = 0; j < columns_; ++j) {
        if (j != column && !cross(&at(i, j), pivot, factor, at(row, j), denominator_)) return false;
      }
    }
    for (std::size_t j = 0; j < columns_; ++j) at(row, j) = -at(row, j);
    at(row, column) = denominator_;
    denominator_ = pivot;
    if (denominator_ < 0) negate_all();
    std::swap(row_label_[row], column_label_[column]);
    return true;
  }

  void negate_all() {
    denominator_ = -denominator_;
    for (std::size_t i = 0; i < row_label_.size() * columns_; ++i) entries_[i] = -entries_[i];
  }

  std::size_t columns_ = 0;
  std::size_t variables_ = 0;
  std::vector<Int> entries_;
  std::vector<int> row_label_;     // the slack that the row defines; only rows that matter are kept
  std::vector<int> column_label_;  // the slack of the column, or kFreeVariable
  Int denominator_ = 1;            // positive
};

template <class Int>
Outcome solve_with(const SlackRows& rows) {
  IntegerTableau<Int> tableau;
  return tableau.load(rows) ? tableau.solve() : Outcome::kOverflow;
}

// ==== 04 FOURIER-MOTZKIN ====

// sum(entries * variables) <= constants; made from the original inequalities marked in `ancestors`.
struct Inequality {
  std::vector<Rational> entries;
  std::vector<Rational> constants;
  std::bitset<128> ancestors;
};

Inequality make_inequality(const Form& form, const Value& bound, bool strict, const std::vector<int>& vars) {
  Inequality result;
  for (int var : vars) result.entries.push_back(coefficient(form, var));
  result.constants = {bound.real, bound.delta, strict ? -1 : 0};
  return result;
}

Inequality combine(const Inequality& a, const Inequality& b, std::size_t var) {
  const Rational for_a = -b.entries[var];
  const Rational for_b = a.entries[var];
  Inequality result;
  for (std::size_t i = 0; i < a.entries.size(); ++i) {
    result.entries.push_back(a.entries[i] * for_a + b.entries[i] * for_b);
  }
  for (std::size_t i = 0; i < a.constants.size(); ++i) {
    result.constants.push_back(a.constants[i] * for_a + b.constants[i] * for_b);
  }
  result.ancestors = a.ancestors | b.ancestors;
  return result;
}

// Eliminates one variable. An inequality made from more than `eliminated` + 1 ancestors is redundant (D. A. Kohler,
// "Projections of convex polyhedral sets", 1967).
std::vector<Inequality> eliminate(const std::vector<Inequality>& rows, std::size_t var, std::size_t eliminated) {
  std::vector<Inequality> result;
  for (const Inequality& above : rows) {
    if (above.entries[var].sign() == 0) result.push_back(above);
    if (above.entries[var].sign() <= 0) continue;
    for (const Inequality& below : rows) {
      if (below.entries[var].sign() >= 0) continue;
      if ((above.ancestors | below.ancestors).count() > eliminated + 1) continue;
      result.push_back(combine(above, below, var));
    }
  }
  return result;
}

bool holds_at_zero(const Inequality& row) {
  for (const Rational& part : row.constants) {
    if (part.sign() != 0) return part.sign() > 0;
  }
  return true;
}

std::vector<int> all_variables(const std::vector<Form>& equations, const std::vector<Limit>& limits) {
  std::vector<int> vars;
  for (const Form& form : equations) {
    for (const Term& term : form) vars.push_back(term.var);
  }
  for (const Limit& limit : limits) vars.push_back(limit.var);
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  return vars;
}

}  // namespace

bool feasible(const EquationSystem& equations, const std::vector<Limit>& limits) {
  const std::vector<Range> ranges = collect_ranges(limits);
  for (const Range& range : ranges) {
    if (is_empty(range)) return false;
  }
  const SlackRows rows = make_slack_rows(equations, ranges);
  Outcome outcome = solve_with<std::int64_t>(rows);
  if (outcome == Outcome::kOverflow) outcome = solve_with<mpz_class>(rows);
  return outcome == Outcome::kFeasible;
}

bool feasible_by_elimination(const std::vector<Form>& equations, const std::vector<Limit>& limits) {
  const std::vector<int> vars = all_variables(equations, limits);
  std::vector<Inequality> rows;
  for (const Form& form : equations) {
    rows.push_back(make_inequality(form, {}, false, vars));
    rows.push_back(make_inequality(sum({}, form, -1), {}, false, vars));
  }
  for (const Limit& limit : limits) {
    const Form form = {{limit.var, limit.upper ? 1 : -1}};
    rows.push_back(make_inequality(form, limit.value * (limit.upper ? 1 : -1), limit.strict, vars));
  }
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i].ancestors.set(i);
  for (std::size_t var = 0; var < vars.size(); ++var) rows = eliminate(rows, var, var + 1);
  return std::all_of(rows.begin(), rows.end(), holds_at_zero);
}

}  // namespace tarku::tester
