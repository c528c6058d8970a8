#include "cuadrante/time/basicpoint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "cuadrante/runtime/exception.h"

namespace {

constexpr int64_t kDay = 86400;
constexpr int64_t kHour = 3600;

// Seconds of a wall-clock date and time.
int64_t At(uint16_t year, uint16_t month, uint16_t day, int64_t hour, int64_t minute) {
  return static_cast<int64_t>(EncodeDate(year, month, day).Val) * kDay + hour * kHour + minute * 60;
}

TBasicPoint Point(int64_t start, int64_t duration, int type = 0) {
  TBasicPoint p{TFecha(start), TDuration(duration)};
  p.Type = static_cast<TTimePointType>(type);
  return p;
}

// A borrowed pointer to a point that lives to the end of the full expression.
const TBasicPoint* Of(const TBasicPoint& p) { return &p; }

// A point that shows an end of its own, as the screen boxes do.
class StoredEndPoint : public TBasicPoint {
 public:
  StoredEndPoint(int64_t start, int64_t duration, int64_t end)
      : TBasicPoint(TFecha(start), TDuration(duration)), end_(end) {}
  TFecha GetEndDate() const override { return TFecha(end_); }

 private:
  int64_t end_;
};

TEST(TBasicPoint, ConstructorsStartFromTheDefaults) {
  const TBasicPoint empty;
  EXPECT_EQ(empty.StartValue(), 0);
  EXPECT_EQ(empty.GetDurationValue(), 0);
  EXPECT_EQ(empty.Type, tptNone);
  EXPECT_EQ(empty.Level, 1);
  EXPECT_EQ(empty.Group, 0);
  EXPECT_EQ(empty.GetDuration().Type(), dtDefault);

  const TBasicPoint span(TFecha(kDay), TDuration(kHour, static_cast<TDurationType>(7)));
  EXPECT_EQ(span.StartValue(), kDay);
  EXPECT_EQ(span.GetDurationValue(), kHour);
  EXPECT_EQ(span.GetDuration().Type(), dtDefault);  // only the seconds are taken
  EXPECT_EQ(span.Level, 1);
  EXPECT_EQ(span.Type, tptNone);

  const TDateTime monday = EncodeDate(2026, 11, 23);
  const TBasicPoint hours(monday, 1.5f);
  EXPECT_EQ(hours.StartValue(), At(2026, 11, 23, 0, 0));
  EXPECT_EQ(hours.GetDurationValue(), 5400);
  EXPECT_EQ(hours.Level, 1);
  // 0.7f is a little under 0.7: the product falls short of 2520 and loses that second.
  EXPECT_EQ(TBasicPoint(monday, 0.7f).GetDurationValue(), 2519);
  EXPECT_EQ(TBasicPoint(monday, -0.7f).GetDurationValue(), -2519);
  EXPECT_EQ(TBasicPoint(monday, 0.25f).GetDurationValue(), 900);
  // Hours no float conversion can hold must not be undefined behaviour.
  EXPECT_EQ(TBasicPoint(monday, std::numeric_limits<float>::quiet_NaN()).GetDurationValue(), 0);
  EXPECT_EQ(TBasicPoint(monday, std::numeric_limits<float>::infinity()).GetDurationValue(),
            std::numeric_limits<int64_t>::max());
}

TEST(TBasicPoint, CopiesKeepTheGroupButAssignmentClearsIt) {
  TBasicPoint source = Point(100, 60, tptTask);
  source.Level = 4;
  source.Group = 5;

  const TBasicPoint byPointer(&source);
  const TBasicPoint byValue(source);
  for (const TBasicPoint* copy : {&byPointer, &byValue}) {
    EXPECT_EQ(copy->StartValue(), 100);
    EXPECT_EQ(copy->GetDurationValue(), 60);
    EXPECT_EQ(copy->Type, tptTask);
    EXPECT_EQ(copy->Level, 4);
    EXPECT_EQ(copy->Group, 5);
  }

  std::unique_ptr<TBasicPoint> instance(source.Instance());
  ASSERT_NE(instance.get(), &source);
  EXPECT_EQ(instance->Group, 5);
  EXPECT_EQ(instance->Level, 4);
  EXPECT_TRUE(*instance == source);

  // The factory builds a base point from any class, judged by its own fields.
  StoredEndPoint box(10, 20, 99);
  box.Group = 3;
  std::unique_ptr<TBasicPoint> made(TBasicPoint().Instance(&box));
  EXPECT_EQ(made->StartValue(), 10);
  EXPECT_EQ(made->GetEndDate().Value(), 30);
  EXPECT_EQ(made->Group, 3);

  TBasicPoint target = Point(7, 7);
  target.Group = 9;
  target = source;
  EXPECT_EQ(target.StartValue(), 100);
  EXPECT_EQ(target.GetDurationValue(), 60);
  EXPECT_EQ(target.Type, tptTask);
  EXPECT_EQ(target.Level, 4);
  EXPECT_EQ(target.Group, 0);
}

TEST(TBasicPoint, AccessorsDeriveTheEndFromStartAndDuration) {
  TBasicPoint p = Point(At(2026, 11, 23, 8, 30), 8 * kHour);
  EXPECT_EQ(p.EndValue(), At(2026, 11, 23, 16, 30));
  EXPECT_EQ(p.GetEndDate().Value(), p.EndValue());
  EXPECT_EQ(p.StartDate().Value(), At(2026, 11, 23, 0, 0));
  EXPECT_EQ(p.AsDate().Val, EncodeDate(2026, 11, 23).Val);

  p.SetInicio(TFecha(At(2026, 11, 24, 9, 0)));
  EXPECT_EQ(p.EndValue(), At(2026, 11, 24, 17, 0));
  p.SetDuration(TDuration(60, static_cast<TDurationType>(7)));
  EXPECT_EQ(p.GetDurationValue(), 60);
  EXPECT_EQ(p.GetDuration().Type(), 7);  // the type comes along
  EXPECT_EQ(p.GetInicio().Value(), At(2026, 11, 24, 9, 0));
  p.Type = tptLeave;
  EXPECT_EQ(p.GetType(), tptLeave);

  // EndValue ignores an end that a derived class shows.
  const StoredEndPoint box(10, 20, 99);
  EXPECT_EQ(box.EndValue(), 30);
  EXPECT_EQ(box.GetEndDate().Value(), 99);
}

TEST(TBasicPoint, ClassifiesEveryType) {
  struct Row {
    bool free, task, incidence, assignable, work;
  };
  const Row table[kTimePointTypeCount] = {
      {false, false, false, false, false},  // 0 none
      {true, false, false, false, false},   // 1 free
      {true, false, false, true, true},     // 2 timetable
      {false, true, false, false, true},    // 3 task
      {false, false, false, false, false},  // 4 holiday
      {false, false, false, false, false},  // 5 working holiday
      {false, false, true, false, false},   // 6 incident
      {false, false, true, false, false},   // 7 sick leave
      {false, true, false, true, true},     // 8 cover
      {false, false, true, false, false},   // 9 holiday leave
      {false, true, false, true, true},     // 10 change of post
      {false, true, false, true, true},     // 11 reduced day
      {false, true, false, true, true},     // 12 extended day
      {false, false, false, false, false},  // 13 end of the range
  };
  for (int type = 0; type < kTimePointTypeCount; ++type) {
    const TBasicPoint p = Point(0, 0, type);
    EXPECT_EQ(p.IsFree(), table[type].free) << type;
    EXPECT_EQ(p.IsTask(), table[type].task) << type;
    EXPECT_EQ(p.IsIncidence(), table[type].incidence) << type;
    EXPECT_EQ(p.IsAssignable(), table[type].assignable) << type;
    EXPECT_EQ(p.IsWork(), table[type].work) << type;
  }
  const TBasicPoint odd = Point(0, 0, -3);
  EXPECT_FALSE(odd.IsFree() || odd.IsTask() || odd.IsIncidence() || odd.IsAssignable() ||
               odd.IsWork());
}

TEST(TBasicPoint, IntervalsAreHalfOpen) {
  const TBasicPoint p = Point(10, 10);  // [10, 20)
  EXPECT_FALSE(p.Contain(TFecha(9)));
  EXPECT_TRUE(p.Contain(TFecha(10)));
  EXPECT_TRUE(p.Contain(TFecha(19)));
  EXPECT_FALSE(p.Contain(TFecha(20)));
  EXPECT_TRUE(p.ContainC(TFecha(20)));
  EXPECT_FALSE(p.ContainC(TFecha(21)));
  EXPECT_FALSE(p.ContainC(TFecha(9)));

  // A point of no length contains no instant, not even its own start.
  const TBasicPoint zero = Point(15, 0);
  EXPECT_FALSE(zero.Contain(TFecha(15)));
  EXPECT_TRUE(zero.ContainC(TFecha(15)));
  EXPECT_TRUE(zero.Solap(&p));
  EXPECT_TRUE(p.Solap(&zero));
  EXPECT_TRUE(p.Contain(&zero));

  // Touching at one instant is no overlap.
  EXPECT_FALSE(p.Solap(TFecha(20), TFecha(30)));
  EXPECT_FALSE(p.Solap(TFecha(0), TFecha(10)));
  EXPECT_TRUE(p.Solap(TFecha(19), TFecha(30)));
  EXPECT_TRUE(p.Solap(TFecha(0), TFecha(11)));
  EXPECT_TRUE(p.Solap(TFecha(12), TFecha(13)));
  // The two-date Contain asks for overlap, not containment.
  for (int64_t a : {0, 5, 10, 15, 19, 20, 25}) {
    for (int64_t b : {0, 10, 11, 15, 20, 30}) {
      EXPECT_EQ(p.Contain(TFecha(a), TFecha(b)), p.Solap(TFecha(a), TFecha(b))) << a << ' ' << b;
    }
  }
  EXPECT_TRUE(p.Contain(TFecha(0), TFecha(100)));

  EXPECT_TRUE(p.InitInDay(TFecha(kDay - 1)));
  EXPECT_FALSE(p.InitInDay(TFecha(kDay)));
  EXPECT_TRUE(Point(kDay + 5, 1).InitInDay(TFecha(2 * kDay - 1)));
}

TEST(TBasicPoint, OverlapsBetweenPoints) {
  const TBasicPoint first = Point(10, 10);   // [10, 20)
  const TBasicPoint second = Point(20, 10);  // [20, 30), adjacent
  EXPECT_FALSE(first.Solap(&second));
  EXPECT_FALSE(second.Solap(&first));
  EXPECT_FALSE(first.LeftSolap(&second));
  EXPECT_FALSE(first.RightSolap(&second));
  EXPECT_FALSE(second.LeftSolap(&first));
  EXPECT_FALSE(second.RightSolap(&first));

  const TBasicPoint same = Point(10, 10, tptTask);
  EXPECT_TRUE(first.Solap(&same));
  EXPECT_TRUE(first.Contain(&same));
  EXPECT_FALSE(first.LeftSolap(&same));
  EXPECT_FALSE(first.RightSolap(&same));

  const TBasicPoint later = Point(15, 10);  // [15, 25): starts inside first
  EXPECT_TRUE(first.Solap(&later));
  EXPECT_TRUE(first.LeftSolap(&later));
  EXPECT_FALSE(first.RightSolap(&later));
  EXPECT_TRUE(later.RightSolap(&first));
  EXPECT_FALSE(later.LeftSolap(&first));
  EXPECT_FALSE(first.Contain(&later));

  const TBasicPoint inner = Point(12, 2);  // [12, 14)
  EXPECT_TRUE(first.Contain(&inner));
  EXPECT_FALSE(inner.Contain(&first));
  EXPECT_TRUE(first.LeftSolap(&inner));
  EXPECT_TRUE(first.RightSolap(&inner));
  EXPECT_TRUE(first.Contain(Of(Point(10, 5))));   // equal starts count
  EXPECT_TRUE(first.Contain(Of(Point(15, 5))));   // equal ends count
  EXPECT_FALSE(first.Contain(Of(Point(15, 6))));  // one past the end

  // Equals looks at the interval, == at the type as well, neither at level or group.
  EXPECT_TRUE(first.Equals(&same));
  EXPECT_FALSE(TBasicPoint(first) == same);
  TBasicPoint twin = Point(10, 10);
  twin.Level = 9;
  twin.Group = 4;
  EXPECT_TRUE(twin == first);
  EXPECT_FALSE(first.Equals(Of(Point(10, 11))));
  EXPECT_FALSE(first.Equals(Of(Point(11, 10))));
}

TEST(TBasicPoint, PredicatesJudgeByStartAndDurationNotByTheShownEnd) {
  const StoredEndPoint box(10, 10, 50);  // shows an end of 50, judged as [10, 20)
  EXPECT_FALSE(box.Contain(TFecha(30)));
  EXPECT_FALSE(box.ContainC(TFecha(21)));
  EXPECT_FALSE(box.Solap(TFecha(25), TFecha(40)));
  EXPECT_FALSE(box.Solap(Of(Point(25, 5))));
  EXPECT_TRUE(Point(20, 5).Solap(Of(Point(0, 21))));
  EXPECT_FALSE(Point(20, 5).Solap(&box));
  EXPECT_TRUE(InInterval(&box, Of(Point(20, 1))));
}

TEST(TBasicPoint, IntersectionCutsThisPointToTheOther) {
  TBasicPoint a = Point(10, 10, tptTask);  // [10, 20)
  a.Level = 3;
  a.Group = 7;

  const TBasicPoint overlapping = a.Intersection(Of(Point(15, 15, tptFree)));
  EXPECT_EQ(overlapping.StartValue(), 15);
  EXPECT_EQ(overlapping.EndValue(), 20);
  EXPECT_EQ(overlapping.Type, tptTask);
  EXPECT_EQ(overlapping.Level, 3);
  EXPECT_EQ(overlapping.Group, 7);

  const TBasicPoint inside = a.Intersection(Of(Point(12, 2)));
  EXPECT_EQ(inside.StartValue(), 12);
  EXPECT_EQ(inside.GetDurationValue(), 2);

  const TBasicPoint before = a.Intersection(Of(Point(0, 15)));
  EXPECT_EQ(before.StartValue(), 10);
  EXPECT_EQ(before.GetDurationValue(), 5);

  const TBasicPoint around = a.Intersection(Of(Point(0, 100)));
  EXPECT_EQ(around.StartValue(), 10);
  EXPECT_EQ(around.GetDurationValue(), 10);

  // No overlap test: points apart give a negative length.
  const TBasicPoint apart = a.Intersection(Of(Point(30, 10)));
  EXPECT_EQ(apart.StartValue(), 30);
  EXPECT_EQ(apart.GetDurationValue(), -10);
  const TBasicPoint behind = a.Intersection(Of(Point(0, 5)));
  EXPECT_EQ(behind.StartValue(), 10);
  EXPECT_EQ(behind.GetDurationValue(), -5);

  // The other point's end is the one it shows.
  const StoredEndPoint box(12, 100, 14);
  const TBasicPoint cut = a.Intersection(&box);
  EXPECT_EQ(cut.StartValue(), 12);
  EXPECT_EQ(cut.GetDurationValue(), 2);
}

TEST(TBasicPoint, ComparatorsOrderByStartThenLength) {
  const TBasicPoint early = Point(10, 5);
  const TBasicPoint earlyLong = Point(10, 9);
  const TBasicPoint late = Point(15, 1);
  EXPECT_TRUE(MinorPoint(&early, &earlyLong));
  EXPECT_FALSE(MinorPoint(&earlyLong, &early));
  EXPECT_TRUE(MinorPoint(&earlyLong, &late));
  EXPECT_FALSE(MinorPoint(&late, &early));
  // Equal start and length are equivalent, whatever the type.
  const TBasicPoint twin = Point(10, 5, tptTask);
  EXPECT_FALSE(MinorPoint(&early, &twin));
  EXPECT_FALSE(MinorPoint(&twin, &early));

  EXPECT_FALSE(EqualInit(&early, &earlyLong));
  EXPECT_FALSE(EqualInit(&earlyLong, &early));
  EXPECT_TRUE(EqualInit(&early, &late));
  EXPECT_FALSE(EqualInit(&late, &early));

  const TBasicPoint first = Point(10, 10);
  const TBasicPoint adjacent = Point(20, 10);
  const TBasicPoint overlapping = Point(19, 10);
  EXPECT_TRUE(InInterval(&first, &adjacent));
  EXPECT_FALSE(EndsBefore(&first, &adjacent));
  EXPECT_FALSE(InInterval(&first, &overlapping));
  EXPECT_FALSE(EndsBefore(&first, &overlapping));
  EXPECT_TRUE(EndsBefore(&first, Of(Point(21, 1))));

  std::vector<const TBasicPoint*> sorted{&late, &earlyLong, &early};
  std::sort(sorted.begin(), sorted.end(), MinorPoint);
  EXPECT_EQ(sorted, (std::vector<const TBasicPoint*>{&early, &earlyLong, &late}));
  // The first point that ends after 20: [20, 30), found by the closed-end search.
  const std::vector<TBasicPoint> line{Point(0, 10), Point(10, 10), Point(20, 10)};
  std::vector<const TBasicPoint*> byEnd;
  for (const TBasicPoint& p : line) byEnd.push_back(&p);
  const TBasicPoint probe = Point(20, 0);
  EXPECT_EQ(*std::lower_bound(byEnd.begin(), byEnd.end(), &probe, InInterval), &line[2]);
  EXPECT_EQ(*std::lower_bound(byEnd.begin(), byEnd.end(), &probe, EndsBefore), &line[1]);
}

TEST(TBasicPoint, WritesFourPositionalFields) {
  TBasicPoint p = Point(86400, 3600, tptTimetable);
  p.Group = 5;
  EXPECT_EQ(p.WriteToStr(), "86400;3600;2;1");
  p.Level = -300;
  p.Type = static_cast<TTimePointType>(-1);
  p.SetInicio(TFecha(INT64_MIN));
  p.SetDuration(TDuration(INT64_MAX));
  EXPECT_EQ(p.WriteToStr(), "-9223372036854775808;9223372036854775807;-1;-300");
  EXPECT_EQ(TBasicPoint().WriteToStr(), "0;0;0;1");
}

TEST(TBasicPoint, ReadsFourFieldsAndIgnoresShortTexts) {
  TBasicPoint p = Point(1, 2, tptTask);
  p.Level = 3;
  p.Group = 4;
  p.SetDuration(TDuration(2, static_cast<TDurationType>(7)));

  for (const char* shortText : {"", ";;;", "100;60;3", "100;;60;;3;", "x;y;z"}) {
    p.ReadFromStr(shortText);
    EXPECT_EQ(p.WriteToStr(), "1;2;3;3") << shortText;
  }

  p.ReadFromStr("100;60;3;2;9");
  EXPECT_EQ(p.WriteToStr(), "100;60;3;2");
  EXPECT_EQ(p.Group, 4);                 // not part of the text
  EXPECT_EQ(p.GetDuration().Type(), 7);  // kept as it was
  p.ReadFromStr(";200;;70;6;;8;");       // runs of separators count as one
  EXPECT_EQ(p.WriteToStr(), "200;70;6;8");
  p.ReadFromStr(" -5;-10;+2; 7");
  EXPECT_EQ(p.WriteToStr(), "-5;-10;2;7");
  // Type keeps the low 8 bits, Level the low 16.
  p.ReadFromStr("0;0;258;65537");
  EXPECT_EQ(p.Type, 2);
  EXPECT_EQ(p.Level, 1);
  p.ReadFromStr("0;0;255;40000");
  EXPECT_EQ(p.Type, -1);
  EXPECT_EQ(p.Level, -25536);

  const std::string text = "4004582400;28800;2;1";
  TBasicPoint back;
  back.ReadFromStr(text);
  EXPECT_EQ(back.WriteToStr(), text);
}

TEST(TBasicPoint, ABadFieldRaisesAfterTheFieldsBeforeItAreSet) {
  TBasicPoint p = Point(1, 2, tptTask);
  p.Level = 3;
  EXPECT_THROW(p.ReadFromStr("100;60;x;2"), EConvertError);
  EXPECT_EQ(p.WriteToStr(), "100;60;3;3");

  p = Point(1, 2, tptTask);
  EXPECT_THROW(p.ReadFromStr("x;60;4;2"), EConvertError);
  EXPECT_EQ(p.WriteToStr(), "1;2;3;1");

  EXPECT_THROW(p.ReadFromStr("100;6 0;4;2"), EConvertError);
  EXPECT_EQ(p.WriteToStr(), "100;2;3;1");

  EXPECT_THROW(p.ReadFromStr("5;6;7;99999999999"), EConvertError);
  EXPECT_EQ(p.WriteToStr(), "5;6;7;1");
  EXPECT_THROW(p.ReadFromStr("9223372036854775808;6;7;1"), EConvertError);
  EXPECT_THROW(p.ReadFromStr("1;2;3000000000;1"), EConvertError);

  try {
    p.ReadFromStr("1;2;3;4x");
    ADD_FAILURE() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message, "'4x' is not a valid integer value");
  }
}

TEST(TBasicPoint, TextsForPeople) {
  TBasicPoint p = Point(At(2026, 11, 23, 8, 30), 8 * kHour + 15 * 60, tptTimetable);
  p.Group = 5;
  EXPECT_EQ(p.ToString(0), "8 h 15 min ");
  EXPECT_EQ(p.ToString(1), "08:30 - 16:45");
  EXPECT_EQ(p.ToString(2), "08:30 - 8 h 15 min ");
  EXPECT_EQ(p.ToString(3), "23/11/2026 08:30 - 16:45");
  for (short form : {4, 7, -1, 32767}) {
    EXPECT_EQ(p.ToString(form), "23/11/2026 08:30 - 23/11/2026 16:45") << form;
  }
  EXPECT_EQ(p.ToString(), "23/11/2026 08:30 - 23/11/2026 16:45");
  EXPECT_EQ(p.SmartString(),
            "DATE=23/11/2026 08:30\t\tFIN=23/11/2026 16:45\t\tDURATION=8 h 15 min \t\t"
            "TYPE=2\t\tLEVEL=1\t\tGROUP=5");

  // The end text is the end that the point shows.
  const StoredEndPoint box(At(2026, 11, 23, 8, 30), kHour, At(2026, 11, 24, 10, 0));
  EXPECT_EQ(box.ToString(1), "08:30 - 10:00");
  EXPECT_EQ(box.ToString(), "23/11/2026 08:30 - 24/11/2026 10:00");
  EXPECT_EQ(box.ToString(0), "1 h ");
}

TEST(TBasicPoint, SharedListColourAndTypeLabel) {
  TBasicPoint a;
  TBasicPoint b = Point(5, 5);
  ASSERT_NE(a.GetStrings(), nullptr);
  EXPECT_EQ(a.GetStrings(), b.GetStrings());
  EXPECT_TRUE(a.GetStrings()->empty());

  EXPECT_EQ(a.GetColor(), 0xF0CAA6);
  EXPECT_EQ(a.GetColor() & 0xFF, 0xA6);  // red in the low byte

  EXPECT_EQ(Point(0, 0, tptTimetable).GetTypeStr(), "Horario");
  EXPECT_EQ(Point(0, 0, tptReducedDay).GetTypeStr(), "Reducción Jornada");
  EXPECT_EQ(Point(0, 0, tptNone).GetTypeStr(), "<N/A>");
  EXPECT_EQ(Point(0, 0, tptLast).GetTypeStr(), "<N/A>");
}

}  // namespace
