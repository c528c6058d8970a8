// The command line of every command, read one way. A command declares its
// options (a flag, a value, a number within bounds, or one of a few words)
// and how many words it takes besides them; Parse reads the arguments
// against that declaration, so every command accepts "--name value" and
// "--name=value" alike and refuses the same mistakes with the same words.
// Misuse of the command line is exit status 2, bad input 1. Single-threaded,
// as the tool is.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/time/fecha.h"
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

// `text` as it may be shown on a terminal: control bytes, and every byte above
// 127 when the text is no valid UTF-8, as \xNN.
std::string Printable(const std::string& text);

// One option a command takes.
struct Option {
  enum class Kind { kFlag, kValue, kNumber, kChoice };
  std::string name;
  Kind kind = Kind::kValue;
  // A value's missing text is "NAME needs " + needs.
  std::string needs = "a value";
  // A number: a whole number within [low, high], told in the error.
  int64_t low = 0;
  int64_t high = 0;
  // A choice: one of these words, listed in this order in the error.
  std::vector<std::string> choices;
};

// "--boxes": stands alone; "--boxes=x" is misuse.
Option Flag(std::string name);
// "--file PATH" or "--file=PATH"; missing, "NAME needs " + needs.
Option Value(std::string name, std::string needs = "a value");
// Decimal digits with a leading '-' at most (no blank, no "0x", no exponent)
// within [low, high]; anything else is misuse that names the range, so that
// no value is ever wrapped into another.
Option Number(std::string name, int64_t low, int64_t high);
// One of `choices`; anything else is misuse that lists them.
Option Choice(std::string name, std::vector<std::string> choices);
// --format of a command that prints a list: text, csv, xml or json.
Option FormatOption();

// The words a command takes besides its options: from `least` to `most`;
// any other count is misuse that says `misuse`.
struct Words {
  size_t least = 0;
  size_t most = std::numeric_limits<size_t>::max();
  std::string misuse;
};

// What a command's command line holds.
struct Syntax {
  std::vector<Option> options;
  Words words;
};

// The arguments as Parse read them.
struct Options {
  std::map<std::string, std::string> values;
  std::map<std::string, int64_t> numbers;
  std::vector<std::string> flags;
  std::vector<std::string> words;

  // The value of `name`; misuse "needs NAME" when it was not given.
  const std::string& Need(const std::string& name) const;
  // Whether a value or a number of that name was given.
  bool Has(const std::string& name) const {
    return values.count(name) != 0 || numbers.count(name) != 0;
  }
  // A copy: `otherwise` is often a temporary.
  std::string Get(const std::string& name, const std::string& otherwise) const;
  bool Flag(const std::string& name) const;
  // A declared number, checked by Parse, or `otherwise` when it is absent.
  int64_t Number(const std::string& name, int64_t otherwise) const;
};

// Reads `args` against `syntax`: an option not declared is misuse, and "--"
// makes every argument after it a word, even one that starts with "-".
Options Parse(const Args& args, const Syntax& syntax);
// Takes the options that `declared` names out of `args` and leaves the rest,
// words and other options, in their order; stops at "--". For the options
// that every command takes before the command reads its own.
Options TakeOptions(Args& args, const std::vector<Option>& declared);

// The --format that Parse checked: text (default), csv, xml or json.
Format ParseFormat(const Options& options);

// A date in ISO form (2026-11-23, optionally with "T" or a blank and hh:mm[:ss];
// years 1900 to 9999)
// or in the day-first form of the format settings. Raises EConvertError that
// names the text when it is neither.
TDateTime ParseDateArgument(const std::string& text);

// Whole days, both included, as --month or --from and --to give them.
struct DayRange {
  TFecha first;        // midnight of the first day
  TFecha last;         // midnight of the last day
  bool month = false;  // given as --month
  // The last second of the range.
  TFecha LastSecond() const { return last.EndOfDay(); }
};
// The options of a range, to declare: --from and --to, and --month with `month`.
std::vector<Option> RangeOptions(bool month);
// --month YYYY-MM, or --from DATE --to DATE (a time of day is dropped), never
// both: misuse. A date that does not read, a reversed range or one of more
// than ten years is bad input.
DayRange ReadDays(const Options& options);
// The same, or nothing when neither --month, --from nor --to is given.
std::optional<DayRange> ReadOptionalDays(const Options& options);

// The zone that --tz names, or none without --tz; a name that the tz database
// does not hold is bad input.
std::optional<TZone> ZoneOption(const Options& options);

// Appends `more` to `options`: a syntax made of shared pieces.
std::vector<Option> Join(std::vector<Option> options, const std::vector<Option>& more);

}  // namespace cuadrante::tool
