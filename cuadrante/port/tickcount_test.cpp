#include "cuadrante/port/tickcount.h"

#include <gtest/gtest.h>

namespace {

uint32_t Fixed() { return 42; }

TEST(GetTickCount, ReadsTheInstalledSourceAndWrapsLikeTheCounter) {
  // The system clock moves forward between two readings (modulo the wrap).
  const uint32_t before = GetTickCount();
  EXPECT_LT(GetTickCount() - before, 1000u);

  const cuadrante::TTickSource system = cuadrante::SetTickSource(&Fixed);
  EXPECT_EQ(system, nullptr);
  EXPECT_EQ(GetTickCount(), 42u);
  {
    cuadrante::TManualTicks ticks(0xFFFFFF00u);
    EXPECT_EQ(GetTickCount(), 0xFFFFFF00u);
    ticks.Advance(0x200);
    EXPECT_EQ(GetTickCount(), 0x100u);  // wrapped
    ticks.Set(7);
    EXPECT_EQ(GetTickCount(), 7u);
  }
  EXPECT_EQ(GetTickCount(), 42u);  // the source it replaced is back
  EXPECT_EQ(cuadrante::SetTickSource(system), &Fixed);
}

}  // namespace
