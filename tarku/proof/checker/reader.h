// Reader: reads certificates as text, one line after the other, and hands their steps to a Checker.
//
// Only the current line and what the checker keeps are in memory. Everything that is not exactly as the format has it
// is refused; the text of the exception is "NAME:LINE: STEP: reason".
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/checker.h"

namespace tarku::checker {

// What an accepted certificate shows, and how.
struct Certified {
  std::uint64_t check = 0;
  std::size_t inputs = 0;
  std::size_t gate_clauses = 0;
  std::size_t branches = 0;
  std::size_t combinations = 0;
  std::size_t splits = 0;
  std::size_t derived = 0;
};

class Reader {
 public:
  // name: of the text, for messages. assertions: what inputs are compared with; may be null.
  Reader(std::istream& in, std::string name, Assertions* assertions = nullptr);

  // Reads and checks the next certificate. False at the end of a text that has at least one.
  // Throws Refused when something is wrong, Unreadable when the stream fails; nothing can be read after either.
  bool next(Certified* result);

 private:
  bool read_line();
  bool read_raw_line();
  void require_line_end() const;
  void set_label();

  // Words of the current line; text that is missing or malformed is refused.
  bool has_word();
  std::string_view next_word(const char* what);
  void end_step();
  std::uint64_t read_count(const char* what);
  ClauseId read_id() { return read_count("the id of a clause"); }
  Literal read_literal() { return to_literal(next_word("a literal")); }
  int read_variable() { return to_variable(next_word("a variable")); }
  int to_variable(std::string_view word) const;
  Literal to_literal(std::string_view word) const;
  Monomial to_monomial(std::string_view word, const char* otherwise) const;
  std::string read_symbol();
  std::string read_quoted_symbol();
  void read_literals();
  void read_ids();

  Sum read_sum();

  void check_header();
  void check_step(Checker* checker);

  // The rest of a step of each kind.
  void read_check(Checker* checker);
  void read_real(Checker* checker);
  void read_bool(Checker* checker);
  void read_atom(Checker* checker);
  void read_and(Checker* checker);
  void read_iff(Checker* checker);
  void read_ite(Checker* checker);
  void read_real_ite(Checker* checker);
  void read_input(Checker* checker);
  void read_gate(Checker* checker);
  void read_branch(Checker* checker);
  void read_farkas(Checker* checker);
  void read_split(Checker* checker);
  void read_rup(Checker* checker);
  void read_delete(Checker* checker);
  void read_qed(Checker* checker);

  std::istream& in_;
  std::string name_;
  Assertions* assertions_;
  bool has_certificate_ = false;

  std::string line_;  // without its line feed
  bool is_line_ended_ = true;
  std::size_t number_ = 0;  // of the line, from 1
  std::size_t at_ = 0;      // where the rest of the line begins
  std::size_t end_ = 0;     // where it ends
  std::string label_;       // of the step, for messages

  // Of the current step, to be used again by the next.
  std::vector<Literal> literals_;
  std::vector<ClauseId> ids_;
};

}  // namespace tarku::checker
