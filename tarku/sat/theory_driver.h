// TheoryDriver: what stands between the callbacks of a SAT solver and a Theory.
//
// It keeps the promises that theory.h makes, whatever the order in which the SAT solver tells things: notifications
// only change a trail; right before a question the theory is told the difference between that trail and what it was
// told before. It keeps the SAT solver safe from the theory, too: exceptions are caught, answers are checked, and after
// the first exception every question gets an answer that is true and lets the search end.
#pragma once

#include <cstddef>

#include "tarku/sat/rescue.h"
#include "tarku/sat/solver.h"
#include "tarku/sat/theory.h"
#include "tarku/sat/trail.h"

namespace tarku::sat {

class TheoryDriver {
 public:
  // Changes and reads `trail`, catches by means of `rescue`, counts in `statistics`.
  TheoryDriver(Theory& theory, Trail& trail, Rescue& rescue, Statistics& statistics)
      : theory_(theory), trail_(trail), rescue_(rescue), statistics_(statistics) {}

  // Makes room for one more observed variable.
  void reserve();

  // ---- notifications ----

  void on_level() noexcept { trail_.open_level(); }
  bool is_observed(Literal literal) const noexcept { return trail_.is_observed(literal < 0 ? -literal : literal); }
  void on_assign(Literal literal) noexcept { trail_.push(literal); }
  void on_backtrack(std::size_t level) noexcept;

  // ---- questions ----

  Literal propagate() noexcept;
  Literal decide() noexcept;
  bool next_clause(bool& forgettable) noexcept;  // true: it is in clause()
  bool check_model() noexcept;
  void explain(Literal literal) noexcept;  // the explanation is in clause() then
  const Clause& clause() const { return *given_; }
  bool is_explaining() const { return explaining_; }  // the theory is being asked to

  // Takes the theory to level 0. Throws what the theory throws.
  void unwind();

 private:
  template <class Question>
  bool ask(Question&& question) noexcept;
  void catch_up();
  void require_observed(Literal literal, const char* call) const;
  bool tidy(const char* call);
  void check_reason(Literal literal, std::size_t end);
  void blame_everything(Literal literal, std::size_t end) noexcept;

  Theory& theory_;
  Trail& trail_;
  Rescue& rescue_;
  Statistics& statistics_;

  // What the theory knows: the part of the trail it was told, as it was then. Where the trail was cut since, the theory
  // must go back to told_levels_ first, and keeps its first told_literals_ literals.
  std::size_t told_levels_ = 0;
  std::size_t told_literals_ = 0;
  std::size_t open_levels_ = 0;  // of the theory: more than told_levels_ when a backtrack is due

  Clause clause_;                   // by the theory
  Clause everything_;               // by blame_everything; has room for the whole trail
  const Clause* given_ = &clause_;  // one of the two
  bool explaining_ = false;
  bool refused_ = false;                 // check_model has said no, next_clause has to say why
  std::size_t num_observed_before_ = 0;  // variables then
};

}  // namespace tarku::sat
