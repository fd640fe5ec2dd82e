// From the words of the maker to those of the checker, which share nothing but numbers.
#include "tarku/smt/checking_sink.h"

#include <cassert>

namespace tarku::smt {

namespace {

checker::Relation translate(proof::Relation relation) {
  switch (relation) {
    case proof::Relation::less:
      return checker::Relation::less;
    case proof::Relation::less_equal:
      return checker::Relation::less_equal;
    case proof::Relation::equal:
      return checker::Relation::equal;
    case proof::Relation::greater_equal:
      return checker::Relation::greater_equal;
    case proof::Relation::greater:
      return checker::Relation::greater;
    case proof::Relation::distinct:
      break;
  }
  assert(false && "atoms are never disequalities");
  return checker::Relation::equal;
}

std::vector<checker::Monomial> translate(const std::vector<proof::Monomial>& terms) {
  std::vector<checker::Monomial> monomials;
  monomials.reserve(terms.size());
  for (const proof::Monomial& term : terms) monomials.push_back({term.coeff, term.variable});
  return monomials;
}

}  // namespace

void CheckingSink::atom(int variable, const std::vector<proof::Monomial>& terms, proof::Relation relation,
                        const QNumber& value) {
  checker_.define_atom(variable, translate(terms), translate(relation), value);
}

void CheckingSink::conditional(int variable, int condition, const proof::Sum& yes, const proof::Sum& no) {
  checker_.define_conditional(variable, condition, {translate(yes.terms), yes.constant},
                              {translate(no.terms), no.constant});
}

}  // namespace tarku::smt
