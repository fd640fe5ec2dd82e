// Makes up random operations that are legal and likely to be interesting where they stand.
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "tests/tools/model.h"
#include "tests/tools/trace.h"

namespace tarku::tester {

// Which parts of the solver are driven besides equations, bounds, the stack and checks.
struct Features {
  bool diseq = false;
  bool propagation = false;
  bool model = false;  // models, and a derived solver with hooks
};

// A small fast generator whose sequence is the same everywhere (S. Vigna's splitmix64).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t next();
  int below(int limit) { return static_cast<int>(next() % static_cast<std::uint64_t>(limit)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool chance(int percent) { return below(100) < percent; }
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[static_cast<std::size_t>(below(static_cast<int>(from.size())))];
  }

 private:
  std::uint64_t state_;
};

// The operations of one sequence. Everything follows from the seed and from the model's answers.
class Generator {
 public:
  Generator(std::uint64_t seed, const Features& features);

  const Config& config() const { return config_; }
  int length() const { return length_; }
  // `sat`: the last check was whole and answered true, nothing happened since.
  Op next(const Model& model, bool sat);

 private:
  static constexpr int kNoIndex = -1;  // names nothing, so no operation on it is legal

  struct Weighted {
    OpKind kind;
    int weight;
  };

  void choose_config();
  void choose_names();
  void plan_setup();
  OpKind choose_kind(const Model& model, bool sat);
  Op make(OpKind kind, const Model& model);
  Op make_equation(const Model& model, int c);
  void make_dependent(const Model& model, Op* op);
  Op make_tell(const Model& model, int c);
  int pick_told(const Model& model);
  int pick_bounded_var(const Model& model);
  void start_burst(OpKind kind);
  Op make_check(const Model& model);
  Op make_model_request();
  Form random_form(int most_terms);
  Rational coefficient_value();
  Rational bound_real(int var, BoundKind kind, int world);
  Rational huge();
  Rational& hidden(int var, int world);
  void settle_hidden(const Op& op);
  int world_of(int index) const { return index / 2 % worlds_; }
  int pick_var() { return random_.pick(vars_); }

  Random random_;
  Features features_;
  Config config_;
  std::vector<int> vars_;
  std::vector<int> bound_indices_;
  std::vector<int> equation_indices_;
  std::vector<int> setup_;  // indices to tell before anything else, the next one last
  // By variable and world: points at which most equations hold, around which bounds are drawn. Each bound belongs to a
  // world; asserting one world after the other keeps the values moving.
  std::map<std::pair<int, int>, Rational> hidden_;
  int worlds_ = 1;
  int world_ = 0;
  bool deep_ = false;  // many bounded definitions over few variables: work for the search
  int length_ = 0;
  int stray_percent_ = 0;
  int huge_percent_ = 0;
  int defined_percent_ = 0;  // of the bounds that are on defined variables
  int strict_percent_ = 0;
  int constant_percent_ = 0;
  OpKind burst_ = OpKind::kPush;  // what is done burst_left_ times in a row
  int burst_left_ = 0;
  OpKind last_ = OpKind::kPop;
};

}  // namespace tarku::tester
