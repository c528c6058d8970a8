#include "cuadrante/roster/overlaps.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using cuadrante::roster::FindOverlaps;

// Owns the items and lists them sorted by start.
struct Items {
  void Add(int64_t start, int64_t seconds) {
    set.Add(new TBasicPoint(TFecha(start), TDuration(seconds)));
  }
  const TBasicPointList& Sorted() {
    set.Sort();
    return set.Points;
  }
  TBasicPointMgr set;
};

TEST(FindOverlaps, NamesEachOverlappingPairOnceAndTouchingEndsDoNot) {
  Items items;
  const int64_t h = 3600;
  items.Add(8 * h, 8 * h);   // 08-16
  items.Add(9 * h, 1 * h);   // 09-10
  items.Add(10 * h, 8 * h);  // 10-18: overlaps 08-16 but not 09-10, which ends at 10
  items.Add(18 * h, 2 * h);  // 18-20 touches 10-18
  items.Add(12 * h, 0);      // no length
  // Sorted, 08-16 is item 0, 09-10 item 1 and 10-18 item 2. Only the first
  // `keep` pairs are named; every pair is counted.
  using Pairs = std::vector<std::pair<size_t, size_t>>;
  const auto found = FindOverlaps(items.Sorted(), 10);
  EXPECT_EQ(found.count, 2u);
  EXPECT_EQ(found.pairs, (Pairs{{0, 1}, {0, 2}}));
  EXPECT_EQ(FindOverlaps(items.Sorted(), 1).pairs, (Pairs{{0, 1}}));
  EXPECT_EQ(FindOverlaps(items.Sorted(), 0).count, 2u);
}

TEST(FindOverlaps, AgreesWithEveryPairCompared) {
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    Items items;
    const int count = 1 + static_cast<int>(random() % 60);
    for (int i = 0; i < count; ++i) items.Add(random() % 500, random() % 80);
    const TBasicPointList& list = items.Sorted();
    std::set<std::pair<size_t, size_t>> expected;
    for (size_t a = 0; a < list.size(); ++a) {
      for (size_t b = a + 1; b < list.size(); ++b) {
        const bool empty = list[a]->GetDurationValue() == 0 || list[b]->GetDurationValue() == 0;
        if (!empty && list[a]->StartValue() < list[b]->EndValue() &&
            list[b]->StartValue() < list[a]->EndValue()) {
          expected.insert({a, b});
        }
      }
    }
    const auto found = FindOverlaps(list, SIZE_MAX);
    EXPECT_EQ(found.count, expected.size());
    const std::set<std::pair<size_t, size_t>> pairs(found.pairs.begin(), found.pairs.end());
    EXPECT_EQ(pairs, expected);
  }
}

}  // namespace
