// Point-set documents and plans read from files or stdin, and the document
// the commands print.
#include "tools/cuadrante/documents.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/cyclepoint.h"
#include "cuadrante/time/storedtext.h"
#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

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

roster::TPlan LoadPlan(const std::string& path, std::string* text) {
  std::string read = path == "-" ? ReadStandardInput(kLargestDocumentBytes, "too large for a plan")
                                 : std::string(ReadWholeFile(path, kLargestDocumentBytes));
  try {
    roster::TPlan plan = roster::ReadPlan(read);
    if (text != nullptr) *text = std::move(read);
    return plan;
  } catch (const Exception& e) {
    throw EConvertError(path + ": " + e.Message);
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

void MakeFoldersFor(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw EFCreateError(folder.string() + ": cannot create the folder: " + error.message());
}

}  // namespace cuadrante::tool
