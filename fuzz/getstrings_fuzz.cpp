// GetStrings and GetNumbers over arbitrary bytes; the first byte chooses the
// delimiter set. The tokens must be the non-empty runs between delimiters, so
// joining them back with one delimiter and splitting again gives them again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cuadrante/text/rutinastext.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const std::string kSets[] = {";",          ";,", "",   " \t", std::string("\0;", 2),
                                      "0123456789", "a",  ";;;"};
  const std::string& delimiters = kSets[data[0] % 8];
  const AnsiString text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const AnsiString before = text;

  TVectorStrings tokens{"kept"};
  const int count = RutinasText::GetStrings(text, delimiters, tokens);
  if (count != static_cast<int>(tokens.size()) || tokens[0] != "kept") std::abort();
  size_t letters = 0;
  for (size_t i = 1; i < tokens.size(); ++i) {
    if (tokens[i].empty() || tokens[i].find_first_of(delimiters) != std::string::npos) std::abort();
    letters += tokens[i].size();
  }
  size_t expected = 0;
  for (char c : text) expected += delimiters.find(c) == std::string::npos ? 1 : 0;
  if (letters != expected) std::abort();

  tokens.erase(tokens.begin());
  if (!delimiters.empty()) {
    TVectorStrings again;
    RutinasText::GetStrings(RutinasText::ToString(delimiters.substr(0, 1), tokens), delimiters,
                            again);
    if (again != tokens) std::abort();
  }

  std::vector<int32_t> numbers;
  if (RutinasText::GetNumbers(text, delimiters, numbers) != static_cast<int>(tokens.size())) {
    std::abort();
  }
  if (text != before) std::abort();
  return 0;
}
