// Building a timeline with Merge, beside Boost.ICL's interval_set doing the
// same with add. Intervals of 60 s every 100 s, so that neither side joins
// them and both end up holding n intervals: in order of time (a set that
// grows at its end, ICL given the end as the hint) and shuffled (inserts
// anywhere), one Merge a point or the whole list given to MergeAll, which
// builds the vector once. Each iteration builds a fresh container; the
// per_point counter is the time of one interval, its allocation included
// (MergeAll's list too). Tearing the
// container down is left out of the time on both sides, but not all of its
// cost: glibc keeps the freed chunks aside and sweeps them when a large block
// is asked for, as when the list of points grows, inside the clock of the
// next build. So the state of the heap weighs on these numbers, most at
// 10,000 points and in a run after other sizes; compare runs of one
// benchmark each, as in
//   merge_bench --benchmark_filter='BM_MergeInOrder/100000$'
// BM_MergeInOrderPrebuilt shows the work of Merge without any allocation.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/icl/interval_set.hpp>
#include <boost/icl/right_open_interval.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"

namespace {

constexpr int64_t kStep = 100;
constexpr int64_t kLength = 60;

using IclSet =
    boost::icl::interval_set<int64_t, std::less, boost::icl::right_open_interval<int64_t>>;

std::vector<int64_t> Starts(int64_t count, bool shuffled) {
  std::vector<int64_t> starts(static_cast<size_t>(count));
  std::iota(starts.begin(), starts.end(), 0);
  for (int64_t& start : starts) start *= kStep;
  if (shuffled) std::shuffle(starts.begin(), starts.end(), std::mt19937_64(42));
  return starts;
}

void CountPerPoint(benchmark::State& state) {
  state.counters["per_point"] = benchmark::Counter(
      static_cast<double>(state.range(0)),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Runs `build` on a fresh container in each iteration and destroys the
// container with the clock stopped.
template <typename Container, typename Build>
void Run(benchmark::State& state, Build build) {
  for (auto _ : state) {
    auto container = std::make_unique<Container>();
    build(*container);
    benchmark::DoNotOptimize(container.get());
    state.PauseTiming();
    container.reset();
    state.ResumeTiming();
  }
  CountPerPoint(state);
}

void BM_MergeInOrder(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), false);
  Run<TBasicPointMgr>(state, [&starts](TBasicPointMgr& set) {
    for (int64_t start : starts) set.Merge(new TBasicPoint(TFecha(start), TDuration(kLength)));
  });
}
BENCHMARK(BM_MergeInOrder)->Arg(1000)->Arg(10000)->Arg(100000);

// The work of Merge alone: the points are made with the clock stopped, so
// what is left is the search and the growth of the list.
void BM_MergeInOrderPrebuilt(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), false);
  for (auto _ : state) {
    state.PauseTiming();
    auto set = std::make_unique<TBasicPointMgr>();
    TBasicPointList points;
    for (int64_t start : starts)
      points.push_back(new TBasicPoint(TFecha(start), TDuration(kLength)));
    state.ResumeTiming();
    for (TBasicPoint* p : points) set->Merge(p);
    benchmark::DoNotOptimize(set.get());
    state.PauseTiming();
    set.reset();
    state.ResumeTiming();
  }
  CountPerPoint(state);
}
BENCHMARK(BM_MergeInOrderPrebuilt)->Arg(100000);

void BM_IclAddInOrderHinted(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), false);
  Run<IclSet>(state, [&starts](IclSet& set) {
    for (int64_t start : starts) set.add(set.end(), IclSet::interval_type(start, start + kLength));
  });
}
BENCHMARK(BM_IclAddInOrderHinted)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_MergeShuffled(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), true);
  Run<TBasicPointMgr>(state, [&starts](TBasicPointMgr& set) {
    for (int64_t start : starts) set.Merge(new TBasicPoint(TFecha(start), TDuration(kLength)));
  });
}
// One point at a time, a shuffled build moves the tail of the vector for
// every point: its cost a point grows with the size, as the three sizes show.
BENCHMARK(BM_MergeShuffled)->Arg(1000)->Arg(10000)->Arg(100000);

// The same shuffled intervals given to MergeAll in one list: the points are
// made inside the clock, as above; the list is sorted and the vector built
// once.
void BM_MergeAllShuffled(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), true);
  Run<TBasicPointMgr>(state, [&starts](TBasicPointMgr& set) {
    TBasicPointList list;
    list.reserve(starts.size());
    for (int64_t start : starts) list.push_back(new TBasicPoint(TFecha(start), TDuration(kLength)));
    set.MergeAll(list);
  });
}
BENCHMARK(BM_MergeAllShuffled)->Arg(10000)->Arg(100000);

// The floor of any merge that keeps Points a sorted vector: AddUnique of the
// same shuffled intervals, one bisection and one insert that moves the tail.
void BM_AddUniqueShuffled(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), true);
  Run<TBasicPointMgr>(state, [&starts](TBasicPointMgr& set) {
    for (int64_t start : starts) set.AddUnique(new TBasicPoint(TFecha(start), TDuration(kLength)));
  });
}
BENCHMARK(BM_AddUniqueShuffled)->Arg(10000);

void BM_IclAddShuffled(benchmark::State& state) {
  const std::vector<int64_t> starts = Starts(state.range(0), true);
  Run<IclSet>(state, [&starts](IclSet& set) {
    for (int64_t start : starts) set.add(IclSet::interval_type(start, start + kLength));
  });
}
BENCHMARK(BM_IclAddShuffled)->Arg(10000)->Arg(100000);

}  // namespace
