#include "cuadrante/time/zone.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/chrono.h"

namespace {

using namespace cuadrante;

using cuadrante::testing::At;

const char* const kZones[] = {"Europe/Madrid", "America/New_York", "Australia/Sydney"};

// glibc's own reading of the tz database, through TZ: the offset at an instant.
// The TZ the process had comes back when it goes.
class SystemZone {
 public:
  explicit SystemZone(const char* name) {
    if (const char* old = std::getenv("TZ")) saved_ = old;
    setenv("TZ", name, 1);
    tzset();
  }
  ~SystemZone() {
    saved_ ? setenv("TZ", saved_->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
  static long Offset(int64_t utc) {
    const time_t at = static_cast<time_t>(utc);
    tm local{};
    localtime_r(&at, &local);
    return local.tm_gmtoff;
  }

 private:
  std::optional<std::string> saved_;
};

TEST(TZone, ChangesAndOffsetsAgreeWithTheSystemsReadingOfTheTzDatabase) {
  for (const char* name : kZones) {
    const TZone zone = TZone::Find(name);
    const SystemZone system(name);
    const int64_t from = ToChrono(At(2000, 1, 1)).time_since_epoch().count();
    const int64_t to = ToChrono(At(2031, 1, 1)).time_since_epoch().count();
    // Every change glibc shows, found hour by hour and pinned to the second.
    std::vector<int64_t> expected;
    for (int64_t t = from; t + 3600 <= to; t += 3600) {
      if (SystemZone::Offset(t) == SystemZone::Offset(t + 3600)) continue;
      int64_t low = t, high = t + 3600;
      while (high - low > 1) {
        const int64_t mid = (low + high) / 2;
        (SystemZone::Offset(mid) == SystemZone::Offset(t) ? low : high) = mid;
      }
      expected.push_back(high);
    }
    std::vector<int64_t> got;
    const auto instant = [](int64_t utc) {
      return std::chrono::sys_seconds(std::chrono::seconds(utc));
    };
    for (const TZoneChange& change : zone.Changes(instant(from), instant(to))) {
      if (change.offsetBefore == change.offsetAfter) continue;
      const int64_t utc = change.utc.time_since_epoch().count();
      got.push_back(utc);
      EXPECT_EQ(change.offsetBefore, SystemZone::Offset(utc - 1)) << name;
      EXPECT_EQ(change.offsetAfter, SystemZone::Offset(utc)) << name;
      EXPECT_EQ(zone.OffsetAt(change.utc), change.offsetAfter) << name;
      // The hour after the change as the clock shows it maps back to its instant.
      const int64_t after = utc + 1800;
      const TFecha wall = zone.ToWall(instant(after));
      const std::chrono::seconds shown(after + SystemZone::Offset(after));
      EXPECT_EQ(wall.Value(), FromChrono(std::chrono::sys_seconds(shown)).Value()) << name;
      // After a step back that clock time came once already: it counts as the first.
      const bool back = change.offsetAfter < change.offsetBefore;
      EXPECT_EQ(zone.Kind(wall), back ? TWallKind::kAmbiguous : TWallKind::kUnique) << name;
      EXPECT_EQ(zone.ToUtc(wall),
                instant(after - (back ? change.offsetBefore - change.offsetAfter : 0)))
          << name;
    }
    EXPECT_EQ(got, expected) << name;
    EXPECT_EQ(got.size(), 62u) << name;  // two a year for 31 years
  }
  EXPECT_THROW(TZone::Find("Europe/Atlantis"), EConvertError);
}

TEST(TZone, ElapsedHoursAcrossTheChangesAndTimesThatDoNotExistOrHappenTwice) {
  const TZone madrid = TZone::Find("Europe/Madrid");
  EXPECT_EQ(madrid.Elapsed(At(2026, 3, 28, 22), At(2026, 3, 29, 6)).Value(), 7 * 3600);
  EXPECT_EQ(madrid.Elapsed(At(2026, 10, 24, 22), At(2026, 10, 25, 6)).Value(), 9 * 3600);
  EXPECT_EQ(madrid.Elapsed(At(2026, 11, 24, 22), At(2026, 11, 25, 6)).Value(), 8 * 3600);
  EXPECT_EQ(madrid.Kind(At(2026, 3, 29, 2, 30)), TWallKind::kNonexistent);
  EXPECT_EQ(madrid.Kind(At(2026, 3, 29, 1, 59)), TWallKind::kUnique);
  EXPECT_EQ(madrid.Kind(At(2026, 3, 29, 3, 0)), TWallKind::kUnique);
  EXPECT_EQ(madrid.Kind(At(2026, 10, 25, 2, 30)), TWallKind::kAmbiguous);
  // A time in the gap counts from the change: 02:30 and 03:00 are one instant.
  EXPECT_EQ(madrid.ToUtc(At(2026, 3, 29, 2, 30)), madrid.ToUtc(At(2026, 3, 29, 3, 0)));
  EXPECT_EQ(WallProblem(madrid, At(2026, 3, 29, 2, 30)),
            "2026-03-29 02:30 does not exist in Europe/Madrid (the clocks go from 02:00 to "
            "03:00); it counts from 03:00");
  EXPECT_EQ(WallProblem(madrid, At(2026, 10, 25, 2, 30)),
            "2026-10-25 02:30 happens twice in Europe/Madrid (the clocks go back); it counts as "
            "the first");
  EXPECT_EQ(WallProblem(madrid, At(2026, 10, 25, 3, 0)), "");
  // In Sydney the seasons turn: clocks go back in April, forward in October.
  const TZone sydney = TZone::Find("Australia/Sydney");
  EXPECT_EQ(sydney.Elapsed(At(2026, 4, 4, 22), At(2026, 4, 5, 6)).Value(), 9 * 3600);
  EXPECT_EQ(sydney.Elapsed(At(2026, 10, 3, 22), At(2026, 10, 4, 6)).Value(), 7 * 3600);
  const TZone newYork = TZone::Find("America/New_York");
  EXPECT_EQ(newYork.Elapsed(At(2026, 3, 7, 22), At(2026, 3, 8, 6)).Value(), 7 * 3600);
  EXPECT_EQ(newYork.Kind(At(2026, 3, 8, 2, 30)), TWallKind::kNonexistent);
}

// Wall-clock values, lengths and instants are apart: a wall-clock time where an
// instant belongs, or a count of seconds where either belongs, does not compile.
static_assert(!std::is_invocable_v<decltype(&TZone::ToWall), const TZone&, TFecha>);
static_assert(!std::is_invocable_v<decltype(&TZone::ToWall), const TZone&, int64_t>);
static_assert(!std::is_invocable_v<decltype(&TZone::OffsetAt), const TZone&, TFecha>);
static_assert(
    !std::is_invocable_v<decltype(&TZone::ToUtc), const TZone&, std::chrono::sys_seconds>);
static_assert(!std::is_convertible_v<decltype(std::declval<TZone>().Elapsed({}, {})), int64_t>);

}  // namespace
