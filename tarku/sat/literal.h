// The words of propositional logic: variables, literals, clauses.
#pragma once

#include <vector>

namespace tarku::sat {

using Variable = int;                 // from 1
using Literal = int;                  // a variable, or the negative of one: its negation
using Clause = std::vector<Literal>;  // a disjunction

}  // namespace tarku::sat
