// TBlobStream over arbitrary text, checked against a plain model of its lines:
// split at CR, LF or CR LF; a line's name is what precedes its first "=". The
// written text reads back to the same lines, and SetValue of a clean name and
// value is read back by GetValue.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/text/rutinastext.h"

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = start;
    while (end < text.size() && text[end] != '\r' && text[end] != '\n') ++end;
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
    if (end < text.size() && text[end] == '\r' && start < text.size() && text[start] == '\n') ++start;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  RutinasText::TBlobStream blob(text);
  const std::vector<std::string> lines = Lines(text);
  std::string written;
  for (const std::string& line : lines) written += line + "\r\n";
  if (blob.GetString() != written) std::abort();
  if (RutinasText::TBlobStream(written).GetString() != written) std::abort();

  // Each line's name finds the value of the first line of that name.
  for (const std::string& line : lines) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = line.substr(0, equals);
    std::string first;
    for (const std::string& other : lines) {
      const size_t at = other.find('=');
      if (at != std::string::npos && SameText(other.substr(0, at), name)) {
        first = other.substr(at + 1);
        break;
      }
    }
    if (blob.GetValue(name) != first) std::abort();
  }

  // A name and a value without "=" or breaks: set, read back, then removed.
  std::string name = text.substr(0, text.find_first_of("=\r\n"));
  const std::string value = "v" + name;
  blob.SetValue(name, value);
  if (blob.GetValue(name) != value) std::abort();
  const size_t before = Lines(blob.GetString()).size();
  blob.SetValue(name, "");
  if (Lines(blob.GetString()).size() != before - 1) std::abort();
  return 0;
}
