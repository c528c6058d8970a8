#include "cuadrante/roster/overlaps.h"

#include <algorithm>
#include <functional>
#include <queue>

namespace cuadrante::roster {

TOverlaps FindOverlaps(const TBasicPointList& items, size_t keep) {
  TOverlaps found;
  // The items still open at the current start, the one that ends first on top.
  using TOpen = std::pair<int64_t, size_t>;  // end, index
  std::priority_queue<TOpen, std::vector<TOpen>, std::greater<>> open;
  for (size_t index = 0; index < items.size(); ++index) {
    const TBasicPoint& item = *items[index];
    if (item.EndValue() <= item.StartValue()) continue;
    while (!open.empty() && open.top().first <= item.StartValue()) open.pop();
    found.count += open.size();
    if (found.pairs.size() < keep && !open.empty()) {
      // The heap's order is not by start; gather and sort the few that are kept.
      std::vector<TOpen> earlier;
      auto copy = open;
      while (!copy.empty()) {
        earlier.push_back(copy.top());
        copy.pop();
      }
      std::sort(earlier.begin(), earlier.end(),
                [](const TOpen& a, const TOpen& b) { return a.second < b.second; });
      for (const TOpen& other : earlier) {
        if (found.pairs.size() == keep) break;
        found.pairs.emplace_back(other.second, index);
      }
    }
    open.emplace(item.EndValue(), index);
  }
  return found;
}

}  // namespace cuadrante::roster
