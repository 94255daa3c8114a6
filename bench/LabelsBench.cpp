// Time of the label operations by the number of labels that one request carries. For comparison, a diff by a plain sort
// does the same work with the standard library alone.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "impl/Evidence/EvidenceManager.h"

namespace {

using Labels = std::list<std::string>;

Labels Numbered(std::int64_t first, std::int64_t count) {
  Labels labels;
  for (std::int64_t n = first; n < first + count; ++n)
    labels.push_back("some label number " + std::to_string(n));
  return labels;
}

/// Half of the labels stay, half are replaced.
void DiffLabels(benchmark::State& state) {
  const Labels wanted = Numbered(0, state.range(0));
  const Labels stored = Numbered(state.range(0) / 2, state.range(0));
  for (auto _ : state) {
    Labels added;
    Labels removed;
    Evidence::DiffLabels(wanted, stored, added, removed);
    benchmark::DoNotOptimize(added);
    benchmark::DoNotOptimize(removed);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DiffLabels)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void DiffBySorting(benchmark::State& state) {
  const Labels wanted = Numbered(0, state.range(0));
  const Labels stored = Numbered(state.range(0) / 2, state.range(0));
  for (auto _ : state) {
    std::vector<std::string> left(wanted.begin(), wanted.end());
    std::vector<std::string> right(stored.begin(), stored.end());
    std::ranges::sort(left);
    std::ranges::sort(right);
    Labels added;
    Labels removed;
    std::ranges::set_difference(left, right, std::back_inserter(added));
    std::ranges::set_difference(right, left, std::back_inserter(removed));
    benchmark::DoNotOptimize(added);
    benchmark::DoNotOptimize(removed);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DiffBySorting)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

/// What one update of an evidence holds label_lock for: the test, then the change of the maps.
void TestAndUpdate(benchmark::State& state) {
  Evidence::CEvidenceManager manager(nullptr);
  const Labels first = Numbered(0, state.range(0));
  const Labels second = Numbered(state.range(0) / 2, state.range(0));
  manager.UpdateLabelMap(1, first);
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    benchmark::DoNotOptimize(manager.IsLabelCountExceeded(1, flip ? second : first));
    manager.UpdateLabelMap(1, flip ? second : first);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(TestAndUpdate)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
