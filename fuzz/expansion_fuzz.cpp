// Unrolls rules decoded from the input over a range decoded from it, with the
// manager, and checks the result against a walk of every occurrence written
// here step by step: bounds cut to whole days and to the manager's range, each
// rule walked from its own first occurrence, weekends skipped unless allowed,
// the rule's end date included, single intervals kept whole when they touch the
// range. Dates stay within 2023..2027 and rules number at most eight, so each
// input runs in well under a millisecond.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/fecha.h"

namespace {

constexpr int64_t kDay = 86400;

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  unsigned Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  unsigned Word() { return Byte() | (Byte() << 8); }
  // A date of 2023..2027: a day (about 1,400 days) and a time of day whose
  // low values are whole hours, so that day ends and equal starts come often.
  int64_t Date(int64_t base) {
    const int64_t day = Word() % 1400;
    const unsigned t = Word();
    const int64_t secs = (t & 0x8000) != 0 ? (t & 0x7FFF) * 3 % kDay : (t % 24) * 3600;
    return base + day * kDay + secs;
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

using Occurrence =
    std::tuple<int64_t, int64_t, short, int, short>;  // start, length, group, type, level

Occurrence Key(const TBasicPoint* p) {
  return {p->Inicio.Value(), p->Duration.Value(), p->Group, static_cast<int>(p->Type), p->Level};
}

// The occurrences a rule must give between lo and hi (both already whole days).
void Walk(const TCyclePoint& c, TFecha lo, TFecha hi, std::vector<Occurrence>& out) {
  const Occurrence own = Key(&c);
  if (c.Periodicity <= 0) {
    const int64_t start = c.Inicio.Value();
    const int64_t end = start + c.Duration.Value();
    if (start < hi.Value() && end > lo.Value()) out.push_back(own);
    return;
  }
  TFecha cur = c.Inicio;
  const TFecha first = std::max(c.Inicio, lo);
  while (cur < first) cur = cur.IncDays(c.Periodicity);
  const TFecha last = c.EndDate.IsZero() ? hi : std::min(c.EndDate, hi);
  for (; cur <= last; cur = cur.IncDays(c.Periodicity)) {
    if (c.WithWeekend || cur.DayOfWeek() <= 5) {
      Occurrence o = own;
      std::get<0>(o) = cur.Value();
      out.push_back(o);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Reader in(data, size);
  const int64_t base = TFecha(TDateTime(EncodeDate(2023, 1, 1))).Value();
  TCyclePointMgr mgr;
  const unsigned flags = in.Byte();
  mgr.RangeStart = (flags & 1) != 0 ? TFecha(in.Date(base)) : TFecha();
  mgr.RangeEnd = (flags & 2) != 0 ? TFecha(in.Date(base)) : TFecha();
  const TFecha from(in.Date(base));
  const TFecha to(in.Date(base));
  const bool boxes = (flags & 4) != 0;

  const unsigned rules = 1 + in.Byte() % 8;
  TBasicPointList cycles;
  for (unsigned i = 0; i < rules; ++i) {
    auto* c = new TCyclePoint(TFecha(in.Date(base)), static_cast<TTimePointType>(in.Byte() % 14),
                              TDuration(static_cast<int64_t>(in.Word()) * 5));
    c->Level = static_cast<short>(in.Byte() % 4);
    // -2..7: no repeat, the six steps, and a value past them (a day).
    c->Periodicity = static_cast<TTimesGroup>(static_cast<int>(in.Byte() % 10) - 2);
    const unsigned bits = in.Byte();
    c->WithWeekend = (bits & 1) != 0;
    if ((bits & 2) != 0) {
      // An end near the start, before it at times, on an occurrence's own
      // instant at times, or one second either side of it.
      const int64_t shift = static_cast<int64_t>(in.Word() % 800) * kDay - 30 * kDay;
      const int64_t nudge = static_cast<int64_t>((bits >> 2) % 3) - 1;
      c->EndDate = TFecha(c->Inicio.Value() + shift + nudge);
    }
    cycles.push_back(c);
  }
  mgr.AddCycles(cycles, false);  // owned by the manager from here

  TCyclePointMgr::Code = "c";
  TCyclePointMgr::Description = "d";
  const unsigned n = boxes ? mgr.ExpandBoxes(from, to, true) : mgr.Expand(from, to, true);

  // The bounds as a user reads them: the later start, the earlier end, whole days.
  TFecha lo = mgr.RangeStart.IsZero() ? from : std::max(mgr.RangeStart, from);
  TFecha hi = mgr.RangeEnd.IsZero() ? to : std::min(mgr.RangeEnd, to);
  lo = TFecha(lo.Date());
  hi = TFecha(hi.Date() + kDay - 1);
  std::vector<Occurrence> expected;
  short group = 0;
  for (TBasicPoint* p : mgr.Cycles.Points) {
    ++group;
    if (p->Group != group) std::abort();  // rules renumbered from 1 in list order
    Walk(*static_cast<TCyclePoint*>(p), lo, hi, expected);
  }

  if (n != mgr.Points.size() || n != expected.size()) std::abort();
  std::vector<Occurrence> got;
  got.reserve(n);
  for (size_t i = 0; i < mgr.Points.size(); ++i) {
    const TBasicPoint* p = mgr.Points[i];
    if (i > 0 && MinorPoint(p, mgr.Points[i - 1])) std::abort();  // sorted
    if (boxes) {
      const auto* box = dynamic_cast<const TBasicBox*>(p);
      if (box == nullptr || box->Code != "c" || box->Description != "d" ||
          box->End.Value() != p->EndValue())
        std::abort();
    } else if (dynamic_cast<const TBasicBox*>(p) != nullptr ||
               dynamic_cast<const TCyclePoint*>(p) != nullptr) {
      std::abort();  // plain points, not rules
    }
    got.push_back(Key(p));
  }
  std::sort(got.begin(), got.end());
  std::sort(expected.begin(), expected.end());
  if (got != expected) std::abort();

  // Without force a filled expansion stays as it is, whatever the dates (an
  // empty one would run again).
  if (n > 0) {
    const TBasicPoint* head = mgr.Points.front();
    if (mgr.Expand(TFecha(base), TFecha(base + 3000 * kDay), false) != n ||
        mgr.Points.front() != head)
      std::abort();
  }
  return 0;
}
