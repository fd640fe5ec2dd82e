// The commands that check, and those that ask about the latest check and what it was about.
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarku/proof/certificate.h"
#include "tarku/smtlib/benchmark_parser.h"
#include "tarku/smtlib/interpreter.h"
#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/printer.h"
#include "tarku/smtlib/session.h"
#include "tarku/smtlib/term_printer.h"
#include "tarku/smtlib/verdict.h"
#include "tarku/smtlib/words.h"

namespace tarku::smtlib {

namespace {

// Records the text of tokens for as long as it lives.
class Recording {
 public:
  Recording(Lexer& lexer, std::string* text) : lexer_(lexer) { lexer_.record(text); }
  ~Recording() { lexer_.record(nullptr); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

 private:
  Lexer& lexer_;
};

}  // namespace

// ==== checks ====

void Interpreter::check_sat() {
  end_command("check-sat");
  check({});
}

void Interpreter::check_sat_assuming() {
  reader().expect_left("the assumptions of 'check-sat-assuming'");
  std::vector<smt::Term> assumptions;
  std::vector<std::string> texts;
  for (WrittenTerm& written : read_terms()) {
    if (session_->terms.sort(written.term) != smt::Sort::boolean) {
      throw InputError(written.at, "an assumption must be of sort Bool, but this is of sort Real");
    }
    assumptions.push_back(written.term);
    texts.push_back(std::move(written.text));
  }
  end_command("check-sat-assuming");
  check(assumptions);
  session_->assumptions = std::move(texts);
}

// A whole problem in one command.
void Interpreter::benchmark() {
  lexer_->set_dialect(Dialect::benchmark);
  BenchmarkParser parser(reader(), session_->symbols, session_->terms);
  const Benchmark benchmark = parser.read();
  session_->change();
  for (const smt::Term formula : benchmark.formulas) session_->assertions->add(formula, {});
  session_->expected_answer = parse_answer(benchmark.status);
  check({});
}

// Decides what is in force, with the assumptions, and answers.
void Interpreter::check(const std::vector<smt::Term>& assumptions) {
  const ScriptOptions& wanted = session_->options;
  smt::Engine& engine = *session_->engine;
  session_->change();
  const InterruptTest::Check running(interrupt_test_);
  engine.set_check_answers(options_.check_answers);
  engine.set_keep_proofs(options_.proofs != nullptr || wanted.produce_proofs || wanted.produce_unsat_cores ||
                         wanted.produce_unsat_assumptions);
  ++num_checks_;
  const smt::Answer result = engine.check(assumptions);
  session_->last_answer = result;
  if (result == smt::Answer::unsat && options_.proofs != nullptr) record_proof();
  answer() << to_str(result) << '\n';
  compare_with_status(result);
}

// A script tells the status of the check that follows.
void Interpreter::compare_with_status(smt::Answer result) {
  const auto expected = session_->expected_answer;
  session_->expected_answer.reset();
  if (!expected || *expected == result) return;
  if (*expected == smt::Answer::unknown || result == smt::Answer::unknown) return;
  remark(command_at_) << "warning: the answer is " << to_str(result) << ", but the script says :status "
                      << to_str(*expected) << std::endl;
}

// ==== what was asserted ====

void Interpreter::get_assertions() {
  end_command("get-assertions");
  require_option(&ScriptOptions::produce_assertions, ":produce-assertions", "get-assertions");
  TermPrinter printer(session_->terms);
  const char* separator = "";
  answer() << '(';
  for (const AssertionStack::Assertion& assertion : session_->assertions->assertions()) {
    printer.print(answer() << separator, assertion.formula);
    separator = "\n ";
  }
  answer() << ")\n";
}

// ==== models ====

void Interpreter::get_model() {
  end_command("get-model");
  require_model("get-model");
  std::ostringstream text;
  for (const SymbolTable::Declaration& declaration : session_->symbols.declarations()) {
    if (declaration.origin != SymbolTable::Origin::declared) continue;
    print_symbol(text << "  (define-fun ", session_->symbols.name(declaration.id));
    text << " () " << to_str(session_->terms.sort(declaration.term)) << ' ';
    print_value(text, declaration.term);
    text << ")\n";
  }
  answer() << "(\n" << text.str() << ")\n";
}

// Of all named terms that have truth values.
void Interpreter::get_assignment() {
  end_command("get-assignment");
  require_option(&ScriptOptions::produce_assignments, ":produce-assignments", "get-assignment");
  require_answer(smt::Answer::sat, "get-assignment");
  const char* separator = "";
  std::ostringstream text;
  for (const SymbolTable::Declaration& declaration : session_->symbols.declarations()) {
    if (declaration.origin != SymbolTable::Origin::named) continue;
    if (session_->terms.sort(declaration.term) != smt::Sort::boolean) continue;
    print_symbol(text << separator << '(', session_->symbols.name(declaration.id));
    text << ' ';
    print_value(text, declaration.term);
    text << ')';
    separator = " ";
  }
  answer() << '(' << text.str() << ")\n";
}

void Interpreter::get_value() {
  reader().expect_left("the terms of 'get-value'");
  const std::vector<WrittenTerm> items = read_terms();
  if (items.empty()) reader().fail_expected("a term");
  end_command("get-value");
  require_model("get-value");
  const char* separator = "";
  std::ostringstream text;
  for (const WrittenTerm& item : items) {
    text << separator << '(' << item.text << ' ';
    print_value(text, item.term);
    text << ')';
    separator = "\n ";
  }
  answer() << '(' << text.str() << ")\n";
}

// Reads terms up to the parenthesis that closes their list.
std::vector<Interpreter::WrittenTerm> Interpreter::read_terms() {
  std::vector<WrittenTerm> terms;
  std::string text;
  for (;;) {
    text.clear();
    const Recording recording(*lexer_, &text);
    if (reader().next().kind == TokenKind::right) return terms;
    const Position at = reader().token().at;
    const smt::Term term = session_->term_parser.parse();
    terms.push_back({term, text, at});
  }
}

void Interpreter::require_option(bool ScriptOptions::*flag, const char* keyword, const char* command) const {
  if (session_->options.*flag) return;
  throw InputError(command_at_, quoted(command) + " needs the option " + keyword);
}

void Interpreter::require_answer(smt::Answer wanted, const char* command) const {
  if (session_->last_answer == wanted) return;
  const std::string found = session_->last_answer ? std::string("the last one was ") + to_str(*session_->last_answer)
                                                  : std::string("nothing was checked since the assertions changed");
  throw InputError(command_at_, quoted(command) + " needs the answer " + to_str(wanted) + ", but " + found);
}

void Interpreter::require_model(const char* command) const {
  require_option(&ScriptOptions::produce_models, ":produce-models", command);
  require_answer(smt::Answer::sat, command);
}

// Finding a value may fail for lack of time: answers with several of them are composed before they are given.
void Interpreter::print_value(std::ostream& out, smt::Term term) {
  if (session_->terms.sort(term) == smt::Sort::real) {
    print_real(out, session_->engine->real_value(term), options_.real_format);
  } else {
    print_bool(out, session_->engine->bool_value(term));
  }
}

// ==== cores and proofs ====

// Of the two calls, the second one takes checks of its own, within the limits of one.
template <class Plain, class Minimal>
auto Interpreter::minimal_if_wanted(Plain plain, Minimal minimal) {
  smt::Engine& engine = *session_->engine;
  if (!session_->options.minimal_unsat_cores) return plain(engine);
  const InterruptTest::Check running(interrupt_test_);
  try {
    return minimal(engine);
  } catch (const smt::Interrupted& interruption) {
    remark(command_at_) << "warning: " << interruption.what() << "; the core is not minimal" << std::endl;
    return plain(engine);
  }
}

void Interpreter::get_unsat_core() {
  end_command("get-unsat-core");
  require_option(&ScriptOptions::produce_unsat_cores, ":produce-unsat-cores", "get-unsat-core");
  require_answer(smt::Answer::unsat, "get-unsat-core");
  const AssertionStack& assertions = *session_->assertions;
  const auto has_name = [&assertions](int index) {
    const AssertionStack::Assertion* const assertion = assertions.find(index);
    return assertion != nullptr && assertion->name.has_value();
  };
  const auto plain = [](smt::Engine& engine) { return engine.unsat_core(); };
  const auto minimal = [&has_name](smt::Engine& engine) { return engine.minimal_core(has_name); };
  const char* separator = "";
  const std::vector<int> core = minimal_if_wanted(plain, minimal);
  answer() << '(';
  for (const int index : core) {
    if (!has_name(index)) continue;
    print_symbol(answer() << separator, session_->symbols.name(*assertions.find(index)->name));
    separator = " ";
  }
  answer() << ")\n";
}

void Interpreter::get_unsat_assumptions() {
  end_command("get-unsat-assumptions");
  require_option(&ScriptOptions::produce_unsat_assumptions, ":produce-unsat-assumptions", "get-unsat-assumptions");
  require_answer(smt::Answer::unsat, "get-unsat-assumptions");
  const auto plain = [](smt::Engine& engine) { return engine.failed_assumptions(); };
  const auto minimal = [](smt::Engine& engine) { return engine.minimal_failed_assumptions(); };
  const char* separator = "";
  const std::vector<std::size_t> failed = minimal_if_wanted(plain, minimal);
  answer() << '(';
  for (const std::size_t position : failed) {
    answer() << separator << session_->assumptions[position];
    separator = " ";
  }
  answer() << ")\n";
}

// The certificate as one string, which keeps the answer an expression.
void Interpreter::get_proof() {
  end_command("get-proof");
  require_option(&ScriptOptions::produce_proofs, ":produce-proofs", "get-proof");
  require_answer(smt::Answer::unsat, "get-proof");
  std::ostringstream text;
  write_proof(text);
  print_string(answer(), text.str());
  answer() << '\n';
}

void Interpreter::write_proof(std::ostream& out) {
  proof::CertificateWriter writer(out);
  session_->engine->certify(num_checks_, writer);
}

// To the file of all certificates, where one that is not finished would be no good.
void Interpreter::record_proof() {
  std::ostringstream text;
  try {
    write_proof(text);
    *options_.proofs << text.str();
  } catch (const smt::Interrupted& interruption) {
    remark(command_at_) << "warning: " << interruption.what() << "; there is no certificate" << std::endl;
  }
}

}  // namespace tarku::smtlib
