// Everything that a solver remembers, as text: equal texts mean that nothing has changed, sizes of tables included.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/lasolver.h"

namespace tarku::test {

class StateWriter {
 public:
  explicit StateWriter(const la::Solver& solver) : s_(solver) {}

  std::string text() {
    write_flags();
    write_tableau();
    write_variables();
    write_constraints();
    write_stack();
    write_implications();
    write_explanations();
    write_caches();
    return out_.str();
  }

 private:
  template <class Range>
  void write_list(const char* name, const Range& range) {
    out_ << name << ":";
    for (const auto& item : range) out_ << " " << item;
    out_ << "\n";
  }

  // In the order of the keys: that of iteration is the table's own business.
  template <class Table, class Show>
  void write_table(const char* name, const Table& table, const Show& show) {
    std::map<int, std::string> sorted;
    for (const auto& [key, value] : table) sorted[key] = show(value);
    out_ << name << " (" << table.size() << " in " << table.bucket_count() << " buckets):";
    for (const auto& [key, value] : sorted) out_ << " " << key << "=" << value;
    out_ << "\n";
  }

  void write_flags() {
    out_ << "initialized " << s_.initialized_ << ", in_conflict " << s_.in_conflict_ << ", checked " << s_.checked_
         << ", integral " << s_.values_integral_ << ", resync " << s_.resync_needed_ << ", inconsistent "
         << s_.tableau_inconsistent_ << ", eliminate " << s_.eliminate_unconstrained_ << ", proofs "
         << s_.proofs_enabled_ << ", propagation " << s_.propagation_level_ << ", verbosity " << s_.verbosity_
         << ", pivots " << s_.num_pivots_ << ", limits " << s_.pivot_limit_ << " " << s_.pivot_limit_override_
         << ", pushed " << s_.num_pushed_ << ", test " << s_.termination_test_ << "\n";
  }

  void write_tableau() {
    const la::Tableau& tableau = s_.tableau_;
    out_ << "tableau of " << tableau.get_num_variables() << " variables, " << tableau.rows().num_present()
         << " rows in " << tableau.rows().size() << " places:\n"
         << tableau.to_str();
    write_list("present", tableau.get_all_variables());
  }

  void write_variables() {
    out_ << "values " << s_.cur_beta_.size() << ", saved " << s_.saved_beta_.size() << "\n";
    for (std::size_t v = 0; v < s_.cur_beta_.size() || v < s_.saved_beta_.size(); ++v) {
      const int var = static_cast<int>(v);
      out_ << "x" << v << " = " << s_.cur_beta_.get(var).to_str() << ", saved " << s_.saved_beta_.get(var).to_str()
           << "\n";
    }
    out_ << "bounds " << s_.var_bounds_.size() << "\n";
    for (const auto& [var, bounds] : s_.var_bounds_) out_ << "x" << var << " " << bounds.to_str() << "\n";
    write_list("changed", s_.changed_vars_);
    write_list("violated", s_.violated_basics_);
    write_list("suspects", s_.suspect_vars_);
    write_list("rows to propagate", s_.rows_to_propagate_);
  }

  void write_constraints() {
    std::vector<int> told(s_.equations_.begin(), s_.equations_.end());
    out_ << s_.equations_.bucket_count() << " buckets of ";
    write_list("equations", told);
    write_table("constraints", s_.constraints_, [](const la::RangeConstraint& rc) {
      return "x" + std::to_string(rc.var) + "," + rc.bound.to_str() + "," + std::to_string(rc.flags);
    });
    out_ << "told on " << s_.var_constraints_.num_present() << " of " << s_.var_constraints_.size() << " variables\n";
    for (const auto& [var, list] : s_.var_constraints_) write_list(("x" + std::to_string(var)).c_str(), list);
  }

  void write_stack() {
    out_ << "stack:";
    for (const auto& [c, var] : s_.constraint_stack_) out_ << " " << c << "," << var;
    out_ << "\n";
    write_list("disequalities", s_.diseqs_);
    out_ << "failed at " << s_.failed_height_ << ", ";
    write_list("its conflict", s_.failed_conflict_);
  }

  void write_implications() {
    out_ << s_.implied_reported_ << " handed out of " << s_.num_implied_ << " in " << s_.implied_.size() << ":";
    for (std::size_t i = 0; i < s_.num_implied_; ++i) {
      const auto& [c, info] = s_.implied_[i];
      out_ << " " << c << "@" << info.level << "(";
      for (int r : info.reason) out_ << r << ",";
      out_ << ")";
    }
    out_ << "\n";
  }

  void write_explanations() {
    write_list("conflict", s_.conflict_);
    out_ << "conflict proof " << (s_.conflict_proof_ != nullptr) << ", failed proof " << (s_.failed_proof_ != nullptr)
         << ", implication proofs " << s_.implication_proofs_.size() << "\n";
    write_table("hypotheses", s_.hyp_proofs_, [](const la::LaHyp* leaf) { return std::to_string(leaf->count()); });
  }

  void write_caches() {
    write_table("model", s_.model_values_, [](const QNumber& value) { return value.to_str(); });
    write_table("abstract", s_.abstract_values_, [](const la::DNumber& value) { return value.to_str(); });
    write_list("scratch", s_.work_vars_);
    write_list("model scratch", s_.model_work_vars_);
    write_list("reasons", s_.reason_vars_);
    out_ << "pivot scratch " << s_.pivot_scratch_.to_str() << "\n";
  }

  const la::Solver& s_;
  std::ostringstream out_;
};

inline std::string state_text(const la::Solver& solver) {
  return StateWriter(solver).text();
}

}  // namespace tarku::test
