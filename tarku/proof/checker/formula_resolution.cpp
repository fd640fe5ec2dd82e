// Resolving, from the leaves up: with an explicit stack, because sums, conditions and formulas nest in each other.
#include <cassert>
#include <utility>

#include "tarku/proof/checker/formula.h"

namespace tarku::checker {

namespace {

const Formula unknown = Formula::of_code(0xffffffffu);

}  // namespace

Formula FormulaTable::resolve(Formula f) {
  resolve_part({false, f.node()});
  return resolved(f);
}

// The result is multiplied out.
RealTerm FormulaTable::resolve(RealTerm t) {
  LinearForm form = reals_.multiply_out({{{t, 1}}, 0});
  std::vector<Part> open;
  push_unresolved_leaves(form, &open);
  for (const Part part : open) resolve_part(part);
  return reals_.combination(resolved(std::move(form)));
}

// A part stays on the stack while what it consists of is resolved.
void FormulaTable::resolve_part(Part root) {
  if (is_resolved(root)) return;
  std::vector<Part> open{root};
  while (!open.empty()) {
    const Part top = open.back();
    const std::size_t height = open.size();
    if (!is_resolved(top)) push_unresolved_parts(top, &open);
    if (open.size() > height) continue;
    open.pop_back();
    if (is_resolved(top)) continue;
    if (top.is_choice) {
      set_resolved(RealTerm(top.id), with_resolved_parts(RealTerm(top.id)));
    } else {
      const Formula f = Formula::of_code(2 * top.id);
      set_resolved(f, with_resolved_parts(f));
    }
  }
}

bool FormulaTable::is_resolved(Part part) const {
  if (part.is_choice) return part.id < resolved_choices_.size() && resolved_choices_[part.id].is_valid();
  return part.id < resolved_.size() && resolved_[part.id] != unknown;
}

// What is resolved is its own result.
void FormulaTable::set_resolved(Formula f, Formula result) {
  if (resolved_.size() < nodes_.size()) resolved_.resize(nodes_.size(), unknown);
  resolved_[f.node()] = result.negated_if(f.is_negated());
  resolved_[result.node()] = result.negated_if(result.is_negated());
}

void FormulaTable::set_resolved(RealTerm choice, RealTerm result) {
  if (resolved_choices_.size() < reals_.size()) resolved_choices_.resize(reals_.size());
  resolved_choices_[choice.id()] = result;
  if (reals_.is_choice(result)) resolved_choices_[result.id()] = result;
}

// ---- parts ----

void FormulaTable::push_unresolved(Part part, std::vector<Part>* open) const {
  if (!is_resolved(part)) open->push_back(part);
}

void FormulaTable::push_unresolved_leaves(const LinearForm& form, std::vector<Part>* open) const {
  for (const Addend& addend : form.addends) {
    if (reals_.is_choice(addend.term)) push_unresolved({true, addend.term.id()}, open);
  }
}

void FormulaTable::push_unresolved_parts(Part whole, std::vector<Part>* open) const {
  if (whole.is_choice) {
    const RealTerm choice(whole.id);
    push_unresolved({false, reals_.condition(choice).node()}, open);
    for (const bool is_yes : {true, false}) {
      push_unresolved_leaves(reals_.multiply_out({{{reals_.branch(choice, is_yes), 1}}, 0}), open);
    }
    return;
  }
  const Formula f = Formula::of_code(2 * whole.id);
  if (kind(f) == atom_node || kind(f) == comparison_node) return push_unresolved_leaves(form_of(f), open);
  if (kind(f) == truth || kind(f) == symbol_node) return;
  for (std::size_t i = 0; i < num_args(f); ++i) push_unresolved({false, arg(f, i).node()}, open);
}

// The form that an atom or a comparison compares with 0.
LinearForm FormulaTable::form_of(Formula f) const {
  const Words node = nodes_[f.node()];
  if (kind(f) == comparison_node) return reals_.difference_form(RealTerm(node[2]), RealTerm(node[3]));
  assert(kind(f) == atom_node);
  const NumberTable& numbers = reals_.numbers();
  const Words form = forms_[node[3]];
  LinearForm result;
  for (std::size_t i = 0; i < form.size(); i += 2) {
    result.addends.push_back({RealTerm(form[i]), numbers[form[i + 1]]});
  }
  result.constant = -numbers[node[2]];
  return result;
}

// ---- putting them together again ----

// Needs: leaves that are resolved. A choice that came to nothing leaves a sum in its place.
LinearForm FormulaTable::resolved(LinearForm form) const {
  for (Addend& addend : form.addends) {
    if (reals_.is_choice(addend.term)) addend.term = resolved_choices_[addend.term.id()];
  }
  return reals_.multiply_out(std::move(form));
}

RealTerm FormulaTable::with_resolved_parts(RealTerm choice) {
  const auto branch = [this, choice](bool is_yes) {
    return reals_.combination(resolved(reals_.multiply_out({{{reals_.branch(choice, is_yes), 1}}, 0})));
  };
  const Formula condition = resolved(reals_.condition(choice));
  const RealTerm yes = branch(true), no = branch(false);
  return reals_.choice(condition, yes, no);
}

// Needs: no negation.
Formula FormulaTable::with_resolved_parts(Formula f) {
  if (kind(f) == truth || kind(f) == symbol_node) return f;
  if (kind(f) == atom_node || kind(f) == comparison_node) {
    const auto relation = static_cast<Relation>(nodes_[f.node()][1]);
    return atom(resolved(form_of(f)), relation);
  }
  std::vector<Formula> args;
  bool is_changed = false;
  for (std::size_t i = 0; i < num_args(f); ++i) {
    args.push_back(resolved(arg(f, i)));
    is_changed = is_changed || args.back() != arg(f, i);
  }
  if (!is_changed) return f;
  if (kind(f) == conjunction_node) return conjunction(std::move(args));
  return kind(f) == equivalence_node ? equivalent(args[0], args[1]) : choice(args[0], args[1], args[2]);
}

}  // namespace tarku::checker
