// Compiled and run while configuring: does this CaDiCaL link, which version is it, has it the interface we build on?
#include <cadical.hpp>
#include <cstdio>

#ifdef PROBE_WITH_SHIM
#include "isoc23_fscanf.cpp"
#endif

#ifdef PROBE_INTERFACE
#include <tracer.hpp>

struct Propagator : CaDiCaL::ExternalPropagator {
  void notify_assignment(const std::vector<int>&) override {}
  void notify_new_decision_level() override {}
  void notify_backtrack(size_t) override {}
  bool cb_check_found_model(const std::vector<int>&) override { return true; }
  bool cb_has_external_clause(bool&) override { return false; }
  int cb_add_external_clause_lit() override { return 0; }
};

struct Tracer : CaDiCaL::Tracer {
  void add_original_clause(uint64_t, bool, const std::vector<int>&, bool) override {}
  void add_derived_clause(uint64_t, bool, const std::vector<int>&, const std::vector<uint64_t>&) override {}
  void add_assumption_clause(uint64_t, const std::vector<int>&, const std::vector<uint64_t>&) override {}
  void conclude_unsat(CaDiCaL::ConclusionType, const std::vector<uint64_t>&) override {}
};

Propagator propagator;
Tracer tracer;
#endif

int main() {
  CaDiCaL::Solver solver;  // pulls in all of the library
  std::puts(CaDiCaL::Solver::version());
  return solver.status();
}
