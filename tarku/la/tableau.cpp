// Row operations of the simplex tableau: telling, pivoting, setting variables aside and bringing them back.
#include "tarku/la/tableau.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <sstream>
#include <utility>

#include "tarku/exception.h"

namespace tarku::la {

namespace {

using Term = Equation::VarCoeff;
using Terms = std::vector<Term>;

constexpr std::size_t no_hole = static_cast<std::size_t>(-1);

std::size_t find_term(const Terms& terms, int var) {
  const auto it = std::lower_bound(terms.begin(), terms.end(), var, [](const Term& t, int v) { return t.var < v; });
  return static_cast<std::size_t>(it - terms.begin());
}

// Moves a term into a slot whose coefficient is a moved-from or fresh zero, so that small numbers stay small.
void move_term(Term* to, Term* from) {
  to->var = from->var;
  to->coeff.swap(from->coeff);
}

// A big number whose value has become small again is replaced by a fresh small one: operations on big numbers never
// give a small result by themselves, and one overflow would otherwise slow its row down for good.
void keep_small(QNumber* value) {
  if (!value->is_small() && value->fits_small()) {
    QNumber smallest = value->compact();
    value->swap(smallest);
  }
}

// Removes the terms with zero coefficients from `first` on, telling `vanished` of each.
template <class Vanished>
void drop_zeros(Terms* terms, std::size_t first, const Vanished& vanished) {
  std::size_t kept = first;
  for (std::size_t i = first; i < terms->size(); ++i) {
    Term& term = (*terms)[i];
    if (term.coeff.is_zero()) {
      vanished(term.var);
    } else {
      if (kept != i) {
        move_term(&(*terms)[kept], &term);
      }
      ++kept;
    }
  }
  terms->resize(kept);
}

// Adds factor * source to *target, in place, both ascending. `hole` is the place of a term of *target whose coefficient
// was already set to zero and that is to go, or no_hole.
// Calls `appeared(var)` for each variable that joins the target and `vanished(var)` for each that leaves it.
// Cost: linear in both lengths. This is the solver's hottest loop: one forward pass adds where both sides have a term
// and counts the rest; only then, and only behind the first new term, are terms moved.
template <class Appeared, class Vanished>
void add_multiple(Terms* target, const QNumber& factor, const Terms& source, std::size_t hole, const Appeared& appeared,
                  const Vanished& vanished) {
  Terms& terms = *target;
  const std::size_t old_size = terms.size();
  std::size_t first_zero = hole;
  std::size_t joining = 0;
  std::size_t at = 0;
  for (const Term& add : source) {
    while (at < old_size && terms[at].var < add.var) {
      ++at;
    }
    if (at < old_size && terms[at].var == add.var) {
      QNumber& coeff = terms[at].coeff;
      coeff.add_mul(factor, add.coeff);
      keep_small(&coeff);
      if (coeff.is_zero()) {
        first_zero = std::min(first_zero, at);
      }
      ++at;
    } else {
      ++joining;
    }
  }
  if (joining != 0) {
    terms.resize(old_size + joining);
    std::size_t write = terms.size();
    std::size_t read = old_size;
    for (std::size_t from = source.size(); joining != 0;) {
      const Term& add = source[from - 1];
      if (read != 0 && terms[read - 1].var >= add.var) {
        from -= terms[read - 1].var == add.var ? 1 : 0;
        move_term(&terms[--write], &terms[--read]);
      } else {
        Term& fresh = terms[--write];
        fresh.var = add.var;
        fresh.coeff = factor;
        fresh.coeff *= add.coeff;
        keep_small(&fresh.coeff);
        appeared(add.var);
        --from;
        --joining;
      }
    }
  }
  if (first_zero != no_hole) {
    drop_zeros(target, first_zero, vanished);
  }
}

constexpr auto ignore = [](int) {};

// The cost of a product with `factor`, that of small numbers being one: about the measured ratios.
std::uint64_t work_of(const QNumber& factor) {
  if (factor.is_small()) return 1;
  return 8 + factor.bit_size() / 32;
}

// Solves "sum of terms = 0" for the variable of the term at `place`: its coefficient goes, the others become its
// definition.
void solve_for(Terms* terms, std::size_t place) {
  const QNumber a = (*terms)[place].coeff;
  terms->erase(terms->begin() + static_cast<std::ptrdiff_t>(place));
  if (a.is_minus_one()) return;
  const QNumber scale = a.inverse().neg();
  for (Term& term : *terms) {
    term.coeff *= scale;
    keep_small(&term.coeff);
  }
}

// Replaces `var` in *terms by its definition. Gives false when it does not occur.
bool replace_in(Terms* terms, int var, const Terms& definition) {
  const std::size_t place = find_term(*terms, var);
  if (place == terms->size() || (*terms)[place].var != var) return false;
  QNumber factor;
  factor.swap((*terms)[place].coeff);
  add_multiple(terms, factor, definition, place, ignore, ignore);
  return true;
}

// The equation as a sum of terms that equals minus its constant, the defining variable among them.
Terms told_terms(const Equation& eq) {
  Terms terms = eq.terms();
  const int defined = eq.defining_var();
  const std::size_t place = defined < 0 ? 0 : find_term(terms, defined);
  if (defined >= 0 && (place == terms.size() || terms[place].var != defined)) {
    terms.insert(terms.begin() + static_cast<std::ptrdiff_t>(place), Term{defined, QNumber(-1)});
  }
  return terms;
}

}  // namespace

Tableau::Tableau(int /*verbosity*/) {}

Tableau::~Tableau() {
  for (std::size_t v = 0; v < rows_.size(); ++v) {
    delete rows_.get(static_cast<int>(v));
  }
  for (std::size_t v = 0; v < aside_.size(); ++v) {
    delete aside_.get(static_cast<int>(v));
  }
}

// ---- equations ----

void Tableau::add_equation(const Equation& eq, bool initialized, std::vector<int>* rows,
                           const std::function<bool(int)>& prefer) {
  Terms terms = told_terms(eq);
  if (!eq.constant().is_zero()) {
    if (!reduced_over_everything(terms).empty()) {
      throw Exception() << "an equation over variables must not have a constant: " << eq.to_str(true);
    }
    inconsistent_ = true;
    return;
  }
  std::vector<int> rewritten;
  for (const Term& term : terms) {
    if (is_eliminated(term.var)) {
      uneliminate(term.var, &rewritten);
    }
    set_state(term.var, State::present);
  }
  substitute_basics(&terms);
  if (!terms.empty()) {
    const int fresh = choose_new_basic(eq, terms, prefer);
    solve_for(&terms, find_term(terms, fresh));
    replace_in_rows(fresh, terms, &rewritten);
    install_row(fresh, std::move(terms));
    rewritten.push_back(fresh);
  }
  if (initialized) {
    rows->insert(rows->end(), rewritten.begin(), rewritten.end());
  }
}

// Replaces every basic variable of *terms by its row. Rows have no basic variables, so one pass is enough.
void Tableau::substitute_basics(Terms* terms) const {
  std::vector<int> basics;
  for (const Term& term : *terms) {
    if (is_basic(term.var)) {
      basics.push_back(term.var);
    }
  }
  for (int basic : basics) {
    replace_in(terms, basic, row(basic).terms());
  }
}

// `terms` over non-basic variables and those set aside as free: what would remain of an equation if it were added.
Tableau::Terms Tableau::reduced_over_everything(Terms terms) const {
  for (;;) {
    int next = -1;
    for (const Term& term : terms) {
      if (is_eliminated(term.var) && !is_free_eliminated(term.var) &&
          (next < 0 ||
           aside_sequence_[static_cast<std::size_t>(term.var)] < aside_sequence_[static_cast<std::size_t>(next)])) {
        next = term.var;
      }
    }
    if (next < 0) break;
    replace_in(&terms, next, aside_.get(next)->terms());
  }
  substitute_basics(&terms);
  return terms;
}

int Tableau::choose_new_basic(const Equation& eq, const Terms& terms, const std::function<bool(int)>& prefer) const {
  const int defined = eq.defining_var();
  if (defined >= 0 && !is_basic(defined)) {
    const std::size_t place = find_term(terms, defined);
    if (place != terms.size() && terms[place].var == defined) return defined;
  }
  if (prefer) {
    for (const Term& term : terms) {
      if (prefer(term.var)) return term.var;
    }
  }
  return terms.front().var;
}

// Makes `var`, which is in no row, basic with the given definition.
void Tableau::install_row(int var, Terms terms) {
  assert(!is_basic(var) && column(var).size() == 0);
  for (const Term& term : terms) {
    column_of(term.var).insert(var);
  }
  auto row = std::make_unique<Equation>(var);
  row->mutable_terms() = std::move(terms);
  rows_[var] = row.get();
  row.release();
}

// Removes the row of `basic` from rows and columns. The variable is then non-basic and in no row.
Equation* Tableau::take_row(int basic) {
  Equation* const row = rows_.raw(basic);
  for (const Term& term : row->terms()) {
    column_of(term.var).erase(basic);
  }
  rows_.erase(basic);
  return row;
}

// Replaces non-basic `var` by its definition in every row, appending the basics of those rows to *rewritten.
void Tableau::replace_in_rows(int var, const Terms& definition, std::vector<int>* rewritten) {
  const VarSet& users = column(var);
  column_scratch_.assign(users.begin(), users.end());
  for (int basic : column_scratch_) {
    combine_into_row(basic, definition, var, -1);
  }
  column_of(var).clear();
  rewritten->insert(rewritten->end(), column_scratch_.begin(), column_scratch_.end());
}

// Replaces `gone` in the row of `basic` by the definition `source`, keeping all columns but those of `gone` and `known`
// (-1: of `gone` alone), which the caller replaces as a whole.
void Tableau::combine_into_row(int basic, const Terms& source, int gone, int known) {
  Terms& terms = rows_.raw(basic)->mutable_terms();
  const std::size_t place = find_term(terms, gone);
  assert(place != terms.size() && terms[place].var == gone);
  QNumber factor;
  factor.swap(terms[place].coeff);
  work_ += source.size() * work_of(factor);
  add_multiple(
      &terms, factor, source, place,
      [&](int var) {
        if (var != known) {
          column_of(var).insert(basic);
        }
      },
      [&](int var) {
        if (var != gone) {
          column_of(var).erase(basic);
        }
      });
  if (work_test_ != nullptr && work_ >= next_poll_) poll();
}

void Tableau::poll() {
  constexpr std::uint64_t period = 1 << 16;  // about a millisecond, of small numbers or big ones
  next_poll_ = work_ + period;
  is_broken_ = true;
  (*work_test_)();
  is_broken_ = false;
}

void Tableau::pivot(int basic, int nonbasic) {
  Equation* const row = rows_.raw(basic);
  Terms& terms = row->mutable_terms();
  const std::size_t place = find_term(terms, nonbasic);
  assert(place != terms.size() && terms[place].var == nonbasic);

  // The row, solved for `nonbasic`: first give the place of its term to one of `basic`, then scale.
  const QNumber a = terms[place].coeff;
  terms[place].coeff = QNumber(-1);
  keep_small(&terms[place].coeff);
  terms[place].var = basic;
  const std::size_t wanted = static_cast<std::size_t>(
      std::count_if(terms.begin(), terms.end(), [basic](const Term& term) { return term.var < basic; }));
  const auto begin = terms.begin();
  const auto offset = [](std::size_t n) { return static_cast<std::ptrdiff_t>(n); };
  if (wanted < place) {
    std::rotate(begin + offset(wanted), begin + offset(place), begin + offset(place) + 1);
  } else if (wanted > place) {
    std::rotate(begin + offset(place), begin + offset(place) + 1, begin + offset(wanted) + 1);
  }
  if (!a.is_minus_one()) {
    const QNumber scale = a.inverse().neg();
    for (Term& term : terms) {
      term.coeff *= scale;
      keep_small(&term.coeff);
    }
  }
  row->set_defining_var(nonbasic);
  rows_[nonbasic] = row;
  rows_.erase(basic);

  // The columns of the row's own terms: `basic` leaves them, `nonbasic` joins.
  for (const Term& term : terms) {
    if (term.var != basic) {
      VarSet& users = column_of(term.var);
      users.erase(basic);
      users.insert(nonbasic);
    }
  }
  // The column of `basic`: exactly the rows that used `nonbasic`, whose column ends empty.
  VarSet& column_in = column_of(basic);
  VarSet& column_out = column_of(nonbasic);
  column_out.erase(basic);
  column_scratch_.assign(column_out.begin(), column_out.end());
  column_in.swap(column_out);
  column_in.insert(nonbasic);
  column_out.clear();
  for (int user : column_scratch_) {
    combine_into_row(user, terms, nonbasic, basic);
  }
}

void Tableau::drop_zero(int var) {
  assert(!is_basic(var) && state_of(var) == State::present);
  for (int basic : column(var)) {
    Terms& terms = rows_.raw(basic)->mutable_terms();
    terms.erase(terms.begin() + static_cast<std::ptrdiff_t>(find_term(terms, var)));
  }
  column_of(var).clear();
  replace_in_aside(var, {});
  set_state(var, State::unknown);
}

// ---- setting aside and bringing back ----

void Tableau::eliminate_variables(const VarSet& vars) {
  for (int var : vars) {
    if (state_of(var) != State::present) continue;
    if (!is_basic(var) && column_count(var) != 0) {
      pivot(shortest_row_with(var), var);
    }
    if (is_basic(var)) {
      set_aside(var, take_row(var), State::eliminated);
    } else {
      set_aside(var, new Equation(var), State::free);
    }
  }
}

int Tableau::shortest_row_with(int nonbasic) const {
  int best = -1;
  std::size_t best_length = 0;
  for (int basic : column(nonbasic)) {
    const std::size_t length = row(basic).terms().size();
    if (best < 0 || length < best_length) {
      best = basic;
      best_length = length;
    }
  }
  return best;
}

void Tableau::set_aside(int var, Equation* eq, State state) {
  aside_[var] = eq;
  const std::size_t index = static_cast<std::size_t>(var);
  if (index >= aside_sequence_.size()) {
    aside_sequence_.resize(std::max(index + 1, 2 * aside_sequence_.size()), 0);
  }
  aside_sequence_[index] = next_sequence_++;
  set_state(var, state);
}

Equation* Tableau::take_aside(int var) {
  Equation* const eq = aside_.raw(var);
  aside_.erase(var);
  return eq;
}

void Tableau::uneliminate(int var, std::vector<int>* rows) {
  for (int next : needed_to_return(var)) {
    bring_back(next, rows);
  }
}

// `var` and all eliminated variables that its equation reaches, those that were set aside last first: an equation
// mentions only present variables and such as were set aside after its own.
std::vector<int> Tableau::needed_to_return(int var) const {
  VarSet seen;
  std::vector<int> found;
  std::vector<int> pending{var};
  while (!pending.empty()) {
    const int next = pending.back();
    pending.pop_back();
    if (!is_eliminated(next) || !seen.insert(next).second) continue;
    found.push_back(next);
    for (const Term& term : aside_.get(next)->terms()) {
      pending.push_back(term.var);
    }
  }
  std::sort(found.begin(), found.end(), [this](int a, int b) {
    return aside_sequence_[static_cast<std::size_t>(a)] > aside_sequence_[static_cast<std::size_t>(b)];
  });
  return found;
}

void Tableau::bring_back(int var, std::vector<int>* rows) {
  const std::unique_ptr<Equation> eq(take_aside(var));
  const bool was_free = is_free_eliminated(var);
  set_state(var, State::present);
  if (was_free) return;
  Terms terms = std::move(eq->mutable_terms());
  substitute_basics(&terms);
  install_row(var, std::move(terms));
  rows->push_back(var);
}

void Tableau::remove_variable(int var, int* left_basis) {
  if (left_basis != nullptr) {
    *left_basis = -1;
  }
  if (state_of(var) == State::unknown) return;
  if (!is_basic(var) && column_count(var) != 0) {
    const int partner = shortest_row_with(var);
    pivot(partner, var);
    if (left_basis != nullptr) {
      *left_basis = partner;
    }
  }
  const bool aside = is_eliminated(var);
  if (is_basic(var) || (aside && !is_free_eliminated(var))) {
    const std::unique_ptr<Equation> definition(aside ? take_aside(var) : take_row(var));
    replace_in_aside(var, definition->terms());
  } else {
    forget_rowless(var);
    if (aside) {
      delete take_aside(var);
    }
  }
  set_state(var, State::unknown);
}

void Tableau::replace_in_aside(int var, const Terms& definition) {
  if (!has_eliminated()) return;
  for (std::size_t v = 0; v < aside_.size(); ++v) {
    const int owner = static_cast<int>(v);
    if (aside_.is_present(owner)) {
      replace_in(&aside_.raw(owner)->mutable_terms(), var, definition);
    }
  }
}

int Tableau::latest_aside_with(int var) const {
  int latest = -1;
  for (std::size_t v = 0; v < aside_.size(); ++v) {
    const int owner = static_cast<int>(v);
    if (aside_.is_present(owner) && !aside_.get(owner)->coeff(var).is_zero() &&
        (latest < 0 || aside_sequence_[v] > aside_sequence_[static_cast<std::size_t>(latest)])) {
      latest = owner;
    }
  }
  return latest;
}

// `var` is in no row; only equations set aside may still mention it. One of them has to go with it: the latest, since
// its variable may then stand in all the earlier ones. That variable becomes free.
void Tableau::forget_rowless(int var) {
  const int owner = latest_aside_with(var);
  if (owner < 0) return;
  const std::unique_ptr<Equation> eq(aside_.raw(owner));
  aside_[owner] = new Equation(owner);
  set_state(owner, State::free);
  Terms definition = told_terms(*eq);
  solve_for(&definition, find_term(definition, var));
  replace_in_aside(var, definition);
}

// ---- look-up ----

void Tableau::set_state(int var, State state) {
  const std::size_t index = static_cast<std::size_t>(var);
  if (index >= states_.size()) {
    const std::size_t size = std::max(index + 1, 2 * states_.size());
    states_.resize(size, State::unknown);
    columns_.resize(size);
  }
  num_present_ -= states_[index] == State::present ? 1 : 0;
  num_present_ += state == State::present ? 1 : 0;
  states_[index] = state;
}

std::vector<int> Tableau::get_all_variables() const {
  std::vector<int> vars;
  vars.reserve(num_present_);
  for (std::size_t v = 0; v < states_.size(); ++v) {
    if (states_[v] == State::present) {
      vars.push_back(static_cast<int>(v));
    }
  }
  return vars;
}

std::size_t Tableau::num_terms() const {
  std::size_t count = 0;
  for (const VarSet& users : columns_) {
    count += users.size();
  }
  return count;
}

std::string Tableau::to_str() const {
  std::ostringstream out;
  for (std::size_t v = 0; v < rows_.size(); ++v) {
    if (rows_.is_present(static_cast<int>(v))) {
      out << rows_.get(static_cast<int>(v))->to_str(true) << "\n";
    }
  }
  for (std::size_t v = 0; v < aside_.size(); ++v) {
    if (aside_.is_present(static_cast<int>(v))) {
      out << "eliminated: " << aside_.get(static_cast<int>(v))->to_str(true) << "\n";
    }
  }
  return out.str();
}

// ---- invariants ----

std::string Tableau::check_invariants() const {
  std::string offence = check_rows();
  if (offence.empty()) {
    offence = check_links();
  }
  return offence.empty() ? check_aside() : offence;
}

std::string Tableau::check_rows() const {
  for (std::size_t v = 0; v < rows_.size(); ++v) {
    const int basic = static_cast<int>(v);
    if (!is_basic(basic)) continue;
    const Equation* const eq = rows_.get(basic);
    const std::string where = "ROWS: the row of x" + std::to_string(basic);
    if (eq == nullptr || eq->defining_var() != basic || !has_variable(basic)) {
      return where + " is missing, belongs to another variable, or its variable is not present";
    }
    int last = -1;
    for (const Term& term : eq->terms()) {
      if (term.var <= last || term.coeff.is_zero() || is_basic(term.var) || !has_variable(term.var)) {
        return where + " has an unordered, zero, basic or absent term of x" + std::to_string(term.var);
      }
      last = term.var;
    }
  }
  return "";
}

std::string Tableau::check_links() const {
  std::size_t links = 0;
  for (std::size_t v = 0; v < columns_.size(); ++v) {
    for (int basic : columns_[v]) {
      ++links;
      if (!is_basic(basic) || row(basic).coeff(static_cast<int>(v)).is_zero()) {
        return "LINKS: the column of x" + std::to_string(v) + " lists x" + std::to_string(basic) +
               ", whose row does not contain it";
      }
    }
  }
  for (std::size_t v = 0; v < rows_.size(); ++v) {
    links -= is_basic(static_cast<int>(v)) ? row(static_cast<int>(v)).terms().size() : 0;
  }
  return links == 0 ? "" : "LINKS: some row has a term that its column does not list";
}

std::string Tableau::check_aside() const {
  for (std::size_t v = 0; v < aside_.size(); ++v) {
    const int owner = static_cast<int>(v);
    if (!is_eliminated(owner)) continue;
    for (const Term& term : aside_.get(owner)->terms()) {
      const bool later =
          is_eliminated(term.var) && aside_sequence_[static_cast<std::size_t>(term.var)] > aside_sequence_[v];
      if (!has_variable(term.var) && !later) {
        return "ASIDE: the equation of x" + std::to_string(owner) + " mentions x" + std::to_string(term.var) +
               ", which is neither present nor set aside later";
      }
    }
  }
  return "";
}

}  // namespace tarku::la
