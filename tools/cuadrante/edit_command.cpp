// `cuadrante rule`, `points add` and `rules add`: stored points and rules made
// from dates, hours and names, so that nobody counts seconds since 1899.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/port/files.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/isotext.h"
#include "cuadrante/time/storedtext.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/edit_command.h"

namespace cuadrante::tool {
namespace {

// "8", "7.5" or "7:30" hours as seconds, as plans write them.
int64_t ParseHours(const std::string& text) {
  const auto seconds = cuadrante::ParseHours(text);
  if (!seconds) throw EConvertError("--hours '" + text + "' is no length (use 8, 7.5 or 7:30)");
  return seconds->Value();
}

TTimesGroup ParseEvery(const std::string& text) {
  static const std::map<std::string, TTimesGroup> groups = {
      {"day", tgDay},     {"week", tgWeek},       {"fortnight", tgFortnight},
      {"month", tgMonth}, {"quarter", tgQuarter}, {"year", tgYear},
      {"once", tgNone}};
  const auto found = groups.find(text);
  if (found == groups.end()) {
    throw Misuse("--every takes day, week, fortnight, month, quarter, year or once, not '" + text +
                 "'");
  }
  return found->second;
}

// The stored text that the options describe: a point, or with `rule` a rule.
// The library's own writer makes it, and the check that loads apply passes
// it before anyone sees it.
std::string StoredText(const Options& options, bool rule) {
  const TFecha start(ParseDateArgument(options.Need("--start")));
  const int64_t seconds = ParseHours(options.Need("--hours"));
  const auto type = options.Number("--type", tptTimetable);
  std::string text;
  if (rule) {
    TCyclePoint cycle(start, static_cast<TTimePointType>(type), TDuration(seconds));
    cycle.Level = static_cast<short>(options.Number("--level", 1));
    cycle.Periodicity = ParseEvery(options.Get("--every", "week"));
    cycle.WithWeekend = options.Flag("--weekend");
    cycle.CycleTag = static_cast<int32_t>(options.Number("--tag", 0));
    // The rule's last occurrence may start on the --until day.
    if (options.Has("--until"))
      cycle.EndDate = TFecha(ParseDateArgument(options.Need("--until"))).EndOfDay();
    text = cycle.WriteToStr();
  } else {
    TBasicPoint point(start, TDuration(seconds));
    point.Type = static_cast<TTimePointType>(type);
    point.Level = static_cast<short>(options.Number("--level", 1));
    text = point.WriteToStr();
  }
  if (const std::string why = StoredTextProblem(text); !why.empty())
    throw EConvertError(text + ": " + why);
  return text;
}

// Appends `stored` to the document at `path`, made when it is missing; a
// document of another kind is refused, the file left as it is. The read and
// the write share the folder's update lock, so two additions at once both
// land: the second reads what the first wrote.
void Append(const std::string& path, const std::string& stored, DocumentKind kind) {
  const TFileUpdateLock lock(path);
  TXMLDocument document;
  if (FileExists(path)) {
    AnsiString text;
    const DocumentKind found = ReadDocument(path, text);
    if (found != DocumentKind::kEmpty && found != kind) {
      throw EConvertError(path + (kind == DocumentKind::kRules
                                      ? ": holds stored points, not rules"
                                      : ": holds rules, not stored points"));
    }
    document.LoadFromXML(text);
  } else {
    document.CreateDocumentElement("POINTSMGR");
  }
  document.DocumentElement().AddChild("POINT").SetText(stored);
  try {
    WriteFileAtomically(path, document.SaveToXML());
  } catch (const Exception& e) {
    throw EFileError(path + ": " + e.Message);
  }
}

// What a point is made of; a rule adds its repetition.
std::vector<Option> PointOptions() {
  return {Value("--start"), Value("--hours"), Number("--type", 0, kTimePointTypeCount - 1),
          Number("--level", SHRT_MIN, SHRT_MAX)};
}
std::vector<Option> RuleOptions() {
  return Join(PointOptions(), {Value("--every"), Value("--until"),
                               Number("--tag", INT32_MIN, INT32_MAX), Flag("--weekend")});
}

}  // namespace

void HelpRule() {
  std::printf(
      "usage: cuadrante rule --start DATE[THH:MM] --hours H [--every PERIOD]\n"
      "                      [--until DATE] [--weekend] [--type N] [--level N] [--tag N]\n\n"
      "Prints the stored form of a rule: \"start;seconds;type;level;periodicity;\n"
      "weekend;tag;end\". PERIOD is day, week (default), fortnight, month, quarter,\n"
      "year or once; --until is the last day an occurrence may start on; --weekend\n"
      "lets occurrences fall on Saturday and Sunday. H is 8, 7.5 or 7:30; the type\n"
      "defaults to 2 (Horario). A monthly rule from the 29th to the 31st steps to the\n"
      "end of a shorter month and stays on that day afterwards (31/01, 28/02, 28/03).\n"
      "docs/formats.md tells every field.\n\n"
      "example:\n"
      "  cuadrante rule --start 2026-11-23T07:00 --hours 8 --every week --until 2027-06-30\n");
}

int RunRule(const Args& args) {
  const Options options =
      Parse(args, {RuleOptions(), {0, 0, "takes no file (see `cuadrante help rule`)"}});
  std::printf("%s\n", StoredText(options, true).c_str());
  return 0;
}

void HelpRules() {
  std::printf(
      "usage: cuadrante rules add RULES.xml --start DATE[THH:MM] --hours H\n"
      "                           [--every PERIOD] [--until DATE] [--weekend]\n"
      "                           [--type N] [--level N] [--tag N]\n\n"
      "Appends a rule, made as `cuadrante rule` makes it, to a rules document\n"
      "(created when missing). The document is rewritten whole or not at all.\n\n"
      "example:\n"
      "  cuadrante rules add plan.xml --start 2026-11-23T22:00 --hours 8 --every day --weekend\n");
}

int RunRules(const Args& args) {
  const std::string misuse = "expects add RULES.xml (see `cuadrante help rules`)";
  const Options options = Parse(args, {RuleOptions(), {2, 2, misuse}});
  if (options.words[0] != "add") throw Misuse(misuse);
  Append(options.words[1], StoredText(options, true), DocumentKind::kRules);
  return 0;
}

int RunPointsAdd(const Args& args) {
  const std::string misuse = "expects add POINTS.xml (see `cuadrante help points`)";
  const Options options = Parse(args, {PointOptions(), {2, 2, misuse}});
  if (options.words[0] != "add") throw Misuse(misuse);
  Append(options.words[1], StoredText(options, false), DocumentKind::kPoints);
  return 0;
}

}  // namespace cuadrante::tool
