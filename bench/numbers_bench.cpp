// Times add, multiply, compare and fused multiply-add of QNumber against GMP's mpq_class and FLINT's fmpq.
//
// Every benchmark is named operation/operands/library and works through the same random operands.  `add` and `multiply`
// make a new number from two others, and the `_in_place` forms and `multiply_add` rewrite a number that lives as long
// as the benchmark, the way tableau rows and values are rewritten.  allocs/op counts operator new and GMP's
// allocations, reallocations included.
#include <benchmark/benchmark.h>
#include <gmpxx.h>
#ifdef TARKU_WITH_FLINT
#include <flint/fmpq.h>
#endif

#include <random>
#include <string>
#include <vector>

#include "bench/allocations.h"
#include "tarku/numbers/qnumber.h"

namespace {

using tarku::QNumber;

// One interface to the three libraries.  `set_*` write to an existing number.
struct Tarku {
  using Number = QNumber;
  static constexpr const char* name = "qnumber";
  static void read(Number& out, const std::string& text) { Number::parse(text, &out); }
  static Number sum(const Number& x, const Number& y) { return x + y; }
  static Number product(const Number& x, const Number& y) { return x * y; }
  static void set(Number& z, const Number& x) { z = x; }
  static void add_to(Number& z, const Number& x) { z += x; }
  static void multiply_by(Number& z, const Number& x) { z *= x; }
  static void add_product(Number& z, const Number& x, const Number& y) { z.add_mul(x, y); }
  static bool less(const Number& x, const Number& y) { return x < y; }
};

struct Mpq {
  using Number = mpq_class;
  static constexpr const char* name = "mpq_class";
  static void read(Number& out, const std::string& text) {
    out.set_str(text, 10);
    out.canonicalize();
  }
  static Number sum(const Number& x, const Number& y) { return x + y; }
  static Number product(const Number& x, const Number& y) { return x * y; }
  static void set(Number& z, const Number& x) { z = x; }
  static void add_to(Number& z, const Number& x) { z += x; }
  static void multiply_by(Number& z, const Number& x) { z *= x; }
  static void add_product(Number& z, const Number& x, const Number& y) { z += x * y; }
  static bool less(const Number& x, const Number& y) { return x < y; }
};

#ifdef TARKU_WITH_FLINT
struct Fmpq {
  struct Number {
    fmpq_t q;
    Number() { fmpq_init(q); }
    Number(const Number& other) {
      fmpq_init(q);
      fmpq_set(q, other.q);
    }
    Number& operator=(const Number&) = delete;
    ~Number() { fmpq_clear(q); }
  };
  static constexpr const char* name = "fmpq";
  static void read(Number& out, const std::string& text) {
    fmpq_set_str(out.q, text.c_str(), 10);
    fmpq_canonicalise(out.q);
  }
  static Number sum(const Number& x, const Number& y) {
    Number z;
    fmpq_add(z.q, x.q, y.q);
    return z;
  }
  static Number product(const Number& x, const Number& y) {
    Number z;
    fmpq_mul(z.q, x.q, y.q);
    return z;
  }
  static void set(Number& z, const Number& x) { fmpq_set(z.q, x.q); }
  static void add_to(Number& z, const Number& x) { fmpq_add(z.q, z.q, x.q); }
  static void multiply_by(Number& z, const Number& x) { fmpq_mul(z.q, z.q, x.q); }
  static void add_product(Number& z, const Number& x, const Number& y) { fmpq_addmul(z.q, x.q, y.q); }
  static bool less(const Number& x, const Number& y) { return fmpq_cmp(x.q, y.q) < 0; }
};
#endif

// ---- operands ----

enum class Kind { kSmallInteger, kSmallFraction, kBigInteger, kBigFraction };

std::string random_digits(std::mt19937_64& random, int length) {
  std::string digits(1, static_cast<char>('1' + random() % 9));
  while (static_cast<int>(digits.size()) < length) digits += static_cast<char>('0' + random() % 10);
  return digits;
}

std::string random_operand(std::mt19937_64& random, Kind kind) {
  const std::string sign = random() % 2 == 0 ? "-" : "";
  switch (kind) {
    case Kind::kSmallInteger:
      return sign + std::to_string(1 + random() % 1000);
    case Kind::kSmallFraction:
      return sign + std::to_string(1 + random() % 1000) + "/" + std::to_string(2 + random() % 99);
    case Kind::kBigInteger:
      return sign + random_digits(random, 60);
    case Kind::kBigFraction:
      return sign + random_digits(random, 60) + "/" + random_digits(random, 60);
  }
  return "0";
}

constexpr std::size_t kOperands = 1024;  // a power of two

template <class Library>
std::vector<typename Library::Number> operands(Kind kind, unsigned seed) {
  std::mt19937_64 random(seed);
  std::vector<typename Library::Number> result(kOperands);
  for (auto& number : result) Library::read(number, random_operand(random, kind));
  return result;
}

// ---- operations ----

// Runs body(result, x, y, w) over all operands and reports time and allocations per call.
template <class Library, class Body>
void run(benchmark::State& state, Kind kind, Body body) {
  const auto xs = operands<Library>(kind, 1), ys = operands<Library>(kind, 2), ws = operands<Library>(kind, 3);
  typename Library::Number result;
  for (std::size_t i = 0; i < kOperands; ++i) body(result, xs[i], ys[i], ws[i]);  // grows the result once
  const std::uint64_t before = tarku::bench::allocation_count;
  std::size_t calls = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < kOperands; ++i) body(result, xs[i], ys[i], ws[i]);
    calls += kOperands;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(calls));
  state.counters["allocs/op"] =
      static_cast<double>(tarku::bench::allocation_count - before) / static_cast<double>(calls);
  state.counters["time/op"] =
      benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <class Library>
void register_library() {
  using Number = typename Library::Number;
  const auto add = [](Number&, const Number& x, const Number& y, const Number&) {
    Number z = Library::sum(x, y);
    benchmark::DoNotOptimize(z);
  };
  const auto multiply = [](Number&, const Number& x, const Number& y, const Number&) {
    Number z = Library::product(x, y);
    benchmark::DoNotOptimize(z);
  };
  const auto add_in_place = [](Number& z, const Number& x, const Number& y, const Number&) {
    Library::set(z, x);
    Library::add_to(z, y);
    benchmark::DoNotOptimize(z);
  };
  const auto multiply_in_place = [](Number& z, const Number& x, const Number& y, const Number&) {
    Library::set(z, x);
    Library::multiply_by(z, y);
    benchmark::DoNotOptimize(z);
  };
  const auto compare = [](Number&, const Number& x, const Number& y, const Number&) {
    int less = Library::less(x, y);
    asm volatile("" : "+r"(less));  // the answer is needed, but memory is left alone
  };
  const auto fused = [](Number& z, const Number& x, const Number& y, const Number& w) {
    Library::set(z, w);
    Library::add_product(z, x, y);
    benchmark::DoNotOptimize(z);
  };
  const std::pair<const char*, Kind> kinds[] = {{"small_integers", Kind::kSmallInteger},
                                                {"small_fractions", Kind::kSmallFraction},
                                                {"big_integers", Kind::kBigInteger},
                                                {"big_fractions", Kind::kBigFraction}};
  for (const auto& [label, kind] : kinds) {
    const auto enter = [label = label, kind = kind](const std::string& operation, auto body) {
      const std::string name = operation + "/" + label + "/" + Library::name;
      benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { run<Library>(state, kind, body); });
    };
    enter("add", add);
    enter("multiply", multiply);
    enter("add_in_place", add_in_place);
    enter("multiply_in_place", multiply_in_place);
    enter("compare", compare);
    enter("multiply_add", fused);
  }
}

}  // namespace

int main(int argc, char** argv) {
  tarku::bench::count_gmp_allocations();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  register_library<Tarku>();
  register_library<Mpq>();
#ifdef TARKU_WITH_FLINT
  register_library<Fmpq>();
#endif
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
