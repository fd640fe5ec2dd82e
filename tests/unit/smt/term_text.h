// Terms from short texts, for tests: `(<= (+ x (* 2 y)) 7/2)`. Names that begin with p, q or r are Boolean symbols, all
// other names are Real ones; a name means the same symbol throughout.
#pragma once

#include <cctype>
#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/smt/term.h"

namespace tarku::smt::test {

class TermText {
 public:
  explicit TermText(TermManager& terms) : terms_(terms) {
    for (int i = static_cast<int>(Op::not_op); i <= static_cast<int>(Op::divide); ++i) {
      const Op op = static_cast<Op>(i);
      if (op != Op::negate) ops_[std::string(to_str(op))] = op;
    }
  }

  Term operator()(std::string_view text) {
    text_ = text;
    at_ = 0;
    const Term result = read();
    skip_blanks();
    if (at_ != text_.size()) throw std::invalid_argument("text after the term: " + std::string(text_));
    return result;
  }

  Term symbol(const std::string& name) {
    const auto found = symbols_.find(name);
    if (found != symbols_.end()) return found->second;
    const Sort sort = name[0] >= 'p' && name[0] <= 'r' ? Sort::boolean : Sort::real;
    return symbols_[name] = terms_.mk_symbol(name, sort);
  }

 private:
  void skip_blanks() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_])) != 0) ++at_;
  }

  std::string word() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && std::string_view(" \n()").find(text_[at_]) == std::string_view::npos) ++at_;
    return std::string(text_.substr(begin, at_ - begin));
  }

  Term read() {
    skip_blanks();
    if (at_ >= text_.size()) throw std::invalid_argument("the term ends early: " + std::string(text_));
    if (text_[at_] != '(') return constant(word());
    ++at_;
    const Op op = ops_.at(word());
    std::vector<Term> args;
    for (skip_blanks(); text_.at(at_) != ')'; skip_blanks()) args.push_back(read());
    ++at_;
    return terms_.mk(op, args);
  }

  Term constant(const std::string& name) {
    if (name == "true" || name == "false") return terms_.mk_bool(name == "true");
    QNumber value;
    return QNumber::parse(name, &value) ? terms_.mk_real(value) : symbol(name);
  }

  TermManager& terms_;
  std::map<std::string, Op> ops_;
  std::map<std::string, Term> symbols_;
  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace tarku::smt::test
