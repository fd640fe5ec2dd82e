#include "tarku/smt/guided_arithmetic.h"

namespace tarku::smt {

using Kind = lp::Outcome::Kind;

bool GuidedArithmetic::check(bool is_complete) {
  const Kind kind = is_complete ? guide_.decide(test_) : guide_.look(test_);
  if (is_complete && kind == Kind::none) throw Lost();
  return kind != Kind::infeasible;
}

std::vector<int> GuidedArithmetic::conflict() {
  std::vector<int> result;
  for (const proof::Refutation::Summand& summand : guide_.conflict()) result.push_back(summand.constraint);
  return result;
}

}  // namespace tarku::smt
