// Right-looking elimination over rows, with the columns' patterns beside them.
#include "tarku/lp/modular_lu.h"

#include <algorithm>
#include <limits>

namespace tarku::lp {

std::uint64_t Residue::inverse(std::uint64_t a) {
  std::uint64_t result = 1;
  for (std::uint64_t exponent = modulus - 2; exponent != 0; exponent >>= 1) {  // Fermat
    if ((exponent & 1) != 0) result = multiply(result, a);
    a = multiply(a, a);
  }
  return result;
}

class ModularLu::Elimination {
 public:
  explicit Elimination(std::vector<Row> rows)
      : rows_(std::move(rows)),
        columns_(rows_.size()),
        counts_(rows_.size()),
        position_(rows_.size(), -1),
        is_done_(rows_.size(), false),
        queues_(rows_.size() + 1) {
    for (std::size_t r = 0; r < rows_.size(); ++r) {
      for (const Entry& e : rows_[r]) add_to_column(e.index, static_cast<int>(r));
      enqueue(static_cast<int>(r));
    }
  }

  // False when no pivot is left though rows are.
  bool next(Pivot* pivot) {
    const int row = pick_row();
    if (row < 0) return false;
    Row& entries = rows_[static_cast<std::size_t>(row)];
    const auto chosen = std::min_element(entries.begin(), entries.end(), [this](const Entry& a, const Entry& b) {
      return count(a.index) < count(b.index);
    });
    pivot->row = row;
    pivot->column = chosen->index;
    pivot->inverse = Residue::inverse(chosen->value);
    entries.erase(chosen);
    eliminate(pivot);
    return true;
  }

 private:
  std::vector<int>& column(int index) { return columns_[static_cast<std::size_t>(index)]; }
  std::size_t& count(int index) { return counts_[static_cast<std::size_t>(index)]; }

  void add_to_column(int index, int row) {
    column(index).push_back(row);
    ++count(index);
  }

  // Rows wait in queues by their length; entries that are out of date are passed over.
  void enqueue(int row) {
    const std::size_t length = rows_[static_cast<std::size_t>(row)].size();
    queues_[length].push_back(row);
    shortest_ = std::min(shortest_, length);
  }

  // Of the shortest rows, a few are compared by the cheapest column that they have.
  int pick_row() {
    for (; shortest_ < queues_.size(); ++shortest_) {
      std::vector<int>& queue = queues_[shortest_];
      std::size_t best_cost = std::numeric_limits<std::size_t>::max();
      int best = -1;
      for (std::size_t seen = 0, i = queue.size(); i-- > 0 && seen < 4;) {
        const auto row = static_cast<std::size_t>(queue[i]);
        if (is_done_[row] || rows_[row].size() != shortest_) {
          queue[i] = queue.back();
          queue.pop_back();
          continue;
        }
        ++seen;
        if (shortest_ == 0) return -1;  // an empty row
        for (const Entry& e : rows_[row]) {
          if (count(e.index) >= best_cost) continue;
          best_cost = count(e.index);
          best = static_cast<int>(row);
        }
      }
      if (best >= 0) return best;
    }
    return -1;
  }

  void eliminate(Pivot* pivot) {
    const auto pivot_row = static_cast<std::size_t>(pivot->row);
    is_done_[pivot_row] = true;
    pivot->upper = std::move(rows_[pivot_row]);
    for (const Entry& e : pivot->upper) --count(e.index);
    for (const int row : column(pivot->column)) {
      if (is_done_[static_cast<std::size_t>(row)]) continue;
      const std::uint64_t value = take(&rows_[static_cast<std::size_t>(row)], pivot->column);
      if (value == 0) continue;
      const std::uint64_t factor = Residue::multiply(value, pivot->inverse);
      pivot->lower.push_back({row, factor});
      subtract(pivot->upper, factor, row);
      enqueue(row);
    }
    column(pivot->column).clear();
  }

  // row -= factor * upper
  void subtract(const Row& upper, std::uint64_t factor, int row) {
    if (upper.empty()) return;
    Row& target = rows_[static_cast<std::size_t>(row)];
    for (std::size_t i = 0; i < target.size(); ++i) {
      position_[static_cast<std::size_t>(target[i].index)] = static_cast<int>(i);
    }
    const std::uint64_t negated = Residue::negate(factor);
    const std::size_t old_size = target.size();
    for (const Entry& e : upper) {
      const std::uint64_t change = Residue::multiply(e.value, negated);
      const int at = position_[static_cast<std::size_t>(e.index)];
      if (at < 0) {
        target.push_back({e.index, change});
        add_to_column(e.index, row);
      } else {
        std::uint64_t& value = target[static_cast<std::size_t>(at)].value;
        value = Residue::add(value, change);
      }
    }
    for (std::size_t i = 0; i < old_size; ++i) position_[static_cast<std::size_t>(target[i].index)] = -1;
    for (std::size_t i = 0; i < target.size();) {
      if (target[i].value != 0) {
        ++i;
        continue;
      }
      --count(target[i].index);
      target[i] = target.back();
      target.pop_back();
    }
  }

  // 0 when there is no such entry.
  static std::uint64_t take(Row* row, int index) {
    const auto found = std::find_if(row->begin(), row->end(), [index](const Entry& e) { return e.index == index; });
    if (found == row->end()) return 0;
    const std::uint64_t value = found->value;
    *found = row->back();
    row->pop_back();
    return value;
  }

  std::vector<Row> rows_;                  // what is left of them
  std::vector<std::vector<int>> columns_;  // the rows that have an entry there, and some that had
  std::vector<std::size_t> counts_;        // by column: the rows that are left and have an entry there
  std::vector<int> position_;              // scratch: of a column in a row, else -1
  std::vector<bool> is_done_;              // rows
  std::vector<std::vector<int>> queues_;   // of rows, by length
  std::size_t shortest_ = 0;               // no shorter row waits
};

bool ModularLu::factor(std::vector<Row> rows, const TerminationTest* test) {
  pivots_.clear();
  const std::size_t size = rows.size();
  Elimination elimination(std::move(rows));
  while (pivots_.size() < size) {
    if (test != nullptr) (*test)();
    Pivot pivot;
    if (!elimination.next(&pivot)) return false;
    pivots_.push_back(std::move(pivot));
  }
  return true;
}

void ModularLu::solve(std::vector<std::uint64_t>* v) const {
  std::vector<std::uint64_t>& b = *v;
  for (const Pivot& p : pivots_) {
    const std::uint64_t value = b[static_cast<std::size_t>(p.row)];
    if (value == 0) continue;
    for (const Entry& e : p.lower) {
      std::uint64_t& other = b[static_cast<std::size_t>(e.index)];
      other = Residue::add(other, Residue::negate(Residue::multiply(e.value, value)));
    }
  }
  std::vector<std::uint64_t> x(b.size());
  for (auto p = pivots_.rbegin(); p != pivots_.rend(); ++p) {
    std::uint64_t sum = b[static_cast<std::size_t>(p->row)];
    for (const Entry& e : p->upper) {
      sum = Residue::add(sum, Residue::negate(Residue::multiply(e.value, x[static_cast<std::size_t>(e.index)])));
    }
    x[static_cast<std::size_t>(p->column)] = Residue::multiply(sum, p->inverse);
  }
  b = std::move(x);
}

void ModularLu::solve_transposed(std::vector<std::uint64_t>* v) const {
  std::vector<std::uint64_t>& c = *v;
  std::vector<std::uint64_t> y(c.size());
  for (const Pivot& p : pivots_) {
    const std::uint64_t value = Residue::multiply(c[static_cast<std::size_t>(p.column)], p.inverse);
    y[static_cast<std::size_t>(p.row)] = value;
    if (value == 0) continue;
    for (const Entry& e : p.upper) {
      std::uint64_t& other = c[static_cast<std::size_t>(e.index)];
      other = Residue::add(other, Residue::negate(Residue::multiply(e.value, value)));
    }
  }
  for (auto p = pivots_.rbegin(); p != pivots_.rend(); ++p) {
    std::uint64_t& sum = y[static_cast<std::size_t>(p->row)];
    for (const Entry& e : p->lower) {
      sum = Residue::add(sum, Residue::negate(Residue::multiply(e.value, y[static_cast<std::size_t>(e.index)])));
    }
  }
  c = std::move(y);
}

std::size_t ModularLu::num_entries() const {
  std::size_t result = 0;
  for (const Pivot& p : pivots_) result += 1 + p.upper.size() + p.lower.size();
  return result;
}

}  // namespace tarku::lp
