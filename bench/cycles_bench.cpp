// Unrolling recurring rules, beside libical's RRULE iterator doing the same.
// 1,000 rules (a quarter each: daily with weekends, daily on weekdays, weekly,
// monthly) start in the first four weeks of 2026 at varied hours and are
// unrolled over the whole of 2026. Every benchmark reports `occurrences` as a
// rate, so the columns compare directly:
//   BM_CyclesExpand   TCyclePointMgr::Expand with force: old points destroyed,
//                     one new point per occurrence, put in the order of a
//                     point set: everything a host waits for.
//   BM_PointSetSort   TBasicPointMgr::Sort on the same occurrences left rule by
//                     rule, the order an expansion that unrolled and then
//                     sorted would have to fix: what the ordering of the
//                     occurrences before allocation saves.
//   BM_LibicalExpand  the same rules as RRULEs (DAILY, DAILY;BYDAY=MO..FR,
//                     WEEKLY, MONTHLY) through icalrecur_iterator, each
//                     occurrence turned into a time_t and kept in a vector; no
//                     sort, no per-occurrence allocation. The rules are parsed
//                     once, outside the clock, as ours are built once.
//   BM_Floor          a plain loop that adds a day and allocates one point per
//                     occurrence (and frees them, as an expansion frees the
//                     old ones): the least any unrolling can cost.
// Both expansions must give the same number of occurrences; a run where they
// differ stops with an error instead of printing a rate.
#include <benchmark/benchmark.h>
#include <libical/ical.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/fecha.h"

namespace {

constexpr int kRules = 1000;
constexpr int64_t kDay = 86400;

enum class Kind { Daily, Weekdays, Weekly, Monthly };

struct Rule {
  Kind kind;
  int dayOffset;  // days after 1 January 2026
  int hour;
};

std::vector<Rule> Rules() {
  std::vector<Rule> rules;
  rules.reserve(kRules);
  for (int i = 0; i < kRules; ++i) {
    // Days 0..27 only: a monthly rule from the 29th on would clamp in February
    // here and skip the month in libical, and the counts would differ.
    rules.push_back({static_cast<Kind>(i % 4), (i * 7) % 28, 6 + i % 14});
  }
  return rules;
}

TFecha Jan1() { return TFecha(TDateTime(EncodeDate(2026, 1, 1))); }
TFecha Dec31() { return TFecha(TDateTime(EncodeDate(2026, 12, 31))); }

void BuildManager(TCyclePointMgr& mgr) {
  mgr.RangeStart = TFecha();
  mgr.RangeEnd = TFecha();
  TBasicPointList cycles;
  for (const Rule& r : Rules()) {
    auto* c = new TCyclePoint(TFecha(Jan1().Value() + r.dayOffset * kDay + r.hour * 3600),
                              tptTimetable, TDuration(4 * 3600));
    c->Level = 1;
    switch (r.kind) {
      case Kind::Daily:
        c->Periodicity = tgDay;
        c->WithWeekend = true;
        break;
      case Kind::Weekdays:
        c->Periodicity = tgDay;
        break;
      case Kind::Weekly:
        c->Periodicity = tgWeek;
        c->WithWeekend = true;
        break;
      case Kind::Monthly:
        c->Periodicity = tgMonth;
        c->WithWeekend = true;
        break;
    }
    cycles.push_back(c);
  }
  mgr.AddCycles(cycles, false);  // the manager owns them now
}

unsigned ReferenceCount() {
  TCyclePointMgr mgr;
  BuildManager(mgr);
  return mgr.Expand(Jan1(), Dec31(), true);
}

void SetRate(benchmark::State& state, unsigned occurrences) {
  state.counters["occurrences"] = benchmark::Counter(static_cast<double>(occurrences),
                                                     benchmark::Counter::kIsIterationInvariantRate);
}

void BM_CyclesExpand(benchmark::State& state) {
  TCyclePointMgr mgr;
  BuildManager(mgr);
  unsigned n = 0;
  for (auto _ : state) {
    n = mgr.Expand(Jan1(), Dec31(), true);
    benchmark::DoNotOptimize(n);
  }
  SetRate(state, n);
}
BENCHMARK(BM_CyclesExpand)->Unit(benchmark::kMillisecond);

void BM_PointSetSort(benchmark::State& state) {
  TCyclePointMgr mgr;
  BuildManager(mgr);
  const unsigned n = mgr.Expand(Jan1(), Dec31(), true);
  for (auto _ : state) {
    state.PauseTiming();
    std::stable_sort(
        mgr.Points.begin(), mgr.Points.end(),
        [](const TBasicPoint* a, const TBasicPoint* b) { return a->Group < b->Group; });
    state.ResumeTiming();
    mgr.Sort();
    benchmark::ClobberMemory();
  }
  SetRate(state, n);
}
BENCHMARK(BM_PointSetSort)->Unit(benchmark::kMillisecond);

struct IcalRule {
  icalrecurrencetype recur;
  icaltimetype start;
};

std::vector<IcalRule> IcalRules() {
  std::vector<IcalRule> out;
  for (const Rule& r : Rules()) {
    const char* text = "FREQ=DAILY";
    if (r.kind == Kind::Weekdays) text = "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR";
    if (r.kind == Kind::Weekly) text = "FREQ=WEEKLY";
    if (r.kind == Kind::Monthly) text = "FREQ=MONTHLY";
    icaltimetype start = icaltime_null_time();
    start.year = 2026;
    start.month = 1;
    start.day = 1 + r.dayOffset;
    start.hour = r.hour;
    start.is_date = 0;
    out.push_back({icalrecurrencetype_from_string(text), start});
  }
  return out;
}

void BM_LibicalExpand(benchmark::State& state) {
  const std::vector<IcalRule> rules = IcalRules();
  icaltimetype last = icaltime_null_time();
  last.year = 2026;
  last.month = 12;
  last.day = 31;
  last.hour = 23;
  last.minute = 59;
  last.second = 59;
  const unsigned expected = ReferenceCount();
  std::vector<time_t> out;
  out.reserve(expected);
  for (auto _ : state) {
    out.clear();
    for (const IcalRule& r : rules) {
      icalrecur_iterator* it = icalrecur_iterator_new(r.recur, r.start);
      for (icaltimetype t = icalrecur_iterator_next(it);
           !icaltime_is_null_time(t) && icaltime_compare(t, last) <= 0;
           t = icalrecur_iterator_next(it)) {
        out.push_back(icaltime_as_timet(t));
      }
      icalrecur_iterator_free(it);
    }
    benchmark::DoNotOptimize(out.data());
  }
  if (out.size() != expected) {
    state.SkipWithError(("libical gave " + std::to_string(out.size()) +
                         " occurrences, the manager " + std::to_string(expected))
                            .c_str());
    return;
  }
  SetRate(state, static_cast<unsigned>(out.size()));
}
BENCHMARK(BM_LibicalExpand)->Unit(benchmark::kMillisecond);

void BM_Floor(benchmark::State& state) {
  const unsigned n = ReferenceCount();
  std::vector<TBasicPoint*> points;
  points.reserve(n);
  for (auto _ : state) {
    for (TBasicPoint* p : points) delete p;
    points.clear();
    TFecha cur = Jan1();
    for (unsigned i = 0; i < n; ++i) {
      cur = cur.IncDay(1);
      points.push_back(new TBasicPoint(cur, TDuration(4 * 3600)));
    }
    benchmark::DoNotOptimize(points.data());
  }
  for (TBasicPoint* p : points) delete p;
  SetRate(state, n);
}
BENCHMARK(BM_Floor)->Unit(benchmark::kMillisecond);

}  // namespace
