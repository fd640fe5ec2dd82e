// The signature of the theory as one table.
#include "tarku/smtlib/theory.h"

namespace tarku::smtlib {

namespace {

using smt::Op;

struct NamedOp {
  std::string_view name;
  Op op;
};

constexpr NamedOp operators[] = {
    {"not", Op::not_op}, {"and", Op::and_op}, {"or", Op::or_op},      {"=>", Op::implies},
    {"xor", Op::xor_op}, {"ite", Op::ite},    {"=", Op::equal},       {"distinct", Op::distinct},
    {"<", Op::less},     {">", Op::greater},  {"<=", Op::less_equal}, {">=", Op::greater_equal},
    {"+", Op::add},      {"*", Op::multiply}, {"-", Op::subtract},    {"/", Op::divide},
};

constexpr std::string_view logics[] = {"QF_LRA", "QF_RDL"};

}  // namespace

void bind_theory_names(SymbolTable* symbols, smt::TermManager* terms) {
  for (const NamedOp& entry : operators) symbols->bind_theory(entry.name, Binding::to_op(entry.op));
  for (const bool truth : {false, true}) {
    symbols->bind_theory(truth ? "true" : "false", Binding::to_value(Value::closed(terms->mk_bool(truth))));
  }
  Binding to_real;
  to_real.kind = Binding::Kind::to_real;
  symbols->bind_theory("to_real", to_real);
  symbols->bind_theory_sort("Bool", smt::Sort::boolean);
  symbols->bind_theory_sort("Real", smt::Sort::real);
}

bool is_supported_logic(std::string_view logic) {
  for (const std::string_view known : logics) {
    if (logic == known) return true;
  }
  return false;
}

}  // namespace tarku::smtlib
