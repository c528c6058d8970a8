// Arguments and documents shared by the commands.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/points/cyclepointmgr.h"
#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/storedtext.h"
#include "tools/cuadrante/commands.h"

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

Options Parse(const Args& args, std::initializer_list<const char*> withValue,
              std::initializer_list<const char*> bare) {
  Options options;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--") {
      // Everything after it is a word, even when it begins with "-".
      options.words.insert(options.words.end(), args.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                           args.end());
      break;
    }
    if (arg.size() < 2 || arg[0] != '-') {
      options.words.push_back(arg);
      continue;
    }
    // "--name=value" stands for "--name value".
    const size_t equals = arg.rfind("--", 0) == 0 ? arg.find('=') : std::string::npos;
    const std::string name = arg.substr(0, equals);
    bool known = false;
    for (const char* option : withValue) {
      if (name != option) continue;
      if (equals != std::string::npos) {
        options.values[name] = arg.substr(equals + 1);
      } else {
        if (i + 1 == args.size()) throw Misuse(name + " needs a value");
        options.values[name] = args[++i];
      }
      known = true;
    }
    for (const char* option : bare) {
      if (name != option) continue;
      if (equals != std::string::npos) throw Misuse(name + " takes no value");
      options.flags.push_back(name);
      known = true;
    }
    if (!known) throw Misuse("unknown option " + Printable(name));
  }
  return options;
}

int64_t NumberOption(const Options& options, const std::string& name, int64_t low, int64_t high,
                     int64_t otherwise) {
  if (!options.Has(name)) return otherwise;
  const std::string& text = options.Need(name);
  const std::string_view digits = std::string_view(text).substr(text.rfind('-', 0) == 0 ? 1 : 0);
  const bool wellFormed =
      !digits.empty() && digits.size() <= 19 &&
      std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
  // Nineteen digits always fit in 64 bits, so the conversion cannot wrap.
  const int64_t value = wellFormed ? std::strtoll(text.c_str(), nullptr, 10) : 0;
  if (!wellFormed || value < low || value > high) {
    throw Misuse(name + " takes a whole number from " + std::to_string(low) + " to " +
                 std::to_string(high) + ", not '" + Printable(text) + "'");
  }
  return value;
}

Format ParseFormat(const Options& options) {
  const std::string name = options.Get("--format", "text");
  if (name == "text") return Format::kText;
  if (name == "csv") return Format::kCsv;
  if (name == "xml") return Format::kXml;
  if (name == "json") return Format::kJson;
  throw Misuse("--format takes text, csv, xml or json, not '" + name + "'");
}

TFecha ParseMonthArgument(const std::string& month) {
  try {
    return TFecha(ParseDateArgument(month + "-01"));
  } catch (const Exception&) {
    throw EConvertError("--month '" + month + "' is no month (use 2026-11)");
  }
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

std::string ReadStandardInput(size_t limit, const std::string& what) {
  std::string bytes;
  char piece[65536];
  size_t got = 0;
  while ((got = std::fread(piece, 1, sizeof piece, stdin)) > 0) {
    if (got > limit - std::min(limit, bytes.size()))
      throw Exception("stdin holds more than " + std::to_string(limit) + " bytes, " + what);
    bytes.append(piece, got);
  }
  if (std::ferror(stdin))
    throw EFileError(std::string("cannot read stdin: ") + std::strerror(errno));
  return bytes;
}

DocumentKind ReadDocument(const std::string& path, AnsiString& text, Problems* problems) {
  if (path == "-") {
    text = ReadStandardInput(kLargestDocumentBytes, "too large for a point-set document");
  } else {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
      // A fifo or a device would be read until it ends, which may be never.
      throw EFOpenError(path + ": is no regular file");
    }
    if (std::filesystem::exists(status) &&
        std::filesystem::file_size(path, error) > kLargestDocumentBytes) {
      throw EFOpenError(path + ": is larger than " + std::to_string(kLargestDocumentBytes >> 20) +
                        " MiB, too large for a point-set document");
    }
    text = ReadWholeFile(path, kLargestDocumentBytes);
  }
  TXMLDocument document;
  try {
    document.LoadFromXML(text);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
  const TXMLNode root = document.DocumentElement();
  if (root.Name() != "POINTSMGR") {
    throw EConvertError(path + ": is no point-set document (its root is " +
                        std::string(root.Name()) + ", not POINTSMGR)");
  }
  size_t fields = 0;
  size_t index = 0;
  for (TXMLNode point = root.FirstChild(); point; point = point.NextSibling()) {
    ++index;
    const std::string stored(point.Text());
    std::string why = StoredTextProblem(stored);
    const size_t count = static_cast<size_t>(std::count(stored.begin(), stored.end(), ';')) + 1;
    if (why.empty() && fields != 0 && count != fields) {
      why = "has " + std::to_string(count) + " fields where the ones before have " +
            std::to_string(fields);
    }
    if (!why.empty()) {
      const std::string problem =
          "element " + std::to_string(index) + " " +
          (why.rfind("has ", 0) == 0 ? why : "(" + Printable(stored) + "): " + why);
      if (problems == nullptr) throw EConvertError(path + ": " + problem);
      if (++problems->count <= Problems::kListed) problems->listed.push_back(problem);
      continue;
    }
    if (fields == 0) fields = count;
  }
  if (fields == 0) return DocumentKind::kEmpty;
  return fields == 8   ? DocumentKind::kRules
         : fields == 7 ? DocumentKind::kBoxes
                       : DocumentKind::kPoints;
}

void LoadRules(const std::string& path, TCyclePointMgr& rules) {
  AnsiString text;
  const DocumentKind kind = ReadDocument(path, text);
  if (kind == DocumentKind::kEmpty) return;
  if (kind != DocumentKind::kRules) {
    throw EConvertError(path + ": holds stored points, not rules (list them with `points`)");
  }
  LoadRulesFrom(path, text, rules);
}

void LoadRulesFrom(const std::string& path, const AnsiString& text, TCyclePointMgr& rules) {
  TCyclePoint prototype;
  try {
    rules.LoadCyclesFromXML(text, &prototype);
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
  }
  rules.RangeStart = TFecha();
  rules.RangeEnd = TFecha();
}

void LoadDocument(const std::string& path, TBasicPointMgr& set) {
  AnsiString text;
  const DocumentKind kind = ReadDocument(path, text);
  if (kind == DocumentKind::kEmpty) return;
  if (kind == DocumentKind::kRules) {
    // A rule's first fields read as a point, but only its first occurrence.
    throw EConvertError(path + ": holds rules, not stored points (unroll them with `expand`)");
  }
  TBasicPoint prototype;
  try {
    set.LoadFromXML(text, &prototype);
  } catch (const Exception& e) {
    // A field that is no number: say which file.
    throw EConvertError(path + ": " + e.Message);
  }
}

namespace {
std::string environmentOption;
}  // namespace

void CheckEnvironmentDocument(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw EFOpenError(path + ": is no regular file");
  }
  TXMLDocument document;
  try {
    document.LoadFromXML(ReadWholeFile(path, kSettingsFileLimit));
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message + " (left as it is)");
  }
  if (document.DocumentElement().Name() != "DATAPACKET") {
    throw EConvertError(path + ": is no environment document (its root is " +
                        std::string(document.DocumentElement().Name()) + ", not DATAPACKET)");
  }
}

std::string DocumentText(const TBasicPointMgr& set) {
  // The library saves an empty set as an empty text, which no reader takes
  // for a document.
  if (set.Points.empty())
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n<POINTSMGR/>\n";
  AnsiString xml;
  set.SaveToXML(xml);
  return xml + "\n";
}

void PrintAsDocument(const TBasicPointMgr& set) { std::fputs(DocumentText(set).c_str(), stdout); }

const std::string& EnvironmentOption() { return environmentOption; }

std::string ConfigPath(const std::string& name) {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  // XDG asks that a relative value be ignored.
  if (config != nullptr && config[0] == '/') return std::string(config) + "/cuadrante/" + name;
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && home[0] != '\0' ? home : ".") + "/.config/cuadrante/" +
         name;
}

void MakeFoldersFor(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw EFCreateError(folder.string() + ": cannot create the folder: " + error.message());
}
void SetEnvironmentOption(const std::string& path) { environmentOption = path; }

}  // namespace cuadrante::tool
