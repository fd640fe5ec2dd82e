// Checks a proof while it is told: every derived clause by unit propagation over exactly the antecedents it names.
#pragma once

#include <algorithm>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarku/sat/proof_listener.h"

namespace tarku::test {

class RupChecker : public sat::ProofListener {
 public:
  // Asked for each clause of the theory; false makes it an offence.
  std::function<bool(const sat::Clause&)> is_theory_clause = [](const sat::Clause&) { return false; };

  const std::string& offence() const { return offence_; }  // the first one, empty when there is none
  bool is_concluded() const { return concluded_; }
  void start_query() { concluded_ = false; }
  std::size_t num_derived() const { return num_derived_; }
  std::size_t num_theory() const { return num_theory_; }
  std::size_t num_removed() const { return num_removed_; }
  std::size_t num_kept() const { return clauses_.size(); }
  const std::vector<sat::Clause>& inputs() const { return inputs_; }

  // Whether the last conclusion says that these assumptions, or no assumptions at all, are contradictory.
  bool concludes(const std::vector<sat::Literal>& assumptions) const {
    if (!concluded_) return false;
    const std::set<sat::Literal> assumed(assumptions.begin(), assumptions.end());
    if (conclusion_.empty()) {
      return std::any_of(assumed.begin(), assumed.end(), [&](sat::Literal l) { return assumed.count(-l) != 0; });
    }
    return std::all_of(conclusion_.begin(), conclusion_.end(), [&](const sat::Clause& clause) {
      return std::all_of(clause.begin(), clause.end(), [&](sat::Literal l) { return assumed.count(-l) != 0; });
    });
  }

  void add_input(sat::ClauseId id, const sat::Clause& clause) override {
    inputs_.push_back(clause);
    add(id, clause);
  }

  void add_theory(sat::ClauseId id, const sat::Clause& clause) override {
    ++num_theory_;
    if (!is_theory_clause(clause)) offend(id, clause, "does not follow from the theory");
    add(id, clause);
  }

  void add_derived(sat::ClauseId id, const sat::Clause& clause, const std::vector<sat::ClauseId>& hints) override {
    ++num_derived_;
    const std::string wrong = refute(clause, hints);
    if (!wrong.empty()) offend(id, clause, wrong);
    add(id, clause);
  }

  void remove(sat::ClauseId id) override {
    ++num_removed_;
    if (clauses_.erase(id) == 0) offend(id, {}, "removed but not there");
  }

  void conclude(const std::vector<sat::ClauseId>& ids) override {
    concluded_ = true;
    conclusion_.clear();
    for (const sat::ClauseId id : ids) {
      const auto found = clauses_.find(id);
      if (found == clauses_.end()) {
        offend(id, {}, "concluded but not there");
      } else {
        conclusion_.push_back(found->second);
      }
    }
  }

 private:
  void offend(sat::ClauseId id, const sat::Clause& clause, const std::string& what) {
    if (!offence_.empty()) return;
    std::ostringstream text;
    text << "clause " << id << " (";
    for (const sat::Literal literal : clause) text << ' ' << literal;
    text << " ): " << what;
    offence_ = text.str();
  }

  void add(sat::ClauseId id, const sat::Clause& clause) {
    if (id <= last_id_) offend(id, clause, "id after " + std::to_string(last_id_));
    last_id_ = id;
    clauses_[id] = clause;
  }

  // What is wrong with the hints, empty when they show the clause.
  std::string refute(const sat::Clause& clause, const std::vector<sat::ClauseId>& hints) const {
    std::set<sat::Literal> known;  // true ones
    for (const sat::Literal literal : clause) known.insert(-literal);
    for (std::size_t i = 0; i < hints.size(); ++i) {
      const std::string name = "hint " + std::to_string(hints[i]);
      const auto found = clauses_.find(hints[i]);
      if (found == clauses_.end()) return name + " is not there";
      std::set<sat::Literal> open;
      for (const sat::Literal literal : found->second) {
        if (known.count(literal) != 0) return name + " is true";
        if (known.count(-literal) == 0) open.insert(literal);
      }
      if (open.size() > 1) return name + " is not unit";
      if (open.empty()) return i + 1 == hints.size() ? "" : name + " is false but not the last";
      known.insert(*open.begin());
    }
    return "no conflict";
  }

  std::unordered_map<sat::ClauseId, sat::Clause> clauses_;
  std::vector<sat::Clause> inputs_;
  std::vector<sat::Clause> conclusion_;
  bool concluded_ = false;
  sat::ClauseId last_id_ = 0;
  std::size_t num_derived_ = 0;
  std::size_t num_theory_ = 0;
  std::size_t num_removed_ = 0;
  std::string offence_;
};

}  // namespace tarku::test
