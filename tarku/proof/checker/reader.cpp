// Lines, words, and one reading function for each kind of step.
#include "tarku/proof/checker/reader.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "tarku/proof/checker/characters.h"
#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

constexpr std::string_view header = "tarku-certificate";
constexpr std::string_view version = "1";

// A word of the text in a message: short, and without anything unprintable.
std::string shown(std::string_view word) {
  constexpr std::size_t most = 40;
  std::string text(word.substr(0, most));
  for (char& c : text) {
    if (c < 0x20 || c > 0x7e) c = '?';
  }
  return text + (word.size() > most ? "..." : "");
}

std::string quoted(std::string_view word) {
  return "'" + shown(word) + "'";
}

bool is_separator(char c) {
  return c == ' ' || c == '\t';
}

// The value of decimal digits, if that is what the word is and they fit.
std::optional<std::uint64_t> to_count(std::string_view word) {
  if (word.empty()) return {};
  std::uint64_t value = 0;
  for (const char c : word) {
    if (!is_digit(c) || __builtin_mul_overflow(value, 10u, &value)) return {};
    if (__builtin_add_overflow(value, static_cast<unsigned>(c - '0'), &value)) return {};
  }
  return value;
}

std::optional<Relation> to_relation(std::string_view word) {
  if (word == "<") return Relation::less;
  if (word == "<=") return Relation::less_equal;
  if (word == "=") return Relation::equal;
  if (word == ">=") return Relation::greater_equal;
  if (word == ">") return Relation::greater;
  return {};
}

bool is_number(std::string_view word) {
  Number value;
  return parse_fraction(word, &value);
}

Number to_number(std::string_view word) {
  Number value;
  if (!parse_fraction(word, &value)) throw Refused(quoted(word) + " is no number");
  return value;
}

}  // namespace

Reader::Reader(std::istream& in, std::string name, Assertions* assertions)
    : in_(in), name_(std::move(name)), assertions_(assertions) {}

bool Reader::next(Certified* result) {
  try {
    if (!read_line()) {
      if (!has_certificate_) throw Refused("there is no certificate");
      return false;
    }
    check_header();
    Checker checker(assertions_);
    while (!checker.is_finished()) {
      if (!read_line()) throw Refused("the certificate has no 'qed'");
      check_step(&checker);
    }
    has_certificate_ = true;
    *result = {checker.check(),        checker.num_inputs(),       checker.num_gate_clauses(),
               checker.num_branches(), checker.num_combinations(), checker.num_splits(),
               checker.num_derived()};
    return true;
  } catch (const Refused& refused) {
    const std::string line = std::to_string(std::max<std::size_t>(number_, 1));
    throw Refused(name_ + ':' + line + ": " + label_ + ": " + refused.what());
  }
}

// ==== lines ====

// Gives false at the end of the text.
bool Reader::read_raw_line() {
  if (!std::getline(in_, line_)) {
    if (in_.bad()) throw Unreadable(name_ + ": cannot be read");
    return false;
  }
  is_line_ended_ = !in_.eof();
  ++number_;
  at_ = 0;
  end_ = line_.size() - (!line_.empty() && line_.back() == '\r' ? 1 : 0);
  return true;
}

// Moves on to the next line that holds a step.
bool Reader::read_line() {
  do {
    if (!read_raw_line()) {
      label_ = "end of text";
      return false;
    }
    set_label();
    require_line_end();
  } while (!has_word() || line_[at_] == ';');
  return true;
}

void Reader::require_line_end() const {
  if (!is_line_ended_) throw Refused("the line is not ended");
}

// The kind of step and its number.
void Reader::set_label() {
  label_ = has_word() ? shown(next_word("")) : "empty line";
  if (has_word()) label_ += ' ' + shown(next_word(""));
  at_ = 0;
}

// ==== words ====

bool Reader::has_word() {
  while (at_ < end_ && is_separator(line_[at_])) ++at_;
  return at_ < end_;
}

std::string_view Reader::next_word(const char* what) {
  if (!has_word()) throw Refused(std::string(what) + " is missing");
  const std::size_t first = at_;
  while (at_ < end_ && !is_separator(line_[at_])) ++at_;
  return std::string_view(line_).substr(first, at_ - first);
}

void Reader::end_step() {
  if (has_word()) throw Refused(quoted(next_word("")) + " is not expected here");
}

std::uint64_t Reader::read_count(const char* what) {
  const std::string_view word = next_word(what);
  const std::optional<std::uint64_t> value = to_count(word);
  if (!value) throw Refused(quoted(word) + " is not " + what);
  return *value;
}

int Reader::to_variable(std::string_view word) const {
  const std::optional<std::uint64_t> value = to_count(word);
  if (!value || *value == 0 || *value > max_variable) throw Refused(quoted(word) + " is not a variable");
  return static_cast<int>(*value);
}

Literal Reader::to_literal(std::string_view word) const {
  const bool is_negated = !word.empty() && word.front() == '-';
  const std::optional<std::uint64_t> value = to_count(is_negated ? word.substr(1) : word);
  if (!value || *value == 0 || *value > max_variable) throw Refused(quoted(word) + " is not a literal");
  return is_negated ? -static_cast<Literal>(*value) : static_cast<Literal>(*value);
}

// otherwise: what else the word might have been, for the message.
Monomial Reader::to_monomial(std::string_view word, const char* otherwise) const {
  const std::size_t times = word.find('*');
  if (times == std::string_view::npos) throw Refused(quoted(word) + " is neither a term nor " + otherwise);
  return {to_number(word.substr(0, times)), to_variable(word.substr(times + 1))};
}

std::string Reader::read_symbol() {
  if (has_word() && line_[at_] == '|') return read_quoted_symbol();
  const std::string_view word = next_word("a symbol");
  if (is_digit(word.front()) || !std::all_of(word.begin(), word.end(), is_symbol_character)) {
    throw Refused(quoted(word) + " is not a symbol");
  }
  return std::string(word);
}

// The text between the bars, which may extend over several lines.
std::string Reader::read_quoted_symbol() {
  std::string symbol;
  std::size_t first = at_ + 1;
  std::size_t bar = line_.find('|', first);
  while (bar == std::string::npos) {
    symbol.append(line_, first, std::string::npos) += '\n';
    if (!read_raw_line()) throw Refused("the symbol has no closing '|'");
    require_line_end();
    first = 0;
    bar = line_.find('|');
  }
  symbol.append(line_, first, bar - first);
  at_ = bar + 1;
  if (!std::all_of(symbol.begin(), symbol.end(), is_quotable) || symbol.find('\\') != std::string::npos) {
    throw Refused("a character that no symbol may hold");
  }
  return symbol;
}

void Reader::read_literals() {
  literals_.clear();
  for (std::string_view word; (word = next_word("the final 0 of the literals")) != "0";) {
    literals_.push_back(to_literal(word));
  }
}

void Reader::read_ids() {
  ids_.clear();
  while (has_word()) ids_.push_back(read_id());
}

// ==== steps ====

void Reader::check_header() {
  if (next_word("") != header) throw Refused("a certificate begins with the line '" + std::string(header) + " 1'");
  const std::string_view word = next_word("the version");
  if (word != version) throw Refused("version " + quoted(word) + " of the format is not known");
  end_step();
}

void Reader::check_step(Checker* checker) {
  struct Known {
    std::string_view name;
    void (Reader::*read)(Checker*);
  };
  constexpr Known steps[] = {
      {"rup", &Reader::read_rup},       {"farkas", &Reader::read_farkas}, {"gate", &Reader::read_gate},
      {"input", &Reader::read_input},   {"branch", &Reader::read_branch}, {"split", &Reader::read_split},
      {"delete", &Reader::read_delete}, {"atom", &Reader::read_atom},     {"and", &Reader::read_and},
      {"iff", &Reader::read_iff},       {"ite", &Reader::read_ite},       {"real-ite", &Reader::read_real_ite},
      {"real", &Reader::read_real},     {"bool", &Reader::read_bool},     {"check", &Reader::read_check},
      {"qed", &Reader::read_qed},
  };
  const std::string_view step = next_word("");
  for (const Known& known : steps) {
    if (known.name == step) return (this->*known.read)(checker);
  }
  throw Refused("there is no such step");
}

void Reader::read_check(Checker* checker) {
  const std::uint64_t check = read_count("the number of a check");
  end_step();
  checker->begin(check);
}

void Reader::read_qed(Checker* checker) {
  const ClauseId id = read_id();
  end_step();
  checker->finish(id);
}

// ---- declarations ----

void Reader::read_real(Checker* checker) {
  const int variable = read_variable();
  const std::string symbol = read_symbol();
  end_step();
  checker->declare_real(variable, symbol);
}

void Reader::read_bool(Checker* checker) {
  const int variable = read_variable();
  const std::string symbol = read_symbol();
  end_step();
  checker->declare_bool(variable, symbol);
}

void Reader::read_atom(Checker* checker) {
  const int variable = read_variable();
  std::vector<Monomial> terms;
  std::string_view word = next_word("a relation");
  for (; !to_relation(word); word = next_word("a relation")) terms.push_back(to_monomial(word, "a relation"));
  const Relation relation = *to_relation(word);
  const Number constant = to_number(next_word("a number"));
  end_step();
  checker->define_atom(variable, terms, relation, constant);
}

void Reader::read_and(Checker* checker) {
  const int variable = read_variable();
  read_literals();
  end_step();
  checker->define_conjunction(variable, literals_);
}

void Reader::read_iff(Checker* checker) {
  const int variable = read_variable();
  const Literal a = read_literal(), b = read_literal();
  end_step();
  checker->define_equivalence(variable, a, b);
}

void Reader::read_ite(Checker* checker) {
  const int variable = read_variable();
  const Literal condition = read_literal(), yes = read_literal(), no = read_literal();
  end_step();
  checker->define_choice(variable, condition, yes, no);
}

void Reader::read_real_ite(Checker* checker) {
  const int variable = read_variable();
  const Literal condition = read_literal();
  const Sum yes = read_sum(), no = read_sum();
  end_step();
  checker->define_conditional(variable, condition, yes, no);
}

// A colon, terms and a constant.
Sum Reader::read_sum() {
  const std::string_view colon = next_word("':'");
  if (colon != ":") throw Refused(quoted(colon) + " is not ':'");
  Sum sum;
  std::string_view word = next_word("a number");
  for (; !is_number(word); word = next_word("a number")) sum.terms.push_back(to_monomial(word, "a number"));
  sum.constant = to_number(word);
  return sum;
}

// ---- clauses ----

void Reader::read_input(Checker* checker) {
  const ClauseId id = read_id();
  const Source source = read_count("the number of an assertion");
  read_literals();
  end_step();
  checker->add_input(id, source, literals_);
}

void Reader::read_gate(Checker* checker) {
  const ClauseId id = read_id();
  const int variable = read_variable();
  read_literals();
  end_step();
  checker->add_gate(id, variable, literals_);
}

void Reader::read_branch(Checker* checker) {
  const ClauseId id = read_id();
  const int variable = read_variable();
  read_literals();
  end_step();
  checker->add_branch(id, variable, literals_);
}

void Reader::read_farkas(Checker* checker) {
  const ClauseId id = read_id();
  read_literals();
  std::vector<Number> multipliers;
  while (has_word()) multipliers.push_back(to_number(next_word("")));
  checker->add_farkas(id, literals_, multipliers);
}

void Reader::read_split(Checker* checker) {
  const ClauseId id = read_id();
  read_literals();
  end_step();
  checker->add_split(id, literals_);
}

void Reader::read_rup(Checker* checker) {
  const ClauseId id = read_id();
  read_literals();
  read_ids();
  checker->add_rup(id, literals_, ids_);
}

void Reader::read_delete(Checker* checker) {
  read_ids();
  checker->remove(ids_);
}

}  // namespace tarku::checker
