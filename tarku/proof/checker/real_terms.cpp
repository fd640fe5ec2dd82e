// Sums: bringing them into normal form, and multiplying them out.
#include "tarku/proof/checker/real_terms.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

// Sums with more addends or longer numbers than this stay addends themselves.
constexpr std::size_t short_sum = 16, short_number = 256;

// Numerals that are multiplied with each other may have so many bits together: definitions that square each other
// make numbers that no memory holds. No less than what the solver's reader lets through.
constexpr std::size_t most_bits = std::size_t{1} << 23;

void multiply(const Number& factor, Number* product) {
  if (bit_size(*product) + bit_size(factor) > most_bits) throw Refused("the numbers in a product are too large");
  *product *= factor;
}

bool before(const Addend& a, const Addend& b) {
  return a.term < b.term;
}

}  // namespace

void LinearForm::normalize() {
  std::sort(addends.begin(), addends.end(), before);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < addends.size();) {
    Addend merged = std::move(addends[i]);
    for (++i; i < addends.size() && addends[i].term == merged.term; ++i) merged.factor += addends[i].factor;
    if (sign(merged.factor) != 0) addends[kept++] = std::move(merged);
  }
  addends.resize(kept);
}

// ---- nodes ----

RealTerm RealTable::numeral(const Number& value) {
  return RealTerm(nodes_.intern({sum_node, numbers_.intern(value)}));
}

RealTerm RealTable::symbol() {
  return RealTerm(nodes_.intern({leaf_symbol, num_symbols_++}));
}

RealTerm RealTable::choice(Formula condition, RealTerm yes, RealTerm no) {
  if (condition.is_truth()) return condition.is_true() ? yes : no;
  if (yes == no) return yes;
  if (condition.is_negated()) return choice(!condition, no, yes);
  return RealTerm(nodes_.intern({leaf_choice, condition.code(), yes.id(), no.id()}));
}

bool RealTable::is_sum(RealTerm t) const {
  return nodes_[t.id()][0] == sum_node;
}

bool RealTable::is_multiplied_out(RealTerm t) const {
  if (!is_sum(t)) return true;
  const Words node = nodes_[t.id()];
  for (std::size_t i = 2; i < node.size(); i += 2) {
    if (is_sum(RealTerm(node[i + 1]))) return false;
  }
  return true;
}

bool RealTable::is_choice(RealTerm t) const {
  return nodes_[t.id()][0] == leaf_choice;
}

Formula RealTable::condition(RealTerm t) const {
  assert(is_choice(t));
  return Formula::of_code(nodes_[t.id()][1]);
}

RealTerm RealTable::branch(RealTerm t, bool is_yes) const {
  assert(is_choice(t));
  return RealTerm(nodes_[t.id()][is_yes ? 2 : 3]);
}

bool RealTable::is_numeral(RealTerm t) const {
  return is_sum(t) && nodes_[t.id()].size() == 2;
}

const Number& RealTable::value(RealTerm t) const {
  assert(is_numeral(t));
  return numbers_[nodes_[t.id()][1]];
}

bool RealTable::is_short(RealTerm t) const {
  if (!is_sum(t)) return false;
  const Words node = nodes_[t.id()];
  if (node.size() == 2) return true;  // a numeral
  if ((node.size() - 2) / 2 > short_sum || bit_size(numbers_[node[1]]) > short_number) return false;
  for (std::size_t i = 2; i < node.size(); i += 2) {
    if (bit_size(numbers_[node[i]]) > short_number) return false;
  }
  return true;
}

RealTerm RealTable::combination(const LinearForm& form) {
  LinearForm flat;
  flat.constant = form.constant;
  for (const Addend& addend : form.addends) {
    if (is_short(addend.term)) {
      add(addend.term, addend.factor, &flat);
    } else {
      flat.addends.push_back(addend);
    }
  }
  flat.normalize();
  const bool is_one_term = flat.addends.size() == 1 && sign(flat.constant) == 0 && flat.addends[0].factor == 1;
  if (is_one_term) return flat.addends[0].term;
  std::vector<std::uint32_t> words{sum_node, numbers_.intern(flat.constant)};
  for (const Addend& addend : flat.addends) {
    words.push_back(numbers_.intern(addend.factor));
    words.push_back(addend.term.id());
  }
  return RealTerm(nodes_.intern(words));
}

// *form += factor * t, of which the addends are taken. Needs: a sum.
void RealTable::add(RealTerm t, const Number& factor, LinearForm* form) const {
  const Words node = nodes_[t.id()];
  add_product(&form->constant, factor, numbers_[node[1]]);
  for (std::size_t i = 2; i < node.size(); i += 2) {
    form->addends.push_back({RealTerm(node[i + 1]), Number(factor * numbers_[node[i]])});
  }
}

// ---- arithmetic ----

RealTerm RealTable::sum(const std::vector<RealTerm>& args) {
  LinearForm form;
  for (const RealTerm t : args) form.addends.push_back({t, 1});
  return combination(form);
}

RealTerm RealTable::difference(const std::vector<RealTerm>& args) {
  LinearForm form;
  for (const RealTerm t : args) form.addends.push_back({t, -1});
  if (args.size() > 1) form.addends[0].factor = 1;
  return combination(form);
}

RealTerm RealTable::product(const std::vector<RealTerm>& args) {
  Number factor = 1;
  RealTerm open;
  for (const RealTerm t : args) {
    if (is_numeral(t)) {
      multiply(value(t), &factor);
    } else if (open.is_valid()) {
      throw Refused("'*' of two non-constant terms is not linear");
    } else {
      open = t;
    }
  }
  LinearForm form;
  if (open.is_valid()) {
    form.addends.push_back({open, factor});
  } else {
    form.constant = factor;
  }
  return combination(form);
}

RealTerm RealTable::quotient(const std::vector<RealTerm>& args) {
  Number divisor = 1;
  for (std::size_t i = 1; i < args.size(); ++i) {
    if (!is_numeral(args[i])) throw Refused("'/' by a non-constant term is not linear");
    if (sign(value(args[i])) == 0) throw Refused("division by zero");
    multiply(value(args[i]), &divisor);
  }
  if (is_numeral(args[0])) {
    Number factor = 1 / divisor;
    multiply(value(args[0]), &factor);
    return numeral(factor);
  }
  LinearForm form;
  form.addends.push_back({args[0], Number(1 / divisor)});
  return combination(form);
}

// ---- multiplying out ----

// Takes the terms by descending id from a heap. An addend has a smaller id than its sum, so when a term's turn comes
// all that it is multiplied with has come together, and each is looked into once.
LinearForm RealTable::multiply_out(LinearForm open) const {
  LinearForm form;
  std::vector<Addend>& heap = open.addends;
  std::make_heap(heap.begin(), heap.end(), before);
  const auto take = [&heap] {
    std::pop_heap(heap.begin(), heap.end(), before);
    Addend top = std::move(heap.back());
    heap.pop_back();
    return top;
  };
  while (!heap.empty()) {
    Addend top = take();
    while (!heap.empty() && heap.front().term == top.term) top.factor += take().factor;
    if (sign(top.factor) == 0) continue;
    if (!is_sum(top.term)) {
      form.addends.push_back(std::move(top));
      continue;
    }
    std::size_t pushed = heap.size();
    add(top.term, top.factor, &open);
    while (pushed < heap.size()) {
      ++pushed;
      std::push_heap(heap.begin(), heap.begin() + static_cast<std::ptrdiff_t>(pushed), before);
    }
  }
  std::reverse(form.addends.begin(), form.addends.end());
  form.constant = open.constant;
  return form;
}

LinearForm RealTable::difference_form(RealTerm a, RealTerm b) const {
  return multiply_out({{{a, 1}, {b, -1}}, 0});
}

}  // namespace tarku::checker
