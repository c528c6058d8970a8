// The commands of the command-line host and what they share.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/dayhours.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/time/zone.h"
#include "tools/cuadrante/table.h"

namespace cuadrante::tool {

using Args = std::vector<std::string>;

constexpr int kBadInput = 1;
constexpr int kMisuse = 2;

// Wrong number or kind of arguments: exit status 2.
class Misuse : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A date in ISO form (2026-11-23, optionally with "T" or a blank and hh:mm[:ss])
// or in the day-first form of the format settings. Raises EConvertError that
// names the text when it is neither.
TDateTime ParseDateArgument(const std::string& text);

// Options of the form "--name value", and the words that are not options.
struct Options {
  std::map<std::string, std::string> values;
  std::vector<std::string> flags;
  std::vector<std::string> words;

  const std::string& Need(const std::string& name) const {
    const auto found = values.find(name);
    if (found == values.end()) throw Misuse("needs " + name);
    return found->second;
  }
  bool Has(const std::string& name) const { return values.count(name) != 0; }
  // A copy: `otherwise` is often a temporary.
  std::string Get(const std::string& name, const std::string& otherwise) const {
    const auto found = values.find(name);
    return found == values.end() ? otherwise : found->second;
  }
  bool Flag(const std::string& name) const {
    for (const std::string& flag : flags) {
      if (flag == name) return true;
    }
    return false;
  }
};

// `text` as it may be shown on a terminal: control bytes, and every byte above
// 127 when the text is no valid UTF-8, as \xNN.
std::string Printable(const std::string& text);

// Reads `args`: the options named in `withValue` take the next argument (or
// the text after "=" in "--name=value"), those in `bare` stand alone; any
// other word that starts with "-" is misuse, and "--" makes every argument
// after it a word.
Options Parse(const Args& args, std::initializer_list<const char*> withValue,
              std::initializer_list<const char*> bare);
// The option `name` as a whole number within [low, high]: decimal digits, a
// leading '-' at most, nothing else (no blank, no "0x", no exponent), and
// `otherwise` when it is absent. Anything else is misuse that names the range,
// so that no value is ever wrapped into another.
int64_t NumberOption(const Options& options, const std::string& name, int64_t low, int64_t high,
                     int64_t otherwise);
// The --format of a command that prints a list: text (default), csv or xml.
Format ParseFormat(const Options& options);
// The first day of --month YYYY-MM; EConvertError for anything else.
TFecha ParseMonthArgument(const std::string& month);
// The range of --from and --to: whole days, the second one included; a
// reversed range or one of more than ten years is bad input.
void ParseRange(const Options& options, TFecha& from, TFecha& to);

// What the POINT elements of a point-set document hold, told by their field
// count: stored points (4 fields), boxes (7) or rules (8), or nothing at all.
enum class DocumentKind { kPoints, kBoxes, kRules, kEmpty };
// All of stdin, refused as soon as it passes `limit` bytes with a message
// that ends with `what`, which names the bound.
std::string ReadStandardInput(size_t limit, const std::string& what);
// Reads the document at `path` ("-" is stdin) into `text` and tells its kind.
// A file that is missing, no regular file, too large, malformed XML, of
// another root than POINTSMGR, or whose points differ in kind is bad input,
// raised as an Exception that names the path, and so is an element whose
// values no plan can use (a negative length, type 99, a date before 1900...).
// With `problems`, such elements are counted there instead and the first
// kListed of them described, each as "element N ...", and the kind is that
// of the sound ones. An empty POINTSMGR holds nothing, which every command
// reads as no points and no rules.
struct Problems {
  // Enough to mend a document by; a document of millions of bad elements
  // must not take memory, or a terminal, for every one of them.
  static constexpr size_t kListed = 100;
  std::vector<std::string> listed;
  size_t count = 0;
};
DocumentKind ReadDocument(const std::string& path, AnsiString& text, Problems* problems = nullptr);
// The largest plan or point-set document the tool reads: ~900,000 points,
// far beyond any roster, and its tree stays under ~600 MB however it is made.
inline constexpr size_t kLargestDocumentBytes = size_t{32} << 20;
// What ics-import and validate read and, so that every export can be read
// back, the most that ics writes (some 200,000 events: a month of 6,000
// people). The reader parses one event at a time, so its time and memory
// follow the text's size: at this size some 10 s and 750 MB.
inline constexpr size_t kCalendarFileLimit = size_t{64} << 20;
// Loads the rules of `path`; the expansion is not clipped by a range of its own.
void LoadRules(const std::string& path, TCyclePointMgr& rules);
// The same from the `text` of a document that ReadDocument found to hold rules.
void LoadRulesFrom(const std::string& path, const AnsiString& text, TCyclePointMgr& rules);
// Loads the stored points or boxes at `path` into `set`, as points.
void LoadDocument(const std::string& path, TBasicPointMgr& set);

// The library replaces an environment document that does not parse; a person
// who named a broken or foreign file is told instead, and the file is kept.
// A missing file is fine: the library creates it.
void CheckEnvironmentDocument(const std::string& path);
// The environment document that --env named, or "" when it was not given.
const std::string& EnvironmentOption();
// `name` in the user's configuration folder: $XDG_CONFIG_HOME/cuadrante, or
// ~/.config/cuadrante. Nothing is created.
std::string ConfigPath(const std::string& name);
// Creates the folders above `path` that are missing, for a file about to be
// written; raises EFCreateError naming the folder that cannot be made.
void MakeFoldersFor(const std::string& path);
void SetEnvironmentOption(const std::string& path);

int RunPoint(const Args& args);
void HelpPoint();
int RunDate(const Args& args);
void HelpDate();
// Rows of hours, one for each week or month and type, one column a day (7 for
// weeks, 31 for months) and the total; in text, then the totals of work,
// absence and other hours.
void PrintHours(const roster::TDayHours& hours, bool byMonth, Format format);
// Each pair of overlapping points (the first twenty) and their count, on stderr.
void ReportOverlaps(const TBasicPointList& sorted);
// One row a point: its group (or, for unrolled rules, the rule), first and
// closing minute, length, type and label, and the colour of boxes.
// With a zone, lengths are the time that really passes.
void PrintPoints(const TBasicPointList& points, Format format, bool ruleColumn, bool colours,
                 const TZone* zone = nullptr);
// The set as a point-set document on stdout, which the commands read back;
// an empty set is an empty POINTSMGR.
void PrintAsDocument(const TBasicPointMgr& set);
// The same document as a text, for a file.
std::string DocumentText(const TBasicPointMgr& set);
// Text for an SVG or XML document: & < > and " escaped, and every byte that
// is no character XML allows (controls, invalid UTF-8) shown as U+FFFD.
std::string Escape(const std::string& text);
// The pictures' colour of a point type, "#rrggbb": one a type, apart in grey.
std::string TypeFill(int type);
// The ink that reads on `fill`: dark on light fills, white on dark ones.
const char* InkFor(const std::string& fill);
// A colour of the library (red in the low byte) as "#rrggbb".
std::string ColourHex(TColor colour);

// The library's sentences and type labels through the dictionary.
roster::TWording Wording();
// The plan at `path` ("-": stdin); bad input names the path.
roster::TPlan LoadPlan(const std::string& path);
// --month YYYY-MM or --from/--to, as whole days.
void PlanRange(const Options& options, TFecha& first, TFecha& last);
// The zone that --tz names, or none without --tz; a name that the tz database
// does not hold is bad input.
std::optional<TZone> ZoneOption(const Options& options);
// Says on stderr, once for each, the starts and ends of `items` that the
// zone's clocks skip or show twice, and how they are counted.
void ReportWallProblems(const TBasicPointList& items, const TZone& zone);

int RunPlan(const Args& args);
// Draws the plan's picture over [first, last] to `output` ("-": stdout), of
// the people `shows` picks (empty: everyone).
using ShowsEmployee = std::function<bool(const roster::TEmployee&)>;
int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output,
                  const ShowsEmployee& shows);
int RunPlanRender(const roster::TPlan& plan, TFecha first, TFecha last, const std::string& output);
void HelpPlan();
int RunRule(const Args& args);
void HelpRule();
int RunRules(const Args& args);
void HelpRules();
// `points add FILE ...`, which RunPoints hands over.
int RunPointsAdd(const Args& args);
int RunValidate(const Args& args);
void HelpValidate();
int RunPoints(const Args& args);
void HelpPoints();
int RunGrid(const Args& args);
void HelpGrid();
int RunEnv(const Args& args);
void HelpEnv();
int RunConfig(const Args& args);
void HelpConfig();
int RunExpand(const Args& args);
void HelpExpand();
int RunPeriods(const Args& args);
void HelpPeriods();
int RunRoster(const Args& args);
void HelpRoster();
int RunRender(const Args& args);
void HelpRender();
int RunDemoOperation(const Args& args);
void HelpDemoOperation();
int RunZip(const Args& args);
void HelpZip();
int RunUnzip(const Args& args);
void HelpUnzip();
int RunBase64(const Args& args);
void HelpBase64();
int RunIcs(const Args& args);
void HelpIcs();
int RunIcsImport(const Args& args);
void HelpIcsImport();

}  // namespace cuadrante::tool
