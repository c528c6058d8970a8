#include "cuadrante/time/storedtext.h"

#include <gtest/gtest.h>

#include "cuadrante/time/fecha.h"

namespace {

using cuadrante::StoredTextProblem;

TEST(StoredTextProblem, AcceptsSoundTextsAndNamesTheFirstFieldThatIsNot) {
  // A Monday 08:00 timetable of 8 hours, as a point, a box and a weekly rule.
  EXPECT_EQ(StoredTextProblem("4004582400;28800;2;1"), "");
  EXPECT_EQ(StoredTextProblem("4004582400;28800;2;1;255;M;Mañana"), "");
  EXPECT_EQ(StoredTextProblem("4004582400;28800;2;1;2147483647;M;Mañana"), "");  // the top colour
  EXPECT_EQ(StoredTextProblem("4004582400;28800;2;1;2;0;-2147483648;4007923199"), "");
  EXPECT_EQ(StoredTextProblem("172800;0;0;-32768"), "");  // the first second
  EXPECT_EQ(StoredTextProblem(std::to_string(kCalendarEnd) + ";1;13;32767"), "");  // the last

  const std::pair<std::string, std::string> refused[] = {
      {"1;2;3", "has 3 fields; a point has 4, a box 7 and a rule 8"},
      {"4004582400;8h;2;1", "field 2 (seconds): '8h' is no whole number"},
      {"4004582400;;2;1", "field 2 (seconds): '' is no whole number"},
      {"172799;0;0;1",
       "field 1 (start): 172799 is before 01/01/1900, where the calendar is left open"},
      {std::to_string(kCalendarEnd + 1) + ";0;0;1",
       "field 1 (start): " + std::to_string(kCalendarEnd + 1) + " is after 31/12/9999 23:59:59"},
      {"4004582400;-1;2;1", "field 2 (seconds): -1 is negative"},
      {std::to_string(kCalendarEnd) + ";2;2;1",
       "field 2 (seconds): 2 ends after 31/12/9999 23:59:59, from 31/12/9999 23:59:59"},
      {"4004582400;9223372036854775807;2;1", "field 2 (seconds): 9223372036854775807 ends after"},
      {"4004582400;28800;14;1", "field 3 (type): 14 is no point type (0 to 13)"},
      {"4004582400;28800;-1;1", "field 3 (type): -1 is no point type (0 to 13)"},
      {"4004582400;28800;2;32768", "field 4 (level): 32768 does not fit 16 bits"},
      {"4004582400;28800;2;1;4294967296;M;x", "field 5 (colour): 4294967296 does not fit 32 bits"},
      {"4004582400;28800;2;1;7;M\x01;x", "field 6 (code): holds a control character"},
      {"4004582400;28800;2;1;7;M;\xC2\x9B"
       "2J",
       "field 7 (description): holds a control"},
      {"4004582400;28800;2;1;7;\xFF;x", "field 6 (code): is no valid UTF-8"},
      {"4004582400;28800;2;1;7;M;Ma\xC3", "field 7 (description): is no valid UTF-8"},
      {"4004582400;28800;2;1;7;0;0;0", "field 5 (periodicity): 7 is no periodicity"},
      {"4004582400;28800;2;1;2;5;0;0", "field 6 (weekend): 5 is neither 0 nor 1"},
      {"4004582400;28800;2;1;2;0;2147483648;0", "field 7 (tag): 2147483648 does not fit 32 bits"},
      {"4004582400;28800;2;1;2;0;0;4004582399",
       "field 8 (end): 23/11/2026 07:59:59 is before the rule's start 23/11/2026 08:00:00"},
      {"4004582400;28800;2;1;2;0;0;-5", "field 8 (end): -5 is before 01/01/1900"},
  };
  for (const auto& [text, why] : refused)
    EXPECT_EQ(StoredTextProblem(text).rfind(why, 0), 0u) << text << ": " << StoredTextProblem(text);
}

}  // namespace
