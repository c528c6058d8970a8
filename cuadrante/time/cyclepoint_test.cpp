#include "cuadrante/time/cyclepoint.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"

namespace {

// Every field of a cycle point, `Group` included, in one line.
std::string State(const TCyclePoint& c) {
  TCyclePoint copy(&c);
  return copy.WriteToStr() + "|" + std::to_string(c.Group);
}

TCyclePoint Sample() {
  TCyclePoint c(TFecha(86400), tptTimetable, TDuration(3600));
  c.Level = 1;
  c.Periodicity = tgWeek;
  return c;
}

TEST(TCyclePoint, ConstructorsSetTheirOwnLevelAndCopyEveryField) {
  // The day-count constructor keeps the point's level 1; the TFecha one sets 0
  // and keeps the duration's type.
  EXPECT_EQ(State(TCyclePoint(TDateTime(1.5), tptTask, 2.5F)), "129600;9000;3;1;0;0;0;0|0");
  const TCyclePoint fromFecha(TFecha(500), tptCover, TDuration(60, static_cast<TDurationType>(7)));
  EXPECT_EQ(State(fromFecha), "500;60;8;0;0;0;0;0|0");
  EXPECT_EQ(fromFecha.GetDuration().Type(), static_cast<TDurationType>(7));

  TCyclePoint source = Sample();
  source.Group = 4;
  source.WithWeekend = true;
  source.CycleTag = -77;
  source.SetEndDate(TFecha(999999));
  const std::string whole = "86400;3600;2;1;2;1;-77;999999|4";
  EXPECT_EQ(State(TCyclePoint(source)), whole);
  for (TBasicPoint* made : {source.Instance(), TCyclePoint().Instance(&source)}) {
    const std::unique_ptr<TBasicPoint> owned(made);
    ASSERT_NE(dynamic_cast<TCyclePoint*>(made), nullptr);
    EXPECT_EQ(State(*static_cast<TCyclePoint*>(made)), whole);
  }

  // The end is the cycle's, while the interval tests judge the first occurrence.
  EXPECT_EQ(source.GetEndDate(), 999999);
  EXPECT_FALSE(source.Contain(TFecha(86400 + 3600)));
  EXPECT_NE(source.SmartString().find("FIN=" + TFecha(999999).ToString("dd/mm/yyyy hh:mm")),
            std::string::npos);
}

TEST(TCyclePoint, TextFormRoundTripsAndIgnoresShortTexts) {
  // Extremes of every width survive the round trip; `Group` is left alone.
  TCyclePoint wide;
  wide.Inicio = TFecha(INT64_MIN);
  wide.Duration = TDuration(INT64_MAX);
  wide.Type = static_cast<TTimePointType>(-128);
  wide.Level = -32768;
  wide.Periodicity = static_cast<TTimesGroup>(127);
  wide.WithWeekend = true;
  wide.CycleTag = INT32_MIN;
  wide.EndDate = TFecha(INT64_MAX);
  const std::string text = wide.WriteToStr();
  EXPECT_EQ(text,
            "-9223372036854775808;9223372036854775807;-128;-32768;127;1;-2147483648;"
            "9223372036854775807");
  TCyclePoint back;
  back.Group = 9;
  back.ReadFromStr(text);
  EXPECT_EQ(State(back), text + "|9");

  // Each read into Sample() with Group 3.
  const std::pair<const char*, const char*> rows[] = {
      {"1;2;3;4;;5;6;7", "86400;3600;2;1;2;0;0;0|3"},      // seven fields: nothing changes
      {"1;2;3;4;5;6;7;8;junk;more", "1;2;3;4;5;1;7;8|3"},  // extra fields ignored
      {"1;2;258;4;-1;0;7;0", "1;2;2;4;-1;0;7;0|3"},        // type kept in 8 bits
      {"1;2;3;65540;300;-2;7;0", "1;2;3;4;44;1;7;0|3"},    // level 16, periodicity 8 bits
      {"1;2;3;-4.9;5;0;7;0", "1;2;3;-4;5;0;7;0|3"},        // level truncated toward zero
      {"1;2;3;1e300;5;0;7;0", "1;2;3;0;5;0;7;0|3"},        // beyond any integer: 0
      {"1;2;3;70000.7;5;0;7;0", "1;2;3;4464;5;0;7;0|3"},   // truncated, then 16 bits
  };
  for (const auto& [in, state] : rows) {
    TCyclePoint c = Sample();
    c.Group = 3;
    c.ReadFromStr(in);
    EXPECT_EQ(State(c), state) << in;
  }

  // A bad field raises after the fields before it were assigned.
  const std::pair<const char*, const char*> bad[] = {
      {"x;2;3;4;5;6;7;8", "86400;3600;2;1;2;0;0;0|0"},
      {"1;2;3;4;5;1;7;end", "1;2;3;4;5;1;7;0|0"},
      {"1;2;3;4;5;yes;7;8", "1;2;3;4;5;0;0;0|0"},
      {"1;2;3;four;5;0;7;8", "1;2;3;1;2;0;0;0|0"}};
  for (const auto& [in, state] : bad) {
    TCyclePoint c = Sample();
    EXPECT_THROW(c.ReadFromStr(in), EConvertError) << in;
    EXPECT_EQ(State(c), state) << in;
  }
}

TEST(TCyclePoint, ColourFollowsTheTypeAtEachCall) {
  ASSERT_EQ(_GlobalMgr.Colors.size(), 14u);
  TCyclePoint c;
  for (int type = 0; type < 14; ++type) {
    c.Type = static_cast<TTimePointType>(type);
    EXPECT_EQ(c.GetColor(), _GlobalMgr.Colors[static_cast<size_t>(type)]) << type;
  }
  // The table is read at each call, not copied into the object.
  const TColor saved = _GlobalMgr.Colors[tptLast];
  _GlobalMgr.Colors[tptLast] = 0x123456;
  EXPECT_EQ(c.GetColor(), 0x123456u);
  _GlobalMgr.Colors[tptLast] = saved;
  // Outside the table, the plain point's colour instead of a read past its end.
  for (int type : {14, -1}) {
    c.Type = static_cast<TTimePointType>(type);
    EXPECT_EQ(c.GetColor(), TBasicPoint().GetColor()) << type;
  }
}

}  // namespace
