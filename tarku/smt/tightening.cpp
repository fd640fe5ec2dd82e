// Cases of disjunctions, what intervals say of each, and what they have in common.
#include "tarku/smt/tightening.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "tarku/termination_test.h"

namespace tarku::smt {

namespace {

constexpr int max_rounds = 8;
// A new bound has to take away this share of what is known, in parts of 16.
constexpr int least_progress = 1;
// Bounds are rounded to so many bits of the width of their interval.
constexpr int bits_kept = 16;
// The slope of a maximum's upper limit is a multiple of one over this.
constexpr long slopes = 1024;
// A longer sum says little of any of its variables.
constexpr std::size_t longest_row = 64;

QNumber power_of_two(int exponent) {
  QNumber result(1);
  for (const QNumber two(2); exponent > 0; --exponent) result *= two;
  for (const QNumber half(1, 2); exponent < 0; ++exponent) result *= half;
  return result;
}

VariableSum scaled(VariableSum sum, const QNumber& factor) {
  for (auto& [variable, coeff] : sum) coeff *= factor;
  return sum;
}

void add_multiple(const VariableSum& other, const QNumber& factor, VariableSum* sum) {
  for (const auto& [variable, coeff] : other) {
    QNumber& total = (*sum)[variable];
    total.add_mul(factor, coeff);
    if (total.is_zero()) sum->erase(variable);
  }
}

// The first variable of a sum that has one.
int leader(const VariableSum& sum) {
  const auto found = std::find_if(sum.begin(), sum.end(), [](const auto& term) { return term.first != 0; });
  return found == sum.end() ? 0 : found->first;
}

}  // namespace

// y = max(a, b): first = y - a, second = y - b, condition = (a - b) / ratio.
struct Tightening::Maximum {
  VariableSum first, second, difference;  // difference = a - b
  int when_first, when_second;            // constraints: a - b is at least zero; it is not
  int is_first, is_second;                // equalities: first = 0, second = 0
};

void Tightening::hold(int constraint) {
  table_.hold(constraint);
  if (atoms_.bound_of(constraint).relation == Relation::equal) equalities_.push_back({{{constraint}}});
}

void Tightening::run() {
  bool is_open = has_maximum();
  for (int round = 0; is_open && round < max_rounds; ++round) {
    is_open = false;
    for (std::vector<Alternatives>* const group : {&equalities_, &open_}) {
      for (Alternatives& alternatives : *group) {
        poll();
        is_open = tighten(alternatives) || is_open;
      }
    }
  }
  for (const int fact : facts_) {
    poll();
    search_.learn(fact, test_);
  }
  for (const Alternatives& alternatives : open_) offer(alternatives);
  facts_.clear();
  open_.clear();
}

// As a choice to be decided by the values, if it is a maximum.
void Tightening::offer(const Alternatives& alternatives) {
  const std::optional<Maximum> m = find_maximum(alternatives);
  if (!m) return;
  const auto option = [this](int condition, int equality, const VariableSum& sum) {
    return BooleanSearch::Option{search_.clausifier().bound_literal(condition), equality,
                                 std::abs(factor_of(equality, sum).to_double())};
  };
  search_.add_choice({option(m->when_first, m->is_first, m->first), option(m->when_second, m->is_second, m->second)});
}

bool Tightening::has_maximum() const {
  return std::any_of(open_.begin(), open_.end(),
                     [this](const Alternatives& alternatives) { return find_maximum(alternatives).has_value(); });
}

// False when nothing has changed.
bool Tightening::tighten(Alternatives& alternatives) {
  if (alternatives.cases.empty()) return false;
  bool has_changed = drop_dead_cases(alternatives);
  if (!alternatives.is_limited) {
    if (const std::optional<Maximum> maximum = find_maximum(alternatives)) {
      const int decisive = atoms_.bound_of(maximum->when_first).variable;
      has_changed = narrow_sum(decisive) || has_changed;
      has_changed = drop_dead_cases(alternatives) || has_changed;
      has_changed = (alternatives.cases.size() == 2 && relax(*maximum, alternatives)) || has_changed;
    }
  }
  return narrow_hull(alternatives) || has_changed;
}

// ==== cases ====

bool Tightening::drop_dead_cases(Alternatives& alternatives) {
  std::vector<std::vector<int>>& cases = alternatives.cases;
  if (cases.size() < 2) return false;
  const auto end = std::remove_if(cases.begin(), cases.end(), [this](const std::vector<int>& constraints) {
    return std::any_of(constraints.begin(), constraints.end(), [this](int c) { return is_dead(c); });
  });
  const bool has_changed = end != cases.end();
  cases.erase(end, cases.end());
  if (has_changed && cases.size() == 1) {
    for (const int constraint : cases.front()) table_.hold(constraint);
  }
  return has_changed;
}

// Whether bounds contradict the constraint; the search is told so.
bool Tightening::is_dead(int constraint) {
  const Relation relation = atoms_.bound_of(constraint).relation;
  for (const bool is_upper : {false, true}) {
    if (!(is_upper ? limits_above(relation) : limits_below(relation))) continue;
    const std::optional<QNumber> closest = table_.limit(table_.sum_of(constraint), !is_upper);
    if (!closest || (is_upper ? closest->is_negative() : closest->is_positive())) continue;
    LemmaSum sum(atoms_, table_);
    sum.add(constraint, QNumber(is_upper ? 1 : -1));
    if (add_lemma(sum)) return true;
  }
  return false;
}

// ==== bounds ====

// From the bounds on its symbols to those of a sum.
bool Tightening::narrow_sum(int variable) {
  if (atoms_.row_of(variable) < 0) return false;
  bool has_changed = false;
  const VariableSum terms = table_.sum_of_variable(variable);
  for (const bool is_upper : {false, true}) {
    const std::optional<QNumber> limit = table_.limit(terms, is_upper);
    if (!limit || !is_progress(variable, is_upper, *limit)) continue;
    const QNumber value = rounded(variable, *limit, is_upper);
    const int fact = atoms_.add_bound(variable, is_upper ? Relation::less_equal : Relation::greater_equal, value);
    LemmaSum sum(atoms_, table_);
    sum.add(atoms_.negation_of(fact), QNumber(is_upper ? -1 : 1));
    if (!add_lemma(sum)) continue;
    add_fact(fact);
    has_changed = true;
  }
  return has_changed;
}

// From the bounds in all cases to those in any case.
bool Tightening::narrow_hull(const Alternatives& alternatives) {
  bool has_changed = false;
  for (const int variable : common_variables(alternatives)) {
    for (const bool is_upper : {false, true}) {
      has_changed = narrow_variable(alternatives, variable, is_upper) || has_changed;
    }
  }
  return has_changed;
}

std::vector<int> Tightening::common_variables(const Alternatives& alternatives) const {
  std::vector<int> common;
  for (std::size_t i = 0; i < alternatives.cases.size(); ++i) {
    std::vector<int> variables;
    for (const int constraint : alternatives.cases[i]) {
      const VariableSum sum = table_.sum_of(constraint);
      const bool is_equality = atoms_.bound_of(constraint).relation == Relation::equal;
      if (sum.size() > longest_row && (alternatives.cases.size() == 1 || !is_equality)) continue;
      for (const auto& [variable, coeff] : sum) {
        if (variable != 0) variables.push_back(variable);
      }
    }
    std::sort(variables.begin(), variables.end());
    variables.erase(std::unique(variables.begin(), variables.end()), variables.end());
    if (i == 0) {
      common = std::move(variables);
    } else {
      std::vector<int> both;
      std::set_intersection(common.begin(), common.end(), variables.begin(), variables.end(), std::back_inserter(both));
      common = std::move(both);
    }
  }
  return common;
}

bool Tightening::narrow_variable(const Alternatives& alternatives, int variable, bool is_upper) {
  std::vector<Limit> limits;
  for (const std::vector<int>& constraints : alternatives.cases) {
    std::optional<Limit> limit = limit_in_case(constraints, variable, is_upper);
    if (!limit) return false;
    limits.push_back(std::move(*limit));
  }
  const auto is_less = [](const Limit& x, const Limit& y) { return x.value < y.value; };
  const QNumber& outermost = (is_upper ? std::max_element(limits.begin(), limits.end(), is_less)
                                       : std::min_element(limits.begin(), limits.end(), is_less))
                                 ->value;
  if (!is_progress(variable, is_upper, outermost)) return false;
  const QNumber value = rounded(variable, outermost, is_upper);
  const int fact = atoms_.add_bound(variable, is_upper ? Relation::less_equal : Relation::greater_equal, value);
  const QNumber sign(is_upper ? 1 : -1);
  for (const Limit& limit : limits) {
    LemmaSum sum(atoms_, table_);
    sum.add(atoms_.negation_of(fact), sign.neg());
    sum.add(limit.constraint, sign / table_.sum_of(limit.constraint).at(variable));
    if (!add_lemma(sum)) return false;
  }
  add_fact(fact);
  return true;
}

// What one of the constraints, with the bounds on its other symbols, allows the variable.
std::optional<Tightening::Limit> Tightening::limit_in_case(const std::vector<int>& constraints, int variable,
                                                           bool is_upper) const {
  std::optional<Limit> best;
  for (const int constraint : constraints) {
    VariableSum rest = table_.sum_of(constraint);
    const auto place = rest.find(variable);
    if (place == rest.end()) continue;
    const QNumber coeff = place->second;
    rest.erase(place);
    const Relation relation = atoms_.bound_of(constraint).relation;
    const bool is_rest_upper = is_upper == coeff.is_negative();
    if (!(is_rest_upper ? limits_below(relation) : limits_above(relation))) continue;
    const std::optional<QNumber> limit = table_.limit(rest, is_rest_upper);
    if (!limit) continue;
    const QNumber value = limit->neg() / coeff;
    if (!best || (is_upper ? value < best->value : best->value < value)) best = Limit{value, constraint};
  }
  return best;
}

bool Tightening::is_progress(int variable, bool is_upper, const QNumber& value) const {
  const std::optional<IntervalTable::End>& known = table_.end(variable, is_upper);
  if (!known) return true;
  const QNumber gain = is_upper ? known->value - value : value - known->value;
  if (!gain.is_positive()) return false;
  const std::optional<IntervalTable::End>& other = table_.end(variable, !is_upper);
  const QNumber width = (other ? known->value - other->value : known->value).abs();
  return width * QNumber(least_progress) < gain * QNumber(16);
}

// Outwards, to a short number.
QNumber Tightening::rounded(int variable, const QNumber& value, bool is_upper) const {
  const std::optional<IntervalTable::End>& other = table_.end(variable, !is_upper);
  const double width = std::abs((other ? value - other->value : value).to_double());
  if (!(width > 0) || !std::isfinite(width)) return value;
  const QNumber unit = power_of_two(std::ilogb(width) - bits_kept);
  const QNumber steps = value / unit;
  return (is_upper ? steps.neg().floor().neg() : steps.floor()) * unit;
}

// ==== maxima ====

std::optional<Tightening::Maximum> Tightening::find_maximum(const Alternatives& alternatives) const {
  if (alternatives.cases.size() != 2) return std::nullopt;
  const std::vector<int>& yes = alternatives.cases[0];
  const std::vector<int>& no = alternatives.cases[1];
  const auto is_equality = [this](int c) { return atoms_.bound_of(c).relation == Relation::equal; };
  const auto first = std::find_if(yes.begin(), yes.end(), is_equality);
  const auto second = std::find_if(no.begin(), no.end(), is_equality);
  if (first == yes.end() || second == no.end()) return std::nullopt;
  if (is_equality(yes.front()) || no.front() != atoms_.negation_of(yes.front())) return std::nullopt;

  Maximum result{table_.sum_of(*first), table_.sum_of(*second), {}, yes.front(), no.front(), *first, *second};
  const VariableSum condition = table_.sum_of(yes.front());
  const Relation relation = atoms_.bound_of(yes.front()).relation;
  const bool is_from_below = relation == Relation::greater || relation == Relation::greater_equal;
  const VariableSum first_sum = result.first, second_sum = result.second;
  for (const auto& [y, coeff] : second_sum) {
    const auto place = first_sum.find(y);
    if (y == 0 || place == first_sum.end()) continue;
    result.first = scaled(first_sum, place->second.inverse());
    result.second = scaled(second_sum, coeff.inverse());
    result.difference = result.second;
    add_multiple(result.first, QNumber(-1), &result.difference);
    const int variable = leader(condition);
    const auto multiple = result.difference.find(variable);
    if (multiple == result.difference.end()) continue;
    const QNumber ratio = multiple->second / condition.at(variable);
    VariableSum rest = result.difference;
    add_multiple(condition, ratio.neg(), &rest);
    if (!rest.empty()) continue;
    if (ratio.is_negative() == is_from_below) {  // the least of both: the opposites have a greatest
      for (VariableSum* sum : {&result.first, &result.second, &result.difference}) *sum = scaled(*sum, QNumber(-1));
    }
    return result;
  }
  return std::nullopt;
}

// Of which the constraint says that it is related to zero: the factor that makes `sum` of it.
QNumber Tightening::factor_of(int constraint, const VariableSum& sum) const {
  const int variable = leader(sum);
  return sum.at(variable) / table_.sum_of(constraint).at(variable);
}

// False when nothing is new: a maximum is limited from above as soon as the difference has bounds.
bool Tightening::relax(const Maximum& m, Alternatives& alternatives) {
  const int variable = atoms_.bound_of(m.when_first).variable;
  const bool is_new = !std::exchange(alternatives.is_relaxed, true);
  if (is_new) limit_from_below(m);
  if (!table_.end(variable, false) || !table_.end(variable, true)) return is_new;
  limit_from_above(m);
  return alternatives.is_limited = true;
}

// The maximum is at least each of both.
void Tightening::limit_from_below(const Maximum& m) {
  const auto add = [this](LemmaSum& lemma, int constraint, const VariableSum& sum, const QNumber& factor) {
    if (!factor.is_zero()) lemma.add(constraint, factor_of(constraint, sum) * factor);
  };
  for (const bool is_first : {true, false}) {
    const VariableSum& sum = is_first ? m.first : m.second;
    const int fact = bound(sum, Relation::greater_equal);
    LemmaSum lemma(atoms_, table_);
    add(lemma, atoms_.negation_of(fact), sum, QNumber(1));
    add(lemma, is_first ? m.is_second : m.is_first, is_first ? m.second : m.first, QNumber(-1));
    add(lemma, is_first ? m.when_second : m.when_first, m.difference, QNumber(is_first ? 1 : -1));
    if (add_lemma(lemma)) add_fact(fact);
  }
}

// second <= slope * difference + room, the line through the greatest value of each case, or just above it.
void Tightening::limit_from_above(const Maximum& m) {
  const int variable = atoms_.bound_of(m.when_first).variable;
  const QNumber factor = factor_of(m.when_first, m.difference);
  const bool is_turned = factor.is_negative();
  const int top = table_.end(variable, !is_turned)->constraint, bottom = table_.end(variable, is_turned)->constraint;
  // What the difference is at the ends: its multiple of the variable, with the constant of the condition.
  const QNumber origin = atoms_.bound_of(m.when_first).value;
  const QNumber greatest = (table_.end(variable, !is_turned)->value - origin) * factor;
  const QNumber least = (table_.end(variable, is_turned)->value - origin) * factor;
  if (!greatest.is_positive() || !least.is_negative()) return;
  const QNumber steps(slopes);
  const QNumber slope = (greatest / (greatest - least) * steps).floor() / steps;
  const QNumber flat = QNumber(1) - slope;
  const QNumber at_top = greatest * flat, at_bottom = least.neg() * slope;
  VariableSum sum = m.second;
  add_multiple(m.difference, slope.neg(), &sum);
  add_multiple({{0, QNumber(1)}}, at_top < at_bottom ? at_bottom.neg() : at_top.neg(), &sum);
  const int fact = bound(sum, Relation::less_equal);
  bool is_told = true;
  for (const bool is_first : {true, false}) {
    LemmaSum lemma(atoms_, table_);
    const int negation = atoms_.negation_of(fact);
    lemma.add(negation, factor_of(negation, sum).neg());
    const int equality = is_first ? m.is_first : m.is_second;
    lemma.add(equality, factor_of(equality, is_first ? m.first : m.second));
    const int end = is_first ? top : bottom;
    const QNumber share = is_first ? flat : slope.neg();
    if (!share.is_zero()) lemma.add(end, factor_of(end, m.difference) * share);
    is_told = add_lemma(lemma) && is_told;
  }
  if (is_told) add_fact(fact);
}

// ==== facts ====

bool Tightening::add_lemma(LemmaSum& sum) {
  const std::vector<proof::Refutation::Summand> summands = sum.finish();
  if (summands.empty()) return false;
  search_.add_lemma(summands);
  return true;
}

// The constraint that says  sum relation 0.
int Tightening::bound(const VariableSum& sum, Relation relation) {
  LinearForm form;
  for (const auto& [variable, coeff] : sum) {
    if (variable == 0) {
      form.constant = coeff;
    } else {
      form.terms.push_back({atoms_.symbol(variable), coeff});
    }
  }
  std::sort(form.terms.begin(), form.terms.end(), [](const Monomial& a, const Monomial& b) { return a.leaf < b.leaf; });
  return atoms_.add(&form, relation).constraint;
}

void Tightening::add_fact(int constraint) {
  table_.hold(constraint);
  facts_.push_back(search_.clausifier().bound_literal(constraint));
}

void Tightening::poll() const {
  if (test_ != nullptr) (*test_)();
}

}  // namespace tarku::smt
