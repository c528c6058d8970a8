#include "cuadrante/operations/operationprogress.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "cuadrante/port/application.h"
#include "cuadrante/port/tickcount.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::TManualTicks;

TEST(TOperationProgress, WritesItsNineFieldsAndReadsThemBack) {
  TManualTicks ticks(5000);
  TOperationProgress record;
  EXPECT_EQ(record.WriteToStr(), "<N/A>;<N/A>;5000;5000;0;0;0;0;");
  record.SetDescription("Cálculo de cuadrante");
  record.SetActualPhase("Fase 2");
  record.SetLastReport(-1);  // its 32 bits, unchanged
  record.SetProgress(-5);
  record.SetActualCount(123456);
  record.SetFinalType(259);  // the low 8 bits: 3
  record.SetXMLResult("<r a=\"1\"/>");
  const AnsiString text = "Cálculo de cuadrante;Fase 2;5000;4294967295;-5;0;123456;3;<r a=\"1\"/>";
  EXPECT_EQ(record.WriteToStr(), text);
  record.SetFinalType(-1);  // sign-extended on the way out
  EXPECT_EQ(record.GetFinalType(), -1);

  ticks.Set(0xFFFFFF00u);  // a record made just before the wrap of the counter
  TOperationProgress back;
  back.ReadFromStr(text + ";ignored");
  EXPECT_EQ(back.WriteToStr(), text);
  EXPECT_EQ(TOperationProgress(&back).WriteToStr(), text);  // the pointer form copies
  TOperationProgress assigned;
  assigned = back;  // and so does assignment
  EXPECT_EQ(assigned.WriteToStr(), text);
  EXPECT_EQ(back.GetElapsedTime(), 0xFFFFFF00u - 5000u);  // from the text's start
  ticks.Advance(0x180);
  EXPECT_EQ(TOperationProgress(nullptr).GetElapsedTime(), 0u);
  back.ReadFromStr("a;b;4294967168;2;3;77;5;6;x");
  EXPECT_EQ(back.GetTotalCount(), 77);       // only the text form sets it
  EXPECT_EQ(back.GetElapsedTime(), 0x100u);  // across the wrap
}

TEST(TOperationProgress, ReadsOnlyNineFieldsAndStopsAtABadNumber) {
  const struct {
    const char* text;
    const char* after;  // WriteToStr of a new record (ticks at 100) afterwards
    const char* error;  // the EConvertError's message, or ""
  } cases[] = {
      // Eight fields, also when an empty one vanished: nothing changes.
      {"a;b;1;2;3;4;5;6;", "<N/A>;<N/A>;100;100;0;0;0;0;", ""},
      {";b;1;2;3;4;5;6;x", "<N/A>;<N/A>;100;100;0;0;0;0;", ""},
      // Beyond the ninth field nothing is read: a ";" in the result cuts it.
      {"a;b;1;2;3;4;5;6;<x>;</x>", "a;b;1;2;3;4;5;6;<x>", ""},
      // Ticks keep their low 32 bits, Progress 16, FinalType 8.
      {"a;b;4294967296;-1;65537;4;5;259;x", "a;b;0;4294967295;1;4;5;3;x", ""},
      // A ";" in the description moves the phase's text into a number.
      {"a;b;c;1;2;3;4;5;6;x", "a;b;100;100;0;0;0;0;", "'c' is not a valid integer value"},
      {"a;b;1;2;3;4;5;99999999999;r", "a;b;1;2;3;4;5;0;",
       "'99999999999' is not a valid integer value"},
  };
  TManualTicks ticks(100);
  for (const auto& c : cases) {
    TOperationProgress record;
    EXPECT_EQ(cuadrante::testing::ErrorOf<EConvertError>([&] { record.ReadFromStr(c.text); }),
              c.error)
        << c.text;
    EXPECT_EQ(record.WriteToStr(), c.after) << c.text;
  }
}

std::atomic<int> tickReads{0};
uint32_t CountedTicks() {
  ++tickReads;
  return 9000;
}

TEST(TOperationProgress, ReportActivityMarksLifeAndPumpsOnlyOnTheMainThread) {
  int pumps = 0;
  Application->SetProcessMessagesHook([&] { ++pumps; });
  const cuadrante::TTickSource previous = cuadrante::SetTickSource(&CountedTicks);
  TOperationProgress record;
  tickReads = 0;
  TOperationProgress::ReportActivity(nullptr, 1, 2);
  EXPECT_EQ(tickReads + pumps, 0);
  TOperationProgress::ReportActivity(&record, 40, 400);
  EXPECT_EQ(tickReads, 1);
  EXPECT_EQ(pumps, 1);
  EXPECT_EQ(record.WriteToStr(), "<N/A>;<N/A>;9000;9000;40;0;400;0;");
  std::thread([&] { TOperationProgress::ReportActivity(&record, 41, 401); }).join();
  EXPECT_EQ(pumps, 1);
  EXPECT_EQ(record.GetProgress(), 41);
  cuadrante::SetTickSource(previous);
  Application->SetProcessMessagesHook(nullptr);
}

}  // namespace
