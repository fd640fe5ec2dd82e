// Terms of the input language: hash-consed, of sort Bool or Real, kept as they were read.
//
// A term is an operator over arguments, a constant, or a free symbol. Equal terms have equal handles, so comparing two
// terms costs one comparison. Sharing is never undone: no operation of this unit walks a term recursively, and clients
// walk them with explicit stacks, because inputs nest millions of levels deep.
//
// Only two things are rewritten on creation, both exact: arithmetic over constants is folded, and `and`, `or`, `+`, `*`
// of one argument are that argument.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/exception.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/smt/hash_index.h"

namespace tarku::smt {

enum class Sort : std::uint8_t { boolean, real };

enum class Op : std::uint8_t {
  truth,    // a Boolean constant
  numeral,  // a rational constant
  symbol,   // a free constant of either sort
  not_op,
  and_op,
  or_op,
  implies,  // right associative, two or more arguments
  xor_op,   // left associative, two or more arguments
  ite,      // condition, then, else; of either sort
  equal,    // two or more arguments of one sort, chained
  distinct,
  less,  // the four comparisons: two or more arguments, chained
  less_equal,
  greater,
  greater_equal,
  add,
  subtract,  // two or more arguments, left associative
  negate,    // one argument
  multiply,  // at most one argument is not a constant
  divide     // by non-zero constants only
};

// The operator as SMT-LIB writes it ("and", "<=", ...).
std::string_view to_str(Op op);
std::string_view to_str(Sort sort);

// A handle to a term of one TermManager; the default handle refers to none.
class Term {
 public:
  Term() = default;
  explicit Term(std::uint32_t id) : id_(id) {}
  std::uint32_t id() const { return id_; }
  bool is_valid() const { return id_ != invalid; }
  friend bool operator==(Term a, Term b) { return a.id_ == b.id_; }
  friend bool operator!=(Term a, Term b) { return a.id_ != b.id_; }
  friend bool operator<(Term a, Term b) { return a.id_ < b.id_; }

 private:
  static constexpr std::uint32_t invalid = 0xffffffffu;
  std::uint32_t id_ = invalid;
};

// A term that cannot be built: wrong sort or number of arguments, a product of two variables, a division by zero.
// The text says what is wrong and names the operator; the reader adds the place.
class TermError : public Exception {};

// The arguments of a term, valid until the next term is made.
struct Args {
  const Term* first = nullptr;
  std::uint32_t count = 0;
  const Term* begin() const { return first; }
  const Term* end() const { return first + count; }
  std::uint32_t size() const { return count; }
  Term operator[](std::uint32_t i) const { return first[i]; }
};

// Owns all terms. Ids are dense and an argument's id is smaller than that of the term that holds it, so ids are a
// topological order. Terms live as long as their manager.
class TermManager {
 public:
  TermManager();
  TermManager(const TermManager&) = delete;
  TermManager& operator=(const TermManager&) = delete;

  Term mk_bool(bool value);
  Term mk_real(const QNumber& value);
  // A fresh symbol, also when the name was used before: scopes are the reader's business.
  Term mk_symbol(std::string_view name, Sort sort);

  // The application of `op` (any but truth, numeral and symbol). `subtract` of one argument is `negate`.
  // Throws TermError for wrong sorts or a wrong number of arguments, a product of two terms that are not numerals and
  // a division by zero or by a term that is not a numeral; nothing is made then.
  // Cost: linear in the number of arguments.
  Term mk(Op op, const Term* args, std::size_t count);
  Term mk(Op op, const std::vector<Term>& args) { return mk(op, args.data(), args.size()); }
  Term mk(Op op, Term a) { return mk(op, &a, 1); }
  Term mk(Op op, Term a, Term b);
  Term mk(Op op, Term a, Term b, Term c);

  Op op(Term t) const { return node(t).op; }
  Sort sort(Term t) const { return node(t).sort; }
  Args args(Term t) const;                // none for constants and symbols
  const QNumber& value(Term t) const;     // needs: a numeral; valid until the next term is made
  bool truth(Term t) const;               // needs: a Boolean constant
  const std::string& name(Term t) const;  // needs: a symbol

  // The value of a Bool term that follows from the constants below it alone, such as that of (or p true) or (< 1 2).
  std::optional<bool> known_truth(Term t) const;
  // Whether two or more argument positions of other terms hold `t`; a walk from a root meets the others only once.
  bool is_shared(Term t) const { return node(t).references > 1; }
  // Brings what mk() will look up about an argument nearer; changes nothing.
  void prefetch(Term t) const { __builtin_prefetch(&node(t)); }

  // Whether some numeral does not fit into machine words.
  bool has_big_numerals() const { return has_big_numerals_; }

  std::uint32_t num_terms() const { return static_cast<std::uint32_t>(nodes_.size()); }

 private:
  enum class Known : std::uint8_t { no, yes_false, yes_true };

  struct Node {
    Op op;
    Sort sort;
    Known known;              // what known_truth answers
    std::uint8_t references;  // argument positions that hold the term, counted up to 2
    std::uint32_t count;      // arguments
    Term args[2];             // one or two arguments themselves; else the first entry holds place()
    // Where more arguments begin in args_; numeral: in numerals_; symbol: in names_; truth: 0 or 1.
    std::uint32_t place() const { return args[0].id(); }
  };
  static_assert(sizeof(Node) == 16);

  struct Numeral {
    QNumber value;
    Term term;
  };

  // What one walk over arguments finds.
  struct Survey {
    std::size_t num_reals = 0;
    std::size_t num_numerals = 0;
    std::size_t num_known = 0;  // Boolean arguments with a known value
  };

  const Node& node(Term t) const {
    assert(t.id() < nodes_.size());
    return nodes_[t.id()];
  }
  Survey survey(const Term* args, std::size_t count) const;
  static void check_arity(Op op, std::size_t count);
  void check_sorts(Op op, const Term* args, std::size_t count, const Survey& found) const;
  [[noreturn]] void fail_sorts(Op op, const Term* args) const;
  void check_linear(Op op, const Term* args, std::size_t count, const Survey& found) const;
  Sort result_sort(Op op, const Term* args) const;

  QNumber fold(Op op, const Term* args, std::size_t count) const;
  Known known(Term t) const { return node(t).known; }
  static Known opposite(Known k);
  Known deduce(Op op, const Term* args, std::size_t count, const Survey& found) const;
  Known deduce_junction(const Term* args, std::size_t count, Known dominant) const;
  Known deduce_implies(const Term* args, std::size_t count) const;
  Known deduce_xor(const Term* args, std::size_t count) const;
  Known deduce_ite(Term condition, Term yes, Term no) const;
  Known deduce_chain(Op op, const Term* args, std::size_t count, const Survey& found) const;
  Known deduce_distinct(const Term* args, std::size_t count, const Survey& found) const;
  Known deduce_equal(Term a, Term b) const;
  Known deduce_comparison(Op op, Term a, Term b) const;

  Term append(const Node& node);
  Term mk_numeral(const QNumber& value);
  Term mk_application(Op op, const Term* args, std::size_t count, const Survey& found, std::uint64_t hash);
  bool holds_application(std::uint32_t id, Op op, const Term* args, std::size_t count) const;

  std::vector<Node> nodes_;  // by id
  std::vector<Term> args_;   // arguments of all applications of more than two, one after the other
  std::vector<Numeral> numerals_;
  std::vector<Term> integers_;     // the numerals 0, 1, 2, ..., as far as they were made
  std::deque<std::string> names_;  // of symbols
  HashIndex numeral_index_;        // into numerals_, by value: apart from the other index, so that it stays small
  HashIndex index_;                // ids of applications, by operator and arguments
  bool has_big_numerals_ = false;
};

}  // namespace tarku::smt
