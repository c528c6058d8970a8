// Arguments and documents shared by the commands.
#include <string>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/files.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {

// A day count of a range the tool will unroll; beyond it the output is no
// longer something a person reads, so it is refused rather than printed.
constexpr int64_t kLongestRangeInDays = 10 * 366;

Options Parse(const Args& args, std::initializer_list<const char*> withValue,
              std::initializer_list<const char*> bare) {
  Options options;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.size() < 2 || arg[0] != '-') {
      options.words.push_back(arg);
      continue;
    }
    bool known = false;
    for (const char* name : withValue) {
      if (arg != name) continue;
      if (i + 1 == args.size()) throw Misuse(arg + " needs a value");
      options.values[arg] = args[++i];
      known = true;
    }
    for (const char* name : bare) {
      if (arg != name) continue;
      options.flags.push_back(arg);
      known = true;
    }
    if (!known) throw Misuse("unknown option " + arg);
  }
  return options;
}

void ParseRange(const Options& options, TFecha& from, TFecha& to) {
  from = TFecha(TFecha(ParseDateArgument(options.Need("--from"))).Date());
  to = TFecha(ParseDateArgument(options.Need("--to"))).EndOfDay();
  if (to < from) {
    throw EConvertError("the range " + options.Need("--from") + " .. " + options.Need("--to") +
                        " ends before it starts");
  }
  if ((to - from).Value() / 86400 > kLongestRangeInDays) {
    throw EConvertError("the range " + options.Need("--from") + " .. " + options.Need("--to") +
                        " is longer than ten years");
  }
}

void LoadRules(const std::string& path, TCyclePointMgr& rules) {
  const AnsiString text = ReadWholeFile(path);
  TCyclePoint prototype;
  bool loaded = false;
  try {
    loaded = rules.LoadCyclesFromXML(text, &prototype);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
  if (!loaded) throw EConvertError(path + ": the document holds no rules");
  rules.RangeStart = TFecha();
  rules.RangeEnd = TFecha();
}

void LoadDocument(const std::string& path, TBasicPointMgr& set) {
  const AnsiString text = ReadWholeFile(path);
  TBasicPoint prototype;
  bool loaded = false;
  try {
    loaded = set.LoadFromXML(text, &prototype);
  } catch (const Exception& e) {
    // Malformed XML or a field that is no number: say which file.
    throw EConvertError(path + ": " + e.Message);
  }
  if (!loaded) throw EConvertError(path + ": the document holds no points");
}

}  // namespace cuadrante::tool
