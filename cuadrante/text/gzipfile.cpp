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
constexpr size_t kFirstOutputPiece = size_t{64} << 10;

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

// Where the reading stands: the stream, the offset of the next byte, and the
// member being read, which every error names.
class TMemberReader {
 public:
  TMemberReader(std::string_view stream, int64_t limit)
      : bytes_(reinterpret_cast<const unsigned char*>(stream.data())),
        size_(stream.size()),
        limit_(static_cast<uint64_t>(std::max<int64_t>(limit, 0))) {}

  bool AtEnd() const { return at_ == size_; }
  size_t Offset() const { return at_; }
  size_t Remaining() const { return size_ - at_; }

  bool NextBeginsMember() const {
    return Remaining() >= 2 && bytes_[at_] == kMagic1 && bytes_[at_ + 1] == kMagic2;
  }

  bool RestIsZeros() const { return std::all_of(bytes_ + at_, bytes_ + size_, IsZero); }

  void ReadMember(std::string& out) {
    ++member_;
    ReadHeader();
    const size_t start = out.size();
    InflateData(out);
    ReadTrailer(std::string_view(out).substr(start));
  }

 private:
  static bool IsZero(unsigned char byte) { return byte == 0; }

  [[noreturn]] void Fail(size_t offset, const std::string& what) const {
    throw EGzipError("gzip member " + std::to_string(member_) + " at byte " +
                     std::to_string(offset) + ": " + what);
  }

  void Need(size_t count, const char* field) const {
    if (Remaining() < count) Fail(size_, std::string("the stream ends inside the ") + field);
  }

  void ReadHeader() {
    const size_t start = at_;
    const bool magic = bytes_[at_] == kMagic1 && (Remaining() < 2 || bytes_[at_ + 1] == kMagic2);
    if (!magic) Fail(start, "not in gzip format (no 1F 8B at its start)");
    Need(kFixedHeaderSize, "header");
    const unsigned char method = bytes_[start + 2];
    if (method != kMethodDeflate)
      Fail(start + 2, "compression method " + std::to_string(method) + " is not deflate (8)");
    const unsigned flags = bytes_[start + 3];
    if ((flags & kReservedFlags) != 0)
      Fail(start + 3, "reserved flag bits are set (FLG " + Hex(flags, 2) + ")");
    at_ += kFixedHeaderSize;
    if ((flags & kExtraFlag) != 0) {
      Need(2, "extra field's length");
      const size_t length = LittleEndian(bytes_ + at_, 2);
      at_ += 2;
      Need(length, "extra field");
      at_ += length;
    }
    if ((flags & kNameFlag) != 0) SkipZeroTerminated("file name");
    if ((flags & kCommentFlag) != 0) SkipZeroTerminated("comment");
    if ((flags & kHeaderCrcFlag) != 0) {
      Need(2, "header CRC");
      const uint32_t stored = LittleEndian(bytes_ + at_, 2);
      const uint32_t actual = crc32_z(0, bytes_ + start, at_ - start) & 0xFFFFu;
      if (stored != actual) {
        Fail(at_, "header CRC-16 is " + Hex(stored, 4) + " but the header's is " + Hex(actual, 4));
      }
      at_ += 2;
    }
  }

  void SkipZeroTerminated(const char* field) {
    const unsigned char* end = std::find(bytes_ + at_, bytes_ + size_, 0);
    if (end == bytes_ + size_) Fail(size_, std::string("the stream ends inside the ") + field);
    at_ = static_cast<size_t>(end - bytes_) + 1;
  }

  // Raw deflate from `at_` on, appended to `out`; `at_` ends on the first
  // byte after the deflate data. The limit holds for all of `out`, so for all
  // members together.
  void InflateData(std::string& out) {
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
    struct TEnd {
      z_stream* stream;
      ~TEnd() { inflateEnd(stream); }
    } end{&stream};

    size_t given = 0;  // bytes handed to zlib, from at_ on
    size_t produced = out.size();
    for (;;) {
      if (stream.avail_in == 0 && given < Remaining()) {
        const size_t piece = std::min<size_t>(Remaining() - given, UINT_MAX);
        stream.next_in = const_cast<unsigned char*>(bytes_ + at_ + given);
        stream.avail_in = static_cast<uInt>(piece);
        given += piece;
      }
      if (stream.avail_out == 0) {
        if (produced > limit_) {
          Fail(at_ + given - stream.avail_in,
               "the data inflate beyond the limit of " + std::to_string(limit_) + " bytes");
        }
        // One byte of room past the limit tells a result at the limit from one beyond it.
        const uint64_t allowed = limit_ + 1 - produced;
        const size_t room = static_cast<size_t>(std::min<uint64_t>(
            {std::max(kFirstOutputPiece, produced), allowed, uint64_t{UINT_MAX}}));
        out.resize(produced + room);
        stream.next_out = reinterpret_cast<unsigned char*>(out.data() + produced);
        stream.avail_out = static_cast<uInt>(room);
      }
      const uInt roomBefore = stream.avail_out;
      const int status = inflate(&stream, Z_NO_FLUSH);
      produced += roomBefore - stream.avail_out;
      const size_t consumed = given - stream.avail_in;
      if (status == Z_STREAM_END) {
        out.resize(produced);
        if (produced > limit_) {
          Fail(at_ + consumed,
               "the data inflate beyond the limit of " + std::to_string(limit_) + " bytes");
        }
        at_ += consumed;
        return;
      }
      if (status == Z_MEM_ERROR) throw std::bad_alloc();
      if (status == Z_DATA_ERROR || status == Z_NEED_DICT) {
        // zlib has taken the byte that holds the fault: it is the last one it consumed.
        Fail(at_ + std::max<size_t>(consumed, 1) - 1,
             std::string("deflate data: ") + (stream.msg != nullptr ? stream.msg : "invalid"));
      }
      if (status == Z_BUF_ERROR && stream.avail_in == 0 && given == Remaining())
        Fail(size_, "the stream ends inside the deflate data");
    }
  }

  void ReadTrailer(std::string_view data) {
    Need(kTrailerSize, "trailer");
    const uint32_t storedCrc = LittleEndian(bytes_ + at_, 4);
    const uint32_t storedLength = LittleEndian(bytes_ + at_ + 4, 4);
    const uint32_t actualCrc = crc32_z(0, reinterpret_cast<const Bytef*>(data.data()), data.size());
    if (storedCrc != actualCrc) {
      Fail(at_, "the data's CRC-32 is " + Hex(actualCrc, 8) + " but the trailer says " +
                    Hex(storedCrc, 8));
    }
    const auto actualLength = static_cast<uint32_t>(data.size());
    if (storedLength != actualLength) {
      Fail(at_ + 4, "the data are " + std::to_string(data.size()) +
                        " bytes (modulo 2^32: " + std::to_string(actualLength) +
                        ") but the trailer says " + std::to_string(storedLength));
    }
    at_ += kTrailerSize;
  }

  const unsigned char* bytes_;
  size_t size_;
  uint64_t limit_;
  size_t at_ = 0;
  int member_ = 0;
};

}  // namespace

TGunzipResult GunzipFile(std::string_view stream, int64_t limit) {
  TGunzipResult result;
  TMemberReader reader(stream, limit);
  while (!reader.AtEnd()) {
    if (result.members > 0 && !reader.NextBeginsMember()) {
      if (!reader.RestIsZeros()) result.ignoredBytes = reader.Remaining();
      break;
    }
    reader.ReadMember(result.data);
    ++result.members;
  }
  return result;
}

}  // namespace cuadrante
