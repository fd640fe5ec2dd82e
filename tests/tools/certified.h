// Certificates of proof objects, judged by the checker that shares nothing with the solver.
#pragma once

#include <string>

#include "tarku/proof/proof.h"
#include "tests/tools/model.h"

namespace tarku::tester {

struct Certified {
  bool is_expressible = false;  // certificates speak of <, <=, =, >= and > only, and not of finer steps of delta
  std::string offence;          // empty when the certificate is accepted and rests on what is asserted alone
};

// `implied`: the constraint that the proof implies, 0 for the proof of a conflict.
Certified certify(const proof::Proof& proof, const Model& model, int implied);

}  // namespace tarku::tester
