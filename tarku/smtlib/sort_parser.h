// SortParser: reads sort expressions and expands defined sorts on the way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "tarku/smtlib/reader.h"
#include "tarku/smtlib/symbol_table.h"

namespace tarku::smtlib {

class SortParser {
 public:
  SortParser(Reader& reader, SymbolTable& symbols) : reader_(reader), symbols_(symbols) {}

  // Reads the sort that begins with the next token.
  smt::Sort parse();
  // The same for the body of a definition in which `parameters` stand for sorts; their names must differ.
  SortTerm parse_body(const std::vector<SymbolId>& parameters);

 private:
  struct Frame {  // an application whose arguments are being read
    SortBinding head;
    SymbolId name;
    Position at;
    std::size_t first_operand;
  };

  SortTerm read();
  SortTerm read_name();
  void open();
  SortTerm close();
  const SortBinding& find(SymbolId id) const;

  Reader& reader_;
  SymbolTable& symbols_;
  std::unordered_map<std::uint32_t, std::uint32_t> parameters_;  // index by symbol id
  std::vector<Frame> frames_;
  std::vector<SortTerm> operands_;
};

}  // namespace tarku::smtlib
