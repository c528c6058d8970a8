// The command line read one way, and the readers of what options say.
#include "tools/cuadrante/arguments.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/isotext.h"

namespace cuadrante::tool {

// A day count of a range the tool will unroll; beyond it the output is no
// longer something a person reads, so it is refused rather than printed.
constexpr int64_t kLongestRangeInDays = 10 * 366;

std::string Printable(const std::string& text) {
  const bool valid = IsValidUtf8(text);
  std::string shown;
  bool c1Tail = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // C1 controls (U+0080..U+009F, C2 80..C2 9F in UTF-8) steer terminals as
    // C0 ones do: both of their bytes are escaped.
    const bool c1 = valid && byte == 0xC2 && i + 1 < text.size() &&
                    static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (byte < 0x20 || byte == 0x7F || (!valid && byte >= 0x80) || c1 || c1Tail) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
      shown += escaped;
    } else {
      shown += text[i];
    }
    c1Tail = c1;
  }
  return shown;
}

Option Flag(std::string name) {
  Option option;
  option.name = std::move(name);
  option.kind = Option::Kind::kFlag;
  return option;
}

Option Value(std::string name, std::string needs) {
  Option option;
  option.name = std::move(name);
  option.needs = std::move(needs);
  return option;
}

Option Number(std::string name, int64_t low, int64_t high) {
  Option option = Value(std::move(name));
  option.kind = Option::Kind::kNumber;
  option.low = low;
  option.high = high;
  return option;
}

Option Choice(std::string name, std::vector<std::string> choices) {
  Option option = Value(std::move(name));
  option.kind = Option::Kind::kChoice;
  option.choices = std::move(choices);
  return option;
}

Option FormatOption() { return Choice("--format", {"text", "csv", "xml", "json"}); }

std::vector<Option> Join(std::vector<Option> options, const std::vector<Option>& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

const std::string& Options::Need(const std::string& name) const {
  const auto found = values.find(name);
  if (found == values.end()) throw Misuse("needs " + name);
  return found->second;
}

std::string Options::Get(const std::string& name, const std::string& otherwise) const {
  const auto found = values.find(name);
  return found == values.end() ? otherwise : found->second;
}

bool Options::Flag(const std::string& name) const {
  return std::find(flags.begin(), flags.end(), name) != flags.end();
}

int64_t Options::Number(const std::string& name, int64_t otherwise) const {
  const auto found = numbers.find(name);
  return found == numbers.end() ? otherwise : found->second;
}

namespace {

// "a, b or c".
std::string Listed(const std::vector<std::string>& words) {
  std::string listed;
  for (size_t i = 0; i < words.size(); ++i) {
    if (i > 0) listed += i + 1 == words.size() ? " or " : ", ";
    listed += words[i];
  }
  return listed;
}

// The value of a number option, checked against its bounds.
int64_t CheckedNumber(const Option& option, const std::string& text) {
  const std::string_view digits = std::string_view(text).substr(text.rfind('-', 0) == 0 ? 1 : 0);
  const bool wellFormed =
      !digits.empty() && digits.size() <= 19 &&
      std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  // Nineteen digits always fit in 64 bits, so the conversion cannot wrap.
  const int64_t value = wellFormed ? std::strtoll(text.c_str(), nullptr, 10) : 0;
  if (!wellFormed || value < option.low || value > option.high) {
    throw Misuse(option.name + " takes a whole number from " + std::to_string(option.low) + " to " +
                 std::to_string(option.high) + ", not '" + Printable(text) + "'");
  }
  return value;
}

// Keeps what `option` says in `into`, once its value is checked.
void Keep(const Option& option, const std::string& value, Options& into) {
  switch (option.kind) {
    case Option::Kind::kFlag:
      into.flags.push_back(option.name);
      return;
    case Option::Kind::kNumber:
      into.numbers[option.name] = CheckedNumber(option, value);
      break;
    case Option::Kind::kChoice:
      if (std::find(option.choices.begin(), option.choices.end(), value) == option.choices.end())
        throw Misuse(option.name + " takes " + Listed(option.choices) + ", not '" +
                     Printable(value) + "'");
      break;
    case Option::Kind::kValue:
      break;
  }
  into.values[option.name] = value;
}

// Reads the option at args[at] when `declared` names it, into `into`, and
// tells how many arguments it used: 0 when it is not declared. "--name=value"
// stands for "--name value".
size_t ReadOption(const Args& args, size_t at, const std::vector<Option>& declared, Options& into) {
  const std::string& arg = args[at];
  const size_t equals = arg.rfind("--", 0) == 0 ? arg.find('=') : std::string::npos;
  const std::string name = arg.substr(0, equals);
  const auto option = std::find_if(declared.begin(), declared.end(),
                                   [&](const Option& o) { return o.name == name; });
  if (option == declared.end()) return 0;
  const bool joined = equals != std::string::npos;
  if (option->kind == Option::Kind::kFlag) {
    if (joined) throw Misuse(name + " takes no value");
    Keep(*option, "", into);
    return 1;
  }
  if (!joined && at + 1 == args.size()) throw Misuse(name + " needs " + option->needs);
  Keep(*option, joined ? arg.substr(equals + 1) : args[at + 1], into);
  return joined ? 1 : 2;
}

}  // namespace

Options Parse(const Args& args, const Syntax& syntax) {
  Options options;
  for (size_t i = 0; i < args.size();) {
    const std::string& arg = args[i];
    if (arg == "--") {
      // Everything after it is a word, even when it begins with "-".
      options.words.insert(options.words.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                           args.end());
      break;
    }
    if (arg.size() < 2 || arg[0] != '-') {
      options.words.push_back(arg);
      ++i;
      continue;
    }
    const size_t used = ReadOption(args, i, syntax.options, options);
    if (used == 0) {
      const std::string name = arg.substr(0, arg.rfind("--", 0) == 0 ? arg.find('=') : arg.npos);
      throw Misuse("unknown option " + Printable(name));
    }
    i += used;
  }
  const size_t count = options.words.size();
  if (count < syntax.words.least || count > syntax.words.most) throw Misuse(syntax.words.misuse);
  return options;
}

Options TakeOptions(Args& args, const std::vector<Option>& declared) {
  Options options;
  for (size_t i = 0; i < args.size() && args[i] != "--";) {
    const size_t used = ReadOption(args, i, declared, options);
    if (used == 0) {
      ++i;
      continue;
    }
    args.erase(args.begin() + static_cast<std::ptrdiff_t>(i),
               args.begin() + static_cast<std::ptrdiff_t>(i + used));
  }
  return options;
}

Format ParseFormat(const Options& options) {
  const std::string name = options.Get("--format", "text");
  if (name == "csv") return Format::kCsv;
  if (name == "xml") return Format::kXml;
  if (name == "json") return Format::kJson;
  return Format::kText;
}

TDateTime ParseDateArgument(const std::string& text) {
  // A command line also takes a blank for the "T", as people type it.
  std::string iso = text;
  if (iso.size() > 10 && iso[10] == ' ') iso[10] = 'T';
  if (const std::optional<TFecha> day = ParseIsoDate(iso)) return day->AsDateTime();
  TDateTime value;
  if (TryStrToDateTime(text, value)) return value;
  throw EConvertError("'" + text + "' is not a date (use 2026-11-23 or 23/11/2026)");
}

namespace {

// The first day of --month YYYY-MM; EConvertError for anything else.
TFecha MonthStart(const std::string& month) {
  try {
    return TFecha(ParseDateArgument(month + "-01"));
  } catch (const Exception&) {
    throw EConvertError("--month '" + month + "' is no month (use 2026-11)");
  }
}

}  // namespace

std::vector<Option> RangeOptions(bool month) {
  std::vector<Option> options = {Value("--from"), Value("--to")};
  if (month) options.push_back(Value("--month"));
  return options;
}

DayRange ReadDays(const Options& options) {
  DayRange range;
  if (options.Has("--month")) {
    if (options.Has("--from") || options.Has("--to"))
      throw Misuse("takes --month or --from and --to, not both");
    range.first = MonthStart(options.Need("--month"));
    range.last = TFecha(range.first.EndOfMonth().Date());
    range.month = true;
    return range;
  }
  const std::string& from = options.Need("--from");
  range.first = TFecha(TFecha(ParseDateArgument(from)).Date());
  const std::string& to = options.Need("--to");
  range.last = TFecha(TFecha(ParseDateArgument(to)).Date());
  if (range.last < range.first)
    throw EConvertError("the range " + from + " .. " + to + " ends before it starts");
  if ((range.LastSecond() - range.first).Value() / kSecondsPerDay > kLongestRangeInDays)
    throw EConvertError("the range " + from + " .. " + to + " is longer than ten years");
  return range;
}

std::optional<DayRange> ReadOptionalDays(const Options& options) {
  if (!options.Has("--month") && !options.Has("--from") && !options.Has("--to"))
    return std::nullopt;
  return ReadDays(options);
}

std::optional<TZone> ZoneOption(const Options& options) {
  if (!options.Has("--tz")) return std::nullopt;
  return TZone::Find(options.Need("--tz"));
}

}  // namespace cuadrante::tool
