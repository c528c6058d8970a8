#include "cuadrante/solver/instancefile.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "cuadrante/solver/generator.h"
#include "cuadrante/testing/testsupport.h"

namespace cuadrante::solver {
namespace {

using namespace std::string_literals;

std::string WithoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

// The model's structs have no equality of their own: compare field by field,
// so that a failure names the part that differs.
void ExpectSame(const TInstance& a, const TInstance& b) {
  EXPECT_EQ(a.days, b.days);
  ASSERT_EQ(a.shifts.size(), b.shifts.size());
  for (size_t s = 0; s < a.shifts.size(); ++s) {
    SCOPED_TRACE("shift " + std::to_string(s));
    EXPECT_EQ(a.shifts[s].id, b.shifts[s].id);
    EXPECT_EQ(a.shifts[s].minutes, b.shifts[s].minutes);
    EXPECT_EQ(a.shifts[s].forbiddenNext, b.shifts[s].forbiddenNext);
  }
  ASSERT_EQ(a.employees.size(), b.employees.size());
  for (size_t e = 0; e < a.employees.size(); ++e) {
    SCOPED_TRACE("employee " + std::to_string(e));
    const TEmployee &x = a.employees[e], &y = b.employees[e];
    EXPECT_EQ(x.id, y.id);
    EXPECT_EQ(x.maxShifts, y.maxShifts);
    EXPECT_EQ(std::tie(x.maxMinutes, x.minMinutes, x.maxConsecutive, x.minConsecutive, x.minDaysOff,
                       x.maxWeekends),
              std::tie(y.maxMinutes, y.minMinutes, y.maxConsecutive, y.minConsecutive, y.minDaysOff,
                       y.maxWeekends));
    EXPECT_EQ(x.daysOff, y.daysOff);
  }
  const auto requests = [](const std::vector<TRequest>& list) {
    std::vector<std::tuple<int, int, int, int>> out;
    for (const TRequest& r : list) out.emplace_back(r.employee, r.day, r.shift, r.weight);
    return out;
  };
  EXPECT_EQ(requests(a.onRequests), requests(b.onRequests));
  EXPECT_EQ(requests(a.offRequests), requests(b.offRequests));
  const auto cover = [](const std::vector<TCover>& list) {
    std::vector<std::tuple<int, int, int, int, int>> out;
    for (const TCover& c : list)
      out.emplace_back(c.day, c.shift, c.requirement, c.underWeight, c.overWeight);
    return out;
  };
  EXPECT_EQ(cover(a.cover), cover(b.cover));
  const auto pins = [](const std::vector<TPin>& list) {
    std::vector<std::tuple<int, int, int>> out;
    for (const TPin& p : list) out.emplace_back(p.employee, p.day, p.shift);
    return out;
  };
  EXPECT_EQ(pins(a.pins), pins(b.pins));
}

std::string S(int64_t value) { return std::to_string(value); }

// The message of a number above its field's bound.
std::string Above(int64_t value, int64_t most) { return "'" + S(value) + "' is above " + S(most); }

// The message ReadInstance throws for `text`, or "" when it reads.
std::string InstanceErrorOf(std::string_view text) {
  return testing::ErrorOf<EInstanceError>([&] { ReadInstance(text, "in.txt"); });
}

TEST(ReadInstanceTest, ReadsThePublishedInstancesAndWritesThemBack) {
  struct Case {
    const char* file;
    int days;
    size_t staff;
    size_t types;
    size_t onRequests;
    size_t offRequests;
  };
  const Case cases[] = {
      {"Instance1.txt", 14, 8, 1, 21, 5},
      {"Instance2.txt", 14, 14, 2, 50, 12},
      {"Instance3.txt", 14, 20, 3, 39, 25},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    const std::string path = testing::BenchmarkFile(c.file);
    const TInstance instance = ReadInstanceFile(path);
    EXPECT_EQ(instance.days, c.days);
    EXPECT_EQ(instance.employees.size(), c.staff);
    EXPECT_EQ(instance.shifts.size(), c.types);
    EXPECT_EQ(instance.onRequests.size(), c.onRequests);
    EXPECT_EQ(instance.offRequests.size(), c.offRequests);
    EXPECT_EQ(instance.cover.size(), c.types * static_cast<size_t>(c.days));
    EXPECT_TRUE(instance.pins.empty());
    // The originals are in our own order and spelling, so writing gives the
    // very bytes back, CRLF aside.
    const std::string written = WriteInstance(instance);
    EXPECT_EQ(written, WithoutCarriageReturns(testing::ReadText(path)));
    ExpectSame(ReadInstance(written, "written"), instance);
  }

  // Instance3: "L,480,E|D", "P,E=14|D=14|L=2,2160,1200,5,1,2,1", "T,11" off,
  // "Q,1,D,3" off-request, "5,D,6,100,1" cover, "S,1,E,3" on-request.
  const TInstance three = ReadInstanceFile(testing::BenchmarkFile("Instance3.txt"));
  const int e = three.ShiftIndex("E"), d = three.ShiftIndex("D"), l = three.ShiftIndex("L");
  ASSERT_EQ(std::vector<int>({e, d, l}), std::vector<int>({0, 1, 2}));
  EXPECT_EQ(three.shifts[2].minutes, 480);
  EXPECT_EQ(three.shifts[2].forbiddenNext, std::vector<int>({e, d}));
  EXPECT_TRUE(three.shifts[0].forbiddenNext.empty());
  const TEmployee& p = three.employees[static_cast<size_t>(three.EmployeeIndex("P"))];
  EXPECT_EQ(p.maxShifts, std::vector<int>({14, 14, 2}));
  EXPECT_EQ(std::tie(p.maxMinutes, p.minMinutes, p.maxConsecutive, p.minConsecutive, p.minDaysOff,
                     p.maxWeekends),
            std::make_tuple(int64_t{2160}, int64_t{1200}, 5, 1, 2, 1));
  EXPECT_EQ(three.employees.back().daysOff, std::vector<int>({11}));
  const TRequest& off = three.offRequests[20];
  EXPECT_EQ(std::make_tuple(off.employee, off.day, off.shift, off.weight),
            std::make_tuple(three.EmployeeIndex("Q"), 1, d, 3));
  const TRequest& on = three.onRequests[34];
  EXPECT_EQ(std::make_tuple(on.employee, on.day, on.shift, on.weight),
            std::make_tuple(three.EmployeeIndex("S"), 1, e, 3));
  const TCover& cover = three.cover[16];
  EXPECT_EQ(std::make_tuple(cover.day, cover.shift, cover.requirement, cover.underWeight,
                            cover.overWeight),
            std::make_tuple(5, d, 6, 100, 1));
}

TEST(ReadInstanceTest, AcceptsAnyOrderSpacesLfAndPins) {
  // STAFF before HORIZON, a shift forbidding one defined after it, spaces
  // around fields, comments between lines, no blank line before a header, a
  // last line without its newline, MaxShifts out of order.
  const std::string text =
      "\xEF\xBB\xBF"
      "SECTION_SHIFTS\n"
      "  # indented comment\n"
      "E, 480 ,L\n"
      "L,600,\n"
      "\t\n"
      "SECTION_STAFF\n"
      "ana , L=2|E=3 ,4000,0,5,1,2,1\n"
      "# between lines\n"
      "luis,E=0|L=7,4000,480,3,3,0,0\n"
      "SECTION_HORIZON\n"
      "7\r\n"
      "\r\n"
      "SECTION_DAYS_OFF\n"
      "luis,6,0\n"
      "ana\n"
      "luis,3\n"
      "\n"
      "SECTION_PINS\n"
      "ana,0,-\n"
      "luis,1,L\n"
      "\n"
      "SECTION_COVER\n"
      "6,L,1,100,1\n"
      "6,L,2,5,5";
  const TInstance x = ReadInstance(text, "t");
  EXPECT_EQ(x.days, 7);
  ASSERT_EQ(x.shifts.size(), 2u);
  EXPECT_EQ(x.shifts[0].forbiddenNext, std::vector<int>({1}));
  EXPECT_EQ(x.shifts[1].minutes, 600);
  ASSERT_EQ(x.employees.size(), 2u);
  EXPECT_EQ(x.employees[0].id, "ana");
  EXPECT_EQ(x.employees[0].maxShifts, std::vector<int>({3, 2}));
  EXPECT_EQ(x.employees[1].daysOff, std::vector<int>({6, 0, 3}));
  EXPECT_TRUE(x.employees[0].daysOff.empty());
  ASSERT_EQ(x.pins.size(), 2u);
  EXPECT_EQ(std::make_tuple(x.pins[0].employee, x.pins[0].day, x.pins[0].shift),
            std::make_tuple(0, 0, kOff));
  EXPECT_EQ(std::make_tuple(x.pins[1].employee, x.pins[1].day, x.pins[1].shift),
            std::make_tuple(1, 1, 1));
  ASSERT_EQ(x.cover.size(), 2u);
  EXPECT_EQ(x.cover[1].overWeight, 5);
  ExpectSame(ReadInstance(WriteInstance(x), "written"), x);
}

TEST(ReadInstanceTest, RefusesMalformedTextNamingLineAndField) {
  const std::string head = "SECTION_HORIZON\n14\n\nSECTION_SHIFTS\nD,480,\nN,600,D\n\n";
  const std::string staff = "SECTION_STAFF\nA,D=5|N=5,4000,0,5,1,1,1\n\n";
  const std::string base = head + staff;  // lines 1-10; a section added starts on 11
  struct Case {
    std::string text;
    std::string message;  // the whole message, or its start when it ends with '*'
  };
  const Case cases[] = {
      // The layout of the text.
      {"", "in.txt:1: SECTION_HORIZON: missing (the text ends here)"},
      {"# only a comment\n", "in.txt:1: SECTION_HORIZON: missing (the text ends here)"},
      {head, "in.txt:7: SECTION_STAFF: missing (the text ends here)"},
      {"SECTION_SHIFTS\nD,480,\n\nSECTION_STAFF\nA,D=1,1,0,1,0,0,0\n",
       "in.txt:5: SECTION_HORIZON: missing (the text ends here)"},
      {"14\n", "in.txt:1: line: '14' is outside a section"},
      {"SECTION_HORIZON\n14\n\n15\n", "in.txt:4: line: '15' is outside a section"},
      {"SECTION_HORIZONS\n", "in.txt:1: section: unknown section 'SECTION_HORIZONS'"},
      {base + "SECTION_HORIZON\n14\n",
       "in.txt:11: SECTION_HORIZON: a second time (first on line 1)"},
      {"SECTION_HORIZON\n14\n\nSECTION_STAFF\n",
       "in.txt:4: SECTION_STAFF: comes before SECTION_SHIFTS, which it uses"},
      {"SECTION_SHIFTS\nD,1,\n\nSECTION_COVER\n",
       "in.txt:4: SECTION_COVER: comes before SECTION_HORIZON, which it uses"},
      {head + "SECTION_DAYS_OFF\n",
       "in.txt:8: SECTION_DAYS_OFF: comes before SECTION_STAFF, which it uses"},
      {"SECTION_HORIZON\n\n", "in.txt:1: SECTION_HORIZON: no number of days"},
      {"SECTION_HORIZON\n# none\n", "in.txt:1: SECTION_HORIZON: no number of days"},
      {"SECTION_HORIZON\n14\n15\n", "in.txt:3: SECTION_HORIZON: a second number of days"},
      {"SECTION_HORIZON\n14,\n", "in.txt:2: SECTION_HORIZON: 2 fields, expected 1"},
      {"SECTION_HORIZON\n1\0\n"s, "in.txt:2: line: a NUL byte"},
      // Numbers.
      {"SECTION_HORIZON\n0\n", "in.txt:2: Horizon: 0 days; a horizon has 1 to " + S(kMostDays)},
      {"SECTION_HORIZON\n" + S(kMostDays + 1),
       "in.txt:2: Horizon: " + Above(kMostDays + 1, kMostDays)},
      {"SECTION_HORIZON\n1000000000\n", "in.txt:2: Horizon: " + Above(1000000000, kMostDays)},
      {"SECTION_HORIZON\n-1\n", "in.txt:2: Horizon: '-1' is not a non-negative whole number"},
      {"SECTION_HORIZON\n+1\n", "in.txt:2: Horizon: '+1' is not a non-negative whole number"},
      {"SECTION_HORIZON\n1 4\n", "in.txt:2: Horizon: '1 4' is not a non-negative whole number"},
      {"SECTION_HORIZON\n0x10\n", "in.txt:2: Horizon: '0x10' is not a non-negative whole number"},
      {"SECTION_HORIZON\n14\n\nSECTION_SHIFTS\nD,,\n",
       "in.txt:5: Length: empty, expected a number"},
      {"SECTION_HORIZON\n14\n\nSECTION_SHIFTS\nD," + S(kMostMinutes + 1) + ",\n",
       "in.txt:5: Length: " + Above(kMostMinutes + 1, kMostMinutes)},
      {base + "SECTION_SHIFT_ON_REQUESTS\nA,1,D," + S(kMostWeight + 1),
       "in.txt:12: Weight: " + Above(kMostWeight + 1, kMostWeight)},
      {head + "SECTION_STAFF\nA,D=2147483648|N=0,1,0,1,0,0,0\n",
       "in.txt:9: MaxShifts: '2147483648' is above 2147483647"},
      {head + "SECTION_STAFF\nA,D=1|N=1,1,0," + std::string(45, '9') + ",0,0,0\n",
       "in.txt:9: MaxConsecutiveShifts: '" + std::string(40, '9') + "...' is above 2147483647"},
      // Shift types.
      {"SECTION_SHIFTS\nD,480\n", "in.txt:2: SECTION_SHIFTS: 2 fields, expected 3"},
      {"SECTION_SHIFTS\nD,480,,\n", "in.txt:2: SECTION_SHIFTS: 4 fields, expected 3"},
      {"SECTION_SHIFTS\nD,480,\nD,600,\n", "in.txt:3: ShiftID: 'D' is already defined on line 2"},
      {"SECTION_SHIFTS\n,480,\n", "in.txt:2: ShiftID: an empty id"},
      {"SECTION_SHIFTS\n-,480,\n", "in.txt:2: ShiftID: '-' marks a day off and cannot be an id"},
      {"SECTION_SHIFTS\nD=1,480,\n", "in.txt:2: ShiftID: 'D=1' holds a '='"},
      {"SECTION_SHIFTS\nD\x01,480,\n", "in.txt:2: ShiftID: 'D\\x01' holds a control character"},
      {"SECTION_SHIFTS\nD,480,X\nE,1,\n", "in.txt:2: CannotFollow: unknown shift 'X'"},
      {"SECTION_SHIFTS\nD,480,E||E\nE,1,\n", "in.txt:2: CannotFollow: unknown shift ''"},
      // Staff.
      {head + "SECTION_STAFF\nA,D=5|N=5,4000,0,5,1,1\n",
       "in.txt:9: SECTION_STAFF: 7 fields, expected 8"},
      {base + "SECTION_STAFF\n", "in.txt:11: SECTION_STAFF: a second time (first on line 8)"},
      {head + "SECTION_STAFF\nA,D=5|N=5,4000,0,5,1,1,1\nA,D=5|N=5,4000,0,5,1,1,1\n",
       "in.txt:10: ID: 'A' is already defined on line 9"},
      {head + "SECTION_STAFF\nA,D=5|X=5,4000,0,5,1,1,1\n",
       "in.txt:9: MaxShifts: unknown shift 'X'"},
      {head + "SECTION_STAFF\nA,D=5,4000,0,5,1,1,1\n",
       "in.txt:9: MaxShifts: no count for shift 'N'"},
      {head + "SECTION_STAFF\nA,,4000,0,5,1,1,1\n", "in.txt:9: MaxShifts: no count for shift 'D'"},
      {head + "SECTION_STAFF\nA,D=5|N=1|D=2,4000,0,5,1,1,1\n",
       "in.txt:9: MaxShifts: shift 'D' given twice"},
      {head + "SECTION_STAFF\nA,D5|N=5,4000,0,5,1,1,1\n",
       "in.txt:9: MaxShifts: 'D5' is not shift=count"},
      {head + "SECTION_STAFF\nA,D=|N=5,4000,0,5,1,1,1\n",
       "in.txt:9: MaxShifts: empty, expected a number"},
      {head + "SECTION_STAFF\nA,D=5|N=5,4000,4001,5,1,1,1\n",
       "in.txt:9: MinTotalMinutes: 4001 is above MaxTotalMinutes 4000"},
      {head + "SECTION_STAFF\nA,D=5|N=5,4000,0,2,3,1,1\n",
       "in.txt:9: MinConsecutiveShifts: 3 is above MaxConsecutiveShifts 2"},
      {head + "SECTION_STAFF\nSECTION_A,D=5|N=5,4000,0,2,3,1,1\n",
       "in.txt:9: section: unknown section 'SECTION_A,D=5|N=5,4000,0,2,3,1,1'"},
      // The sections that use the others.
      {base + "SECTION_DAYS_OFF\nA,3,14\n",
       "in.txt:12: Day: day 14 is outside the horizon of 14 days"},
      {base + "SECTION_DAYS_OFF\nA,3,\n", "in.txt:12: Day: empty, expected a number"},
      {base + "SECTION_DAYS_OFF\nB,3\n", "in.txt:12: EmployeeID: unknown employee 'B'"},
      {base + "SECTION_SHIFT_ON_REQUESTS\nA,1,X,1\n", "in.txt:12: ShiftID: unknown shift 'X'"},
      {base + "SECTION_SHIFT_OFF_REQUESTS\nA,1,D\n",
       "in.txt:12: SECTION_SHIFT_OFF_REQUESTS: 3 fields, expected 4"},
      {base + "SECTION_SHIFT_OFF_REQUESTS\nA,-1,D,1\n",
       "in.txt:12: Day: '-1' is not a non-negative whole number"},
      {base + "SECTION_COVER\n0,D,5,100\n", "in.txt:12: SECTION_COVER: 4 fields, expected 5"},
      {base + "SECTION_COVER\n0,D," + S(kMostEmployees + 1) + ",100,1\n",
       "in.txt:12: Requirement: " + Above(kMostEmployees + 1, kMostEmployees)},
      {base + "SECTION_COVER\n0,D,1,1," + S(kMostWeight + 1) + "\n",
       "in.txt:12: OverWeight: " + Above(kMostWeight + 1, kMostWeight)},
      {base + "SECTION_COVER\n0,-,1,1,1\n", "in.txt:12: ShiftID: unknown shift '-'"},
      {base + "SECTION_PINS\nA,1,D\nA,2,-\nA,1,N\n",
       "in.txt:14: Day: 'A' is already pinned on day 1 (line 12)"},
      {base + "SECTION_PINS\nA,14,D\n", "in.txt:12: Day: day 14 is outside the horizon of 14 days"},
      {base + "SECTION_PINS\nA,1,X\n", "in.txt:12: ShiftID: unknown shift 'X'"},
      {base + "SECTION_PINS\nA,1\n", "in.txt:12: SECTION_PINS: 2 fields, expected 3"},
      // The model's own word, once the text parses: a shift longer than a year.
      {"SECTION_HORIZON\n1\n\nSECTION_SHIFTS\nD,999999999,\n\nSECTION_STAFF\n",
       "in.txt: shift 0 (D): minutes out of range"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(InstanceErrorOf(c.text), c.message);
    // CRLF endings change nothing but the bytes.
    std::string crlf;
    for (const char ch : c.text) crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
    EXPECT_EQ(InstanceErrorOf(crlf), c.message);
  }
}

TEST(ReadInstanceTest, RefusesSizesAtTheirLineBeforeAllocating) {
  // A billion days is refused at the number.
  EXPECT_EQ(InstanceErrorOf("SECTION_HORIZON\n1000000000000000000000000000000\n"),
            "in.txt:2: Horizon: '1000000000000000000000000000000' is above " + S(kMostDays));

  // The longest horizon and one shift type (two choices a day): the first
  // person past the bound is refused at their line, the one before is not.
  const int64_t fit = kMostCells / (int64_t{kMostDays} * 2);  // people that fit
  const auto staffLines = [](int64_t count) {
    std::string lines;
    for (int64_t e = 0; e < count; ++e) lines += "P" + S(e) + ",D=1,1,0,1,0,0,0\n";
    return lines;
  };
  const std::string many = "SECTION_HORIZON\n" + S(kMostDays) +
                           "\n\nSECTION_SHIFTS\nD,1,\n\nSECTION_STAFF\n" + staffLines(fit + 10);
  EXPECT_EQ(InstanceErrorOf(many), "in.txt:" + S(8 + fit) + ": ID: " + S(fit + 1) + " staff x " +
                                       S(kMostDays) + " days x 2 choices is above " +
                                       S(kMostCells) + " cells");
  // As many people, then a horizon that makes them too many, refused at the horizon.
  const std::string late = "SECTION_SHIFTS\nD,1,\n\nSECTION_STAFF\n" + staffLines(fit + 1);
  const int64_t longest = kMostCells / ((fit + 1) * 2);
  const int64_t horizonLine = 4 + (fit + 1) + 3;
  EXPECT_EQ(InstanceErrorOf(late + "\nSECTION_HORIZON\n" + S(longest) + "\n"), "");
  EXPECT_EQ(InstanceErrorOf(late + "\nSECTION_HORIZON\n" + S(longest + 1) + "\n"),
            "in.txt:" + S(horizonLine) + ": Horizon: " + S(fit + 1) + " staff x " + S(longest + 1) +
                " days x 2 choices is above " + S(kMostCells) + " cells");

  std::string types = "SECTION_SHIFTS\n";
  for (int t = 0; t <= kMostShiftTypes; ++t) types += "S" + S(t) + ",1,\n";
  EXPECT_EQ(InstanceErrorOf(types), "in.txt:" + S(kMostShiftTypes + 2) + ": ShiftID: more than " +
                                        S(kMostShiftTypes) + " shift types");

  std::string staff = "SECTION_HORIZON\n1\n\nSECTION_SHIFTS\n\nSECTION_STAFF\n";
  for (int e = 0; e <= kMostEmployees; ++e) staff += S(e) + ",,0,0,0,0,0,0\n";
  EXPECT_EQ(InstanceErrorOf(staff), "in.txt:" + S(kMostEmployees + 7) + ": ID: more than " +
                                        S(kMostEmployees) + " employees");
}

TEST(ReadInstanceTest, RefusesALongLineByItsNumber) {
  std::string text = "SECTION_HORIZON\n# a long comment\n#";
  text.append(10'000'000, 'x');
  text += "\n14\n";
  EXPECT_EQ(InstanceErrorOf(text), "in.txt:3: line: 10000001 bytes, longer than 1048576");
  // The longest line accepted, and one byte more; the line ending does not count.
  std::string longest = "SECTION_HORIZON\n#" + std::string(kMostLineBytes - 1, 'x') + "\r\n14\n";
  EXPECT_EQ(InstanceErrorOf(longest), "in.txt:3: SECTION_SHIFTS: missing (the text ends here)");
  longest.insert(17, "x");
  EXPECT_EQ(InstanceErrorOf(longest), "in.txt:2: line: 1048577 bytes, longer than 1048576");
}

TEST(ReadInstanceTest, RoundTripsGeneratedInstancesWithEveryPart) {
  for (const TShape shape : {TShape{1, 1, 1}, TShape{10, 28, 2}, TShape{30, 35, 4}}) {
    for (uint64_t seed = 1; seed <= 3; ++seed) {
      SCOPED_TRACE(std::to_string(shape.employees) + " staff, seed " + std::to_string(seed));
      TInstance instance = GenerateInstance(shape, seed);
      // Parts the generator may leave out: a pin of each kind, a day off.
      instance.pins = {{0, 0, kOff}};
      if (shape.days > 1) instance.pins.push_back({0, shape.days - 1, shape.shiftTypes - 1});
      instance.employees.back().daysOff.push_back(shape.days - 1);
      const std::string text = WriteInstance(instance);
      const TInstance back = ReadInstance(text, "generated");
      ExpectSame(back, instance);
      EXPECT_EQ(WriteInstance(back), text);
    }
  }
}

TEST(WriteInstanceTest, RefusesWhatWouldNotReadBack) {
  const TInstance good = ReadInstanceFile(testing::BenchmarkFile("Instance2.txt"));
  struct Case {
    const char* name;
    void (*spoil)(TInstance&);
    const char* message;
  };
  const Case cases[] = {
      {"comma", [](TInstance& x) { x.employees[1].id = "García, Ana"; },
       "cannot write the instance: employee 1: 'García, Ana' holds a ','"},
      {"hash", [](TInstance& x) { x.shifts[0].id = "#1"; },
       "cannot write the instance: shift 0: '#1' starts with '#', which would make a comment"},
      {"section", [](TInstance& x) { x.employees[0].id = "SECTION_COVER"; },
       "cannot write the instance: employee 0: 'SECTION_COVER' starts with SECTION_, as a section "
       "does"},
      {"space", [](TInstance& x) { x.employees[0].id = "Ana "; },
       "cannot write the instance: employee 0: 'Ana ' has spaces around it"},
      {"newline", [](TInstance& x) { x.employees[0].id = "A\nB"; },
       "cannot write the instance: employee 0: 'A\\x0aB' holds a control character"},
      {"quote", [](TInstance& x) { x.shifts[1].id = "\"L\""; },
       "cannot write the instance: shift 1: '\"L\"' holds a '\"'"},
      {"minutes", [](TInstance& x) { x.employees[2].minMinutes = x.employees[2].maxMinutes + 1; },
       "cannot write the instance: employee 2: minMinutes above maxMinutes"},
      {"runs", [](TInstance& x) { x.employees[2].minConsecutive = 9; },
       "cannot write the instance: employee 2: minConsecutive above maxConsecutive"},
      {"pinned twice",
       [](TInstance& x) {
         x.pins = {{1, 2, 0}, {1, 3, 0}, {1, 2, kOff}};
       },
       "cannot write the instance: pin 2: its employee and day are pinned already"},
      {"model", [](TInstance& x) { x.cover[0].shift = 7; },
       "cannot write the instance: cover 0: no such shift type"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TInstance spoilt = good;
    c.spoil(spoilt);
    EXPECT_EQ(testing::ErrorOf<EInstanceError>([&] { WriteInstance(spoilt); }), c.message);
  }
}

TEST(ReadInstanceFileTest, NamesTheFileAndRefusesWhatItCannotRead) {
  testing::TempFolder folder;
  const std::string bad = folder / "bad.txt";
  std::ofstream(bad, std::ios::binary) << "SECTION_HORIZON\r\nx\r\n";
  const auto messageOf = [](const std::string& path) {
    return testing::ErrorOf<EInstanceError>([&] { ReadInstanceFile(path); });
  };
  EXPECT_EQ(messageOf(bad), bad + ":2: Horizon: 'x' is not a non-negative whole number");
  const std::string none = folder / "none.txt", here = folder / "";
  EXPECT_EQ(messageOf(none), none + ": cannot open (No such file or directory)");
  EXPECT_EQ(messageOf(here), here + ": a folder, not a file");
  // One byte above the bound; the file is sparse, so it costs no disk.
  const std::string big = folder / "big.txt";
  std::ofstream(big, std::ios::binary) << "SECTION_HORIZON\n";
  std::filesystem::resize_file(big, kMostInstanceBytes + 1);
  EXPECT_EQ(messageOf(big), big + ": larger than 64 MiB");
}

TEST(RosterCsvTest, RoundTripsAndAcceptsItsVariants) {
  const TInstance instance = ReadInstanceFile(testing::BenchmarkFile("Instance3.txt"));
  TRoster roster(static_cast<int>(instance.employees.size()), instance.days);
  for (int e = 0; e < roster.Employees(); ++e) {
    for (int day = 0; day < roster.Days(); ++day) {
      roster.Set(e, day, (e + day) % 4 == 3 ? kOff : (e * 7 + day) % 3);
    }
  }
  const std::string csv = WriteRoster(instance, roster);
  EXPECT_TRUE(csv.starts_with("employee,day,shift\nA,0,E\nA,1,D\nA,2,L\nA,4,D\n")) << csv;
  EXPECT_EQ(ReadRoster(csv, instance, "r.csv"), roster);

  // Without the header, CRLF, spaces, rows in any order, blank lines, '-' for off.
  const std::string loose = "\r\n T , 13 , L \r\nA,0,-\r\n\r\nB,5,E";
  TRoster expected(roster.Employees(), roster.Days());
  expected.Set(19, 13, 2);
  expected.Set(1, 5, 0);
  EXPECT_EQ(ReadRoster(loose, instance, "r.csv"), expected);
  EXPECT_EQ(WriteRoster(instance, expected), "employee,day,shift\nB,5,E\nT,13,L\n");
  EXPECT_EQ(ReadRoster("", instance, "r.csv"), TRoster(roster.Employees(), roster.Days()));
}

TEST(RosterCsvTest, RefusesBadRowsNamingTheLine) {
  const TInstance instance = ReadInstanceFile(testing::BenchmarkFile("Instance1.txt"));
  const std::pair<std::string, std::string> cases[] = {
      {"employee,day,shift\nZ,0,D\n", "r.csv:2: employee: unknown employee 'Z'"},
      {"A,0,X\n", "r.csv:1: shift: unknown shift 'X'"},
      {"A,0,\n", "r.csv:1: shift: unknown shift ''"},
      {"A,14,D\n", "r.csv:1: day: day 14 is outside the horizon of 14 days"},
      {"A,-1,D\n", "r.csv:1: day: '-1' is not a non-negative whole number"},
      {"A,0,D\nB,0,D\nA,0,-\n", "r.csv:3: day: a second row for 'A' on day 0"},
      {"A,0\n", "r.csv:1: row: 2 fields, expected 3 (employee,day,shift)"},
      {"A,0,D,1\n", "r.csv:1: row: 4 fields, expected 3 (employee,day,shift)"},
      {"A,0,D\nemployee,day,shift\n", "r.csv:2: employee: unknown employee 'employee'"},
      {"A,0,D\n\"B\",1,D\n", "r.csv:2: employee: unknown employee '\"B\"'"},
      {"A,0,D\0\n"s, "r.csv:1: line: a NUL byte"},
  };
  for (const auto& [text, message] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(testing::ErrorOf<EInstanceError>([&] { ReadRoster(text, instance, "r.csv"); }),
              message);
  }

  // A roster of other sizes, or naming no shift, is not written.
  EXPECT_THROW(WriteRoster(instance, TRoster(7, 14)), EInstanceError);
  EXPECT_THROW(WriteRoster(instance, TRoster(8, 15)), EInstanceError);
  TRoster stray(8, 14);
  stray.Set(3, 4, 1);
  EXPECT_THROW(WriteRoster(instance, stray), EInstanceError);
}

TEST(RosterCsvTest, ReadsAFileByName) {
  testing::TempFolder folder;
  const TInstance instance = ReadInstanceFile(testing::BenchmarkFile("Instance1.txt"));
  const std::string path = folder / "r.csv";
  std::ofstream(path, std::ios::binary) << "employee,day,shift\r\nH,13,D\r\n";
  TRoster expected(8, 14);
  expected.Set(7, 13, 0);
  EXPECT_EQ(ReadRosterFile(path, instance), expected);
  EXPECT_THROW(ReadRosterFile(folder / "none.csv", instance), EInstanceError);
}

}  // namespace
}  // namespace cuadrante::solver
