// CLP behind our interface. The only file that knows it.
//
// The library is loaded when it is first needed: most problems are decided without it, and it brings a good deal of
// numerical software along that takes longer to load than a small problem takes to decide.
#include <Clp_C_Interface.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include "tarku/lp/proposer.h"

namespace tarku::lp {

namespace {

// CLP asserts that numbers are not much larger than this, and ends the program when they are.
constexpr double largest = 1e20;

// The functions of CLP that we call, by their own names.
struct ClpLibrary {
  decltype(&::Clp_newModel) newModel;
  decltype(&::Clp_deleteModel) deleteModel;
  decltype(&::Clp_loadProblem) loadProblem;
  decltype(&::Clp_columnLower) columnLower;
  decltype(&::Clp_columnUpper) columnUpper;
  decltype(&::Clp_rowLower) rowLower;
  decltype(&::Clp_rowUpper) rowUpper;
  decltype(&::Clp_primalColumnSolution) primalColumnSolution;
  decltype(&::Clp_primalRowSolution) primalRowSolution;
  decltype(&::Clp_setLogLevel) setLogLevel;
  decltype(&::Clp_setMaximumIterations) setMaximumIterations;
  decltype(&::Clp_setPrimalTolerance) setPrimalTolerance;
  decltype(&::Clp_scaling) scaling;
  decltype(&::Clp_dual) dual;
  decltype(&::Clp_primal) primal;
  decltype(&::Clp_status) status;
  decltype(&::Clp_getColumnStatus) getColumnStatus;
  decltype(&::Clp_getRowStatus) getRowStatus;
  decltype(&::Clp_setColumnStatus) setColumnStatus;
  decltype(&::Clp_setRowStatus) setRowStatus;
  decltype(&::Clp_infeasibilityRay) infeasibilityRay;
  decltype(&::Clp_freeRay) freeRay;
  decltype(&::Clp_numberIterations) numberIterations;
  decltype(&::Clp_setPerturbation) setPerturbation;

  // Null when it is not installed. Never unloaded.
  static const ClpLibrary* load() {
    static const ClpLibrary* const library = find();
    return library;
  }

 private:
  static const ClpLibrary* find() {
    void* const handle = dlopen(TARKU_CLP_SONAME, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return nullptr;
    static ClpLibrary library;
    bool complete = true;
    const auto bind = [&](auto* function, const char* name) {
      *function = reinterpret_cast<std::remove_pointer_t<decltype(function)>>(dlsym(handle, name));
      complete = complete && *function != nullptr;
    };
    bind(&library.newModel, "Clp_newModel");
    bind(&library.deleteModel, "Clp_deleteModel");
    bind(&library.loadProblem, "Clp_loadProblem");
    bind(&library.columnLower, "Clp_columnLower");
    bind(&library.columnUpper, "Clp_columnUpper");
    bind(&library.rowLower, "Clp_rowLower");
    bind(&library.rowUpper, "Clp_rowUpper");
    bind(&library.primalColumnSolution, "Clp_primalColumnSolution");
    bind(&library.primalRowSolution, "Clp_primalRowSolution");
    bind(&library.setLogLevel, "Clp_setLogLevel");
    bind(&library.setMaximumIterations, "Clp_setMaximumIterations");
    bind(&library.setPrimalTolerance, "Clp_setPrimalTolerance");
    bind(&library.scaling, "Clp_scaling");
    bind(&library.dual, "Clp_dual");
    bind(&library.primal, "Clp_primal");
    bind(&library.status, "Clp_status");
    bind(&library.getColumnStatus, "Clp_getColumnStatus");
    bind(&library.getRowStatus, "Clp_getRowStatus");
    bind(&library.setColumnStatus, "Clp_setColumnStatus");
    bind(&library.setRowStatus, "Clp_setRowStatus");
    bind(&library.infeasibilityRay, "Clp_infeasibilityRay");
    bind(&library.freeRay, "Clp_freeRay");
    bind(&library.numberIterations, "Clp_numberIterations");
    bind(&library.setPerturbation, "Clp_setPerturbation");
    return complete ? &library : nullptr;
  }
};

// How CLP numbers the places of a basis, its answers, and one of its ways to scale.
enum : int { nowhere = 0, basic = 1, at_upper = 2, at_lower = 3, fixed = 5 };
enum : int { optimal = 0, primal_infeasible = 1 };
constexpr int automatic_scaling = 3;
constexpr int always_perturb = 50;

Place place(int status) {
  switch (status) {
    case basic:
      return Place::basic;
    case at_upper:
      return Place::upper;
    case at_lower:
    case fixed:
      return Place::lower;
    default:
      return Place::free;
  }
}

class ClpProposer final : public Proposer {
 public:
  ClpProposer(const ClpLibrary& clp, const LinearProgram& program)
      : clp_(clp), program_(program), owner_(clp.newModel(), clp.deleteModel), model_(owner_.get()) {
    clp_.setLogLevel(model_, 0);
    clp_.setPrimalTolerance(model_, tolerance);
    load();
  }

  Proposal propose(Method method, int iterations, const TerminationTest* test) override {
    if (method != method_) {
      change(method);
    } else if (!is_perturbed_ && !is_zoomed_) {
      go_back();
    }
    return search(is_primal(), iterations, test);
  }

  Proposal confirm(int iterations, const TerminationTest* test) override { return search(true, iterations, test); }

  double value(int side) override {
    return values_.empty() ? 0 : values_[static_cast<std::size_t>(side)] / factor(side);
  }

  bool are_values_feasible() override {
    if (values_.empty()) return false;
    const double *column = values_.data(), *row = column + program_.num_columns();
    return are_within(column, program_.num_columns(), clp_.columnLower(model_), clp_.columnUpper(model_)) &&
           are_within(row, program_.num_rows(), clp_.rowLower(model_), clp_.rowUpper(model_));
  }

  void zoom(const std::vector<QNumber>& values, const QNumber& scale) override {
    is_zoomed_ = true;
    for (int s = 0; s < program_.num_sides(); ++s) {
      const QNumber& value = values[static_cast<std::size_t>(s)];
      const Side& side = program_.side(s);
      lower(s) = side.lower ? within((program_.inner_lower(s) - value) * scale, s, far, -infinity) : -infinity;
      upper(s) = side.upper ? within((program_.inner_upper(s) - value) * scale, s, far, infinity) : infinity;
    }
  }

  void unzoom() override {
    is_zoomed_ = false;
    for (int s = 0; s < program_.num_sides(); ++s) refresh(s);
  }

  void refresh(int s) override {
    const Side& side = program_.side(s);
    lower(s) = side.lower ? within(program_.inner_lower(s), s, largest, -infinity) : -infinity;
    upper(s) = side.upper ? within(program_.inner_upper(s), s, largest, infinity) : infinity;
  }

 private:
  static constexpr double infinity = std::numeric_limits<double>::max();
  static constexpr std::chrono::milliseconds poll_period{10};
  static constexpr double tolerance = 1e-9;
  static constexpr double far = 1e10;  // beyond it a bound is out of sight

  Proposal search(bool is_primal, int iterations, const TerminationTest* test) {
    clp_.setMaximumIterations(model_, iterations);
    settle();
    if (!run(is_primal, test)) return {};
    count_iterations();
    Proposal result;
    for (int s = 0; s < program_.num_sides(); ++s) result.basis.push_back(place(status(s)));
    const auto num_basic = std::count(result.basis.begin(), result.basis.end(), Place::basic);
    if (num_basic != program_.num_rows()) return {};
    const int answer = clp_.status(model_);
    if (answer == optimal) {
      result.claim = Claim::feasible;
      if (!is_zoomed_) keep_values();
    } else if (answer == primal_infeasible) {
      result.claim = Claim::infeasible;
      result.suspects = suspects(result.basis);
      result.ray = ray();
    }
    return result;
  }

  // A program without costs and with many columns is so degenerate that searches take long to get away from a vertex.
  void count_iterations() {
    constexpr int few = 20, many = 100;
    if (program_.num_columns() < program_.num_rows()) return;
    ++num_searches_;
    if (clp_.numberIterations(model_) > many) ++num_long_searches_;
    if (is_perturbed_ || num_searches_ < few || num_long_searches_ < num_searches_ / 2) return;
    is_perturbed_ = true;
    clp_.setPerturbation(model_, always_perturb);
  }

  // To the basis of the last feasible search: a closer place to begin than where an infeasible one has ended.
  void go_back() {
    for (int s = 0; s < static_cast<int>(statuses_.size()); ++s) set_status(s, statuses_[static_cast<std::size_t>(s)]);
  }

  // Bounds have come and gone since the sides got their places. CLP asserts that none is nowhere that has a bound.
  void settle() {
    for (int s = 0; s < program_.num_sides(); ++s) {
      const int old = status(s);
      const bool has_lower = lower(s) != -infinity, has_upper = upper(s) != infinity;
      if (old == basic || (old == at_upper && has_upper)) continue;
      set_status(s, has_lower ? at_lower : has_upper ? at_upper : nowhere);
    }
  }

  int status(int s) {
    const int i = s - program_.num_columns();
    return i < 0 ? clp_.getColumnStatus(model_, s) : clp_.getRowStatus(model_, i);
  }
  void set_status(int s, int status) {
    const int i = s - program_.num_columns();
    i < 0 ? clp_.setColumnStatus(model_, s, status) : clp_.setRowStatus(model_, i, status);
  }

  void keep_values() {
    statuses_.clear();
    for (int s = 0; s < program_.num_sides(); ++s) statuses_.push_back(status(s));
    const double *columns = clp_.primalColumnSolution(model_), *rows = clp_.primalRowSolution(model_);
    values_.assign(columns, columns + program_.num_columns());
    values_.insert(values_.end(), rows, rows + program_.num_rows());
  }

  static bool are_within(const double* values, int count, const double* lower, const double* upper) {
    for (int i = 0; i < count; ++i) {
      if (values[i] < lower[i] - tolerance || values[i] > upper[i] + tolerance) return false;
    }
    return true;
  }

  // The value of the side as CLP sees it; `none` when it is too far away.
  double within(const QNumber& value, int s, double limit, double none) const {
    const double result = value.to_double() * factor(s);
    return std::abs(result) <= limit ? result : none;
  }

  double& lower(int s) {
    const int first_row = program_.num_columns();
    return s < first_row ? clp_.columnLower(model_)[s] : clp_.rowLower(model_)[s - first_row];
  }
  double solution(int s) {
    const int first_row = program_.num_columns();
    return s < first_row ? clp_.primalColumnSolution(model_)[s] : clp_.primalRowSolution(model_)[s - first_row];
  }
  double& upper(int s) {
    const int first_row = program_.num_columns();
    return s < first_row ? clp_.columnUpper(model_)[s] : clp_.rowUpper(model_)[s - first_row];
  }

  // Rows are scaled by powers of two to coefficients of about 1: integers without a common factor may be huge.
  double factor(int s) const {
    return s < program_.num_columns() ? 1 : std::ldexp(1.0, -program_.exponent(s - program_.num_columns()));
  }

  void load() {
    const auto num_columns = static_cast<std::size_t>(program_.num_columns());
    std::vector<CoinBigIndex> starts(num_columns + 1);
    for (int i = 0; i < program_.num_rows(); ++i) {
      for (const Term& term : program_.terms(i)) ++starts[static_cast<std::size_t>(term.column) + 1];
    }
    for (std::size_t j = 0; j < num_columns; ++j) starts[j + 1] += starts[j];
    std::vector<CoinBigIndex> next(starts.begin(), starts.end() - 1);
    std::vector<int> indices(static_cast<std::size_t>(starts.back()));
    std::vector<double> values(indices.size());
    for (int i = 0; i < program_.num_rows(); ++i) {
      for (const Term& term : program_.terms(i)) {
        const auto at = static_cast<std::size_t>(next[static_cast<std::size_t>(term.column)]++);
        indices[at] = i;
        values[at] = term.coeff.to_double() * factor(program_.num_columns() + i);
      }
    }
    clp_.loadProblem(model_, program_.num_columns(), program_.num_rows(), starts.data(), indices.data(), values.data(),
                     nullptr, nullptr, nullptr, nullptr, nullptr);
    unzoom();
  }

  // CLP runs in a thread of its own, so that somebody is there to poll the test. It looks at the limit after each
  // iteration. False when there is no thread to be had, or when CLP has thrown: its model may be in any state then.
  bool run(bool is_primal, const TerminationTest* test) {
    if (has_thrown_) return false;
    std::mutex mutex;
    std::condition_variable ended;
    bool is_running = true;
    std::thread worker;
    try {
      worker = std::thread([&] {
        search_aside(is_primal);
        const std::lock_guard<std::mutex> lock(mutex);
        is_running = false;
        ended.notify_one();
      });
    } catch (const std::system_error&) {
      return false;
    }
    std::exception_ptr caught;
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended.wait_for(lock, poll_period, [&] { return !is_running; })) {
      if (test == nullptr || caught != nullptr) continue;
      try {
        (*test)();
      } catch (...) {
        caught = std::current_exception();
        clp_.setMaximumIterations(model_, 0);
      }
    }
    lock.unlock();
    worker.join();
    if (caught != nullptr) std::rethrow_exception(caught);
    return !has_thrown_;
  }

  void search_aside(bool is_primal) noexcept {
    try {
      is_primal ? clp_.primal(model_, 0) : clp_.dual(model_, 0);
    } catch (...) {
      has_thrown_ = true;
    }
  }

  // The basic sides that are furthest beyond a bound.
  std::vector<Suspect> suspects(const Basis& basis) {
    constexpr std::size_t few = 3;
    std::vector<std::pair<double, Suspect>> all;
    for (int s = 0; s < program_.num_sides(); ++s) {
      if (basis[static_cast<std::size_t>(s)] != Place::basic) continue;
      const double value = solution(s), below = lower(s) - value, above = value - upper(s);
      if (std::max(below, above) > tolerance) all.push_back({std::max(below, above), {s, above > below}});
    }
    const auto end = all.begin() + static_cast<std::ptrdiff_t>(std::min(all.size(), few));
    std::partial_sort(all.begin(), end, all.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<Suspect> result;
    for (auto each = all.begin(); each != end; ++each) result.push_back(each->second);
    return result;
  }

  std::vector<Multiplier> ray() {
    std::vector<Multiplier> result;
    double* const factors = clp_.infeasibilityRay(model_);
    if (factors == nullptr) return result;
    for (int i = 0; i < program_.num_rows(); ++i) {
      if (factors[i] != 0) result.push_back({i, factors[i]});
    }
    clp_.freeRay(model_, factors);
    return result;
  }

  bool is_primal() const { return method_ == Method::primal || method_ == Method::unscaled_primal; }

  // Begins anew, from the basis of all rows.
  void change(Method method) {
    method_ = method;
    const bool is_scaled = method == Method::dual || method == Method::primal;
    clp_.scaling(model_, is_scaled ? automatic_scaling : 0);
    for (int s = 0; s < program_.num_sides(); ++s) set_status(s, s < program_.num_columns() ? at_lower : basic);
  }

  const ClpLibrary& clp_;
  const LinearProgram& program_;
  std::unique_ptr<Clp_Simplex, decltype(&::Clp_deleteModel)> owner_;
  Clp_Simplex* model_;
  Method method_ = Method::dual;
  bool is_zoomed_ = false;
  bool has_thrown_ = false;
  std::vector<double> values_;  // by side, where the last feasible search has ended
  std::vector<int> statuses_;   // likewise, of the basis
  bool is_perturbed_ = false;
  int num_searches_ = 0, num_long_searches_ = 0;
};

bool has_coefficients_in_range(const LinearProgram& program) {
  for (int i = 0; i < program.num_rows(); ++i) {
    for (const Term& term : program.terms(i)) {
      if (!std::isfinite(term.coeff.to_double())) return false;
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<Proposer> make_proposer(const LinearProgram& program) {
  if (!has_coefficients_in_range(program)) return nullptr;
  const ClpLibrary* const library = ClpLibrary::load();
  return library == nullptr ? nullptr : std::make_unique<ClpProposer>(*library, program);
}

bool has_proposer() {
  return ClpLibrary::load() != nullptr;
}

}  // namespace tarku::lp
