// Items that overlap one another, each pair told once.
//
// Two items overlap when their half-open intervals share a second: one that
// ends at 10:00 and one that starts at 10:00 do not. An item of no length
// overlaps nothing. One sweep by start with the open items in a heap, so a
// large document costs n log n plus the pairs that are kept.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante::roster {

struct TOverlaps {
  // Every overlapping pair, counted once.
  size_t count = 0;
  // The first `keep` pairs by the later item's start, as indexes into the
  // list (the earlier-starting item first).
  std::vector<std::pair<size_t, size_t>> pairs;
};

// `items` must be sorted by start.
CUADRANTE_API TOverlaps FindOverlaps(const TBasicPointList& items, size_t keep);

}  // namespace cuadrante::roster
