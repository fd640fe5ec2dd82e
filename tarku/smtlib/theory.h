// The names that the logic itself defines: sorts, constants and operators of linear real arithmetic.
#pragma once

#include <string_view>

#include "tarku/smt/term.h"
#include "tarku/smtlib/symbol_table.h"

namespace tarku::smtlib {

// Gives `symbols` the theory's names. The Boolean constants become terms of `terms`.
void bind_theory_names(SymbolTable* symbols, smt::TermManager* terms);

// Whether scripts of `logic` can be read.
bool is_supported_logic(std::string_view logic);

}  // namespace tarku::smtlib
