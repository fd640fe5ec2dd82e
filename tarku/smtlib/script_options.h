// The options that a script can set and ask for, as one table.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarku::smtlib {

// Their values, with the defaults. Two defaults differ from the standard's: success is not printed, and models are
// always there, because both cost nothing.
struct ScriptOptions {
  bool print_success = false;
  bool produce_models = true;
  bool produce_assertions = false;
  bool produce_assignments = false;
  bool produce_unsat_assumptions = false;
  bool produce_unsat_cores = false;
  bool minimal_unsat_cores = false;
  bool produce_proofs = false;
  bool global_declarations = false;
  std::uint64_t verbosity = 0;
  std::uint64_t random_seed = 0;
  std::uint64_t reproducible_resource_limit = 0;  // steps of each check, see smt::Engine::work; 0: no limit
  std::string regular_output_channel = "stdout";
  std::string diagnostic_output_channel = "stderr";
};

// One row of the table: exactly one of the three members is set.
struct ScriptOption {
  std::string_view keyword;
  bool is_for_beginning;  // cannot be set any more once the session has begun
  bool ScriptOptions::*flag;
  std::uint64_t ScriptOptions::*number;
  std::string ScriptOptions::*text;
};

// Null when the option is not known.
const ScriptOption* find_script_option(std::string_view keyword);

}  // namespace tarku::smtlib
