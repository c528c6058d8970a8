// The file side of the string list: lines read from and written to disk.
#include <string_view>

#include "cuadrante/port/files.h"
#include "cuadrante/runtime/stringlist.h"

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

}  // namespace

void TStrings::LoadFromFile(const AnsiString& fileName) {
  // Files written by other editors may open with a byte-order mark; it is no
  // part of the first line.
  const AnsiString contents = cuadrante::ReadWholeFile(fileName);
  std::string_view text = contents;
  if (text.starts_with(kUtf8Mark)) text.remove_prefix(kUtf8Mark.size());
  SetText(text);
}

void TStrings::SaveToFile(const AnsiString& fileName) const {
  cuadrante::WriteFileAtomically(fileName, Text());
}
