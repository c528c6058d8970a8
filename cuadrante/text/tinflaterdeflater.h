// Gzip compression and Base64 text over whole buffers, streams or texts, into a
// stream.
//
// `flags` chooses the stages: 1 is Base64 text (lines of 72 characters, each
// ended by a line feed; the reader skips anything outside the alphabet), 2 is
// a gzip stream (one member, deflate level 6, the fixed 10-byte header
// 1F 8B 08 00 00000000 00 00). Other bits are ignored. With both, Deflate
// compresses and then encodes, Inflate decodes and then decompresses; with
// neither, the bytes are copied as they are. The whole input and the whole
// result are held in memory; the result reaches `out` only once every stage
// has finished, so a failing stage leaves `out` as it was.
//
// The gzip stage runs on libdeflate: whole buffers, one call each way. A stream
// whose size its trailer does not tell (something follows the member) is read
// by zlib as it comes, so memory follows the data. Base64 runs on Crypto++'s
// filters, and so does every gzip stream that is not one clean member: their
// exceptions are the ones that callers catch, with the classes and texts that
// they have always had.
//
// Errors in the data are Crypto++ exceptions (all derived from
// CryptoPP::Exception and std::exception), passed on as they stand:
// Gunzip::HeaderErr "Gunzip: header decoding error", Gunzip::TailErr "Gunzip:
// tail too short", Gunzip::CrcErr "Gunzip: CRC check error",
// Gunzip::LengthErr "Gunzip: length check error",
// Inflator::UnexpectedEndErr "Inflator: unexpected end of compressed block",
// Inflator::BadBlockErr "Inflator: error in compressed block",
// Inflator::BadDistanceErr "Inflator: error in bit distance", the
// HuffmanDecoder::Err texts that begin "HuffmanDecoder: ", and a
// CryptoPP::Exception (INVALID_DATA_FORMAT) "Inflator: output exceeds the limit
// of N bytes" from a result larger than GetInflateLimit(). They are not
// runtime failures, which stay `Exception`s: the streams raise EReadError and
// EWriteError when `in` or `out` can't give or take the bytes.
//
// Thread safety: every call works on its own copy of the input and its own
// result, with coders kept per thread, so calls may run at once from several
// threads. Inflate hands its result to `out` in pieces of at most 1 MiB.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class TStream;

class CUADRANTE_API TInflaterDeflater {
 public:
  TInflaterDeflater() = delete;

  // Each answers true when done, and false only when memory for a copy of the
  // input or for a stage can't be had, when `out` (or `in`) is null, or when
  // the input is longer than an int counts. An empty input (a length, size or
  // text of 0 or less) writes nothing and answers true, whatever the flags.
  // `out` is written from its position on and not rewound.
  static bool Deflate(const signed char* data, int length, TStream* out, int flags);
  static bool Deflate(const char* data, int length, TStream* out, int flags);
  // Reads all of `in` from its start; its position is at its end afterwards.
  static bool Deflate(TStream* in, TStream* out, int flags);
  static bool Deflate(const AnsiString& text, TStream* out, int flags);

  static bool Inflate(const signed char* data, int length, TStream* out, int flags);
  static bool Inflate(const char* data, int length, TStream* out, int flags);
  static bool Inflate(TStream* in, TStream* out, int flags);
  // Reads the text's own bytes in place, without a copy.
  static bool Inflate(const AnsiString& text, TStream* out, int flags);

  // The working routines behind the overloads. InternalDeflate uses `data` as
  // its scratch area for the hand-over, so it overwrites `data`;
  // InternalInflate leaves it as it is.
  static bool InternalDeflate(unsigned char* data, int length, TStream* out, int flags);
  static bool InternalInflate(const unsigned char* data, int length, TStream* out, int flags);

  // The most bytes that one Inflate may give, 1 GiB unless a caller sets
  // another (0 or less allows only an empty result). A gzip stream that would
  // inflate beyond it is stopped as soon as it passes the limit, before it
  // takes more memory. Process-wide; safe to change from any thread.
  static void SetInflateLimit(int64_t bytes);
  static int64_t GetInflateLimit();
};

namespace cuadrante {

// The stage bits of the `flags` word.
constexpr int kStageBase64 = 1;
constexpr int kStageGzip = 2;

}  // namespace cuadrante
