#include "cuadrante/points/range.h"

#include <algorithm>

namespace cuadrante {

TRange DaysRange(TFecha firstDay, TFecha lastDay) {
  return {TFecha(firstDay.Date()).Value(), lastDay.Date() + kSecondsPerDay};
}

bool Belongs(const TBasicPoint& item, TRange range) {
  if (item.GetDurationValue() <= 0) {
    return range.start <= item.StartValue() && item.StartValue() < range.end;
  }
  return item.StartValue() < range.end && item.EndValue() > range.start;
}

size_t ExpandRange(TCyclePointMgr& rules, TFecha firstDay, TFecha lastDay, bool boxes) {
  // The expansion takes occurrences that start in its range; one that starts
  // as early as the longest rule lasts may still reach into ours.
  int64_t longest = 0;
  for (const TBasicPoint* rule : rules.Cycles.Points)
    longest = std::max(longest, rule->GetDurationValue());
  const TRange range = DaysRange(firstDay, lastDay);
  const TFecha from(range.start - longest);
  if (boxes) {
    rules.ExpandBoxes(from, lastDay, true);
  } else {
    rules.Expand(from, lastDay, true);
  }
  // Dropped from the list directly: a deletion through the manager would be
  // carried back into the rules as an exception to them.
  auto& points = rules.Points;
  const auto outside =
      std::stable_partition(points.begin(), points.end(),
                            [range](const TBasicPoint* item) { return Belongs(*item, range); });
  for (auto it = outside; it != points.end(); ++it) delete *it;
  points.erase(outside, points.end());
  return points.size();
}

std::optional<TSpan> SpanOf(const TBasicPointList& sorted) {
  if (sorted.empty()) return std::nullopt;
  int64_t last = sorted.front()->StartValue();
  for (const TBasicPoint* point : sorted)
    last = std::max({last, point->StartValue(), point->EndValue() - 1});
  return TSpan{TFecha(sorted.front()->GetInicio().Date()), TFecha(last)};
}

TDuration ElapsedIn(const TZone& zone, const TBasicPoint& point) {
  return zone.Elapsed(point.GetInicio(), TFecha(point.EndValue()));
}

TDuration ElapsedIn(const TZone& zone, const TBasicPointList& points) {
  int64_t seconds = 0;
  for (const TBasicPoint* point : points) seconds += ElapsedIn(zone, *point).Value();
  return TDuration(seconds);
}

}  // namespace cuadrante
