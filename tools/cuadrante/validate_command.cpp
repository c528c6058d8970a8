// `cuadrante validate FILE...`: every element of point-set documents checked
// before a planner acts on them.
#include <cstdio>
#include <string>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "tools/cuadrante/commands.h"

namespace cuadrante::tool {

void HelpValidate() {
  std::printf(
      "usage: cuadrante validate FILE.xml...\n\n"
      "Checks point-set documents (points, boxes or rules) element by element and\n"
      "lists every element that no plan can use, with its number and the reason: a\n"
      "field that is no whole number, a date before 01/01/1900 or after 31/12/9999,\n"
      "a negative length, a type outside 0 to 13, a periodicity outside 0 to 6, a\n"
      "weekend flag other than 0 or 1, a rule that ends before it starts, elements\n"
      "of different kinds. Every other command refuses such a document the same way.\n"
      "Exit status 1 when any document has a problem. docs/formats.md tells every\n"
      "field.\n\n"
      "example:\n  cuadrante validate examples/points.xml examples/rules.xml\n");
}

int RunValidate(const Args& arguments) {
  const Options options = Parse(arguments, {}, {});
  if (options.words.empty()) throw Misuse("expects one FILE.xml or more");
  int status = 0;
  for (const std::string& path : options.words) {
    AnsiString text;
    std::vector<std::string> problems;
    DocumentKind kind = DocumentKind::kEmpty;
    try {
      kind = ReadDocument(path, text, &problems);
    } catch (const Exception& e) {
      std::printf("%s\n", e.Message.c_str());
      status = kBadInput;
      continue;
    }
    for (const std::string& problem : problems)
      std::printf("%s: %s\n", path.c_str(), problem.c_str());
    if (!problems.empty()) {
      std::printf("%s: %zu problem%s\n", path.c_str(), problems.size(),
                  problems.size() == 1 ? "" : "s");
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
