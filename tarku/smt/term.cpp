// Terms: creation with its checks, folding of constants, and sharing of equal terms.
#include "tarku/smt/term.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <utility>

namespace tarku::smt {

namespace {

// What an operator takes.
enum class Takes : std::uint8_t { nothing, booleans, reals, one_sort, condition };

struct Signature {
  std::string_view name;
  std::uint32_t min;
  std::uint32_t max;
  Takes takes;
  bool real;  // gives a Real (ite: by its branches)
};

constexpr std::uint32_t any_number = 0xffffffffu;
constexpr std::size_t num_integers = 1024;  // that are found without a search

// In the order of Op.
constexpr Signature signatures[] = {
    {"true/false", 0, 0, Takes::nothing, false},
    {"numeral", 0, 0, Takes::nothing, true},
    {"symbol", 0, 0, Takes::nothing, false},
    {"not", 1, 1, Takes::booleans, false},
    {"and", 1, any_number, Takes::booleans, false},
    {"or", 1, any_number, Takes::booleans, false},
    {"=>", 2, any_number, Takes::booleans, false},
    {"xor", 2, any_number, Takes::booleans, false},
    {"ite", 3, 3, Takes::condition, false},
    {"=", 2, any_number, Takes::one_sort, false},
    {"distinct", 2, any_number, Takes::one_sort, false},
    {"<", 2, any_number, Takes::reals, false},
    {"<=", 2, any_number, Takes::reals, false},
    {">", 2, any_number, Takes::reals, false},
    {">=", 2, any_number, Takes::reals, false},
    {"+", 1, any_number, Takes::reals, true},
    {"-", 2, any_number, Takes::reals, true},
    {"-", 1, 1, Takes::reals, true},
    {"*", 1, any_number, Takes::reals, true},
    {"/", 2, any_number, Takes::reals, true},
};

const Signature& signature(Op op) {
  const auto i = static_cast<std::size_t>(op);
  assert(i < sizeof(signatures) / sizeof(signatures[0]));
  return signatures[i];
}

[[noreturn]] void fail(const std::string& text) {
  TermError error;
  error << text;
  throw error;
}

std::string quoted(Op op) {
  return "'" + std::string(signature(op).name) + "'";
}

std::string arguments(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " argument" : " arguments");
}

bool is_arithmetic(Op op) {
  return signature(op).real;
}

// Whether one argument stands for the whole application.
bool is_identity_of_one(Op op) {
  return op == Op::and_op || op == Op::or_op || op == Op::add || op == Op::multiply;
}

bool holds(Op op, int comparison) {
  switch (op) {
    case Op::less:
      return comparison < 0;
    case Op::less_equal:
      return comparison <= 0;
    case Op::greater:
      return comparison > 0;
    case Op::greater_equal:
      return comparison >= 0;
    default:
      break;
  }
  assert(false && "not a comparison");
  return false;
}

}  // namespace

std::string_view to_str(Op op) {
  return signature(op).name;
}

std::string_view to_str(Sort sort) {
  return sort == Sort::boolean ? "Bool" : "Real";
}

TermManager::TermManager() : integers_(num_integers) {
  append({Op::truth, Sort::boolean, Known::yes_false, 0, 0, {Term(0)}});
  append({Op::truth, Sort::boolean, Known::yes_true, 0, 0, {Term(1)}});
}

// ---- access ----

Args TermManager::args(Term t) const {
  const Node& n = node(t);
  return {n.count <= 2 ? n.args : args_.data() + n.place(), n.count};
}

const QNumber& TermManager::value(Term t) const {
  assert(op(t) == Op::numeral);
  return numerals_[node(t).place()].value;
}

bool TermManager::truth(Term t) const {
  assert(op(t) == Op::truth);
  return node(t).place() == 1;
}

const std::string& TermManager::name(Term t) const {
  assert(op(t) == Op::symbol);
  return names_[node(t).place()];
}

std::optional<bool> TermManager::known_truth(Term t) const {
  const Known k = known(t);
  if (k == Known::no) return std::nullopt;
  return k == Known::yes_true;
}

// ---- creation ----

Term TermManager::append(const Node& node) {
  if (nodes_.size() >= 0xfffffffeu) fail("too many terms");
  nodes_.push_back(node);
  return Term(static_cast<std::uint32_t>(nodes_.size() - 1));
}

Term TermManager::mk_bool(bool value) {
  return Term(value ? 1 : 0);
}

Term TermManager::mk_symbol(std::string_view name, Sort sort) {
  names_.emplace_back(name);
  return append({Op::symbol, sort, Known::no, 0, 0, {Term(static_cast<std::uint32_t>(names_.size() - 1))}});
}

Term TermManager::mk_real(const QNumber& value) {
  if (!value.is_small() || value.small_den() != 1 || value.small_num() < 0) return mk_numeral(value);
  const auto integer = static_cast<std::size_t>(value.small_num());
  if (integer >= integers_.size()) return mk_numeral(value);
  if (!integers_[integer].is_valid()) integers_[integer] = mk_numeral(value);
  return integers_[integer];
}

Term TermManager::mk_numeral(const QNumber& value) {
  const std::uint64_t hash = value.hash();
  const std::uint32_t old = numeral_index_.find(hash, [&](std::uint32_t i) { return numerals_[i].value == value; });
  if (old != HashIndex::none) return numerals_[old].term;
  const auto i = static_cast<std::uint32_t>(numerals_.size());
  numerals_.push_back({value.compact(), Term(num_terms())});
  has_big_numerals_ = has_big_numerals_ || !numerals_.back().value.is_small();
  const Term t = append({Op::numeral, Sort::real, Known::no, 0, 0, {Term(i)}});
  numeral_index_.insert(i, hash);
  return t;
}

Term TermManager::mk(Op op, Term a, Term b) {
  const Term args[] = {a, b};
  return mk(op, args, 2);
}

Term TermManager::mk(Op op, Term a, Term b, Term c) {
  const Term args[] = {a, b, c};
  return mk(op, args, 3);
}

Term TermManager::mk(Op op, const Term* args, std::size_t count) {
  const std::less<const Term*> before;
  if (count > 0 && !before(args, args_.data()) && before(args, args_.data() + args_.size())) {
    // The arguments of another term: our array may move while we append to it.
    return mk(op, std::vector<Term>(args, args + count));
  }
  if (op == Op::subtract && count == 1) op = Op::negate;
  std::uint64_t hash = static_cast<std::uint64_t>(op);
  for (std::size_t i = 0; i < count; ++i) hash = mix_hash(hash, args[i].id());
  index_.prefetch(hash);  // the checks take the time that it takes
  check_arity(op, count);
  const Survey found = survey(args, count);
  check_sorts(op, args, count, found);
  check_linear(op, args, count, found);
  if (count == 1 && is_identity_of_one(op)) return args[0];
  if (is_arithmetic(op) && found.num_numerals == count) return mk_real(fold(op, args, count));
  return mk_application(op, args, count, found, hash);
}

// The application as it stands, shared with an equal one made before.
Term TermManager::mk_application(Op op, const Term* args, std::size_t count, const Survey& found, std::uint64_t hash) {
  const std::uint32_t old = index_.find(hash, [&](std::uint32_t id) { return holds_application(id, op, args, count); });
  if (old != HashIndex::none) return Term(old);

  if (args_.size() + count > 0xffffffffu) fail("too many terms");
  const Known known = deduce(op, args, count, found);
  Node node{op, result_sort(op, args), known, 0, static_cast<std::uint32_t>(count), {}};
  if (count <= 2) {
    std::copy(args, args + count, node.args);
  } else {
    node.args[0] = Term(static_cast<std::uint32_t>(args_.size()));
    args_.insert(args_.end(), args, args + count);
  }
  for (std::size_t i = 0; i < count; ++i) {
    std::uint8_t& references = nodes_[args[i].id()].references;
    if (references < 2) ++references;
  }
  const Term t = append(node);
  index_.insert(t.id(), hash);
  return t;
}

bool TermManager::holds_application(std::uint32_t id, Op op, const Term* args, std::size_t count) const {
  const Node& n = nodes_[id];
  if (n.op != op || n.count != count) return false;
  return std::equal(args, args + count, count <= 2 ? n.args : args_.data() + n.place());
}

// ---- checks ----

TermManager::Survey TermManager::survey(const Term* args, std::size_t count) const {
  Survey found;
  for (std::size_t i = 0; i < count; ++i) {
    const Node& n = node(args[i]);
    found.num_reals += n.sort == Sort::real ? 1 : 0;
    found.num_numerals += n.op == Op::numeral ? 1 : 0;
    found.num_known += n.known != Known::no ? 1 : 0;
  }
  return found;
}

void TermManager::check_arity(Op op, std::size_t count) {
  const Signature& s = signature(op);
  assert(s.takes != Takes::nothing && "constants and symbols have makers of their own");
  if (count >= s.min && count <= s.max) return;
  const std::string wanted = (s.max == any_number ? "at least " : "") + arguments(s.min);
  const std::string given = count == 0 ? "none is" : std::to_string(count) + (count == 1 ? " is" : " are");
  fail(quoted(op) + " takes " + wanted + ", but " + given + " given");
}

void TermManager::check_sorts(Op op, const Term* args, std::size_t count, const Survey& found) const {
  const Takes takes = signature(op).takes;
  if (takes == Takes::condition) {
    if (sort(args[0]) != Sort::boolean) fail("'ite' takes a condition of sort Bool, but argument 1 is of sort Real");
    if (sort(args[1]) != sort(args[2])) fail("'ite' branches are of different sorts");
    return;
  }
  const bool all_booleans = found.num_reals == 0, all_reals = found.num_reals == count;
  if ((all_booleans && takes != Takes::reals) || (all_reals && takes != Takes::booleans)) return;
  fail_sorts(op, args);
}

// Names the first argument that is of the wrong sort.
void TermManager::fail_sorts(Op op, const Term* args) const {
  const Takes takes = signature(op).takes;
  const Sort wanted = takes == Takes::one_sort ? sort(args[0]) : takes == Takes::reals ? Sort::real : Sort::boolean;
  std::size_t i = 0;
  while (sort(args[i]) == wanted) ++i;
  const std::string culprit = "argument " + std::to_string(i + 1) + " is of sort " + std::string(to_str(sort(args[i])));
  if (takes == Takes::one_sort) {
    fail(quoted(op) + " takes arguments of one sort, but argument 1 is of sort " + std::string(to_str(wanted)) +
         " and " + culprit);
  }
  fail(quoted(op) + " takes arguments of sort " + std::string(to_str(wanted)) + ", but " + culprit);
}

void TermManager::check_linear(Op op, const Term* args, std::size_t count, const Survey& found) const {
  if (op == Op::multiply) {
    if (count - found.num_numerals > 1) fail("'*' of two non-constant terms is not linear");
  } else if (op == Op::divide) {
    for (std::size_t i = 1; i < count; ++i) {
      if (this->op(args[i]) != Op::numeral) fail("'/' by a non-constant term is not linear");
      if (value(args[i]).is_zero()) fail("division by zero");
    }
  }
}

Sort TermManager::result_sort(Op op, const Term* args) const {
  if (op == Op::ite) return sort(args[1]);
  return signature(op).real ? Sort::real : Sort::boolean;
}

// ---- folding ----

// Needs: arithmetic over numerals, checked.
QNumber TermManager::fold(Op op, const Term* args, std::size_t count) const {
  QNumber result = value(args[0]);
  if (op == Op::negate) result.negate();
  for (std::size_t i = 1; i < count; ++i) {
    const QNumber& x = value(args[i]);
    switch (op) {
      case Op::add:
        result += x;
        break;
      case Op::subtract:
        result -= x;
        break;
      case Op::multiply:
        result *= x;
        break;
      default:
        assert(op == Op::divide), result /= x;
        break;
    }
  }
  return result;
}

// What follows about a new application from what is known about its arguments.
TermManager::Known TermManager::deduce(Op op, const Term* args, std::size_t count, const Survey& found) const {
  const Takes takes = signature(op).takes;
  if (found.num_known == 0 && (takes == Takes::booleans || takes == Takes::condition)) return Known::no;
  switch (op) {
    case Op::not_op:
      return opposite(known(args[0]));
    case Op::and_op:
      return deduce_junction(args, count, Known::yes_false);
    case Op::or_op:
      return deduce_junction(args, count, Known::yes_true);
    case Op::implies:
      return deduce_implies(args, count);
    case Op::xor_op:
      return deduce_xor(args, count);
    case Op::ite:
      return deduce_ite(args[0], args[1], args[2]);
    case Op::distinct:
      return deduce_distinct(args, count, found);
    case Op::equal:
    case Op::less:
    case Op::less_equal:
    case Op::greater:
    case Op::greater_equal:
      return deduce_chain(op, args, count, found);
    default:
      return Known::no;
  }
}

TermManager::Known TermManager::opposite(Known k) {
  if (k == Known::no) return k;
  return k == Known::yes_true ? Known::yes_false : Known::yes_true;
}

// A conjunction (dominant: false) or disjunction (dominant: true).
TermManager::Known TermManager::deduce_junction(const Term* args, std::size_t count, Known dominant) const {
  Known result = opposite(dominant);
  for (std::size_t i = 0; i < count; ++i) {
    if (known(args[i]) == dominant) return dominant;
    if (known(args[i]) == Known::no) result = Known::no;
  }
  return result;
}

TermManager::Known TermManager::deduce_implies(const Term* args, std::size_t count) const {
  const Known premises = deduce_junction(args, count - 1, Known::yes_false);
  const Known conclusion = known(args[count - 1]);
  if (premises == Known::yes_false || conclusion == Known::yes_true) return Known::yes_true;
  return premises == Known::yes_true ? conclusion : Known::no;
}

TermManager::Known TermManager::deduce_xor(const Term* args, std::size_t count) const {
  Known result = Known::yes_false;
  for (std::size_t i = 0; i < count; ++i) {
    if (known(args[i]) == Known::no) return Known::no;
    if (known(args[i]) == Known::yes_true) result = opposite(result);
  }
  return result;
}

TermManager::Known TermManager::deduce_ite(Term condition, Term yes, Term no) const {
  if (known(condition) != Known::no) return known(known(condition) == Known::yes_true ? yes : no);
  return known(yes) == known(no) ? known(yes) : Known::no;
}

// The conjunction of the comparisons of neighbours. Formulas that are to be equal must not have two known values, be
// they neighbours or not.
TermManager::Known TermManager::deduce_chain(Op op, const Term* args, std::size_t count, const Survey& found) const {
  const auto is_known = [this](Known value) { return [this, value](Term t) { return known(t) == value; }; };
  if (found.num_known > 1 && std::any_of(args, args + count, is_known(Known::yes_true)) &&
      std::any_of(args, args + count, is_known(Known::yes_false))) {
    return Known::yes_false;
  }
  Known result = Known::yes_true;
  for (std::size_t i = 1; i < count; ++i) {
    const Known link =
        op == Op::equal ? deduce_equal(args[i - 1], args[i]) : deduce_comparison(op, args[i - 1], args[i]);
    if (link == Known::yes_false) return link;
    if (link == Known::no) result = link;
  }
  return result;
}

TermManager::Known TermManager::deduce_equal(Term a, Term b) const {
  if (a == b) return Known::yes_true;
  if (op(a) == Op::numeral && op(b) == Op::numeral) return Known::yes_false;
  if (known(a) == Known::no || known(b) == Known::no) return Known::no;
  return known(a) == known(b) ? Known::yes_true : Known::yes_false;
}

TermManager::Known TermManager::deduce_comparison(Op op, Term a, Term b) const {
  const bool numerals = this->op(a) == Op::numeral && this->op(b) == Op::numeral;
  if (a != b && !numerals) return Known::no;
  const int comparison = a == b ? 0 : QNumber::compare(value(a), value(b));
  return holds(op, comparison) ? Known::yes_true : Known::yes_false;
}

TermManager::Known TermManager::deduce_distinct(const Term* args, std::size_t count, const Survey& found) const {
  if (count == 2) return opposite(deduce_equal(args[0], args[1]));
  if (sort(args[0]) == Sort::boolean) return Known::yes_false;  // there are two values only
  std::vector<Term> sorted(args, args + count);
  std::sort(sorted.begin(), sorted.end());
  if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) return Known::yes_false;
  return found.num_numerals == count ? Known::yes_true : Known::no;
}

}  // namespace tarku::smt
