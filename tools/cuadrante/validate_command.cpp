// `cuadrante validate FILE...`: every element of point-set documents, plans
// and calendars checked before a planner acts on them.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/roster/calendarimport.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/validate_command.h"

namespace cuadrante::tool {
namespace {

enum class Kind { kPointSet, kPlan, kCalendar };

// Told by the first thing in the text: a calendar's BEGIN line, a PLAN root;
// anything else is read as a point-set document, which names what is wrong.
Kind KindOfText(const std::string& text) {
  size_t at = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  at = text.find_first_not_of(" \t\r\n", at);
  if (at == std::string::npos) return Kind::kPointSet;
  if (text.compare(at, 15, "BEGIN:VCALENDAR") == 0) return Kind::kCalendar;
  for (size_t tag = text.find('<', at); tag != std::string::npos; tag = text.find('<', tag + 1)) {
    if (tag + 1 < text.size() && (text[tag + 1] == '?' || text[tag + 1] == '!')) continue;
    const bool plan = text.compare(tag + 1, 4, "PLAN") == 0 &&
                      (tag + 5 >= text.size() ||
                       std::string(" \t\r\n>/").find(text[tag + 5]) != std::string::npos);
    return plan ? Kind::kPlan : Kind::kPointSet;
  }
  return Kind::kPointSet;
}

// A plan or a calendar: sound, or the one reason its reader refuses it.
int ValidateWhole(const std::string& path, const std::string& text, Kind kind) {
  try {
    if (kind == Kind::kPlan) {
      if (text.size() > kLargestDocumentBytes)
        throw EConvertError("is larger than " + std::to_string(kLargestDocumentBytes >> 20) +
                            " MiB, too large for a plan");
      const roster::TPlan plan = roster::ReadPlan(text);
      std::printf("%s: sound, plan of %zu posts, %zu shifts and %zu employees\n", path.c_str(),
                  plan.posts.size(), plan.shifts.size(), plan.employees.size());
    } else {
      // Every event from 1900 to 2199: what a plan can hold.
      const auto events = roster::ReadCalendar(text, TFecha(EncodeDate(1900, 1, 1)),
                                               TFecha(EncodeDate(2199, 12, 31)), {});
      std::printf("%s: sound, calendar of %zu occurrences\n", path.c_str(), events.size());
    }
  } catch (const Exception& e) {
    std::printf("%s: %s\n", path.c_str(), Printable(e.Message).c_str());
    return kBadInput;
  }
  return 0;
}

}  // namespace

void HelpValidate() {
  std::printf(
      "usage: cuadrante validate FILE...\n\n"
      "Checks plans (PLAN.xml) and calendars (FILE.ics) as the plan and ics-import\n"
      "commands read them, naming the element and the reason of a refusal, and\n"
      "point-set documents (points, boxes or rules) element by element: it\n"
      "lists every element that no plan can use, with its number and the reason: a\n"
      "field that is no whole number, a date before 01/01/1900 or after 31/12/9999,\n"
      "a negative length, a type outside 0 to 13, a periodicity outside 0 to 6, a\n"
      "weekend flag other than 0 or 1, a rule that ends before it starts, elements\n"
      "of different kinds. Every other command refuses such a document the same way.\n"
      "Exit status 1 when any document has a problem. docs/formats.md tells every\n"
      "field.\n\n"
      "example:\n  cuadrante validate examples/points.xml examples/rules.xml examples/plan.xml\n");
}

int RunValidate(const Args& arguments) {
  const Options options = Parse(arguments, {{}, {1, SIZE_MAX, "expects one FILE.xml or more"}});
  int status = 0;
  for (const std::string& path : options.words) {
    if (path != "-") {
      std::string whole;
      try {
        // The larger of the two limits: each kind is held to its own below.
        whole = ReadWholeFile(path, std::max(kCalendarFileLimit, kLargestDocumentBytes));
      } catch (const Exception&) {
        // The point-set reader below names what is wrong with the file.
      }
      const Kind kind = KindOfText(whole);
      if (kind != Kind::kPointSet) {
        status = std::max(status, ValidateWhole(path, whole, kind));
        continue;
      }
    }
    AnsiString text;
    Problems problems;
    DocumentKind kind = DocumentKind::kEmpty;
    try {
      kind = ReadDocument(path, text, &problems);
    } catch (const Exception& e) {
      std::printf("%s\n", e.Message.c_str());
      status = kBadInput;
      continue;
    }
    for (const std::string& problem : problems.listed)
      std::printf("%s: %s\n", path.c_str(), problem.c_str());
    if (problems.count > problems.listed.size())
      std::printf("%s: the first %zu problems are listed\n", path.c_str(), problems.listed.size());
    if (problems.count != 0) {
      std::printf("%s: %zu problem%s\n", path.c_str(), problems.count,
                  problems.count == 1 ? "" : "s");
      status = kBadInput;
      continue;
    }
    const char* what = kind == DocumentKind::kRules   ? "rules"
                       : kind == DocumentKind::kBoxes ? "boxes"
                       : kind == DocumentKind::kEmpty ? "nothing"
                                                      : "points";
    std::printf("%s: sound, %s\n", path.c_str(), what);
  }
  return status;
}

}  // namespace cuadrante::tool
