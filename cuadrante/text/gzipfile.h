// Reading a gzip file the way `gzip -d` reads it.
//
// TInflaterDeflater keeps its own long-standing form: one member, no header
// check, anything after the first trailer ignored. A host that reads files
// written by other programs wants what GNU gzip accepts instead, and this is
// it: every member of a concatenation (`gzip -c a b`, `cat a.gz b.gz`) in turn,
// their data joined; each header read with all its optional fields (FEXTRA,
// FNAME, FCOMMENT) and, where FHCRC is set, its CRC-16 checked; reserved flag
// bits and methods other than deflate refused; each member's CRC-32 and length
// checked against its trailer. Bytes after the last member that do not begin
// another one are not data: zero bytes (tape or block padding) are passed over
// silently, anything else is counted in `ignoredBytes` so the host can warn,
// as gzip does.
//
// Errors are EGzipError, naming the member (from 1) and the byte offset where
// the fault lies. A result that would pass `limit` bytes stops as soon as it
// does, before it takes more memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante {

class CUADRANTE_API EGzipError : public ::Exception {
 public:
  using ::Exception::Exception;
  ~EGzipError() override;
};

struct TGunzipResult {
  std::string data;
  int members = 0;
  // Bytes after the last member that are neither a member nor zero padding.
  size_t ignoredBytes = 0;
};

// The whole of `stream` inflated. An empty stream is an empty result with no
// member; a non-empty one must begin with a member.
CUADRANTE_API TGunzipResult GunzipFile(std::string_view stream, int64_t limit);

}  // namespace cuadrante
