// The hash map against std::unordered_map: insert, find (hits and misses), clear and refill, erase.
//
// Each measurement runs over the same keys in both maps: a shuffled dense range, as constraint indices and variables
// come, or spread over all of int. The counter "allocs" is the number of allocations per element operation; the pool's
// chunks are counted as allocations too.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/allocations.h"
#include "tarku/hsh/hashmap.h"

namespace tarku::bench {
namespace {

// Mapped values as large as those of the solver's tables.
struct Record {
  std::int64_t words[2] = {0, 1};
};

using OurMap = hsh::HashMap<int, Record>;
using StdMap = std::unordered_map<int, Record>;

enum Keys { kDense, kSpread };

// 2 * count different keys in random order; the second half serves as misses.
std::vector<int> make_keys(std::size_t count, Keys kind) {
  std::mt19937 random(1);
  std::vector<int> keys(2 * count);
  if (kind == kDense) {
    for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = static_cast<int>(i);
    std::shuffle(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), random);
  } else {
    std::unordered_map<int, bool> seen;
    for (int& key : keys) {
      do key = static_cast<int>(random());
      while (!seen.emplace(key, true).second);
    }
  }
  return keys;
}

std::uint64_t chunks_of(const OurMap& map) {
  std::uint64_t count = 0;
  for (auto* chunk = map.pool_.chunks_; chunk != nullptr; chunk = chunk->next) ++count;
  return count;
}
std::uint64_t chunks_of(const StdMap&) {
  return 0;
}

void report(benchmark::State& state, std::uint64_t allocations) {
  const auto operations = static_cast<std::int64_t>(state.iterations()) * state.range(0);
  state.SetItemsProcessed(operations);
  state.counters["allocs"] = static_cast<double>(allocations) / static_cast<double>(operations);
}

template <class Map>
void fill(Map& map, const std::vector<int>& keys, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) map[keys[i]].words[0] = static_cast<std::int64_t>(i);
}

// A new map is filled, with all its growth, and destroyed.
template <class Map, Keys kind>
void insert(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::vector<int> keys = make_keys(count, kind);
  std::uint64_t chunks = 0;
  const std::uint64_t before = allocation_count;
  for (auto _ : state) {
    Map map;
    fill(map, keys, count);
    chunks += chunks_of(map);
    benchmark::DoNotOptimize(map.size());
  }
  report(state, allocation_count - before + chunks);
}

template <class Map, Keys kind, bool hits>
void find(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  std::vector<int> keys = make_keys(count, kind);
  Map map;
  fill(map, keys, count);
  if (!hits) keys.erase(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count));
  std::shuffle(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), std::mt19937(2));
  const std::uint64_t before = allocation_count;
  for (auto _ : state) {
    std::int64_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
      auto it = map.find(keys[i]);
      if (it != map.end()) found += it->second.words[0];
    }
    benchmark::DoNotOptimize(found);
  }
  report(state, allocation_count - before);
}

// The life of the cache of abstract values: emptied, then filled again with the same keys.
template <class Map, Keys kind>
void clear_and_refill(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::vector<int> keys = make_keys(count, kind);
  Map map;
  fill(map, keys, count);
  const std::uint64_t before = allocation_count + chunks_of(map);
  for (auto _ : state) {
    map.clear();
    fill(map, keys, count);
    benchmark::DoNotOptimize(map.size());
  }
  report(state, allocation_count + chunks_of(map) - before);
}

// Each element is removed and another one added.
template <class Map, Keys kind>
void erase_and_insert(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::vector<int> keys = make_keys(count, kind);
  Map map;
  fill(map, keys, count);
  const std::uint64_t before = allocation_count + chunks_of(map);
  std::size_t out = 0, in = count;
  auto advance = [&keys](std::size_t& place) { place = place + 1 == keys.size() ? 0 : place + 1; };
  for (auto _ : state) {
    for (std::size_t i = 0; i < count; ++i) {
      map.erase(keys[out]);
      map[keys[in]];
      advance(out);
      advance(in);
    }
  }
  report(state, allocation_count + chunks_of(map) - before);
}

using Body = void (*)(benchmark::State&);

// The same measurement for both maps, at sizes from a handful of elements to far beyond the caches.
void add(const std::string& name, Body ours, Body standard) {
  for (int size : {20, 1000, 20000, 500000}) {
    benchmark::RegisterBenchmark((name + "/tarku").c_str(), ours)->Arg(size);
    benchmark::RegisterBenchmark((name + "/std").c_str(), standard)->Arg(size);
  }
}

template <Keys kind>
void add_all(const std::string& keys) {
  add("insert/" + keys, insert<OurMap, kind>, insert<StdMap, kind>);
  add("find_hit/" + keys, find<OurMap, kind, true>, find<StdMap, kind, true>);
  add("find_miss/" + keys, find<OurMap, kind, false>, find<StdMap, kind, false>);
  add("clear_and_refill/" + keys, clear_and_refill<OurMap, kind>, clear_and_refill<StdMap, kind>);
  add("erase_and_insert/" + keys, erase_and_insert<OurMap, kind>, erase_and_insert<StdMap, kind>);
}

}  // namespace
}  // namespace tarku::bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  tarku::bench::add_all<tarku::bench::kDense>("dense");
  tarku::bench::add_all<tarku::bench::kSpread>("spread");
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
