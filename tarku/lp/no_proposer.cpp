// In the place of a proposer where the library is built without one.
#include "tarku/lp/proposer.h"

namespace tarku::lp {

std::unique_ptr<Proposer> make_proposer(const LinearProgram&) {
  return nullptr;
}

bool has_proposer() {
  return false;
}

}  // namespace tarku::lp
