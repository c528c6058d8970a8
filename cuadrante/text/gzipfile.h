// Reading and writing gzip files the way GNU gzip does, whole or piece by piece.
//
// TInflaterDeflater keeps its own long-standing form: one member, no header
// check, anything after the first trailer ignored, everything in memory. A
// host that reads files written by other programs wants what `gzip -d`
// accepts instead, and this is it: every member of a concatenation (`gzip -c a
// b`, `cat a.gz b.gz`) in turn, their data joined; each header read with all
// its optional fields (FEXTRA, FNAME, FCOMMENT) and, where FHCRC is set, its
// CRC-16 checked; reserved flag bits and methods other than deflate refused;
// each member's CRC-32 and length checked against its trailer. Bytes after the
// last member that do not begin another one are not data: zero bytes (tape or
// block padding) are passed over silently, anything else is counted in
// `ignoredBytes` so the host can warn, as gzip does.
//
// Errors are EGzipError, naming the member (from 1) and the byte offset where
// the fault lies. A result that would pass `limit` bytes stops before any byte
// beyond it is given out.
//
// The reader and the writer take their input in pieces of any size and hand
// their output to a sink as it comes, so a stream of any length needs a few
// hundred kilobytes. The writer's stream has the library's fixed header
// (1F 8B 08 00 00000000 00 00) and deflate level 6; its bytes need not equal
// those of TInflaterDeflater, but every gzip reader takes both. One object
// serves one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
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
  std::string data;  // GunzipFile only; the reader gives its data to the sink
  int members = 0;
  // Bytes after the last member that are neither a member nor zero padding.
  size_t ignoredBytes = 0;
};

using TByteSink = std::function<void(std::string_view)>;

class CUADRANTE_API TGunzipReader {
 public:
  TGunzipReader(TByteSink sink, int64_t limit);
  ~TGunzipReader();
  TGunzipReader(const TGunzipReader&) = delete;
  TGunzipReader& operator=(const TGunzipReader&) = delete;

  // The next bytes of the stream.
  void Put(std::string_view bytes);
  // The stream has ended: raises if it ends inside a member. An empty stream
  // is an empty result with no member; a non-empty one must begin with one.
  TGunzipResult Finish();

 private:
  struct TState;
  std::unique_ptr<TState> state_;
};

class CUADRANTE_API TGzipWriter {
 public:
  explicit TGzipWriter(TByteSink sink);
  ~TGzipWriter();
  TGzipWriter(const TGzipWriter&) = delete;
  TGzipWriter& operator=(const TGzipWriter&) = delete;

  void Put(std::string_view bytes);
  // Ends the stream; with no byte put, it is the member of an empty text,
  // which every gzip reader takes.
  void Finish();

 private:
  struct TState;
  std::unique_ptr<TState> state_;
};

// The whole of `stream` inflated.
CUADRANTE_API TGunzipResult GunzipFile(std::string_view stream, int64_t limit);

}  // namespace cuadrante
