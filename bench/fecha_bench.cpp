// The calendar operations of TFecha and its text form. The calendar work goes
// through the runtime's day count and back, and must allocate nothing; the
// text forms allocate only their result. The "allocs" counter of each run is
// the number of heap allocations per iteration, counted below.
#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/time/fecha.h"

namespace {

std::atomic<int64_t> gAllocations{0};

}  // namespace

// Kept out of line: once inlined, GCC pairs the malloc and the free across the
// replacement and warns of a mismatch that is not there.
[[gnu::noinline]] void* operator new(std::size_t size) {
  gAllocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

// A spread of instants over several years, so that the calendar routines do
// not see the same day every time.
std::array<TFecha, 1024> Instants() {
  std::array<TFecha, 1024> out{};
  const int64_t start = static_cast<int64_t>(EncodeDate(2024, 1, 1).Val) * 86400;
  for (size_t i = 0; i < out.size(); ++i) {
    out[i] = TFecha(start + static_cast<int64_t>(i) * 97'613);  // ~1.13 days apart
  }
  return out;
}

const std::array<TFecha, 1024> kInstants = Instants();

// Runs `op` over the instants and reports the allocations per iteration.
template <class Op>
void Run(benchmark::State& state, Op op) {
  size_t i = 0;
  const int64_t before = gAllocations.load(std::memory_order_relaxed);
  for (auto _ : state) {
    auto result = op(kInstants[i]);
    benchmark::DoNotOptimize(result);
    i = (i + 1) % kInstants.size();
  }
  const int64_t allocations = gAllocations.load(std::memory_order_relaxed) - before;
  state.counters["allocs"] =
      benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
}

void BM_StartOfWeek(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.StartOfWeek(); });
}
BENCHMARK(BM_StartOfWeek);

void BM_EndOfMonth(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.EndOfMonth(); });
}
BENCHMARK(BM_EndOfMonth);

void BM_StartOfNextWeek(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.StartOfNextWeek(); });
}
BENCHMARK(BM_StartOfNextWeek);

void BM_IncDaysMonth(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.IncDays(tgMonth); });
}
BENCHMARK(BM_IncDaysMonth);

// The integer steps, for comparison with the calendar ones.
void BM_IncDaysWeek(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.IncDays(tgWeek); });
}
BENCHMARK(BM_IncDaysWeek);

void BM_Week(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.Week(); });
}
BENCHMARK(BM_Week);

void BM_DayCountRoundTrip(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return TFecha(f.AsDateTime()); });
}
BENCHMARK(BM_DayCountRoundTrip);

// The patterns are built once: a pattern made from a literal in the loop would
// count its own allocation.
const AnsiString kPattern = "dd/mm/yyyy hh:mm";
const AnsiString kLongPattern = "dddd d 'de' mmmm 'de' yyyy, hh:nn:ss";

void BM_ToString(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.ToString(kPattern); });
}
BENCHMARK(BM_ToString);

// Month and day names: a result longer than the small-string buffer.
void BM_ToStringLongLabel(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.ToString(kLongPattern); });
}
BENCHMARK(BM_ToStringLongLabel);

void BM_SmartString(benchmark::State& state) {
  Run(state, [](const TFecha& f) { return f.SmartString(); });
}
BENCHMARK(BM_SmartString);

void BM_StrToDateTime(benchmark::State& state) {
  Run(state, [](const TFecha&) { return StrToDateTime("05/03/2026 08:07:09"); });
}
BENCHMARK(BM_StrToDateTime);

}  // namespace
