// Three passes: count the occurrences, choose what gets a name, write.
#include "tarku/smtlib/term_printer.h"

#include <algorithm>
#include <ostream>

#include "tarku/smtlib/printer.h"

namespace tarku::smtlib {

using smt::Op;
using smt::Term;

namespace {

constexpr std::size_t largest_repeated = 6;  // what is larger is not written twice

}  // namespace

void TermPrinter::print(std::ostream& out, Term term) {
  survey(term);
  choose_variables();
  for (std::size_t i = 0; i < variables_.size(); ++i) {
    print_variable(out << "(let ((", static_cast<std::uint32_t>(i + 1));
    print_body(out << ' ', variables_[i]);
    out << ")) ";
  }
  print_body(out, term);
  for (std::size_t i = 0; i < variables_.size(); ++i) out << ')';
}

// Names that begin with '@' are left to programs by the standard; a script that has such names all the same only makes
// ours longer.
void TermPrinter::survey(Term root) {
  seen_.clear();
  prefix_ = "@";
  seen_[root.id()].occurrences = 1;
  std::vector<Term> waiting{root};
  while (!waiting.empty()) {
    const Term t = waiting.back();
    waiting.pop_back();
    if (terms_.op(t) == Op::symbol) {
      const std::string& name = terms_.name(t);
      const std::size_t num_marks = std::min(name.find_first_not_of('@'), name.size());
      if (num_marks >= prefix_.size()) prefix_.assign(num_marks + 1, '@');
    }
    for (const Term argument : terms_.args(t)) {
      if (++seen_[argument.id()].occurrences == 1) waiting.push_back(argument);
    }
  }
}

// An argument's id is smaller than that of the term that holds it.
void TermPrinter::choose_variables() {
  variables_.clear();
  std::vector<std::uint32_t> ids;
  for (const auto& entry : seen_) ids.push_back(entry.first);
  std::sort(ids.begin(), ids.end());
  for (const std::uint32_t id : ids) {
    Seen& seen = seen_[id];
    seen.size = 1;
    for (const Term argument : terms_.args(Term(id))) {
      const Seen& inner = seen_[argument.id()];
      seen.size += inner.variable == 0 ? inner.size : 1;
    }
    if (seen.occurrences < 2 || seen.size <= largest_repeated) continue;
    variables_.emplace_back(id);
    seen.variable = static_cast<std::uint32_t>(variables_.size());
  }
}

// Writes the term itself, whether a variable stands for it or not.
void TermPrinter::print_body(std::ostream& out, Term term) {
  const auto begin = [this, &out](Term t) {
    switch (terms_.op(t)) {
      case Op::truth:
        return print_bool(out, terms_.truth(t));
      case Op::numeral:
        return print_real(out, terms_.value(t));
      case Op::symbol:
        return print_symbol(out, terms_.name(t));
      default:
        out << '(' << to_str(terms_.op(t));
        stack_.push_back({t});
    }
  };
  begin(term);
  while (!stack_.empty()) {
    Open& top = stack_.back();
    const smt::Args arguments = terms_.args(top.term);
    if (top.next == arguments.size()) {
      out << ')';
      stack_.pop_back();
      continue;
    }
    const Term argument = arguments[top.next++];
    out << ' ';
    const std::uint32_t variable = seen_[argument.id()].variable;
    if (variable != 0) {
      print_variable(out, variable);
    } else {
      begin(argument);
    }
  }
}

void TermPrinter::print_variable(std::ostream& out, std::uint32_t variable) const {
  out << prefix_ << variable;
}

}  // namespace tarku::smtlib
