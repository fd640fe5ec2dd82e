// The text form of certificates.
#include "tarku/proof/certificate.h"

#include <cassert>
#include <ostream>
#include <string>

namespace tarku::proof {

namespace {

bool is_letter(char c) {
  constexpr std::string_view marks = "~!@$%^&*_-+=<>.?/";
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || marks.find(c) != marks.npos;
}

bool is_digit(char c) {
  return '0' <= c && c <= '9';
}

// Whether it reads as a symbol without bars around it.
bool is_simple(std::string_view symbol) {
  if (symbol.empty() || is_digit(symbol.front())) return false;
  for (const char c : symbol) {
    if (!is_letter(c) && !is_digit(c)) return false;
  }
  return true;
}

}  // namespace

std::string_view to_str(Relation relation) {
  switch (relation) {
    case Relation::less:
      return "<";
    case Relation::less_equal:
      return "<=";
    case Relation::equal:
      return "=";
    case Relation::distinct:
      return "distinct";
    case Relation::greater_equal:
      return ">=";
    case Relation::greater:
      return ">";
  }
  assert(false);
  return "";
}

void CertificateWriter::begin(std::uint64_t check) {
  out_ << "tarku-certificate 1\ncheck " << check << '\n';
}

void CertificateWriter::write_symbol(std::string_view symbol) {
  if (is_simple(symbol)) {
    out_ << symbol;
  } else {
    out_ << '|' << symbol << '|';
  }
}

void CertificateWriter::write_clause(const Clause& clause) {
  for (const int literal : clause) out_ << ' ' << literal;
  out_ << " 0";
}

void CertificateWriter::real(int variable, std::string_view symbol) {
  out_ << "real " << variable << ' ';
  write_symbol(symbol);
  out_ << '\n';
}

void CertificateWriter::boolean(int variable, std::string_view symbol) {
  out_ << "bool " << variable << ' ';
  write_symbol(symbol);
  out_ << '\n';
}

void CertificateWriter::atom(int variable, const std::vector<Monomial>& terms, Relation relation,
                             const QNumber& value) {
  assert(relation != Relation::distinct);
  out_ << "atom " << variable;
  for (const Monomial& term : terms) out_ << ' ' << term.coeff.to_str() << '*' << term.variable;
  out_ << ' ' << to_str(relation) << ' ' << value.to_str() << '\n';
}

void CertificateWriter::input(ClauseId id, std::uint64_t source, const Clause& clause) {
  out_ << "input " << id << ' ' << source;
  write_clause(clause);
  out_ << '\n';
}

void CertificateWriter::farkas(ClauseId id, const Clause& clause, const std::vector<QNumber>& multipliers) {
  assert(clause.size() == multipliers.size());
  out_ << "farkas " << id;
  write_clause(clause);
  for (const QNumber& multiplier : multipliers) out_ << ' ' << multiplier.to_str();
  out_ << '\n';
}

void CertificateWriter::split(ClauseId id, const Clause& clause) {
  assert(clause.size() == 3);
  out_ << "split " << id;
  write_clause(clause);
  out_ << '\n';
}

void CertificateWriter::rup(ClauseId id, const Clause& clause, const std::vector<ClauseId>& antecedents) {
  out_ << "rup " << id;
  write_clause(clause);
  for (const ClauseId antecedent : antecedents) out_ << ' ' << antecedent;
  out_ << '\n';
}

void CertificateWriter::qed(ClauseId id) {
  out_ << "qed " << id << '\n';
}

}  // namespace tarku::proof
