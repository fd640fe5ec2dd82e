// Text form of traces.
#include "tests/tools/trace.h"

#include <istream>
#include <sstream>

namespace tarku::tester {

namespace {

struct KindName {
  OpKind kind;
  const char* name;
};

constexpr KindName kKindNames[] = {
    {OpKind::kEquation, "equation"},
    {OpKind::kTell, "tell"},
    {OpKind::kPush, "push"},
    {OpKind::kPop, "pop"},
    {OpKind::kAddEquation, "add_equation"},
    {OpKind::kCheck, "check"},
    {OpKind::kRetract, "retract"},
    {OpKind::kRetractEquation, "retract_equation"},
    {OpKind::kPivotLimit, "pivot_limit"},
    {OpKind::kKeep, "keep"},
    {OpKind::kValues, "values"},
    {OpKind::kPropagation, "propagation"},
    {OpKind::kModel, "model"},
    {OpKind::kImplied, "implied"},
};

constexpr const char* kRelations[] = {"", ">=", "=", "<=", "!="};

std::string terms_to_str(const Form& terms, const Rational& constant) {
  std::string text = terms.empty() ? std::string() : to_str(terms);
  if (constant.sign() != 0) text += (text.empty() ? "" : " + ") + constant.to_str();
  return text;
}

std::string eqs_to_str(const std::vector<Linear>& eqs) {
  std::string text;
  for (const Linear& eq : eqs) text += (text.empty() ? "" : " ; ") + terms_to_str(eq.terms, eq.constant);
  return text;
}

bool parse_int(const std::string& text, std::int64_t* out) {
  Rational value;
  if (!Rational::parse(text, &value) || !value.is_small() || !value.is_integer()) return false;
  *out = value.small_num();
  return true;
}

bool parse_var(const std::string& text, int* out) {
  std::int64_t value = 0;
  if (text.size() < 2 || text[0] != 'x' || !parse_int(text.substr(1), &value)) return false;
  *out = static_cast<int>(value);
  return true;
}

// "3*x1", "x1" or "3".
bool parse_term(const std::string& text, Linear* sum) {
  const std::size_t star = text.find('*');
  Term term{0, 1};
  if (star == std::string::npos && !parse_var(text, &term.var)) return Rational::parse(text, &sum->constant);
  if (star != std::string::npos &&
      (!Rational::parse(text.substr(0, star), &term.coeff) || !parse_var(text.substr(star + 1), &term.var))) {
    return false;
  }
  sum->terms.push_back(term);
  return true;
}

// Up to the end or to a semicolon.
bool parse_sum(std::istream& words, Linear* sum) {
  std::string word;
  while (words >> word && word != ";") {
    if (word != "+" && !parse_term(word, sum)) return false;
  }
  sum->terms = normalized(sum->terms);
  return true;
}

bool parse_equation(std::istream& words, Op* op) {
  std::string defined, colon;
  if (!(words >> op->index >> defined >> colon) || colon != ":") return false;
  op->var = -1;
  if (defined != "_" && !parse_var(defined, &op->var)) return false;
  Linear sum;
  if (!parse_sum(words, &sum)) return false;
  op->terms = std::move(sum.terms);
  op->constant = sum.constant;
  return true;
}

bool parse_tell(std::istream& words, Op* op) {
  std::string var, relation, bound;
  if (!(words >> op->index >> var >> relation >> bound) || !parse_var(var, &op->var)) return false;
  for (int kind = kLower; kind <= kDiseq; ++kind) {
    if (relation != kRelations[kind]) continue;
    op->bound_kind = static_cast<BoundKind>(kind);
    return Value::parse(bound, &op->bound);
  }
  return false;
}

bool parse_check(std::istream& words, Op* op) {
  std::string extent;
  if (!(words >> extent >> op->number) || (extent != "full" && extent != "partial")) return false;
  op->partial = extent == "partial";
  return true;
}

bool parse_model(std::istream& words, Op* op) {
  std::string colon;
  if (!(words >> op->number >> colon) || colon != ":") return false;
  while (words >> std::ws && !words.eof()) {
    Linear eq;
    if (!parse_sum(words, &eq)) return false;
    op->eqs.push_back(std::move(eq));
  }
  return true;
}

bool parse_operands(std::istream& words, Op* op) {
  switch (op->kind) {
    case OpKind::kEquation:
      return parse_equation(words, op);
    case OpKind::kTell:
      return parse_tell(words, op);
    case OpKind::kCheck:
      return parse_check(words, op);
    case OpKind::kModel:
      return parse_model(words, op);
    case OpKind::kPop:
    case OpKind::kValues:
      return true;
    case OpKind::kPivotLimit:
    case OpKind::kPropagation:
    case OpKind::kImplied:
      return static_cast<bool>(words >> op->number);
    default:
      return static_cast<bool>(words >> op->index);
  }
}

bool parse_config(std::istream& words, Config* config) {
  std::string word;
  while (words >> word) {
    const std::size_t mark = word.find('=');
    std::int64_t value = 0;
    if (mark == std::string::npos || !parse_int(word.substr(mark + 1), &value)) return false;
    const std::string name = word.substr(0, mark);
    if (name == "proofs") {
      config->proofs = value != 0;
    } else if (name == "eliminate") {
      config->eliminate = value != 0;
    } else if (name == "pivot_limit") {
      config->pivot_limit = value;
    } else if (name == "propagation") {
      config->propagation = static_cast<int>(value);
    } else if (name == "watch") {
      config->watch = value != 0;
    } else if (name == "hooks") {
      config->hooks = value != 0;
    } else if (name == "lazy") {
      config->lazy = value != 0;
    } else {
      return false;
    }
  }
  return true;
}

bool parse_line(const std::string& name, std::istream& words, Trace* trace) {
  if (name == "config") return parse_config(words, &trace->config);
  for (const KindName& known : kKindNames) {
    if (name != known.name) continue;
    Op op;
    op.kind = known.kind;
    if (!parse_operands(words, &op)) return false;
    trace->ops.push_back(std::move(op));
    return true;
  }
  return false;
}

}  // namespace

std::string to_str(const Op& op) {
  std::string text;
  for (const KindName& known : kKindNames) {
    if (known.kind == op.kind) text = known.name;
  }
  switch (op.kind) {
    case OpKind::kEquation: {
      const std::string defined = op.var < 0 ? "_" : "x" + std::to_string(op.var);
      return text + " " + std::to_string(op.index) + " " + defined + " : " + terms_to_str(op.terms, op.constant);
    }
    case OpKind::kTell:
      return text + " " + std::to_string(op.index) + " x" + std::to_string(op.var) + " " + kRelations[op.bound_kind] +
             " " + op.bound.to_str();
    case OpKind::kCheck:
      return text + (op.partial ? " partial " : " full ") + std::to_string(op.number);
    case OpKind::kModel:
      return text + " " + std::to_string(op.number) + " : " + eqs_to_str(op.eqs);
    case OpKind::kPop:
    case OpKind::kValues:
      return text;
    case OpKind::kPivotLimit:
    case OpKind::kPropagation:
    case OpKind::kImplied:
      return text + " " + std::to_string(op.number);
    default:
      return text + " " + std::to_string(op.index);
  }
}

std::string to_str(const Config& config) {
  std::ostringstream text;
  text << "config proofs=" << config.proofs << " eliminate=" << config.eliminate
       << " pivot_limit=" << config.pivot_limit << " propagation=" << config.propagation << " watch=" << config.watch
       << " hooks=" << config.hooks << " lazy=" << config.lazy;
  return text.str();
}

std::string to_str(const Trace& trace) {
  std::string text = to_str(trace.config) + "\n";
  for (const Op& op : trace.ops) text += to_str(op) + "\n";
  return text;
}

bool read_trace(std::istream& in, Trace* out, std::string* error) {
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string name;
    if (!(words >> name)) continue;
    if (parse_line(name, words, out)) continue;
    *error = "line " + std::to_string(number) + ": " + line;
    return false;
  }
  return true;
}

}  // namespace tarku::tester
