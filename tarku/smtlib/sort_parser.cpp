// Sort expressions, read with an explicit stack.
#include "tarku/smtlib/sort_parser.h"

#include <string>

#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

smt::Sort SortParser::parse() {
  if (!parameters_.empty()) parameters_.clear();
  return read().sort;
}

SortTerm SortParser::parse_body(const std::vector<SymbolId>& parameters) {
  parameters_.clear();
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    parameters_.emplace(static_cast<std::uint32_t>(parameters[i]), static_cast<std::uint32_t>(i));
  }
  return read();
}

SortTerm SortParser::read() {
  frames_.clear();
  operands_.clear();
  for (;;) {
    const TokenKind kind = reader_.next().kind;
    if (kind == TokenKind::left) {
      open();
      continue;
    }
    const SortTerm sort = kind == TokenKind::right ? close() : read_name();
    if (frames_.empty()) return sort;
    operands_.push_back(sort);
  }
}

SortTerm SortParser::read_name() {
  if (!reader_.is_symbol()) reader_.fail_expected("a sort");
  const SymbolId id = reader_.symbol();
  if (!parameters_.empty()) {
    const auto parameter = parameters_.find(static_cast<std::uint32_t>(id));
    if (parameter != parameters_.end()) return {true, parameter->second, smt::Sort::boolean};
  }
  const SortBinding& binding = find(id);
  if (binding.arity != 0) {
    reader_.fail("sort " + quoted(symbols_.name(id)) + " takes " + counted(binding.arity, "argument"));
  }
  return binding.body;
}

void SortParser::open() {
  const Position at = reader_.token().at;
  const SymbolId id = reader_.expect_symbol("the name of a sort");
  frames_.push_back({find(id), id, at, operands_.size()});
}

SortTerm SortParser::close() {
  if (frames_.empty()) reader_.fail_expected("a sort");
  const Frame& frame = frames_.back();
  const std::size_t count = operands_.size() - frame.first_operand;
  if (count != frame.head.arity || count == 0) {
    throw InputError(frame.at, "sort " + quoted(symbols_.name(frame.name)) + " takes " +
                                   counted(frame.head.arity, "argument") + ", but is given " + std::to_string(count));
  }
  const SortTerm& body = frame.head.body;
  const SortTerm result = body.is_parameter ? operands_[frame.first_operand + body.parameter] : body;
  operands_.resize(frame.first_operand);
  frames_.pop_back();
  return result;
}

const SortBinding& SortParser::find(SymbolId id) const {
  const SortBinding& binding = symbols_.lookup_sort(id);
  if (!binding.is_bound) {
    reader_.fail("unknown sort " + quoted(symbols_.name(id)) + "; the sorts of this logic are Bool and Real");
  }
  return binding;
}

}  // namespace tarku::smtlib
