// TBase64::Decode over arbitrary bytes, checked against a plain reading: keep
// the characters of the alphabet, four values make three bytes, a final group
// of n values n - 1 bytes. Both overloads agree, and what is decoded encodes
// and decodes back to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "cuadrante/text/tbase64.h"

namespace {

std::string Reference(const std::string& text) {
  static const std::string kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  uint32_t bits = 0;
  int held = 0;
  for (char c : text) {
    const size_t value = kAlphabet.find(c);
    if (value == std::string::npos) continue;
    bits = bits << 6 | static_cast<uint32_t>(value);
    held += 6;
    if (held >= 8) {
      held -= 8;
      bytes += static_cast<char>(bits >> held);
    }
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const TBase64 base64;
  const std::string bytes = base64.Decode(text);
  if (bytes != Reference(text)) std::abort();

  int length = -1;
  std::unique_ptr<char[]> buffer(base64.Decode(text.data(), static_cast<int>(size), length));
  if (length < 0 || std::string(buffer.get(), static_cast<size_t>(length)) != bytes) std::abort();

  const std::string encoded = base64.Encode(bytes);
  if (encoded.size() % 4 != 0 || base64.Decode(encoded) != bytes) std::abort();
  std::unique_ptr<char[]> again(base64.Encode(bytes.data(), static_cast<int>(bytes.size()), length));
  if (std::string(again.get(), static_cast<size_t>(length)) != encoded) std::abort();
  // The raw input as data, too.
  if (base64.Decode(base64.Encode(text)) != text) std::abort();
  return 0;
}
