// TermPrinter: writes terms as SMT-LIB reads them, in space that is linear in the number of their subterms.
//
// Small subterms are written wherever they occur. Larger ones that occur more than once become variables of `let`, in
// front of the whole term. The walks keep stacks of their own; terms may nest as deep as memory allows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarku/smt/term.h"

namespace tarku::smtlib {

class TermPrinter {
 public:
  explicit TermPrinter(const smt::TermManager& terms) : terms_(terms) {}

  void print(std::ostream& out, smt::Term term);

 private:
  // What is known about a subterm of the term being printed.
  struct Seen {
    std::uint32_t occurrences = 0;  // as an argument of others
    std::uint32_t variable = 0;     // of `let` that stands for it, from 1; 0: none
    std::size_t size = 0;           // names, numbers and operators in its text
  };
  struct Open {  // an application of which some arguments are written
    smt::Term term;
    std::uint32_t next = 0;
  };

  void survey(smt::Term root);
  void choose_variables();
  void print_body(std::ostream& out, smt::Term term);
  void print_variable(std::ostream& out, std::uint32_t variable) const;

  const smt::TermManager& terms_;
  std::unordered_map<std::uint32_t, Seen> seen_;  // by term id
  std::vector<smt::Term> variables_;              // what each variable stands for, those within it first
  std::string prefix_;                            // of the names of variables; no symbol of the term begins with it
  std::vector<Open> stack_;
};

}  // namespace tarku::smtlib
