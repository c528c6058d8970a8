// The grids of a year of points in one pass: rows by week or by month, and the
// sums over the same range. The set is in order already, as a set built by
// AddUnique or Merge is, so the sort at the start of a grid finds nothing to move.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/datetime.h"

namespace {

constexpr int64_t kDay = 86400;

int64_t At(uint16_t year, uint16_t month, uint16_t day) {
  return static_cast<int64_t>(EncodeDate(year, month, day).Val) * kDay;
}

const int64_t kYear = At(2026, 1, 1);
const int64_t kNextYear = At(2027, 1, 1);

// `count` points spread evenly over 2026, back to back, of five types.
void FillYear(TBasicPointMgr& set, int64_t count) {
  const int64_t step = (kNextYear - kYear) / count;
  for (int64_t i = 0; i < count; ++i) {
    auto* p = new TBasicPoint(TFecha(kYear + i * step), TDuration(step));
    p->Type = static_cast<TTimePointType>(1 + i % 5);
    set.Add(p);
  }
}

void BM_GetPointsGridByWeek(benchmark::State& state) {
  TBasicPointMgr set;
  FillYear(set, state.range(0));
  for (auto _ : state) {
    SetPointsGrid grid =
        set.GetPointsGrid(tgWeek, TFecha(kYear), TFecha(kNextYear - kDay), tptNone);
    benchmark::DoNotOptimize(grid);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetPointsGridByWeek)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_GetPointsGridByMonthWithFlags(benchmark::State& state) {
  TBasicPointMgr set;
  FillYear(set, state.range(0));
  const TMapingFlags flags{tptTimetable, tptTask, tptCover};
  for (auto _ : state) {
    SetPointsGrid grid = set.GetPointsGrid(tgMonth, TFecha(kYear), TFecha(kNextYear - kDay), flags);
    benchmark::DoNotOptimize(grid);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetPointsGridByMonthWithFlags)->Arg(1000)->Arg(10000)->Arg(100000);

// The sums walk the same range without building anything.
void BM_GetDurationAssignable(benchmark::State& state) {
  TBasicPointMgr set;
  FillYear(set, state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(set.GetDurationAssignable(TFecha(kYear), TFecha(kNextYear - kDay)));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_GetDurationAssignable)->Arg(1000)->Arg(10000)->Arg(100000);

// One week out of a year: the bisection skips what lies before it.
void BM_GetTotalDurationOfOneWeek(benchmark::State& state) {
  TBasicPointMgr set;
  FillYear(set, state.range(0));
  const int64_t monday = At(2026, 6, 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        set.GetTotalDuration(TFecha(monday), TFecha(monday + 6 * kDay), tptNone));
  }
}
BENCHMARK(BM_GetTotalDurationOfOneWeek)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace
