// GunzipFile over arbitrary bytes: a result within the limit or an EGzipError,
// never a crash or a leak. The same bytes put into a reader in small pieces
// give the same result or the same error; whatever it reads, every ignored
// byte is accounted for, and the result compresses and reads back to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cuadrante/port/stream.h"
#include "cuadrante/text/gzipfile.h"
#include "cuadrante/text/tinflaterdeflater.h"

namespace {

constexpr int64_t kLimit = 8 << 20;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::string wholeError, pieceError;
  cuadrante::TGunzipResult read, pieces;
  try {
    read = cuadrante::GunzipFile(input, kLimit);
  } catch (const cuadrante::EGzipError& e) {
    wholeError = e.what();
  }
  std::string streamed;
  try {
    cuadrante::TGunzipReader reader([&](std::string_view piece) { streamed.append(piece); },
                                    kLimit);
    for (size_t at = 0; at < size; at += 1 + at % 7) reader.Put(input.substr(at, 1 + at % 7));
    pieces = reader.Finish();
  } catch (const cuadrante::EGzipError& e) {
    pieceError = e.what();
  }
  if (pieceError != wholeError) std::abort();
  if (!wholeError.empty()) return 0;
  if (streamed != read.data || pieces.members != read.members ||
      pieces.ignoredBytes != read.ignoredBytes)
    std::abort();
  if (read.data.size() > static_cast<size_t>(kLimit)) std::abort();
  if (size > 0 && (read.members == 0 || read.ignoredBytes >= size)) std::abort();
  if (read.data.empty()) return 0;
  TStringStream packed("");
  if (!TInflaterDeflater::Deflate(read.data, &packed, cuadrante::kStageGzip)) std::abort();
  const auto again = cuadrante::GunzipFile(packed.DataString() + packed.DataString(), 2 * kLimit);
  if (again.data != read.data + read.data || again.members != 2 || again.ignoredBytes != 0)
    std::abort();
  return 0;
}
