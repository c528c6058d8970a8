#include "cuadrante/time/basicbox.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::kDay;
using cuadrante::testing::kHour;
using cuadrante::testing::Point;
using cuadrante::testing::SecondsAt;

TBasicBox Box(int64_t start, int64_t duration) {
  const TBasicPoint p = Point(start, duration);
  return TBasicBox(&p);
}

TColor TableColor(int type) { return _GlobalMgr.Colors.at(static_cast<size_t>(type)); }

TEST(TBasicBox, ConstructorsInstancesAndStoredEnd) {
  TBasicBox source;
  source.ReadFromStr("86400;3600;6;3;1193046;C1;D1");  // an incidence of colour 0x123456
  source.Group = 5;
  source.End = TFecha(7);  // stale on purpose: copies recompute it
  source.Box = TRect{1, 2, 3, 4};

  // From a box, by copy or Instance(): every field but the rectangle, and the
  // end recomputed.
  TBasicBox copied(&source);
  const std::unique_ptr<TBasicPoint> same(source.Instance());
  for (TBasicBox* copy : {&copied, dynamic_cast<TBasicBox*>(same.get())}) {
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->WriteToStr(), "86400;3600;6;3;1193046;C1;D1");
    EXPECT_EQ(copy->Group, 5);
    EXPECT_EQ(copy->End.Value(), kDay + kHour);
    EXPECT_EQ(copy->Box.Right, 0);
  }
  // From a point, even one that is a box: colour from the table, blank texts.
  const TBasicBox fromPoint(static_cast<const TBasicPoint*>(&source));
  const std::unique_ptr<TBasicPoint> reset(source.Instance(&source));
  for (const TBasicPoint* made :
       std::initializer_list<const TBasicPoint*>{&fromPoint, reset.get()}) {
    const auto* box = dynamic_cast<const TBasicBox*>(made);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->Color, TableColor(tptIncidence));
    EXPECT_EQ(box->Code + box->Description, "  ");
    EXPECT_EQ(box->GetEndDate().Value(), kDay + kHour);
  }
  // That the end is a stored copy, which only RestartEnd moves, the full box
  // and the text form show below.
}

TEST(TBasicBox, ColoursComeFromTheTableAndStayInRange) {
  struct RestoreColors {
    ~RestoreColors() { _GlobalMgr.RestartColors(); }
  } restore;
  for (int type = 0; type <= 13; ++type) {
    const TBasicPoint p = Point(0, 0, type);
    EXPECT_EQ(TBasicBox(&p).GetColor(), TableColor(type)) << type;
  }
  TBasicBox box;
  EXPECT_EQ(box.Get3DColor(), 0x808080);

  // The stored colour stays until RestartColor reads the table again.
  box.Type = tptCover;
  EXPECT_EQ(box.GetColor(), TableColor(0));
  _GlobalMgr.Colors[tptCover] = 0x010203;
  box.RestartColor();
  EXPECT_EQ(box.GetColor(), 0x010203);

  // Types past either end of the table take the "no type" entry; an empty
  // table gives black.
  _GlobalMgr.Colors[0] = 0x0A0B0C;
  for (int type : {14, -1}) {
    box.Type = static_cast<TTimePointType>(type);
    box.RestartColor();
    EXPECT_EQ(box.GetColor(), 0x0A0B0C) << type;
  }
  _GlobalMgr.Colors.clear();
  box.RestartColor();
  EXPECT_EQ(box.GetColor(), 0);
}

TEST(TBasicBox, TextFormRoundTripsAndShortTexts) {
  // A fresh box writes the defaults, which read back whole.
  const std::string fresh = TBasicBox().WriteToStr();
  EXPECT_EQ(fresh, "0;0;0;1;" + std::to_string(TableColor(0)) + "; ; ");
  TBasicBox back = Box(99, 99);
  back.ReadFromStr(fresh);
  EXPECT_EQ(back.WriteToStr(), fresh);

  // Each text is read into a box of "5;6;1;2;3;k;d": what it writes then, and its end.
  const std::tuple<std::string, std::string, int64_t> cases[] = {
      {"86400;3600;2;1;16776960;AB;Desc", "86400;3600;2;1;16776960;AB;Desc", 90000},
      {"-100;-50;12;-7;0;x;y", "-100;-50;12;-7;0;x;y", -150},
      // Level may carry a fraction: truncated toward zero, kept in 16 bits.
      {"1;2;3;-2.7;5;c;d", "1;2;3;-2;5;c;d", 3},
      {"1;2;3;70000;5;c;d", "1;2;3;4464;5;c;d", 3},
      // Colour kept in 32 bits, written signed; type kept in 8 bits.
      {"1;2;3;4;4278190080;c;d", "1;2;3;4;-16777216;c;d", 3},
      {"1;2;260;4;5;c;d", "1;2;4;4;5;c;d", 3},
      // A ";" in the code pushes its tail into the description; fields past
      // the seventh are ignored.
      {"1;2;3;4;5;co;de;desc", "1;2;3;4;5;co;de", 3},
      // Fewer than seven fields: nothing changes.
      {"1;2;3;4;5;;c", "5;6;1;2;3;k;d", 7},
  };
  for (const auto& [text, written, end] : cases) {
    TBasicBox box;
    box.ReadFromStr("5;6;1;2;3;k;d");
    box.End = TFecha(7);
    box.Group = 9;
    box.ReadFromStr(text);
    EXPECT_EQ(box.WriteToStr(), written) << text;
    EXPECT_EQ(box.GetEndDate().Value(), end) << text;
    EXPECT_EQ(box.Group, 9) << text;  // not in the text
  }

  // A bad number stops the read; the fields before it are kept, the end is
  // only set by a whole read.
  TBasicBox bad;
  bad.ReadFromStr("5;6;1;2;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("10;x;1;1;1;c;d"), EConvertError);
  EXPECT_EQ(bad.WriteToStr(), "10;6;1;2;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("11;12;13;14;red;c;d"), EConvertError);
  EXPECT_EQ(bad.WriteToStr(), "11;12;13;14;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("1;2;3;level;5;c;d"), EConvertError);
  EXPECT_EQ(bad.GetEndDate().Value(), 11);

  // Extreme values neither overflow nor lose digits.
  TBasicBox extreme;
  extreme.ReadFromStr("9223372036854775807;-9223372036854775808;-128;-32768;-2147483648;a;b");
  EXPECT_EQ(extreme.WriteToStr(),
            "9223372036854775807;-9223372036854775808;-128;-32768;-2147483648;a;b");
  EXPECT_EQ(extreme.GetEndDate().Value(), -1);
}

TEST(TBasicBox, CalculateBoxesMapTheSpanOrTheWholeDays) {
  const int64_t day = SecondsAt(2026, 11, 23, 0, 0);
  // Whole days or the span; start, duration and origin; x0 and scale; then left and right.
  const std::tuple<bool, int64_t, int64_t, int64_t, int, double, int, int> cases[] = {
      // Starts before the origin: left 70 is clipped to x0 + 1, right counts from 70.
      {false, day + 7 * kHour + 30 * 60, 40 * 60, day + 8 * kHour, 100, 1.0, 101, 110},
      // Exactly at the origin: no clipping, x0 is not greater than left.
      {false, day + 8 * kHour, 60 * 60, day + 8 * kHour, 100, 0.5, 100, 130},
      // Truncation toward zero, not down: -0.5 pixel is 0, and 0 is not clipped.
      {false, day + 8 * kHour - 30, 90, day + 8 * kHour, 0, 1.0, 0, 1},
      // The left edge is truncated before the right counts from it: 2.5 + 1 gives 3, not 4.
      {false, day + 90, 150, day, 0, 1.0, 1, 3},
      {false, day + kDay, kDay, day, 10, 0.1, 154, 298},
      // Whole days: one, or two when it ends on the next day, whatever the hours.
      {true, day + 10 * kHour, 2 * kHour, day, 0, 0.1, 1, 144},
      {true, day + 23 * kHour + 59 * 60, 2 * 60, day, 0, 0.1, 1, 288},
      {true, day + kDay + 3 * kHour, kHour, day, 0, 0.1, 145, 288},
      // Less than a whole day before the origin reduces toward zero days; a
      // whole day before is clipped, and the corrected left counts.
      {true, day - kDay + 3 * kHour, kHour, day, 50, 0.1, 51, 194},
      {true, day - kDay - 3 * kHour, kHour, day, 50, 0.1, 51, 194},
      // The difference of the instants is reduced to days, not the days of each.
      {true, day + kDay + 2 * kHour, kHour, day + 8 * kHour, 0, 0.1, 1, 144},
  };
  for (const auto& [full, start, duration, from, axis, pixelsPerMinute, left, right] : cases) {
    TBasicBox box = Box(start, duration);
    TFecha origin(from);
    int x0 = axis;
    double scale = pixelsPerMinute;
    const TRect row{-5, 10, 9999, 30};
    const TRect r = full ? box.CalculateFullBox(row, origin, x0, scale)
                         : box.CalculateBox(row, origin, x0, scale);
    const auto text = [](const TRect& t) {
      return std::to_string(t.Left) + "," + std::to_string(t.Top) + "," + std::to_string(t.Right) +
             "," + std::to_string(t.Bottom);
    };
    EXPECT_EQ(text(r), std::to_string(left) + ",10," + std::to_string(right) + ",30")
        << full << " " << start - from;
    EXPECT_EQ(text(box.Box), text(r));
  }

  // The days come from the stored end, not from the duration.
  TBasicBox stale = Box(day + 10 * kHour, kHour);
  stale.SetDuration(TDuration(kDay));
  TFecha origin(day);
  int x0 = 0;
  double scale = 0.1;
  EXPECT_EQ(stale.CalculateFullBox(TRect{}, origin, x0, scale).Right, 144);
  stale.RestartEnd();
  EXPECT_EQ(stale.CalculateFullBox(TRect{}, origin, x0, scale).Right, 288);

  // Every edge of the box is inside.
  stale.Box = TRect{10, 20, 30, 40};
  for (int x = 9; x <= 31; ++x) {
    for (int y = 19; y <= 41; ++y) {
      EXPECT_EQ(stale.IsPointXInBox(x, y), x >= 10 && x <= 30 && y >= 20 && y <= 40) << x << y;
    }
  }
}

TEST(TBasicBox, SmartStringAndTheSharedStrings) {
  TBasicBox box = Box(SecondsAt(2026, 11, 23, 8, 5), 90 * 60);
  box.Type = tptTimetable;
  box.SetCode("C7");
  box.SetDescription("Turno");
  box.End = TFecha(SecondsAt(2027, 1, 2, 9, 0));  // the stored end is the one shown
  EXPECT_EQ(box.SmartString(), "Tipo:\t\t" + box.GetTypeStr() +
                                   "\r\nInicio:\t\t23/11/26 08:05\r\nFin:\t\t02/01/27 09:00"
                                   "\r\nDuración:\t\t" +
                                   box.GetDuration().GetSmartString() +
                                   "\r\nCódigo:\t\tC7\r\nDescripción:\tTurno");

  // One list for every box, rebuilt by each call; the point's list is another.
  TVectorStrings* first = box.GetStrings();
  EXPECT_EQ(*first, (TVectorStrings{"C7", "08:05 - 1 h 30 min ", "Turno"}));
  TBasicBox other;
  EXPECT_EQ(other.GetStrings(), first);
  EXPECT_EQ(*first, (TVectorStrings{" ", other.ToString(static_cast<short>(2)), " "}));
  TBasicPoint point;
  EXPECT_NE(point.GetStrings(), first);
}

}  // namespace
