// Recording of steps, and certificates from the last one backwards.
#include "tarku/smt/proof_log.h"

#include <algorithm>
#include <cassert>
#include <set>
#include <utility>

namespace tarku::smt {

ProofLog::Id ProofLog::add(Rule rule, std::uint64_t data, const Clause& clause) {
  steps_.push_back({rule, static_cast<std::uint32_t>(clause.size()), 0, data, words_.size()});
  words_.insert(words_.end(), clause.begin(), clause.end());
  return static_cast<Id>(steps_.size() - 1);
}

ProofLog::Id ProofLog::farkas(const Clause& clause, const std::vector<QNumber>& multipliers) {
  assert(clause.size() == multipliers.size());
  const Id id = add(Rule::farkas, multipliers_.size(), clause);
  multipliers_.insert(multipliers_.end(), multipliers.begin(), multipliers.end());
  return id;
}

ProofLog::Id ProofLog::rup(const Clause& clause, const std::vector<Id>& antecedents) {
  const Id id = add(Rule::rup, 0, clause);
  steps_.back().num_antecedents = static_cast<std::uint32_t>(antecedents.size());
  for (const Id antecedent : antecedents) words_.push_back(static_cast<std::int32_t>(antecedent));
  return id;
}

Clause ProofLog::clause(Id id) const {
  const Step& step = steps_[id];
  const auto first = words_.begin() + static_cast<std::ptrdiff_t>(step.first);
  return Clause(first, first + step.num_literals);
}

// Antecedents come before what rests on them.
std::vector<bool> ProofLog::needed_for(Id last) const {
  std::vector<bool> needed(std::size_t{last} + 1);
  needed[last] = true;
  for (std::size_t id = last + std::size_t{1}; id-- > 0;) {
    if (!needed[id]) continue;
    const Step& step = steps_[id];
    for (std::uint32_t i = 0; i < step.num_antecedents; ++i) {
      needed[static_cast<std::size_t>(words_[step.first + step.num_literals + i])] = true;
    }
  }
  return needed;
}

std::vector<std::uint64_t> ProofLog::sources(Id last) const {
  const std::vector<bool> needed = needed_for(last);
  std::vector<std::uint64_t> result;
  for (std::size_t id = 0; id <= last; ++id) {
    if (needed[id] && steps_[id].rule == Rule::input) result.push_back(steps_[id].data);
  }
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

void ProofLog::tell(std::uint64_t check, Id last, const std::function<bool(int)>& is_dropped, Vocabulary& vocabulary,
                    proof::CertificateSink& sink) const {
  const std::vector<bool> needed = needed_for(last);
  std::vector<proof::ClauseId> ids(needed.size());
  proof::ClauseId num_told = 0;
  vocabulary.begin();
  sink.begin(check);
  for (std::size_t id = 0; id <= last; ++id) {
    if (!needed[id]) continue;
    const Clause full = clause(static_cast<Id>(id));
    Clause kept;
    for (const int literal : full) {
      if (is_dropped(literal)) continue;
      kept.push_back(literal);
      vocabulary.declare(literal < 0 ? -literal : literal, sink);
    }
    assert(kept.size() == full.size() || steps_[id].rule == Rule::input || steps_[id].rule == Rule::rup);
    ids[id] = ++num_told;
    tell_step(steps_[id], kept, ids, num_told, sink);
  }
  sink.qed(num_told);
}

// Ascending. Antecedents come before what rests on them.
std::vector<ProofLog::Id> ProofLog::missing_for(Id last, const Told& told) const {
  std::vector<Id> missing;
  std::set<Id, std::greater<Id>> open{last};
  while (!open.empty()) {
    const Id id = *open.begin();
    open.erase(open.begin());
    missing.push_back(id);
    const Step& step = steps_[id];
    for (std::uint32_t i = 0; i < step.num_antecedents; ++i) {
      const Id antecedent = static_cast<Id>(words_[step.first + step.num_literals + i]);
      if (told.ids[antecedent] == 0) open.insert(antecedent);
    }
  }
  std::reverse(missing.begin(), missing.end());
  return missing;
}

std::vector<proof::ClauseId> ProofLog::tell_rest(Id last, const std::function<bool(int)>& is_dropped,
                                                 Vocabulary& vocabulary, proof::CertificateSink& sink,
                                                 Told* told) const {
  std::vector<Id> passing;
  told->ids.resize(steps_.size());
  for (const Id id : missing_for(last, *told)) {
    const Step& step = steps_[id];
    const Clause full = clause(id);
    Clause kept;
    for (const int literal : full) {
      if (is_dropped(literal)) continue;
      kept.push_back(literal);
      vocabulary.declare(literal < 0 ? -literal : literal, sink);
    }
    bool is_passing = kept.size() < full.size();
    for (std::uint32_t i = 0; i < step.num_antecedents && !is_passing; ++i) {
      const auto antecedent = static_cast<Id>(words_[step.first + step.num_literals + i]);
      is_passing = std::binary_search(passing.begin(), passing.end(), antecedent);
    }
    if (is_passing) passing.push_back(id);
    told->ids[id] = ++told->last;
    tell_step(step, kept, told->ids, told->last, sink);
  }
  sink.qed(told->ids[last]);
  std::vector<proof::ClauseId> ids;
  for (const Id id : passing) ids.push_back(std::exchange(told->ids[id], 0));
  return ids;
}

void ProofLog::tell_step(const Step& step, const Clause& clause, const std::vector<proof::ClauseId>& ids,
                         proof::ClauseId id, proof::CertificateSink& sink) const {
  switch (step.rule) {
    case Rule::input:
      return sink.input(id, step.data, clause);
    case Rule::gate:
      return sink.gate(id, static_cast<int>(step.data), clause);
    case Rule::branch:
      return sink.branch(id, static_cast<int>(step.data), clause);
    case Rule::split:
      return sink.split(id, clause);
    case Rule::farkas: {
      const auto first = multipliers_.begin() + static_cast<std::ptrdiff_t>(step.data);
      return sink.farkas(id, clause, std::vector<QNumber>(first, first + step.num_literals));
    }
    case Rule::rup:
      break;
  }
  std::vector<proof::ClauseId> antecedents;
  for (std::uint32_t i = 0; i < step.num_antecedents; ++i) {
    antecedents.push_back(ids[static_cast<std::size_t>(words_[step.first + step.num_literals + i])]);
  }
  sink.rup(id, clause, antecedents);
}

}  // namespace tarku::smt
