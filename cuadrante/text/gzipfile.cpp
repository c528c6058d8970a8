#include "cuadrante/text/gzipfile.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <new>

namespace cuadrante {

EGzipError::~EGzipError() = default;

namespace {

constexpr unsigned char kMagic1 = 0x1F;
constexpr unsigned char kMagic2 = 0x8B;
constexpr unsigned char kMethodDeflate = 8;
constexpr unsigned kHeaderCrcFlag = 0x02;
constexpr unsigned kExtraFlag = 0x04;
constexpr unsigned kNameFlag = 0x08;
constexpr unsigned kCommentFlag = 0x10;
constexpr unsigned kReservedFlags = 0xE0;
constexpr size_t kFixedHeaderSize = 10;
constexpr size_t kTrailerSize = 8;
constexpr size_t kOutputPiece = size_t{64} << 10;
// No writer puts a name or a comment of a megabyte into a header; a stream that
// does is refused rather than held in memory while its end is awaited.
constexpr size_t kLongestHeader = size_t{1} << 20;
constexpr unsigned char kWrittenHeader[kFixedHeaderSize] = {
    kMagic1, kMagic2, kMethodDeflate, 0, 0, 0, 0, 0, 0, 0};

std::string Hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*X", digits, value);
  return text;
}

uint32_t LittleEndian(const unsigned char* bytes, int count) {
  uint32_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = (value << 8) | bytes[i];
  return value;
}

const unsigned char* Bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

// --- Reading -------------------------------------------------------------------------------

struct TGunzipReader::TState {
  enum class TPhase { kFirst, kHeader, kData, kTrailer, kBetween, kTrailing };

  TState(TByteSink s, int64_t l)
      : sink(std::move(s)),
        limit(static_cast<uint64_t>(std::max<int64_t>(l, 0))),
        out(new unsigned char[kOutputPiece]) {}
  ~TState() {
    if (zlibReady) inflateEnd(&zlib);
  }

  [[noreturn]] void Fail(uint64_t offset, const std::string& what) const {
    throw EGzipError("gzip member " + std::to_string(member) + " at byte " +
                     std::to_string(offset) + ": " + what);
  }

  // The length of the header that `pending` begins with, or 0 with `missing`
  // naming the field that has not arrived yet. Raises for a header that no
  // more bytes can mend.
  size_t ScanHeader(const char*& missing) const {
    const std::string_view p = pending;
    const unsigned char* b = Bytes(p);
    // Answers 0 after naming the field that is still to come.
    const auto wait = [&missing](const char* field) {
      missing = field;
      return size_t{0};
    };
    missing = nullptr;
    if (p.empty()) return wait("header");
    if (b[0] != kMagic1 || (p.size() >= 2 && b[1] != kMagic2))
      Fail(pendingAt, "not in gzip format (no 1F 8B at its start)");
    if (p.size() < kFixedHeaderSize) return wait("header");
    if (b[2] != kMethodDeflate) {
      Fail(pendingAt + 2, "compression method " + std::to_string(b[2]) + " is not deflate (8)");
    }
    const unsigned flags = b[3];
    if ((flags & kReservedFlags) != 0)
      Fail(pendingAt + 3, "reserved flag bits are set (FLG " + Hex(flags, 2) + ")");
    size_t at = kFixedHeaderSize;
    if ((flags & kExtraFlag) != 0) {
      if (p.size() < at + 2) return wait("extra field's length");
      at += 2 + LittleEndian(b + at, 2);
      if (p.size() < at) return wait("extra field");
    }
    const std::pair<unsigned, const char*> texts[] = {{kNameFlag, "file name"},
                                                      {kCommentFlag, "comment"}};
    for (const auto& [flag, field] : texts) {
      if ((flags & flag) == 0) continue;
      const size_t end = p.find('\0', at);
      if (end == std::string_view::npos) return wait(field);
      at = end + 1;
    }
    if ((flags & kHeaderCrcFlag) != 0) {
      if (p.size() < at + 2) return wait("header CRC");
      const uint32_t stored = LittleEndian(b + at, 2);
      const uint32_t actual = crc32_z(0, b, at) & 0xFFFFu;
      if (stored != actual) {
        Fail(pendingAt + at,
             "header CRC-16 is " + Hex(stored, 4) + " but the header's is " + Hex(actual, 4));
      }
      at += 2;
    }
    return at;
  }

  void StartData() {
    if (!zlibReady) {
      if (inflateInit2(&zlib, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
      zlibReady = true;
    } else if (inflateReset(&zlib) != Z_OK) {
      throw std::bad_alloc();
    }
    crc = 0;
    length = 0;
    phase = TPhase::kData;
  }

  // Gives `bytes` (which start at `offset`) to zlib until they are used up or
  // the member's deflate data end; answers how many it took.
  size_t Inflate(std::string_view bytes, uint64_t offset) {
    size_t taken = 0;
    while (taken < bytes.size()) {
      const size_t piece = std::min<size_t>(bytes.size() - taken, UINT_MAX);
      zlib.next_in = const_cast<unsigned char*>(Bytes(bytes) + taken);
      zlib.avail_in = static_cast<uInt>(piece);
      for (;;) {
        zlib.next_out = out.get();
        zlib.avail_out = static_cast<uInt>(kOutputPiece);
        const int status = inflate(&zlib, Z_NO_FLUSH);
        const size_t used = taken + (piece - zlib.avail_in);
        if (status == Z_MEM_ERROR) throw std::bad_alloc();
        if (status == Z_DATA_ERROR || status == Z_NEED_DICT) {
          // zlib has taken the byte that holds the fault: it is the last one it consumed.
          Fail(offset + std::max<size_t>(used, 1) - 1,
               std::string("deflate data: ") + (zlib.msg != nullptr ? zlib.msg : "invalid"));
        }
        const size_t made = kOutputPiece - zlib.avail_out;
        if (made > 0) {
          if (made > limit - std::min(limit, produced)) {
            Fail(offset + used,
                 "the data inflate beyond the limit of " + std::to_string(limit) + " bytes");
          }
          crc = crc32_z(crc, out.get(), made);
          length += made;
          produced += made;
          sink(std::string_view(reinterpret_cast<const char*>(out.get()), made));
        }
        if (status == Z_STREAM_END) {
          phase = TPhase::kTrailer;
          return used;
        }
        if (zlib.avail_in == 0 && zlib.avail_out != 0) break;  // wants more input
      }
      taken += piece;
    }
    return taken;
  }

  void CheckTrailer() {
    const unsigned char* b = Bytes(pending);
    const uint32_t storedCrc = LittleEndian(b, 4);
    const uint32_t storedLength = LittleEndian(b + 4, 4);
    if (storedCrc != crc) {
      Fail(pendingAt,
           "the data's CRC-32 is " + Hex(crc, 8) + " but the trailer says " + Hex(storedCrc, 8));
    }
    const auto actualLength = static_cast<uint32_t>(length);
    if (storedLength != actualLength) {
      Fail(pendingAt + 4, "the data are " + std::to_string(length) +
                              " bytes (modulo 2^32: " + std::to_string(actualLength) +
                              ") but the trailer says " + std::to_string(storedLength));
    }
  }

  void Trail(std::string_view bytes) {
    trailing += bytes.size();
    trailingZeros =
        trailingZeros && std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == '\0'; });
  }

  void Take(std::string_view bytes, uint64_t offset) {
    const auto advance = [&](size_t count) {
      bytes.remove_prefix(count);
      offset += count;
    };
    while (!bytes.empty()) {
      switch (phase) {
        case TPhase::kFirst:
          ++member;
          pendingAt = offset;
          phase = TPhase::kHeader;
          break;
        case TPhase::kHeader: {
          // Taken in growing pieces, so a plain header costs a few bytes of
          // copying and a long name no more than twice its length.
          const size_t count = std::min(bytes.size(), std::max<size_t>(64, pending.size()));
          pending.append(bytes.substr(0, count));
          advance(count);
          const char* missing = nullptr;
          const size_t header = ScanHeader(missing);
          if (missing != nullptr) {
            if (pending.size() > kLongestHeader) {
              Fail(pendingAt,
                   "the header is longer than " + std::to_string(kLongestHeader) + " bytes");
            }
            break;
          }
          // The header ended inside the last piece: what followed it is data,
          // still in `bytes` just before where it now begins.
          const size_t beyond = pending.size() - header;
          bytes = std::string_view(bytes.data() - beyond, bytes.size() + beyond);
          offset -= beyond;
          pending.clear();
          StartData();
          break;
        }
        case TPhase::kData:
          advance(Inflate(bytes, offset));
          pendingAt = offset;
          break;
        case TPhase::kTrailer: {
          const size_t count = std::min(bytes.size(), kTrailerSize - pending.size());
          pending.append(bytes.substr(0, count));
          advance(count);
          if (pending.size() < kTrailerSize) break;
          CheckTrailer();
          ++members;
          pending.clear();
          pendingAt = offset;
          phase = TPhase::kBetween;
          break;
        }
        case TPhase::kBetween: {
          const size_t count = std::min(bytes.size(), size_t{2} - pending.size());
          pending.append(bytes.substr(0, count));
          advance(count);
          const unsigned char* b = Bytes(pending);
          if (pending.size() == 2 && b[0] == kMagic1 && b[1] == kMagic2) {
            // Another member: its first two bytes are in `pending` already.
            ++member;
            phase = TPhase::kHeader;
          } else if (b[0] != kMagic1 || pending.size() == 2) {
            Trail(pending);
            pending.clear();
            phase = TPhase::kTrailing;
          }
          break;
        }
        case TPhase::kTrailing:
          Trail(bytes);
          advance(bytes.size());
          break;
      }
    }
  }

  TGunzipResult Finish() {
    switch (phase) {
      case TPhase::kHeader: {
        const char* missing = nullptr;
        ScanHeader(missing);
        Fail(total, std::string("the stream ends inside the ") + missing);
      }
      case TPhase::kData:
        Fail(total, "the stream ends inside the deflate data");
      case TPhase::kTrailer:
        Fail(total, "the stream ends inside the trailer");
      case TPhase::kBetween:
        Trail(pending);
        pending.clear();
        break;
      case TPhase::kFirst:
      case TPhase::kTrailing:
        break;
    }
    TGunzipResult result;
    result.members = members;
    result.ignoredBytes = trailingZeros ? 0 : trailing;
    return result;
  }

  TByteSink sink;
  uint64_t limit;
  std::unique_ptr<unsigned char[]> out;
  TPhase phase = TPhase::kFirst;
  std::string pending;     // a header or trailer as it arrives, or what follows a member
  uint64_t pendingAt = 0;  // the offset of pending's first byte
  uint64_t total = 0;      // bytes put so far
  int member = 0;          // the member being read, from 1
  int members = 0;         // members read whole
  uint64_t produced = 0;   // bytes given to the sink, all members together
  uint32_t crc = 0;        // of this member's data
  uint64_t length = 0;     // of this member's data
  size_t trailing = 0;
  bool trailingZeros = true;
  z_stream zlib{};
  bool zlibReady = false;
};

TGunzipReader::TGunzipReader(TByteSink sink, int64_t limit)
    : state_(std::make_unique<TState>(std::move(sink), limit)) {}

TGunzipReader::~TGunzipReader() = default;

void TGunzipReader::Put(std::string_view bytes) {
  const uint64_t offset = state_->total;
  state_->total += bytes.size();
  state_->Take(bytes, offset);
}

TGunzipResult TGunzipReader::Finish() { return state_->Finish(); }

TGunzipResult GunzipFile(std::string_view stream, int64_t limit) {
  std::string data;
  TGunzipReader reader([&data](std::string_view piece) { data.append(piece); }, limit);
  reader.Put(stream);
  TGunzipResult result = reader.Finish();
  result.data = std::move(data);
  return result;
}

// --- Writing -------------------------------------------------------------------------------

struct TGzipWriter::TState {
  explicit TState(TByteSink s) : sink(std::move(s)), out(new unsigned char[kOutputPiece]) {
    if (deflateInit2(&zlib, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~TState() { deflateEnd(&zlib); }

  // Deflates what zlib holds with `flush`, handing every full piece to the sink.
  void Drain(int flush) {
    int status = Z_OK;
    do {
      zlib.next_out = out.get();
      zlib.avail_out = static_cast<uInt>(kOutputPiece);
      status = deflate(&zlib, flush);
      const size_t made = kOutputPiece - zlib.avail_out;
      if (made > 0) sink(std::string_view(reinterpret_cast<const char*>(out.get()), made));
    } while (flush == Z_FINISH ? status != Z_STREAM_END : zlib.avail_out == 0);
  }

  TByteSink sink;
  std::unique_ptr<unsigned char[]> out;
  z_stream zlib{};
  uint32_t crc = 0;
  uint64_t length = 0;
  bool started = false;
  bool finished = false;
};

TGzipWriter::TGzipWriter(TByteSink sink) : state_(std::make_unique<TState>(std::move(sink))) {}

TGzipWriter::~TGzipWriter() = default;

void TGzipWriter::Put(std::string_view bytes) {
  TState& s = *state_;
  if (!s.started) {
    s.sink(std::string_view(reinterpret_cast<const char*>(kWrittenHeader), kFixedHeaderSize));
    s.started = true;
  }
  while (!bytes.empty()) {
    const size_t piece = std::min<size_t>(bytes.size(), UINT_MAX);
    s.zlib.next_in = const_cast<unsigned char*>(Bytes(bytes));
    s.zlib.avail_in = static_cast<uInt>(piece);
    s.crc = crc32_z(s.crc, Bytes(bytes), piece);
    s.length += piece;
    s.Drain(Z_NO_FLUSH);
    bytes.remove_prefix(piece);
  }
}

void TGzipWriter::Finish() {
  TState& s = *state_;
  if (s.finished) return;
  Put({});
  s.Drain(Z_FINISH);
  unsigned char trailer[kTrailerSize];
  for (int i = 0; i < 4; ++i) {
    trailer[i] = static_cast<unsigned char>(s.crc >> (8 * i));
    trailer[4 + i] = static_cast<unsigned char>(s.length >> (8 * i));
  }
  s.sink(std::string_view(reinterpret_cast<const char*>(trailer), kTrailerSize));
  s.finished = true;
}

}  // namespace cuadrante
