#include "cuadrante/time/basicbox.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"

namespace {

constexpr int64_t kDay = 86400;
constexpr int64_t kHour = 3600;

using cuadrante::testing::At;
using cuadrante::testing::Point;

TBasicBox Box(int64_t start, int64_t duration) {
  const TBasicPoint p = Point(start, duration);
  return TBasicBox(&p);
}

TColor TableColor(int type) { return _GlobalMgr.Colors.at(static_cast<size_t>(type)); }

// Restores the process-wide colour table whatever a test did to it.
struct ColorTableGuard {
  ~ColorTableGuard() { _GlobalMgr.RestartColors(); }
};

TEST(TBasicBox, ConstructorsInstancesAndStoredEnd) {
  const TBasicBox empty;
  EXPECT_EQ(empty.End.Value(), 0);
  EXPECT_EQ(empty.Color, TableColor(0));
  EXPECT_EQ(empty.Code, " ");
  EXPECT_EQ(empty.Description, " ");

  TBasicBox source = Box(kDay, kHour);
  source.Type = tptIncidence;
  source.Level = 3;
  source.Group = 5;
  source.Color = 0x123456;
  source.SetCode("C1");
  source.SetDescription("D1");
  source.End = TFecha(7);  // stale on purpose: copies recompute it
  source.Box = TRect{1, 2, 3, 4};

  TBasicBox copy(&source);
  EXPECT_EQ(copy.WriteToStr(), "86400;3600;6;3;1193046;C1;D1");
  EXPECT_EQ(copy.Group, 5);
  EXPECT_EQ(copy.End.Value(), kDay + kHour);
  EXPECT_EQ(copy.Box.Right, 0);  // the rectangle is not carried over

  // From a point, even one that is a box: colour from the table, blank texts.
  const TBasicBox fromPoint(static_cast<const TBasicPoint*>(&source));
  EXPECT_EQ(fromPoint.Color, TableColor(tptIncidence));
  EXPECT_EQ(fromPoint.Code, " ");
  EXPECT_EQ(fromPoint.Description, " ");
  EXPECT_EQ(fromPoint.GetEndDate().Value(), kDay + kHour);

  const std::unique_ptr<TBasicPoint> same(source.Instance());
  const auto* sameBox = dynamic_cast<TBasicBox*>(same.get());
  ASSERT_NE(sameBox, nullptr);
  EXPECT_EQ(sameBox->Color, 0x123456);
  EXPECT_EQ(sameBox->Code, "C1");
  EXPECT_EQ(sameBox->Description, "D1");
  const std::unique_ptr<TBasicPoint> reset(source.Instance(&source));
  ASSERT_NE(dynamic_cast<TBasicBox*>(reset.get()), nullptr);
  EXPECT_EQ(reset->GetColor(), TableColor(tptIncidence));
  EXPECT_EQ(dynamic_cast<TBasicBox*>(reset.get())->Code, " ");

  // The end is a stored copy: moving the duration shows only in EndValue.
  TBasicBox moving = Box(kDay, kHour);
  moving.SetDuration(TDuration(2 * kHour));
  EXPECT_EQ(moving.GetEndDate().Value(), kDay + kHour);
  EXPECT_EQ(moving.EndValue(), kDay + 2 * kHour);
  moving.RestartEnd();
  EXPECT_EQ(moving.GetEndDate().Value(), kDay + 2 * kHour);
  const TBasicPoint& asPoint = moving;
  moving.SetDuration(TDuration(kHour));
  EXPECT_EQ(asPoint.GetEndDate().Value(), kDay + 2 * kHour);  // virtual dispatch
}

TEST(TBasicBox, ColoursComeFromTheTableAndStayInRange) {
  ColorTableGuard guard;
  for (int type = 0; type <= 13; ++type) {
    const TBasicPoint p = Point(0, 0, type);
    const TBasicBox box(&p);
    EXPECT_EQ(box.GetColor(), TableColor(type)) << type;
    EXPECT_EQ(box.Get3DColor(), 0x808080) << type;
  }
  EXPECT_EQ(TableColor(tptIncidence), 0x0000FF);  // red in the low byte

  // The stored colour stays until RestartColor reads the table again.
  TBasicBox box;
  box.Type = tptCover;
  EXPECT_EQ(box.GetColor(), TableColor(0));
  box.RestartColor();
  const TColor coverColor = TableColor(tptCover);
  EXPECT_EQ(box.GetColor(), coverColor);
  _GlobalMgr.Colors[tptCover] = 0x010203;
  EXPECT_EQ(box.GetColor(), coverColor);
  box.RestartColor();
  EXPECT_EQ(box.GetColor(), 0x010203);

  // Types past either end of the table take the "no type" entry.
  _GlobalMgr.Colors[0] = 0x0A0B0C;
  for (int type : {14, 100, 127, -1, -128}) {
    box.Type = static_cast<TTimePointType>(type);
    box.RestartColor();
    EXPECT_EQ(box.GetColor(), 0x0A0B0C) << type;
    const TBasicPoint p = Point(0, 0, type);
    EXPECT_EQ(TBasicBox(&p).GetColor(), 0x0A0B0C) << type;
  }
  TBasicBox read;
  read.ReadFromStr("0;0;-3;1;5;c;d");  // the type of a text is not checked
  read.RestartColor();
  EXPECT_EQ(read.GetColor(), 0x0A0B0C);
  _GlobalMgr.Colors.clear();
  read.RestartColor();
  EXPECT_EQ(read.GetColor(), 0);
}

TEST(TBasicBox, TextFormRoundTripsAndShortTexts) {
  TBasicBox fresh;
  const std::string freshText = fresh.WriteToStr();
  EXPECT_EQ(freshText, "0;0;0;1;" + std::to_string(TableColor(0)) + "; ; ");
  TBasicBox back = Box(99, 99);
  back.ReadFromStr(freshText);
  EXPECT_EQ(back.WriteToStr(), freshText);
  EXPECT_EQ(back.Code, " ");
  EXPECT_EQ(back.Description, " ");
  EXPECT_EQ(back.End.Value(), 0);

  struct Case {
    std::string text;
    std::string written;  // after reading `text` into a box of "5;6;1;2;3;k;d"
    int64_t end;
  };
  const std::vector<Case> cases = {
      {"86400;3600;2;1;16776960;AB;Desc", "86400;3600;2;1;16776960;AB;Desc", 90000},
      {"-100;-50;12;-7;0;x;y", "-100;-50;12;-7;0;x;y", -150},
      // Level may carry a fraction: truncated toward zero, kept in 16 bits.
      {"1;2;3;4.9;5;c;d", "1;2;3;4;5;c;d", 3},
      {"1;2;3;-2.7;5;c;d", "1;2;3;-2;5;c;d", 3},
      {"1;2;3;70000;5;c;d", "1;2;3;4464;5;c;d", 3},
      // Colour kept in 32 bits, written signed; type kept in 8 bits.
      {"1;2;3;4;4294967295;c;d", "1;2;3;4;-1;c;d", 3},
      {"1;2;3;4;4278190080;c;d", "1;2;3;4;-16777216;c;d", 3},
      {"1;2;260;4;5;c;d", "1;2;4;4;5;c;d", 3},
      // Runs of separators count as one; fields past the seventh are ignored.
      {";;1;;2;3;4;5;c;;d;;", "1;2;3;4;5;c;d", 3},
      {"1;2;3;4;5;c;d;extra;more", "1;2;3;4;5;c;d", 3},
      // A ";" in the code pushes its tail into the description.
      {"1;2;3;4;5;co;de;desc", "1;2;3;4;5;co;de", 3},
      // Fewer than seven fields: nothing changes.
      {"1;2;3;4;5;c", "5;6;1;2;3;k;d", 7},
      {"1;2;3;4;5;;d", "5;6;1;2;3;k;d", 7},
      {"", "5;6;1;2;3;k;d", 7},
      {";;;;;;;", "5;6;1;2;3;k;d", 7},
  };
  for (const Case& c : cases) {
    TBasicBox box;
    box.ReadFromStr("5;6;1;2;3;k;d");
    box.End = TFecha(7);
    box.ReadFromStr(c.text);
    EXPECT_EQ(box.WriteToStr(), c.written) << c.text;
    EXPECT_EQ(box.GetEndDate().Value(), c.end) << c.text;
  }

  // Group is not in the text and survives a read.
  TBasicBox grouped;
  grouped.Group = 9;
  grouped.ReadFromStr("1;2;3;4;5;c;d");
  EXPECT_EQ(grouped.Group, 9);

  // A bad number stops the read; the fields before it are kept.
  TBasicBox bad;
  bad.ReadFromStr("5;6;1;2;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("10;x;1;1;1;c;d"), EConvertError);
  EXPECT_EQ(bad.WriteToStr(), "10;6;1;2;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("11;12;13;14;red;c;d"), EConvertError);
  EXPECT_EQ(bad.WriteToStr(), "11;12;13;14;3;k;d");
  EXPECT_THROW(bad.ReadFromStr("1;2;3;level;5;c;d"), EConvertError);
  EXPECT_EQ(bad.GetEndDate().Value(), 11);  // the end is only set by a whole read

  // Extreme values neither overflow nor lose digits.
  TBasicBox extreme;
  extreme.ReadFromStr("9223372036854775807;-9223372036854775808;-128;-32768;-2147483648;a;b");
  EXPECT_EQ(extreme.WriteToStr(),
            "9223372036854775807;-9223372036854775808;-128;-32768;-2147483648;a;b");
  EXPECT_EQ(extreme.GetEndDate().Value(), -1);
}

TEST(TBasicBox, CalculateBoxMapsTheExactSpan) {
  const int64_t day = At(2026, 11, 23, 0, 0);
  struct Case {
    int64_t start, duration, origin;
    int x0;
    double scale;
    int left, right;
  };
  const std::vector<Case> cases = {
      {day + 8 * kHour + 30 * 60, 30 * 60, day + 8 * kHour, 100, 1.0, 130, 160},
      // Starts before the origin: left 70 is clipped to x0 + 1, right counts from 70.
      {day + 7 * kHour + 30 * 60, 40 * 60, day + 8 * kHour, 100, 1.0, 101, 110},
      // Exactly at the origin: no clipping, x0 is not greater than left.
      {day + 8 * kHour, 60 * 60, day + 8 * kHour, 100, 0.5, 100, 130},
      // Truncation toward zero, not down: -0.5 pixel is 0, and 0 is not clipped.
      {day + 8 * kHour - 30, 90, day + 8 * kHour, 0, 1.0, 0, 1},
      // The left edge is truncated before the right counts from it: 2.5 + 1 gives 3, not 4.
      {day + 90, 150, day, 0, 1.0, 1, 3},
      {day + kDay, kDay, day, 10, 0.1, 154, 298},
  };
  for (const Case& c : cases) {
    TBasicBox box = Box(c.start, c.duration);
    TFecha origin(c.origin);
    int x0 = c.x0;
    double scale = c.scale;
    const TRect row{-5, 10, 9999, 30};
    const TRect r = box.CalculateBox(row, origin, x0, scale);
    EXPECT_EQ(r.Left, c.left) << c.start - c.origin;
    EXPECT_EQ(r.Right, c.right) << c.start - c.origin;
    EXPECT_EQ(r.Top, 10);
    EXPECT_EQ(r.Bottom, 30);
    EXPECT_EQ(box.Box.Left, r.Left);
    EXPECT_EQ(box.Box.Right, r.Right);
  }
}

TEST(TBasicBox, CalculateFullBoxCoversWholeDays) {
  const int64_t day = At(2026, 11, 23, 0, 0);
  struct Case {
    int64_t start, duration, origin;
    int x0;
    double scale;
    int left, right;
  };
  const std::vector<Case> cases = {
      {day + 10 * kHour, 2 * kHour, day, 0, 0.1, 1, 144},
      // Ending on the next day spans two days, whatever the hours.
      {day + 22 * kHour, 4 * kHour, day, 0, 0.1, 1, 288},
      {day, 30 * kHour, day, 0, 0.1, 1, 288},
      {day + 23 * kHour + 59 * 60, 2 * 60, day, 0, 0.1, 1, 288},
      // The second day of the axis.
      {day + kDay + 3 * kHour, kHour, day, 0, 0.1, 145, 288},
      // Less than a whole day before the origin reduces toward zero days.
      {day - kDay + 3 * kHour, kHour, day, 50, 0.1, 51, 194},
      // A whole day before is clipped, and the corrected left counts.
      {day - kDay - 3 * kHour, kHour, day, 0, 0.1, 1, 144},
      {day - kDay - 3 * kHour, kHour, day, 50, 0.1, 51, 194},
      // The difference of the instants is reduced to days, not the days of each.
      {day + kDay + 2 * kHour, kHour, day + 8 * kHour, 0, 0.1, 1, 144},
  };
  for (const Case& c : cases) {
    TBasicBox box = Box(c.start, c.duration);
    TFecha origin(c.origin);
    int x0 = c.x0;
    double scale = c.scale;
    const TRect row{0, -4, 0, 4};
    const TRect r = box.CalculateFullBox(row, origin, x0, scale);
    EXPECT_EQ(r.Left, c.left) << c.start - c.origin;
    EXPECT_EQ(r.Right, c.right) << c.start - c.origin;
    EXPECT_EQ(r.Top, -4);
    EXPECT_EQ(r.Bottom, 4);
    EXPECT_EQ(box.Box.Right, r.Right);
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
}

TEST(TBasicBox, IsPointXInBoxIncludesEveryEdge) {
  TBasicBox box;
  box.Box = TRect{10, 20, 30, 40};
  struct Case {
    int x, y;
    bool inside;
  };
  const std::vector<Case> cases = {
      {10, 25, true}, {30, 25, true},  {15, 20, true},  {15, 40, true},  {10, 20, true},
      {30, 40, true}, {9, 25, false},  {31, 25, false}, {15, 19, false}, {15, 41, false},
      {9, 19, false}, {31, 41, false}, {20, 30, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(box.IsPointXInBox(c.x, c.y), c.inside) << c.x << "," << c.y;
  }
}

TEST(TBasicBox, SmartStringAndTheSharedStrings) {
  TBasicBox box = Box(At(2026, 11, 23, 8, 5), 90 * 60);
  box.Type = tptTimetable;
  box.SetCode("C7");
  box.SetDescription("Turno");
  box.End = TFecha(At(2027, 1, 2, 9, 0));  // the stored end is the one shown
  EXPECT_EQ(box.SmartString(), "Tipo:\t\t" + box.GetTypeStr() +
                                   "\r\nInicio:\t\t23/11/26 08:05\r\nFin:\t\t02/01/27 09:00"
                                   "\r\nDuración:\t\t" +
                                   box.GetDuration().GetSmartString() +
                                   "\r\nCódigo:\t\tC7\r\nDescripción:\tTurno");

  TVectorStrings* first = box.GetStrings();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(*first, (TVectorStrings{"C7", box.ToString(static_cast<short>(2)), "Turno"}));
  EXPECT_EQ((*first)[1].substr(0, 8), "08:05 - ");

  // One list for every box, rebuilt by each call; the point's list is another.
  TBasicBox other;
  TVectorStrings* second = other.GetStrings();
  EXPECT_EQ(second, first);
  EXPECT_EQ(*first, (TVectorStrings{" ", other.ToString(static_cast<short>(2)), " "}));
  TBasicPoint point;
  EXPECT_NE(point.GetStrings(), first);
}

}  // namespace
