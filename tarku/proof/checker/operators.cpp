// The table of operators.
#include "tarku/proof/checker/operators.h"

#include <limits>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

enum class Takes : std::uint8_t { formulas, reals, one_sort, condition };

struct Signature {
  std::string_view name;
  std::size_t least, most;  // arguments
  Takes takes;
  Sort gives;  // `ite` gives the sort of its branches
};

constexpr std::size_t any = std::numeric_limits<std::size_t>::max();

// In the order of Op.
constexpr Signature signatures[] = {
    {"not", 1, 1, Takes::formulas, Sort::boolean},   {"and", 1, any, Takes::formulas, Sort::boolean},
    {"or", 1, any, Takes::formulas, Sort::boolean},  {"=>", 2, any, Takes::formulas, Sort::boolean},
    {"xor", 2, any, Takes::formulas, Sort::boolean}, {"ite", 3, 3, Takes::condition, Sort::boolean},
    {"=", 2, any, Takes::one_sort, Sort::boolean},   {"distinct", 2, any, Takes::one_sort, Sort::boolean},
    {"<", 2, any, Takes::reals, Sort::boolean},      {"<=", 2, any, Takes::reals, Sort::boolean},
    {">", 2, any, Takes::reals, Sort::boolean},      {">=", 2, any, Takes::reals, Sort::boolean},
    {"+", 1, any, Takes::reals, Sort::real},         {"-", 1, any, Takes::reals, Sort::real},
    {"*", 1, any, Takes::reals, Sort::real},         {"/", 2, any, Takes::reals, Sort::real},
    {"to_real", 1, 1, Takes::reals, Sort::real},
};
static_assert(sizeof(signatures) / sizeof(signatures[0]) == static_cast<std::size_t>(Op::to_real) + 1,
              "one signature for each operator");

const Signature& signature(Op op) {
  return signatures[static_cast<std::size_t>(op)];
}

void require_sort(Op op, const std::vector<Value>& args, std::size_t i, Sort wanted) {
  if (args[i].sort == wanted) return;
  throw Refused("argument " + std::to_string(i + 1) + " of '" + std::string(to_str(op)) + "' is of sort " +
                to_str(args[i].sort) + ", not " + to_str(wanted));
}

void require_sorts(Op op, const std::vector<Value>& args) {
  switch (signature(op).takes) {
    case Takes::condition:
      require_sort(op, args, 0, Sort::boolean);
      return require_sort(op, args, 2, args[1].sort);
    case Takes::one_sort:
      for (std::size_t i = 1; i < args.size(); ++i) require_sort(op, args, i, args[0].sort);
      return;
    default:
      const Sort wanted = signature(op).takes == Takes::reals ? Sort::real : Sort::boolean;
      for (std::size_t i = 0; i < args.size(); ++i) require_sort(op, args, i, wanted);
  }
}

std::vector<Formula> formulas_of(const std::vector<Value>& args) {
  std::vector<Formula> result;
  for (const Value& v : args) result.push_back(v.formula());
  return result;
}

std::vector<RealTerm> terms_of(const std::vector<Value>& args) {
  std::vector<RealTerm> result;
  for (const Value& v : args) result.push_back(v.term());
  return result;
}

// Needs: arguments that are formulas.
Formula connect(FormulaTable* table, Op op, const std::vector<Formula>& args) {
  switch (op) {
    case Op::negation:
      return !args[0];
    case Op::conjunction:
      return table->conjunction(args);
    case Op::disjunction:
      return table->disjunction(args);
    case Op::implication:
      return table->implication(args);
    case Op::exclusive_or:
      return table->exclusive_or(args);
    case Op::equal:
      return table->equivalence(args);
    default:
      return table->distinct(args);
  }
}

// Needs: arguments that are Real.
Formula compare(FormulaTable* table, Op op, const std::vector<RealTerm>& args) {
  switch (op) {
    case Op::less:
      return table->comparison(Relation::less, args);
    case Op::less_equal:
      return table->comparison(Relation::less_equal, args);
    case Op::greater:
      return table->comparison(Relation::greater, args);
    case Op::greater_equal:
      return table->comparison(Relation::greater_equal, args);
    case Op::equal:
      return table->comparison(Relation::equal, args);
    default:
      return table->distinct(args);
  }
}

RealTerm calculate(RealTable* table, Op op, const std::vector<RealTerm>& args) {
  switch (op) {
    case Op::sum:
      return table->sum(args);
    case Op::difference:
      return table->difference(args);
    case Op::product:
      return table->product(args);
    case Op::quotient:
      return table->quotient(args);
    default:
      return args[0];
  }
}

}  // namespace

std::string to_str(Sort sort) {
  return sort == Sort::boolean ? "Bool" : "Real";
}

std::string_view to_str(Op op) {
  return signature(op).name;
}

Sort result_sort(Op op, const std::vector<Value>& args) {
  const Signature& s = signature(op);
  if (args.size() < s.least || args.size() > s.most) {
    throw Refused("'" + std::string(s.name) + "' cannot take " + std::to_string(args.size()) +
                  (args.size() == 1 ? " argument" : " arguments"));
  }
  require_sorts(op, args);
  return op == Op::choice ? args[1].sort : s.gives;
}

Value apply(FormulaTable* formulas, Op op, const std::vector<Value>& args) {
  const Sort gives = result_sort(op, args);
  if (gives == Sort::boolean && op == Op::choice) {
    return Value::of(formulas->choice(args[0].formula(), args[1].formula(), args[2].formula()));
  }
  if (op == Op::choice) {
    return Value::of(formulas->reals().choice(args[0].formula(), args[1].term(), args[2].term()));
  }
  if (gives == Sort::real) return Value::of(calculate(&formulas->reals(), op, terms_of(args)));
  if (args[0].sort == Sort::real) return Value::of(compare(formulas, op, terms_of(args)));
  return Value::of(connect(formulas, op, formulas_of(args)));
}

}  // namespace tarku::checker
