#include "cuadrante/time/basicpoint.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/testsupport.h"
#include "cuadrante/time/basicbox.h"
#include "cuadrante/time/cyclepoint.h"

namespace {

using cuadrante::testing::kDay;
using cuadrante::testing::kHour;
using cuadrante::testing::Point;
using cuadrante::testing::SecondsAt;

// A borrowed pointer to a point that lives to the end of the full expression.
const TBasicPoint* Of(const TBasicPoint& p) { return &p; }

// "start;seconds;type;level;group", the whole state of a point in one line.
std::string State(TBasicPoint p) { return p.WriteToStr() + ";" + std::to_string(p.Group); }

// A point that shows an end of its own, as the screen boxes do.
class StoredEndPoint : public TBasicPoint {
 public:
  StoredEndPoint(int64_t start, int64_t duration, int64_t end)
      : TBasicPoint(TFecha(start), TDuration(duration)), end_(end) {}
  TFecha GetEndDate() const override { return TFecha(end_); }

 private:
  int64_t end_;
};

TEST(TBasicPoint, ConstructionCopiesAssignmentAndTheDerivedEnd) {
  const TBasicPoint span(TFecha(kDay), TDuration(kHour, static_cast<TDurationType>(7)));
  EXPECT_EQ(State(span), "86400;3600;0;1;0");
  EXPECT_EQ(span.GetDuration().Type(), dtDefault);  // only the seconds are taken

  // Hours are truncated toward zero to the second: -0.7f is a little above
  // -0.7, so the product falls short of -2520 and loses that second.
  const TDateTime monday = EncodeDate(2026, 11, 23);
  EXPECT_EQ(State(TBasicPoint(monday, 1.5f)),
            std::to_string(SecondsAt(2026, 11, 23, 0, 0)) + ";5400;0;1;0");
  EXPECT_EQ(TBasicPoint(monday, -0.7f).GetDurationValue(), -2519);
  // Hours no float conversion can hold must not be undefined behaviour.
  EXPECT_EQ(TBasicPoint(monday, std::numeric_limits<float>::quiet_NaN()).GetDurationValue(), 0);
  EXPECT_EQ(TBasicPoint(monday, std::numeric_limits<float>::infinity()).GetDurationValue(),
            std::numeric_limits<int64_t>::max());

  // Copies and Instance take all five fields.
  TBasicPoint source = Point(100, 60, tptTask);
  source.Level = 4;
  source.Group = 5;
  EXPECT_EQ(State(TBasicPoint(source)), "100;60;3;4;5");
  const std::unique_ptr<TBasicPoint> instance(source.Instance());
  EXPECT_EQ(State(*instance), "100;60;3;4;5");

  // The factory builds a base point from any class, judged by its own fields.
  StoredEndPoint box(10, 20, 99);
  box.Group = 3;
  std::unique_ptr<TBasicPoint> made(TBasicPoint().Instance(&box));
  EXPECT_EQ(made->GetEndDate().Value(), 30);
  EXPECT_EQ(made->Group, 3);

  // Assignment takes everything but the group, which it clears.
  TBasicPoint target = Point(7, 7);
  target.Group = 9;
  target = source;
  EXPECT_EQ(State(target), "100;60;3;4;0");

  // The day of the start, whatever its time.
  const TBasicPoint p = Point(SecondsAt(2026, 11, 23, 8, 30), 8 * kHour);
  EXPECT_EQ(p.StartDate().Value(), SecondsAt(2026, 11, 23, 0, 0));
  EXPECT_EQ(p.AsDate().Val, EncodeDate(2026, 11, 23).Val);
}

TEST(TBasicPoint, ClassifiesEveryType) {
  // One mark per type 0-13: none, free, timetable, task, holiday, working
  // holiday, incident, sick leave, cover, holiday leave, change of post,
  // reduced day, extended day, end of the range.
  const std::tuple<const char*, bool (TBasicPoint::*)() const, const char*> rows[] = {
      {"IsFree", &TBasicPoint::IsFree, ".XX..........."},
      {"IsTask", &TBasicPoint::IsTask, "...X....X.XXX."},
      {"IsIncidence", &TBasicPoint::IsIncidence, "......XX.X...."},
      {"IsAssignable", &TBasicPoint::IsAssignable, "..X.....X.XXX."},
      {"IsWork", &TBasicPoint::IsWork, "..XX....X.XXX."}};
  ASSERT_EQ(kTimePointTypeCount, 14);
  for (const auto& [name, is, marks] : rows) {
    for (int type = -3; type < kTimePointTypeCount; ++type) {
      const bool expected = type >= 0 && marks[type] == 'X';
      EXPECT_EQ((Point(0, 0, type).*is)(), expected) << name << " of type " << type;
    }
  }
}

TEST(TBasicPoint, IntervalPredicatesAtTheirEdges) {
  const TBasicPoint p = Point(10, 10);  // [10, 20)
  for (int64_t d = 9; d <= 21; ++d) {
    EXPECT_EQ(p.Contain(TFecha(d)), d >= 10 && d < 20) << d;
    EXPECT_EQ(p.ContainC(TFecha(d)), d >= 10 && d <= 20) << d;
  }
  // Against another point [start, start + duration): S = Solap, L = LeftSolap,
  // R = RightSolap, C = Contain, E = Equals, each of p = [10, 20) toward it.
  // Adjacent after and before, identical, starting inside, ending inside,
  // inside, equal starts, equal ends, one past the end, around, of no length
  // inside, and the same start but longer. Against the dates [a, b) of the
  // same span, touching at one instant is no overlap either, and the two-date
  // Contain asks for overlap, not containment.
  const std::tuple<int64_t, int64_t, const char*> rows[] = {
      {20, 10, "....."}, {0, 10, "....."},  {10, 10, "S..CE"}, {15, 10, "SL..."},
      {5, 10, "S.R.."},  {12, 2, "SLRC."},  {10, 5, "S.RC."},  {15, 5, "SL.C."},
      {15, 6, "SL..."},  {0, 100, "S...."}, {15, 0, "SLRC."},  {10, 11, "S...."}};
  for (const auto& [start, duration, marks] : rows) {
    const TBasicPoint q = Point(start, duration);
    const std::string got = std::string(p.Solap(&q) ? "S" : ".") + (p.LeftSolap(&q) ? "L" : ".") +
                            (p.RightSolap(&q) ? "R" : ".") + (p.Contain(&q) ? "C" : ".") +
                            (p.Equals(&q) ? "E" : ".");
    EXPECT_EQ(got, marks) << "[" << start << ", +" << duration << ")";
    EXPECT_EQ(q.Solap(&p), p.Solap(&q)) << start;
    const TFecha a(start), b(start + duration);
    EXPECT_EQ(p.Solap(a, b), p.Solap(&q)) << start;
    EXPECT_EQ(p.Contain(a, b), p.Solap(&q)) << start;
  }
  // == looks at the type as well, neither compares level or group.
  TBasicPoint twin = Point(10, 10);
  twin.Level = 9;
  twin.Group = 4;
  EXPECT_TRUE(twin == p);
  EXPECT_FALSE(p == Point(10, 10, tptTask));
  EXPECT_TRUE(p.Equals(Of(Point(10, 10, tptTask))));

  // The predicates judge by start and duration, never by a shown end.
  const StoredEndPoint box(10, 10, 50);
  EXPECT_FALSE(box.Contain(TFecha(30)));
  EXPECT_FALSE(box.Solap(TFecha(25), TFecha(40)));
  EXPECT_FALSE(Point(20, 5).Solap(&box));
  EXPECT_TRUE(InInterval(&box, Of(Point(20, 1))));

  EXPECT_TRUE(p.InitInDay(TFecha(kDay - 1)));
  EXPECT_FALSE(p.InitInDay(TFecha(kDay)));
  EXPECT_TRUE(Point(kDay + 5, 1).InitInDay(TFecha(2 * kDay - 1)));
}

TEST(TBasicPoint, IntersectionCutsThisPointToTheOther) {
  TBasicPoint a = Point(10, 10, tptTask);  // [10, 20)
  a.Level = 3;
  a.Group = 7;
  // The cut keeps this point's type, level and group. No overlap test: points
  // apart give a negative length.
  const std::pair<TBasicPoint, const char*> rows[] = {
      {Point(15, 15, tptFree), "15;5;3;3;7"}, {Point(12, 2), "12;2;3;3;7"},
      {Point(0, 15), "10;5;3;3;7"},           {Point(0, 100), "10;10;3;3;7"},
      {Point(30, 10), "30;-10;3;3;7"},        {Point(0, 5), "10;-5;3;3;7"}};
  for (const auto& [other, cut] : rows) {
    EXPECT_EQ(State(a.Intersection(&other)), cut)
        << other.StartValue() << " +" << other.GetDurationValue();
  }
  // The other point's end is the one it shows.
  const StoredEndPoint box(12, 100, 14);
  EXPECT_EQ(a.Intersection(&box).GetDurationValue(), 2);
}

TEST(TBasicPoint, ComparatorsOrderByStartThenLength) {
  // M = MinorPoint (by start, then the shorter first), E = EqualInit (by start
  // alone), I = InInterval (a ends at or before b starts), B = EndsBefore (a
  // ends strictly before b starts). The types differ and are not looked at.
  const std::tuple<int64_t, int64_t, int64_t, int64_t, const char*> rows[] = {
      {10, 5, 10, 9, "M..."},   {10, 9, 10, 5, "...."}, {10, 9, 15, 1, "ME.."},
      {15, 1, 10, 5, "...."},   {10, 5, 10, 5, "...."}, {10, 5, 15, 1, "MEI."},
      {10, 10, 19, 10, "ME.."}, {10, 10, 21, 1, "MEIB"}};
  for (const auto& [aStart, aDuration, bStart, bDuration, marks] : rows) {
    const TBasicPoint a = Point(aStart, aDuration);
    const TBasicPoint b = Point(bStart, bDuration, tptTask);
    const std::string got = std::string(MinorPoint(&a, &b) ? "M" : ".") +
                            (EqualInit(&a, &b) ? "E" : ".") + (InInterval(&a, &b) ? "I" : ".") +
                            (EndsBefore(&a, &b) ? "B" : ".");
    EXPECT_EQ(got, marks) << aStart << " +" << aDuration << " vs " << bStart << " +" << bDuration;
  }
}

TEST(TBasicPoint, PositionalTextOfFourFields) {
  TBasicPoint p = Point(86400, 3600, tptTimetable);
  EXPECT_EQ(p.WriteToStr(), "86400;3600;2;1");
  // The widest text there is: 54 characters.
  p.Level = INT16_MIN;
  p.Type = static_cast<TTimePointType>(INT8_MIN);
  p.SetInicio(TFecha(INT64_MIN));
  p.SetDuration(TDuration(INT64_MIN));
  EXPECT_EQ(p.WriteToStr(), "-9223372036854775808;-9223372036854775808;-128;-32768");

  p = Point(1, 2, tptTask);
  p.Level = 3;
  p.Group = 4;
  p.SetDuration(TDuration(2, static_cast<TDurationType>(7)));
  // Fewer than four fields change nothing; the reader never looks at them.
  p.ReadFromStr("100;;60;;3;");
  EXPECT_EQ(State(p), "1;2;3;3;4");
  const std::pair<const char*, const char*> rows[] = {
      {"100;60;3;2;9", "100;60;3;2;4"},    // the group is no part of the text
      {";200;;70;6;;8;", "200;70;6;8;4"},  // runs of separators count as one
      {" -5;-10;+2; 7", "-5;-10;2;7;4"},
      {"0;0;255;40000", "0;0;-1;-25536;4"},  // type kept in 8 bits, level in 16
      {"4004582400;28800;2;1", "4004582400;28800;2;1;4"},
  };
  for (const auto& [text, state] : rows) {
    p.ReadFromStr(text);
    EXPECT_EQ(State(p), state) << text;
  }
  EXPECT_EQ(p.GetDuration().Type(), 7);  // kept as it was

  // A field that is no number raises after the fields before it were set.
  const std::pair<const char*, const char*> bad[] = {{"100;60;x;2", "100;60;3;3"},
                                                     {"x;60;4;2", "1;2;3;3"},
                                                     {"100;6 0;4;2", "100;2;3;3"},
                                                     {"5;6;7;99999999999", "5;6;7;3"},
                                                     {"9223372036854775808;6;7;1", "1;2;3;3"}};
  for (const auto& [text, state] : bad) {
    p = Point(1, 2, tptTask);
    p.Level = 3;
    EXPECT_THROW(p.ReadFromStr(text), EConvertError) << text;
    EXPECT_EQ(p.WriteToStr(), state) << text;
  }
  EXPECT_EQ(
      cuadrante::testing::ErrorOf<EConvertError>([] { TBasicPoint().ReadFromStr("1;2;3;4x"); }),
      "'4x' is not a valid integer value");
}

TEST(TBasicPoint, TextsForPeople) {
  TBasicPoint p = Point(SecondsAt(2026, 11, 23, 8, 30), 8 * kHour + 15 * 60, tptTimetable);
  p.Group = 5;
  const char* const forms[] = {"8 h 15 min ", "08:30 - 16:45", "08:30 - 8 h 15 min ",
                               "23/11/2026 08:30 - 16:45"};
  for (short form = 0; form < 4; ++form) EXPECT_EQ(p.ToString(form), forms[form]) << form;
  for (short form : {4, -1}) EXPECT_EQ(p.ToString(form), p.ToString()) << form;
  EXPECT_EQ(p.ToString(), "23/11/2026 08:30 - 23/11/2026 16:45");
  EXPECT_EQ(p.SmartString(),
            "DATE=23/11/2026 08:30\t\tFIN=23/11/2026 16:45\t\tDURATION=8 h 15 min \t\t"
            "TYPE=2\t\tLEVEL=1\t\tGROUP=5");

  // The end text is the end that the point shows.
  const StoredEndPoint box(SecondsAt(2026, 11, 23, 8, 30), kHour, SecondsAt(2026, 11, 24, 10, 0));
  EXPECT_EQ(box.ToString(1), "08:30 - 10:00");
  EXPECT_EQ(box.ToString(), "23/11/2026 08:30 - 24/11/2026 10:00");

  TBasicPoint a;
  EXPECT_EQ(a.GetStrings(), p.GetStrings());  // one list shared by the class
  EXPECT_EQ(a.GetColor(), 0xF0CAA6);
  EXPECT_EQ(Point(0, 0, tptReducedDay).GetTypeStr(), "Reducción Jornada");
  EXPECT_EQ(Point(0, 0, tptNone).GetTypeStr() + Point(0, 0, tptLast).GetTypeStr(), "<N/A><N/A>");
}

TEST(TBasicPoint, StoredFormsRefuseAnEndPastTheLargestTime) {
  const std::string big = std::to_string(std::numeric_limits<int64_t>::max() - 10);
  const std::string small = std::to_string(std::numeric_limits<int64_t>::min() + 10);
  TBasicPoint point;
  TBasicBox box;
  TCyclePoint cycle;
  for (const std::string& fields : {big + ";11", big + ";9223372036854775807", small + ";-11"}) {
    EXPECT_THROW(point.ReadFromStr(fields + ";1;0"), EConvertError) << fields;
    EXPECT_THROW(box.ReadFromStr(fields + ";1;0;0;c;d"), EConvertError) << fields;
    EXPECT_THROW(cycle.ReadFromStr(fields + ";1;0;2;0;0;0"), EConvertError) << fields;
  }
  // Up to the last value is an end that exists.
  point.ReadFromStr(big + ";10;1;0");
  EXPECT_EQ(point.Duration.Value(), 10);
  EXPECT_NE(cuadrante::testing::ErrorOf<EConvertError>([&] {
              point.ReadFromStr(big + ";11;1;0");
            }).find("largest time"),
            std::string::npos);
}

}  // namespace
