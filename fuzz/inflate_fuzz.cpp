// Inflate over arbitrary bytes with flags 1, 2 and 3 (chosen by the first
// byte): a result or one of the stage's exceptions, never a crash, a leak or a
// result beyond the limit, and `out` untouched when it raises. What inflates
// deflates and inflates back to itself, and so do the raw bytes.
#include <cryptopp/cryptlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cuadrante/port/stream.h"
#include "cuadrante/text/tinflaterdeflater.h"

namespace {

constexpr int64_t kLimit = 8 << 20;

std::string Deflated(const std::string& bytes, int flags) {
  TStringStream out("");
  if (!TInflaterDeflater::Deflate(bytes, &out, flags)) std::abort();
  return out.DataString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const bool limited = [] {
    TInflaterDeflater::SetInflateLimit(kLimit);  // stays within the fuzzer's memory cap
    return true;
  }();
  static_cast<void>(limited);
  const int flags = 1 + data[0] % 3;
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);

  TStringStream out("kept");
  out.Seek(0, soEnd);
  try {
    if (!TInflaterDeflater::Inflate(input, &out, flags)) std::abort();
    const std::string result = out.DataString().substr(4);
    if (out.DataString().compare(0, 4, "kept") != 0 || result.size() > kLimit) std::abort();
    TStringStream back("");
    if (!TInflaterDeflater::Inflate(Deflated(result, flags), &back, flags)) std::abort();
    if (back.DataString() != result) std::abort();
  } catch (const CryptoPP::Exception&) {
    if (out.DataString() != "kept") std::abort();
  }

  TStringStream raw("");
  if (!TInflaterDeflater::Inflate(Deflated(input, flags), &raw, flags)) std::abort();
  if (raw.DataString() != input) std::abort();
  return 0;
}
