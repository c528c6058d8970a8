#include "cuadrante/text/tinflaterdeflater.h"

#include <cryptopp/base64.h>
#include <cryptopp/gzip.h>
#include <cryptopp/queue.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "cuadrante/runtime/stream.h"

namespace cuadrante::detail {
namespace {

// The staging buffer through which Inflate hands its result to `out`, made
// when the library loads and kept for the life of the process. Its lock lets
// two threads inflate at once; only the hand-over is serialised.
constexpr size_t kStagingPiece = 1048576;
unsigned char stagingBuffer[kStagingPiece + 1];
std::mutex stagingLock;

std::atomic<int64_t> inflateLimit{int64_t{1} << 30};

// Gzip with the fixed header that our readers expect: Crypto++ writes the OS
// byte of the build machine (3 on Unix), we always write 0, so the same text
// compresses to the same bytes everywhere.
class TGzipStage final : public CryptoPP::Gzip {
 public:
  explicit TGzipStage(CryptoPP::BufferedTransformation* attachment) : Gzip(attachment, 6) {}

 protected:
  void WritePrestreamHeader() override {
    static constexpr CryptoPP::byte kHeader[10] = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 0};
    m_totalLen = 0;
    m_crc.Restart();
    AttachedTransformation()->Put(kHeader, sizeof kHeader);
  }
};

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
      throw CryptoPP::Exception(
          CryptoPP::Exception::INVALID_DATA_FORMAT,
          "Inflator: output exceeds the limit of " + std::to_string(limit_) + " bytes");
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
// `result`, which the chain owns.
std::unique_ptr<CryptoPP::BufferedTransformation> DeflateChain(int flags, TResultQueue* result) {
  std::unique_ptr<CryptoPP::BufferedTransformation> owner(result);
  if ((flags & kStageBase64) != 0)
    owner.reset(new CryptoPP::Base64Encoder(owner.release(), true, 72));
  if ((flags & kStageGzip) != 0) owner.reset(new TGzipStage(owner.release()));
  return owner;
}

std::unique_ptr<CryptoPP::BufferedTransformation> InflateChain(int flags, TResultQueue* result) {
  std::unique_ptr<CryptoPP::BufferedTransformation> owner(result);
  if ((flags & kStageGzip) != 0) owner.reset(new CryptoPP::Gunzip(owner.release()));
  if ((flags & kStageBase64) != 0) owner.reset(new CryptoPP::Base64Decoder(owner.release()));
  return owner;
}

using TChainBuilder = std::unique_ptr<CryptoPP::BufferedTransformation> (*)(int, TResultQueue*);

// Runs all of `data` through the chain, each stage told once that the input is
// finished, and answers the queue that holds the result (owned by `chain`), or
// null when memory ran out. Errors in the data leave as the stages raise them.
TResultQueue* Run(TChainBuilder build, int flags, int64_t limit, const unsigned char* data,
                  int length, std::unique_ptr<CryptoPP::BufferedTransformation>& chain) {
  try {
    auto* result = new TResultQueue(limit);
    chain = build(flags, result);
    chain->Put(data, static_cast<size_t>(length));
    chain->MessageEnd();
    return result;
  } catch (const std::bad_alloc&) {
    return nullptr;
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
  if ((flags & (cuadrante::kStageBase64 | cuadrante::kStageGzip)) == 0) {
    out->WriteBuffer(data, length);
    return true;
  }
  std::unique_ptr<CryptoPP::BufferedTransformation> chain;
  TResultQueue* result = Run(DeflateChain, flags, INT64_MAX, data, length, chain);
  if (result == nullptr) return false;
  // The input has been taken in whole, so its buffer serves for the hand-over.
  while (const CryptoPP::lword waiting = result->MaxRetrievable()) {
    const size_t piece = result->Get(data, static_cast<size_t>(std::min<CryptoPP::lword>(
                                               waiting, static_cast<CryptoPP::lword>(length))));
    out->WriteBuffer(data, static_cast<int64_t>(piece));
  }
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
  std::unique_ptr<CryptoPP::BufferedTransformation> chain;
  TResultQueue* result = Run(InflateChain, flags, GetInflateLimit(), data, length, chain);
  if (result == nullptr) return false;
  const std::lock_guard<std::mutex> hold(stagingLock);
  while (const CryptoPP::lword waiting = result->MaxRetrievable()) {
    const size_t piece = result->Get(
        stagingBuffer, static_cast<size_t>(std::min<CryptoPP::lword>(waiting, kStagingPiece)));
    out->WriteBuffer(stagingBuffer, static_cast<int64_t>(piece));
  }
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
