// The table of options.
#include "tarku/smtlib/script_options.h"

namespace tarku::smtlib {

namespace {

constexpr ScriptOption flag(std::string_view keyword, bool ScriptOptions::*member) {
  return {keyword, member, nullptr, nullptr};
}
constexpr ScriptOption number(std::string_view keyword, std::uint64_t ScriptOptions::*member) {
  return {keyword, nullptr, member, nullptr};
}
constexpr ScriptOption text(std::string_view keyword, std::string ScriptOptions::*member) {
  return {keyword, nullptr, nullptr, member};
}

constexpr ScriptOption table[] = {
    flag(":print-success", &ScriptOptions::print_success),
    flag(":produce-models", &ScriptOptions::produce_models),
    flag(":produce-unsat-cores", &ScriptOptions::produce_unsat_cores),
    flag(":minimal-unsat-cores", &ScriptOptions::minimal_unsat_cores),
    flag(":produce-proofs", &ScriptOptions::produce_proofs),
    flag(":global-declarations", &ScriptOptions::global_declarations),
    number(":verbosity", &ScriptOptions::verbosity),
    number(":random-seed", &ScriptOptions::random_seed),
    text(":regular-output-channel", &ScriptOptions::regular_output_channel),
    text(":diagnostic-output-channel", &ScriptOptions::diagnostic_output_channel),
};

}  // namespace

const ScriptOption* find_script_option(std::string_view keyword) {
  for (const ScriptOption& option : table) {
    if (option.keyword == keyword) return &option;
  }
  return nullptr;
}

}  // namespace tarku::smtlib
