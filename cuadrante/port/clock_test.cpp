#include "cuadrante/port/clock.h"

#include <gtest/gtest.h>

namespace {

using cuadrante::TManualClock;

TEST(ManualClock, DrivesNowDateAndTodayAndGivesTheClockBack) {
  const TDateTime newYearsEve = EncodeDateTime(2000, 12, 31, 23, 59, 0, 0);
  {
    TManualClock clock(newYearsEve);
    EXPECT_EQ(Now(), newYearsEve);
    EXPECT_EQ(Date(), EncodeDate(2000, 12, 31));
    EXPECT_TRUE(IsToday(EncodeDateTime(2000, 12, 31, 8, 0, 0, 0)));

    clock.AdvanceSeconds(59);
    EXPECT_EQ(Date(), EncodeDate(2000, 12, 31));
    clock.AdvanceSeconds(2);  // over midnight
    EXPECT_EQ(Date(), EncodeDate(2001, 1, 1));
    EXPECT_FALSE(IsToday(newYearsEve));

    {
      // A second manual clock shares the one counter and hands it back set.
      TManualClock inner(EncodeDate(1999, 6, 1));
      EXPECT_EQ(Date(), EncodeDate(1999, 6, 1));
    }
    EXPECT_EQ(Date(), EncodeDate(1999, 6, 1));
    clock.Set(newYearsEve);
    EXPECT_EQ(Now(), newYearsEve);
  }
  // The system clock again: this code was written long after 2000.
  EXPECT_GT(Date(), EncodeDate(2020, 1, 1));
}

TEST(ClockSource, AnInstalledSourceIsReadAndTheOldOneAnswered) {
  const cuadrante::TClockSource fixed = [] { return EncodeDate(2026, 11, 26); };
  EXPECT_EQ(cuadrante::SetClockSource(fixed), nullptr);
  EXPECT_EQ(Date(), EncodeDate(2026, 11, 26));
  EXPECT_EQ(cuadrante::SetClockSource(nullptr), fixed);
  EXPECT_NE(Now(), EncodeDate(2026, 11, 26));
}

}  // namespace
