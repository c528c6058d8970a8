// Random but realistic plan documents for tests and benchmarks: a hospital's
// posts over one month, each open round the clock or on weekday days only,
// with the staff to about cover what its needs ask for. The same seed and
// shape give the same text on every machine (the draws are a Mersenne
// Twister's raw output, never a library's distributions).
//
//   const std::string xml = RandomPlanXml(7, {.posts = 3, .employees = 10});
//   const roster::TPlan plan = roster::ReadPlan(xml);
//
// What a plan holds, so that every rule of the engine has something to bite:
// - shifts M (08:00, 7 h), T (15:00, 7 h) and N (22:00, 10 h, into the next
//   day), the day, late and night shifts of a public hospital, shared by every
//   post; a 12 h minimum rest then forbids T or N before M, and N before T;
// - a post round the clock needs M, T and N every day, fewer mornings at the
//   weekend; a day post needs M and T on weekdays and works no holiday; the
//   people a post's needs ask for in a week are what its staff's contracts
//   give, less a little, in shifts of the average length;
// - contracts of 37.5, 30 and 20 h a week; some people also work a second
//   post, some work no nights, some have a cap on nights or weekends;
// - one or two plan holidays, a few spans of leave or sick leave, a few wishes
//   to work or not, a few fixed shifts, and weekly Monday mornings that a
//   RULE fixes for one in twenty of the round-the-clock staff.
// Pure functions of their arguments; safe to call from any thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace cuadrante::testing {

struct PlanShape {
  int posts = 3;
  int employees = 10;  // at least `posts`: every post has someone
  int year = 2026;
  int month = 12;  // the month the plan is about: leave, wishes and fixed shifts fall in it
};

namespace detail {

struct PlanDraw {
  std::mt19937_64 bits;
  int Below(int n) { return n <= 1 ? 0 : static_cast<int>(bits() % static_cast<uint64_t>(n)); }
  bool Chance(int percent) { return Below(100) < percent; }
};

inline std::string PlanDate(int year, int month, int day) {
  char text[48];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
  return text;
}

struct PlanPerson {
  int post = 0;
  int second = -1;           // another post the person may work, or none
  int contractTenths = 375;  // hours a week, in tenths
  bool nights = true;
};

// The hours a shift lasts, on average over the day, late and night shifts.
inline constexpr double kMeanShiftHours = 8.0;

}  // namespace detail

// The plan document of `shape`, drawn from `seed`. Throws std::invalid_argument
// for a shape with no post, fewer people than posts, or no such month.
inline std::string RandomPlanXml(uint64_t seed, const PlanShape& shape) {
  using detail::PlanDate;
  namespace chr = std::chrono;
  if (shape.posts < 1 || shape.employees < shape.posts)
    throw std::invalid_argument("a plan needs a post and someone at each post");
  const chr::year_month month{chr::year{shape.year},
                              chr::month{static_cast<unsigned>(shape.month)}};
  if (!month.ok() || shape.year < 1901 || shape.year > 9998)
    throw std::invalid_argument("no such month");
  const int monthDays = static_cast<int>(static_cast<unsigned>((month / chr::last).day()));
  const auto weekdayOf = [&](int day) {  // 1 Monday .. 7 Sunday
    return static_cast<int>(
        chr::weekday{chr::sys_days{month / chr::day{static_cast<unsigned>(day)}}}.iso_encoding());
  };
  detail::PlanDraw draw{std::mt19937_64(seed)};

  // Staff first: the needs follow from who is there.
  std::vector<detail::PlanPerson> people(static_cast<size_t>(shape.employees));
  for (size_t at = 0; at < people.size(); ++at) {
    detail::PlanPerson& person = people[at];
    // Everyone of the first round to a post of their own, the rest anywhere.
    person.post =
        at < static_cast<size_t>(shape.posts) ? static_cast<int>(at) : draw.Below(shape.posts);
    const int contract = draw.Below(10);
    person.contractTenths = contract < 7 ? 375 : contract < 9 ? 300 : 200;
    if (shape.posts > 1 && draw.Chance(20))
      person.second = (person.post + 1 + draw.Below(shape.posts - 1)) % shape.posts;
    person.nights = !draw.Chance(15);
  }
  // Each post's weekly shifts: what its own people's contracts give.
  std::vector<double> weekly(static_cast<size_t>(shape.posts), 0);
  std::vector<int> nightStaff(static_cast<size_t>(shape.posts), 0);
  for (const detail::PlanPerson& person : people) {
    weekly[static_cast<size_t>(person.post)] +=
        person.contractTenths / 10.0 / detail::kMeanShiftHours;
    nightStaff[static_cast<size_t>(person.post)] += person.nights ? 1 : 0;
  }

  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PLAN>\n";
  xml += "  <LIMITS minRest=\"12\" maxWeek=\"48\" maxDays=\"" + std::to_string(5 + draw.Below(2)) +
         "\"/>\n";
  xml +=
      "  <SHIFT code=\"M\" start=\"08:00\" hours=\"7\" name=\"Mañana\"/>\n"
      "  <SHIFT code=\"T\" start=\"15:00\" hours=\"7\" name=\"Tarde\"/>\n"
      "  <SHIFT code=\"N\" start=\"22:00\" hours=\"10\" name=\"Noche\"/>\n";
  static const char* const kWards[] = {"UCI", "URG", "QUI", "MED", "PED",
                                       "ONC", "TRA", "CAR", "NEU", "REA"};
  static const char* const kWardNames[] = {
      "Cuidados intensivos", "Urgencias",     "Quirófano",   "Medicina interna", "Pediatría",
      "Oncología",           "Traumatología", "Cardiología", "Neurología",       "Reanimación"};
  // Appended rather than added to a short literal, which GCC 12 at -O3
  // mistakes for an overlapping copy.
  const auto numbered = [](std::string text, int number) { return text += std::to_string(number); };
  const auto postCode = [&](int post) {
    return post < 10 ? std::string(kWards[post]) : numbered("P", post + 1);
  };
  std::vector<bool> roundTheClock(static_cast<size_t>(shape.posts));
  for (int post = 0; post < shape.posts; ++post) {
    const size_t p = static_cast<size_t>(post);
    // People a day, a little below what the staff gives: leave and wishes take some.
    const double daily = weekly[p] * 0.95 / 7;
    roundTheClock[p] = daily >= 2.5 && nightStaff[p] >= 2 && !draw.Chance(20);
    xml += "  <POST code=\"" + postCode(post) + "\" name=\"" +
           (post < 10 ? std::string(kWardNames[post]) : numbered("Planta ", post + 1)) +
           "\" worksHolidays=\"" + (roundTheClock[p] ? "1" : "0") + "\">\n";
    const auto need = [&](const char* shift, int count, const char* days, const char* extra) {
      if (count <= 0) return;
      xml += std::string("    <NEED shift=\"") + shift + "\" people=\"" + std::to_string(count) +
             "\" days=\"" + days + "\"" + extra + "/>\n";
    };
    if (roundTheClock[p]) {
      const int nights = std::max(1, static_cast<int>(daily * 0.25 + 0.5));
      const int lates = std::max(1, static_cast<int>(daily * 0.32 + 0.5));
      const double mornings = daily - nights - lates;  // a day on average
      const int weekend = std::max(1, static_cast<int>(mornings * 0.7 + 0.5));
      const int weekday = std::max(1, static_cast<int>((mornings * 7 - 2 * weekend) / 5 + 0.5));
      need("M", weekday, "weekdays", "");
      need("M", weekend, "weekend", "");
      need("T", lates, "all", "");
      need("N", nights, "all", draw.Chance(50) ? " missing=\"150\"" : "");
    } else {
      // Open five days a week: the week's people in five days.
      const double perDay = daily * 7 / 5;
      const int lates = static_cast<int>(perDay * 0.4 + 0.5);
      need("M", std::max(1, static_cast<int>(perDay + 0.5) - lates), "weekdays", "");
      need("T", lates, "weekdays", " surplus=\"2\"");
    }
    xml += "  </POST>\n";
  }
  const int holiday = 1 + draw.Below(monthDays);
  const int other = draw.Chance(50) ? 1 + draw.Below(monthDays) : holiday;
  const auto holidays = [&](int day) { return day == holiday || day == other; };
  xml += "  <HOLIDAY date=\"" + PlanDate(shape.year, shape.month, holiday) + "\"/>\n";
  if (other != holiday)
    xml += "  <HOLIDAY date=\"" + PlanDate(shape.year, shape.month, other) + "\"/>\n";

  static const char* const kFirst[] = {"Ana",   "Luis",  "Eva",   "Iván",  "Rosa",  "Pablo",
                                       "Sara",  "Tomás", "Lucía", "Jorge", "Marta", "Raúl",
                                       "Elena", "Óscar", "Nuria", "Sergio"};
  static const char* const kLast[] = {"Ruiz", "Gil", "Sanz", "Mora",  "Peña", "Vidal",
                                      "Luna", "Rey", "Díaz", "Muñoz", "Soto", "Ibáñez"};
  int firstMonday = 1;
  while (weekdayOf(firstMonday) != 1) ++firstMonday;
  for (size_t at = 0; at < people.size(); ++at) {
    const detail::PlanPerson& person = people[at];
    const size_t p = static_cast<size_t>(person.post);
    char id[32];
    std::snprintf(id, sizeof id, "e%03zu", at + 1);
    const int tenths = person.contractTenths;
    xml += std::string("  <EMPLOYEE id=\"") + id + "\" name=\"" + kFirst[draw.Below(16)] + " " +
           kLast[draw.Below(12)] + "\" post=\"" + postCode(person.post) + "\" contract=\"" +
           std::to_string(tenths / 10) + (tenths % 10 ? numbered(".", tenths % 10) : "") + "\"";
    // Round-the-clock staff spread their contract over the whole week.
    if (roundTheClock[p]) xml += " contractDays=\"all\"";
    if (person.second >= 0)
      xml += " posts=\"" + postCode(person.post) + " " + postCode(person.second) + "\"";
    // What they may be given: a night worker's shifts follow from the needs.
    const bool works24 = roundTheClock[p] ||
                         (person.second >= 0 && roundTheClock[static_cast<size_t>(person.second)]);
    const bool nights = person.nights && works24;
    if (!person.nights && works24) xml += " shifts=\"M T\"";
    if (nights && draw.Chance(20))
      xml += " maxShifts=\"N:" + std::to_string(6 + draw.Below(5)) + "\"";
    if (works24 && draw.Chance(15))
      xml += " maxWeekends=\"" + std::to_string(2 + draw.Below(2)) + "\"";
    xml += ">\n";

    const char* const own[] = {"M", "T", "N"};
    const auto anyShift = [&] { return own[draw.Below(nights ? 3 : 2)]; };
    // A span of leave, or of sick leave, in one person of eight.
    int leaveFrom = 0, leaveTo = 0;
    if (draw.Chance(12)) {
      leaveFrom = 1 + draw.Below(monthDays);
      leaveTo = std::min(monthDays, leaveFrom + 2 + draw.Below(8));
      xml += "    <LEAVE from=\"" + PlanDate(shape.year, shape.month, leaveFrom) + "\" to=\"" +
             PlanDate(shape.year, shape.month, leaveTo) + "\" type=\"" +
             (draw.Chance(25) ? "7" : "9") + "\"/>\n";
    }
    const auto onLeave = [&](int day) { return day >= leaveFrom && day <= leaveTo; };
    // Weekly Monday mornings, fixed, for one in twenty of the posts that
    // work holidays (elsewhere a Monday holiday would be work on a holiday).
    if (draw.Chance(5) && roundTheClock[p]) {
      xml += "    <RULE shift=\"M\" every=\"week\" from=\"" +
             PlanDate(shape.year, shape.month, firstMonday) + "\"/>\n";
    }
    // A fixed shift for one in ten, on a day off leave and not a Monday,
    // nor a holiday of a post closed on holidays.
    if (draw.Chance(10)) {
      const int day = 1 + draw.Below(monthDays);
      if (!onLeave(day) && weekdayOf(day) != 1 && (roundTheClock[p] || !holidays(day))) {
        xml += "    <ITEM start=\"" + PlanDate(shape.year, shape.month, day) + "\" shift=\"" +
               anyShift() + "\"/>\n";
      }
    }
    // Wishes, for one in four.
    if (draw.Chance(25)) {
      const int day = 1 + draw.Below(monthDays);
      const std::string date = PlanDate(shape.year, shape.month, day);
      const int weight = 1 + draw.Below(10);
      if (draw.Chance(60)) {
        xml += "    <REQUEST date=\"" + date + "\" off=\"1\"" +
               (draw.Chance(30) ? std::string(" shift=\"") + anyShift() + "\"" : "") +
               " weight=\"" + std::to_string(weight) + "\"/>\n";
      } else {
        xml += "    <REQUEST date=\"" + date + "\" on=\"1\" shift=\"" + anyShift() +
               "\" weight=\"" + std::to_string(weight) + "\"/>\n";
      }
    }
    xml += "  </EMPLOYEE>\n";
  }
  return xml + "</PLAN>\n";
}

}  // namespace cuadrante::testing
