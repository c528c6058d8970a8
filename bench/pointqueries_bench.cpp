// Period queries of a point set over timelines of 1,000 to 100,000 shifts,
// beside Boost.ICL's interval_set and a bare sorted vector answering the same
// windows. A query that bisects should cost a search plus the points it
// returns; the plain overlap query walks the whole list and shows what a
// linear walk costs at each size.
#include <benchmark/benchmark.h>

#include <boost/icl/interval_set.hpp>
#include <boost/icl/right_open_interval.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/datetime.h"

namespace {

constexpr int64_t kHour = 3600;
constexpr int64_t kDay = 24 * kHour;
constexpr size_t kQueries = 1024;  // a power of two: the index wraps by a mask

using IclInterval = boost::icl::right_open_interval<int64_t, std::less>;
using IclSet = boost::icl::interval_set<int64_t, std::less, IclInterval>;

struct Span {
  int64_t start;
  int64_t end;
};

// One timeline in the three forms, and the instants the queries start from.
struct Timeline {
  TBasicPointMgr set;
  IclSet icl;
  std::vector<Span> spans;
  std::vector<int64_t> instants;
};

// Shifts of 4 to 7 hours, three a day with a gap of at least an hour, so that
// no two touch and the interval set keeps each one apart. Mostly timetable and
// free time, some tasks.
std::unique_ptr<Timeline> MakeTimeline(int64_t count) {
  auto timeline = std::make_unique<Timeline>();
  std::mt19937 rng(static_cast<uint32_t>(count));
  std::uniform_int_distribution<int64_t> length(4 * kHour, 7 * kHour);
  std::uniform_int_distribution<int> kind(0, 9);
  const int64_t base = static_cast<int64_t>(EncodeDate(2000, 1, 3).Val) * kDay;
  timeline->set.Points.reserve(static_cast<size_t>(count));
  timeline->spans.reserve(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    const int64_t start = base + i * 8 * kHour;
    const int64_t duration = length(rng);
    auto* p = new TBasicPoint(TFecha(start), TDuration(duration));
    const int k = kind(rng);
    p->Type = k < 6 ? tptTimetable : k < 8 ? tptFree : tptTask;
    timeline->set.Add(p);  // already in order: Add keeps it
    timeline->icl.add(IclInterval(start, start + duration));
    timeline->spans.push_back({start, start + duration});
  }
  const int64_t last = base + count * 8 * kHour;
  std::uniform_int_distribution<int64_t> when(base, last - kDay);
  for (size_t i = 0; i < kQueries; ++i) timeline->instants.push_back(when(rng));
  return timeline;
}

const Timeline& TimelineOf(int64_t count) {
  static std::map<int64_t, std::unique_ptr<Timeline>> cache;
  auto& slot = cache[count];
  if (!slot) slot = MakeTimeline(count);
  return *slot;
}

void Sizes(benchmark::internal::Benchmark* b) { b->Arg(1000)->Arg(10000)->Arg(100000); }

// Reports the mean number of points a query gave, so that the costs compare
// like with like.
void CountReturned(benchmark::State& state, size_t returned) {
  state.counters["returned"] =
      benchmark::Counter(static_cast<double>(returned), benchmark::Counter::kAvgIterations);
}

// --- the point set ---------------------------------------------------------

void BM_GetPointsPeriod(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0, returned = 0;
  for (auto _ : state) {
    const int64_t from = t.instants[i++ & (kQueries - 1)];
    TBasicPointList found = t.set.GetPoints(TFecha(from), TFecha(from + kDay), tptNone);
    returned += found.size();
    benchmark::DoNotOptimize(found.data());
  }
  CountReturned(state, returned);
}
BENCHMARK(BM_GetPointsPeriod)->Apply(Sizes);

void BM_GetPointsDay(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0, returned = 0;
  for (auto _ : state) {
    const int64_t day = t.instants[i++ & (kQueries - 1)];
    TBasicPointList found = t.set.GetPointsDay(TFecha(day), tptNone);
    returned += found.size();
    benchmark::DoNotOptimize(found.data());
  }
  CountReturned(state, returned);
}
BENCHMARK(BM_GetPointsDay)->Apply(Sizes);

void BM_GetFreeC(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0, returned = 0;
  for (auto _ : state) {
    const int64_t from = t.instants[i++ & (kQueries - 1)];
    TBasicPointList found = t.set.GetFreeC(TFecha(from), TFecha(from + kDay));
    returned += found.size();
    benchmark::DoNotOptimize(found.data());
  }
  CountReturned(state, returned);
}
BENCHMARK(BM_GetFreeC)->Apply(Sizes);

void BM_GetFirstPoint(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.set.GetFirstPoint(TFecha(t.instants[i++ & (kQueries - 1)])));
  }
}
BENCHMARK(BM_GetFirstPoint)->Apply(Sizes);

// --- Boost.ICL: the intervals overlapping the window, gathered in a new list
// as the point set's queries gather theirs ----------------------------------

void BM_IclEqualRange(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0, returned = 0;
  for (auto _ : state) {
    const int64_t from = t.instants[i++ & (kQueries - 1)];
    const auto range = t.icl.equal_range(IclInterval(from, from + kDay));
    std::vector<IclInterval> found(range.first, range.second);
    returned += found.size();
    benchmark::DoNotOptimize(found.data());
  }
  CountReturned(state, returned);
}
BENCHMARK(BM_IclEqualRange)->Apply(Sizes);

// The first interval that ends after an instant: ICL's counterpart of GetFirstPoint.
void BM_IclFind(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0;
  for (auto _ : state) {
    const int64_t d = t.instants[i++ & (kQueries - 1)];
    benchmark::DoNotOptimize(t.icl.lower_bound(IclInterval(d, d + 1)));
  }
}
BENCHMARK(BM_IclFind)->Apply(Sizes);

// --- a bare sorted vector of [start, end) pairs -----------------------------

void BM_VectorLowerBound(benchmark::State& state) {
  const Timeline& t = TimelineOf(state.range(0));
  size_t i = 0, returned = 0;
  for (auto _ : state) {
    const int64_t from = t.instants[i++ & (kQueries - 1)];
    const int64_t to = from + kDay;
    auto it = std::lower_bound(t.spans.begin(), t.spans.end(), from,
                               [](const Span& s, int64_t at) { return s.end <= at; });
    std::vector<const Span*> found;
    found.reserve(8);  // room for a handful, as the point set's answers get
    for (; it != t.spans.end() && it->start < to; ++it) found.push_back(&*it);
    returned += found.size();
    benchmark::DoNotOptimize(found.data());
  }
  CountReturned(state, returned);
}
BENCHMARK(BM_VectorLowerBound)->Apply(Sizes);

}  // namespace
