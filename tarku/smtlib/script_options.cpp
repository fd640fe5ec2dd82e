// The table of options.
#include "tarku/smtlib/script_options.h"

namespace tarku::smtlib {

namespace {

// When an option can be set.
enum Time : bool { always = false, at_the_beginning = true };

constexpr ScriptOption flag(std::string_view keyword, Time time, bool ScriptOptions::*member) {
  return {keyword, time, member, nullptr, nullptr};
}
constexpr ScriptOption number(std::string_view keyword, Time time, std::uint64_t ScriptOptions::*member) {
  return {keyword, time, nullptr, member, nullptr};
}
constexpr ScriptOption text(std::string_view keyword, Time time, std::string ScriptOptions::*member) {
  return {keyword, time, nullptr, nullptr, member};
}

constexpr ScriptOption table[] = {
    flag(":print-success", always, &ScriptOptions::print_success),
    flag(":produce-models", at_the_beginning, &ScriptOptions::produce_models),
    flag(":produce-assertions", at_the_beginning, &ScriptOptions::produce_assertions),
    flag(":interactive-mode", at_the_beginning, &ScriptOptions::produce_assertions),  // the older name
    flag(":produce-assignments", at_the_beginning, &ScriptOptions::produce_assignments),
    flag(":produce-unsat-assumptions", at_the_beginning, &ScriptOptions::produce_unsat_assumptions),
    flag(":produce-unsat-cores", at_the_beginning, &ScriptOptions::produce_unsat_cores),
    flag(":minimal-unsat-cores", always, &ScriptOptions::minimal_unsat_cores),
    flag(":produce-proofs", at_the_beginning, &ScriptOptions::produce_proofs),
    flag(":global-declarations", at_the_beginning, &ScriptOptions::global_declarations),
    number(":verbosity", always, &ScriptOptions::verbosity),
    number(":random-seed", at_the_beginning, &ScriptOptions::random_seed),
    number(":reproducible-resource-limit", always, &ScriptOptions::reproducible_resource_limit),
    text(":regular-output-channel", always, &ScriptOptions::regular_output_channel),
    text(":diagnostic-output-channel", always, &ScriptOptions::diagnostic_output_channel),
};

}  // namespace

const ScriptOption* find_script_option(std::string_view keyword) {
  for (const ScriptOption& option : table) {
    if (option.keyword == keyword) return &option;
  }
  return nullptr;
}

}  // namespace tarku::smtlib
