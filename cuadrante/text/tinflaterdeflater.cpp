#include "cuadrante/text/tinflaterdeflater.h"

#include <cryptopp/base64.h>
#include <cryptopp/filters.h>
#include <cryptopp/gzip.h>
#include <cryptopp/queue.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

#include "cuadrante/port/stream.h"

namespace cuadrante::detail {
namespace {

// Inflate hands its result to `out` in pieces of at most this many bytes.
constexpr size_t kHandOverPiece = 1048576;
constexpr size_t kHeaderSize = 10;
constexpr size_t kTrailerSize = 8;
constexpr unsigned char kHeader[kHeaderSize] = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 0};
// No deflate stream expands more than this: a length-258 match costs at
// least two bits, so 258 bytes for each quarter byte of input, and a little
// for the block headers.
constexpr uint64_t kMostExpansion = 1032;

std::atomic<int64_t> inflateLimit{int64_t{1} << 30};

uint32_t LittleEndian32(const unsigned char* bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

void PutLittleEndian32(unsigned char* bytes, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

[[noreturn]] void ThrowBeyondLimit(int64_t limit) {
  throw CryptoPP::Exception(CryptoPP::Exception::INVALID_DATA_FORMAT,
                            "Inflator: output exceeds the limit of " +
                                std::to_string(std::max<int64_t>(limit, 0)) + " bytes");
}

// A byte buffer that the call owns, left uninitialised where it grows: the
// coders write every byte of it before anything reads it.
class TBytes {
 public:
  // False when there is no memory for `capacity` bytes; what it held is kept.
  bool Reserve(size_t capacity) {
    if (capacity <= capacity_) return true;
    std::unique_ptr<unsigned char[]> bigger(new (std::nothrow) unsigned char[capacity]);
    if (!bigger) return false;
    if (size_ > 0) std::memcpy(bigger.get(), bytes_.get(), size_);
    bytes_ = std::move(bigger);
    capacity_ = capacity;
    return true;
  }
  unsigned char* Data() { return bytes_.get(); }
  const unsigned char* Data() const { return bytes_.get(); }
  size_t Size() const { return size_; }
  size_t Capacity() const { return capacity_; }
  void SetSize(size_t size) { size_ = size; }

 private:
  std::unique_ptr<unsigned char[]> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// --- The Crypto++ stages ----------------------------------------------------------------------
//
// Base64 runs on these stages, and so does every gzip stream that the fast
// path below does not read cleanly: their exceptions are the ones that our
// callers catch, with their classes and texts, so a damaged stream fails
// exactly as it always has, and the fast path only has to know when to step
// aside.

// The end of every chain: it holds the result until it is taken. It keeps only
// what arrives before the end of the first message, because Gunzip passes on
// whatever follows a gzip member's trailer, which is not part of the data. It
// raises as soon as it holds more than `limit` bytes, which stops a stream
// that would inflate without bound before it eats the memory.
class TResultQueue final : public CryptoPP::ByteQueue {
 public:
  explicit TResultQueue(int64_t limit)
      : limit_(static_cast<CryptoPP::lword>(std::max<int64_t>(limit, 0))) {}

  size_t Put2(const CryptoPP::byte* bytes, size_t length, int messageEnd, bool blocking) override {
    if (ended_) return 0;
    if (length > limit_ - std::min(limit_, CurrentSize())) {
      ThrowBeyondLimit(static_cast<int64_t>(limit_));
    }
    ByteQueue::Put2(bytes, length, 0, blocking);
    if (messageEnd != 0) ended_ = true;
    return 0;
  }

 private:
  CryptoPP::lword limit_;
  bool ended_ = false;
};

// The stages that `flags` asks for, built from the tail to the head so that
// each owns the one behind it; the data pass them from the head on and end in
// `result`, which the chain owns. Deflate has only Base64 to do here.
std::unique_ptr<CryptoPP::BufferedTransformation> Base64Chain(int, TResultQueue* result) {
  return std::make_unique<CryptoPP::Base64Encoder>(result, true, 72);
}

std::unique_ptr<CryptoPP::BufferedTransformation> InflateChain(int flags, TResultQueue* result) {
  std::unique_ptr<CryptoPP::BufferedTransformation> owner(result);
  if ((flags & kStageGzip) != 0) owner.reset(new CryptoPP::Gunzip(owner.release()));
  if ((flags & kStageBase64) != 0) owner.reset(new CryptoPP::Base64Decoder(owner.release()));
  return owner;
}

using TChainBuilder = std::unique_ptr<CryptoPP::BufferedTransformation> (*)(int, TResultQueue*);

// Runs all of `data` through the chain, each stage told once that the input is
// finished, and moves the result into `result`. False when memory ran out.
// Errors in the data leave as the stages raise them.
bool RunChain(TChainBuilder build, int flags, int64_t limit, const unsigned char* data,
              size_t length, TBytes& result) {
  try {
    auto* queue = new TResultQueue(limit);
    const std::unique_ptr<CryptoPP::BufferedTransformation> chain = build(flags, queue);
    chain->Put(data, length);
    chain->MessageEnd();
    const size_t size = static_cast<size_t>(queue->MaxRetrievable());
    if (!result.Reserve(std::max<size_t>(size, 1))) return false;
    result.SetSize(queue->Get(result.Data(), size));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// --- The gzip stage on libdeflate and zlib ---------------------------------------------------

struct TCompressorFree {
  void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};
struct TDecompressorFree {
  void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

// One coder of each kind for each thread that uses them, kept for the next
// call: making a compressor costs more than compressing a short text.
libdeflate_compressor* Compressor() {
  thread_local std::unique_ptr<libdeflate_compressor, TCompressorFree> compressor(
      libdeflate_alloc_compressor(6));
  return compressor.get();
}

libdeflate_decompressor* Decompressor() {
  thread_local std::unique_ptr<libdeflate_decompressor, TDecompressorFree> decompressor(
      libdeflate_alloc_decompressor());
  return decompressor.get();
}

// One gzip member of `data` with our fixed header and deflate level 6. False
// when there is no memory for the coder or the result.
bool GzipMember(const unsigned char* data, size_t length, TBytes& result) {
  libdeflate_compressor* compressor = Compressor();
  if (compressor == nullptr) return false;
  const size_t bound = libdeflate_deflate_compress_bound(compressor, length);
  if (!result.Reserve(kHeaderSize + bound + kTrailerSize)) return false;
  unsigned char* const member = result.Data();
  std::memcpy(member, kHeader, kHeaderSize);
  const size_t body =
      libdeflate_deflate_compress(compressor, data, length, member + kHeaderSize, bound);
  if (body == 0) return false;  // cannot happen with a buffer of the bound
  unsigned char* const trailer = member + kHeaderSize + body;
  PutLittleEndian32(trailer, libdeflate_crc32(0, data, length));
  PutLittleEndian32(trailer + 4, static_cast<uint32_t>(length));
  result.SetSize(kHeaderSize + body + kTrailerSize);
  return true;
}

// The offset where the deflate data of the member begin, or 0 when the header
// is one that Crypto++'s Gunzip refuses (too short, other magic bytes, a
// method other than deflate, the continuation or encryption flags, a field
// that runs past the end).
size_t DataOffset(const unsigned char* in, size_t n) {
  if (n < kHeaderSize || in[0] != 0x1F || in[1] != 0x8B || in[2] != 8) return 0;
  const unsigned flags = in[3];
  if ((flags & (0x02 | 0x20)) != 0) return 0;
  size_t at = kHeaderSize;
  if ((flags & 0x04) != 0) {  // FEXTRA
    if (n - at < 2) return 0;
    const size_t extra = in[at] | size_t{in[at + 1]} << 8;
    at += 2;
    if (n - at < extra) return 0;
    at += extra;
  }
  for (const unsigned field : {0x08u, 0x10u}) {  // FNAME, FCOMMENT: ended by a zero byte
    if ((flags & field) == 0) continue;
    const void* end = std::memchr(in + at, 0, n - at);
    if (end == nullptr) return 0;
    at = static_cast<size_t>(static_cast<const unsigned char*>(end) - in) + 1;
  }
  return at;
}

// True when the 8 bytes after the deflate data hold the CRC-32 and the length
// of the `size` bytes of `result`.
bool TrailerMatches(const unsigned char* trailer, size_t available, const unsigned char* result,
                    size_t size) {
  return available >= kTrailerSize &&
         LittleEndian32(trailer) == libdeflate_crc32(0, result, size) &&
         LittleEndian32(trailer + 4) == static_cast<uint32_t>(size);
}

// `out` when the result may be inflated straight into its memory: a memory
// stream of our own, so that no Write of a derived class is there to see the
// pieces, and written at its end, so that a failure cuts it back to what it
// was. Null otherwise.
TMemoryStream* InPlaceTarget(TStream& out) {
  if (typeid(out) != typeid(TMemoryStream) && typeid(out) != typeid(TStringStream)) return nullptr;
  auto& memory = static_cast<TMemoryStream&>(out);
  return memory.Position() == memory.Size() ? &memory : nullptr;
}

enum class TOutcome { kRead, kNotRead, kNoMemory };

// Inflates raw deflate data whose size is not known, growing the result as it
// comes, so that memory follows the data and not a length that the stream
// claims. kNotRead on damaged or cut data; `used` is the input consumed.
TOutcome ZlibInflate(const unsigned char* in, size_t n, int64_t limit, TBytes& result,
                     size_t& used) {
  z_stream z{};
  if (inflateInit2(&z, -MAX_WBITS) != Z_OK) return TOutcome::kNoMemory;
  struct TEnd {
    z_stream* z;
    ~TEnd() { inflateEnd(z); }
  } end{&z};
  const uint64_t most = static_cast<uint64_t>(std::max<int64_t>(limit, 0));
  size_t consumed = 0;
  result.SetSize(0);
  for (;;) {
    // Grown by doubling, but never past one byte beyond the limit: that byte
    // is enough to know that the stream passes it.
    if (result.Size() == result.Capacity() &&
        !result.Reserve(static_cast<size_t>(std::min<uint64_t>(
            std::max<uint64_t>(result.Capacity() * uint64_t{2}, uint64_t{1} << 16), most + 1)))) {
      return TOutcome::kNoMemory;
    }
    const size_t feed = std::min<size_t>(n - consumed, UINT_MAX);
    const size_t room = std::min<size_t>(result.Capacity() - result.Size(), UINT_MAX);
    z.next_in = const_cast<unsigned char*>(in + consumed);
    z.avail_in = static_cast<uInt>(feed);
    z.next_out = result.Data() + result.Size();
    z.avail_out = static_cast<uInt>(room);
    const int status = inflate(&z, Z_NO_FLUSH);
    consumed += feed - z.avail_in;
    result.SetSize(result.Size() + (room - z.avail_out));
    if (result.Size() > most) ThrowBeyondLimit(limit);
    if (status == Z_STREAM_END) {
      used = consumed;
      return TOutcome::kRead;
    }
    if (status == Z_MEM_ERROR) return TOutcome::kNoMemory;
    if (status != Z_OK && !(status == Z_BUF_ERROR && z.avail_out == 0)) return TOutcome::kNotRead;
    if (consumed == n && z.avail_out != 0) return TOutcome::kNotRead;  // cut short
  }
}

// The first gzip member of `in`, read by libdeflate when the length in the
// last four bytes is the member's own (nothing follows it, as is usual), and
// by zlib as it comes otherwise. kNotRead for anything that is not a clean
// member, which the reference chain then reads or refuses. A result that
// libdeflate reads goes straight to the end of `inPlace` when there is one,
// and `placed` says so; any other goes into `result`.
TOutcome FastGunzip(const unsigned char* in, size_t n, int64_t limit, TMemoryStream* inPlace,
                    TBytes& result, bool& placed) {
  placed = false;
  const size_t start = DataOffset(in, n);
  if (start == 0) return TOutcome::kNotRead;
  const unsigned char* const data = in + start;
  const size_t available = n - start;
  const uint64_t claimed = n >= 4 ? LittleEndian32(in + n - 4) : 0;
  size_t used = 0;
  if (claimed <= static_cast<uint64_t>(std::max<int64_t>(limit, 0)) &&
      claimed <= available * kMostExpansion) {
    libdeflate_decompressor* decompressor = Decompressor();
    if (decompressor == nullptr) return TOutcome::kNoMemory;
    const int64_t end = inPlace != nullptr ? inPlace->Size() : 0;
    unsigned char* target = nullptr;
    if (inPlace != nullptr) {
      try {
        inPlace->SetSize(end + static_cast<int64_t>(claimed));
        target = reinterpret_cast<unsigned char*>(inPlace->Memory()) + end;
      } catch (const EStreamError&) {
        inPlace = nullptr;  // no room there: the hand-over decides what that means
      }
    }
    if (target == nullptr) {
      if (!result.Reserve(std::max<size_t>(claimed, 1))) return TOutcome::kNoMemory;
      target = result.Data();
    }
    size_t made = 0;
    const libdeflate_result status = libdeflate_deflate_decompress_ex(
        decompressor, data, available, target, claimed, &used, &made);
    const bool read =
        status == LIBDEFLATE_SUCCESS && TrailerMatches(data + used, available - used, target, made);
    if (inPlace != nullptr) {
      inPlace->SetSize(end + (read ? static_cast<int64_t>(made) : 0));
      inPlace->SetPosition(inPlace->Size());
      placed = read;
    } else {
      result.SetSize(made);
    }
    if (read) return TOutcome::kRead;
    if (status != LIBDEFLATE_INSUFFICIENT_SPACE) return TOutcome::kNotRead;
  }
  const TOutcome outcome = ZlibInflate(data, available, limit, result, used);
  if (outcome != TOutcome::kRead) return outcome;
  return TrailerMatches(data + used, available - used, result.Data(), result.Size())
             ? TOutcome::kRead
             : TOutcome::kNotRead;
}

// Writes `bytes` to `out` in pieces of at most `piece` bytes.
void HandOver(const unsigned char* bytes, size_t size, size_t piece, TStream& out) {
  for (size_t at = 0; at < size; at += piece) {
    out.WriteBuffer(bytes + at, static_cast<int64_t>(std::min(piece, size - at)));
  }
}

// A copy of `length` bytes that the call owns, or null when there is no memory for it.
std::unique_ptr<unsigned char[]> Copy(const void* data, size_t length) {
  std::unique_ptr<unsigned char[]> copy(new (std::nothrow) unsigned char[length]);
  if (copy) std::copy_n(static_cast<const unsigned char*>(data), length, copy.get());
  return copy;
}

// The whole of `in`, read from its start, into a buffer the call owns; null
// when it is longer than an int counts or there is no memory for it.
std::unique_ptr<unsigned char[]> ReadAll(TStream& in, int64_t size) {
  if (size > INT_MAX) return nullptr;
  std::unique_ptr<unsigned char[]> copy(
      new (std::nothrow) unsigned char[static_cast<size_t>(size)]);
  if (!copy) return nullptr;
  in.SetPosition(0);
  in.ReadBuffer(copy.get(), size);
  return copy;
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

// --- The working routines --------------------------------------------------------------------

bool TInflaterDeflater::InternalDeflate(unsigned char* data, int length, TStream* out, int flags) {
  if (out == nullptr) return false;
  if (length <= 0) return true;
  const size_t size = static_cast<size_t>(length);
  TBytes result;
  if ((flags & cuadrante::kStageGzip) != 0) {
    if (!GzipMember(data, size, result)) return false;
    if ((flags & cuadrante::kStageBase64) != 0) {
      TBytes lines;
      if (!RunChain(Base64Chain, cuadrante::kStageBase64, INT64_MAX, result.Data(), result.Size(),
                    lines)) {
        return false;
      }
      result = std::move(lines);
    }
  } else if ((flags & cuadrante::kStageBase64) != 0) {
    if (!RunChain(Base64Chain, flags, INT64_MAX, data, size, result)) return false;
  } else {
    out->WriteBuffer(data, length);
    return true;
  }
  HandOver(result.Data(), result.Size(), size, *out);
  return true;
}

bool TInflaterDeflater::InternalInflate(const unsigned char* data, int length, TStream* out,
                                        int flags) {
  if (out == nullptr) return false;
  if (length <= 0) return true;
  if ((flags & (cuadrante::kStageBase64 | cuadrante::kStageGzip)) == 0) {
    out->WriteBuffer(data, length);
    return true;
  }
  const int64_t limit = GetInflateLimit();
  const size_t size = static_cast<size_t>(length);
  TBytes result;
  TOutcome outcome = TOutcome::kNotRead;
  if ((flags & cuadrante::kStageGzip) != 0) {
    TMemoryStream* const inPlace = InPlaceTarget(*out);
    bool placed = false;
    if ((flags & cuadrante::kStageBase64) != 0) {
      TBytes decoded;
      if (!RunChain(InflateChain, cuadrante::kStageBase64, INT64_MAX, data, size, decoded)) {
        return false;
      }
      outcome = FastGunzip(decoded.Data(), decoded.Size(), limit, inPlace, result, placed);
    } else {
      outcome = FastGunzip(data, size, limit, inPlace, result, placed);
    }
    if (outcome == TOutcome::kNoMemory) return false;
    if (placed) return true;
  }
  if (outcome == TOutcome::kNotRead && !RunChain(InflateChain, flags, limit, data, size, result)) {
    return false;
  }
  HandOver(result.Data(), result.Size(), kHandOverPiece, *out);
  return true;
}

// --- The overloads -------------------------------------------------------------------------

bool TInflaterDeflater::Deflate(const signed char* data, int length, TStream* out, int flags) {
  return Deflate(reinterpret_cast<const char*>(data), length, out, flags);
}

bool TInflaterDeflater::Deflate(const char* data, int length, TStream* out, int flags) {
  if (length <= 0) return true;
  if (out == nullptr) return false;
  const auto copy = Copy(data, static_cast<size_t>(length));
  return copy && InternalDeflate(copy.get(), length, out, flags);
}

bool TInflaterDeflater::Deflate(TStream* in, TStream* out, int flags) {
  if (in == nullptr) return false;
  const int64_t size = in->Size();
  if (size <= 0) return true;
  if (out == nullptr) return false;
  const auto copy = ReadAll(*in, size);
  return copy && InternalDeflate(copy.get(), static_cast<int>(size), out, flags);
}

bool TInflaterDeflater::Deflate(const AnsiString& text, TStream* out, int flags) {
  if (text.size() > static_cast<size_t>(INT_MAX)) return false;
  return Deflate(text.data(), static_cast<int>(text.size()), out, flags);
}

bool TInflaterDeflater::Inflate(const signed char* data, int length, TStream* out, int flags) {
  return Inflate(reinterpret_cast<const char*>(data), length, out, flags);
}

bool TInflaterDeflater::Inflate(const char* data, int length, TStream* out, int flags) {
  if (length <= 0) return true;
  if (out == nullptr) return false;
  const auto copy = Copy(data, static_cast<size_t>(length));
  return copy && InternalInflate(copy.get(), length, out, flags);
}

bool TInflaterDeflater::Inflate(TStream* in, TStream* out, int flags) {
  if (in == nullptr) return false;
  const int64_t size = in->Size();
  if (size <= 0) return true;
  if (out == nullptr) return false;
  const auto copy = ReadAll(*in, size);
  return copy && InternalInflate(copy.get(), static_cast<int>(size), out, flags);
}

bool TInflaterDeflater::Inflate(const AnsiString& text, TStream* out, int flags) {
  if (text.empty()) return true;
  if (text.size() > static_cast<size_t>(INT_MAX)) return false;
  return InternalInflate(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<int>(text.size()), out, flags);
}

void TInflaterDeflater::SetInflateLimit(int64_t bytes) {
  inflateLimit = std::max<int64_t>(bytes, 0);
}

int64_t TInflaterDeflater::GetInflateLimit() { return inflateLimit; }
