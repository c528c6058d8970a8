#include "cuadrante/port/stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/port/filesystem.h"

EStreamError::~EStreamError() = default;
EReadError::~EReadError() = default;
EWriteError::~EWriteError() = default;

namespace cuadrante::detail {
namespace {

[[noreturn]] void ThrowInvalidPosition(int64_t position) {
  throw EStreamError("Invalid stream position " + std::to_string(position));
}

// The position that `offset` from `origin` names, refused before the start.
int64_t Target(int64_t offset, TSeekOrigin origin, int64_t position, int64_t size) {
  const int64_t base = origin == soBeginning ? 0 : origin == soCurrent ? position : size;
  int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) ThrowInvalidPosition(offset);
  return target;
}

}  // namespace
}  // namespace cuadrante::detail

using cuadrante::detail::Target;

// --- TStream -------------------------------------------------------------------------------

TStream::~TStream() = default;

AnsiString TStream::FailureCause() const { return {}; }

void TStream::ReadBuffer(void* buffer, int64_t count) {
  if (count > 0 && Read(buffer, count) != count) {
    const AnsiString cause = FailureCause();
    throw EReadError(cause.empty() ? "Stream read error" : "Stream read error: " + cause);
  }
}

void TStream::WriteBuffer(const void* buffer, int64_t count) {
  if (count > 0 && Write(buffer, count) != count) {
    const AnsiString cause = FailureCause();
    throw EWriteError(cause.empty() ? "Stream write error" : "Stream write error: " + cause);
  }
}

int64_t TStream::CopyFrom(TStream& source, int64_t count) {
  if (count == 0) {
    source.SetPosition(0);
    count = source.Size();
  }
  // Pieces of a fixed size keep a copy of a large file from doubling its memory.
  std::vector<char> piece(
      static_cast<size_t>(std::min<int64_t>(std::max<int64_t>(count, 1), 65536)));
  for (int64_t left = count; left > 0;) {
    const int64_t n = std::min<int64_t>(left, static_cast<int64_t>(piece.size()));
    source.ReadBuffer(piece.data(), n);
    WriteBuffer(piece.data(), n);
    left -= n;
  }
  return std::max<int64_t>(count, 0);
}

// --- TMemoryStream -------------------------------------------------------------------------

TMemoryStream::TMemoryStream() = default;
TMemoryStream::~TMemoryStream() = default;

int64_t TMemoryStream::Read(void* buffer, int64_t count) {
  const int64_t available = static_cast<int64_t>(bytes_.size()) - position_;
  if (count <= 0 || available <= 0) return 0;
  const int64_t n = std::min(count, available);
  std::memcpy(buffer, bytes_.data() + position_, static_cast<size_t>(n));
  position_ += n;
  return n;
}

int64_t TMemoryStream::Write(const void* buffer, int64_t count) {
  if (count <= 0) return 0;
  int64_t end = 0;
  if (__builtin_add_overflow(position_, count, &end)) return 0;
  if (end > static_cast<int64_t>(bytes_.size())) {
    // A stream that cannot grow takes nothing; WriteBuffer turns that into
    // EWriteError, so running out of memory is a runtime failure like any other.
    try {
      bytes_.resize(static_cast<size_t>(end));
    } catch (const std::bad_alloc&) {
      return 0;
    } catch (const std::length_error&) {
      return 0;
    }
  }
  std::memcpy(bytes_.data() + position_, buffer, static_cast<size_t>(count));
  position_ = end;
  return count;
}

int64_t TMemoryStream::Seek(int64_t offset, TSeekOrigin origin) {
  position_ = Target(offset, origin, position_, static_cast<int64_t>(bytes_.size()));
  return position_;
}

void TMemoryStream::SetSize(int64_t size) {
  if (size < 0) cuadrante::detail::ThrowInvalidPosition(size);
  try {
    bytes_.resize(static_cast<size_t>(size));
  } catch (const std::exception&) {
    throw EStreamError("Out of memory while expanding memory stream to " + std::to_string(size) +
                       " bytes");
  }
  position_ = std::min(position_, size);
}

void TMemoryStream::Clear() {
  bytes_.clear();
  bytes_.shrink_to_fit();
  position_ = 0;
}

void TMemoryStream::LoadFromFile(const AnsiString& fileName) {
  bytes_ = cuadrante::ReadWholeFile(fileName, cuadrante::kDataFileLimit);
  position_ = 0;
}

void TMemoryStream::SaveToFile(const AnsiString& fileName) const {
  cuadrante::WriteFileAtomically(fileName, bytes_);
}

void TMemoryStream::LoadFromStream(TStream& source) {
  SetSize(0);
  position_ = 0;
  CopyFrom(source, 0);
  position_ = 0;
}

void TMemoryStream::SaveToStream(TStream& target) const {
  target.WriteBuffer(bytes_.data(), static_cast<int64_t>(bytes_.size()));
}

// --- TStringStream -------------------------------------------------------------------------

TStringStream::TStringStream(std::string_view text) { bytes_.assign(text); }
TStringStream::~TStringStream() = default;

// --- TFileStream ---------------------------------------------------------------------------

TFileStream::TFileStream(const AnsiString& fileName, uint16_t mode) : fileName_(fileName) {
  int flags = O_CLOEXEC;
  switch (mode) {
    case fmCreate:
      flags |= O_RDWR | O_CREAT | O_TRUNC;
      break;
    case fmOpenWrite:
      flags |= O_WRONLY;
      break;
    case fmOpenReadWrite:
      flags |= O_RDWR;
      break;
    default:
      flags |= O_RDONLY;
      break;
  }
  fd_ = cuadrante::FileSystem().Open(fileName.c_str(), flags, 0666);
  int error = fd_ < 0 ? errno : 0;
  struct stat info {};
  if (error == 0 && cuadrante::FileSystem().FileStat(fd_, &info) == 0 && S_ISDIR(info.st_mode)) {
    error = EISDIR;
  }
  if (error != 0) {
    if (fd_ >= 0) cuadrante::FileSystem().Close(fd_);
    const AnsiString cause = "\"" + fileName + "\". " + std::strerror(error);
    if (mode == fmCreate) throw EFCreateError("Cannot create file " + cause);
    throw EFOpenError("Cannot open file " + cause);
  }
}

TFileStream::~TFileStream() { cuadrante::FileSystem().Close(fd_); }

int64_t TFileStream::Read(void* buffer, int64_t count) {
  lastError_ = 0;
  int64_t done = 0;
  while (done < count) {
    const size_t piece = static_cast<size_t>(std::min<int64_t>(count - done, 1 << 30));
    const ssize_t got = cuadrante::FileSystem().Read(fd_, static_cast<char*>(buffer) + done, piece);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) lastError_ = errno;
    if (got <= 0) break;
    done += got;
  }
  return done;
}

int64_t TFileStream::Write(const void* buffer, int64_t count) {
  lastError_ = 0;
  int64_t done = 0;
  while (done < count) {
    const size_t piece = static_cast<size_t>(std::min<int64_t>(count - done, 1 << 30));
    const ssize_t put =
        cuadrante::FileSystem().Write(fd_, static_cast<const char*>(buffer) + done, piece);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) {
      lastError_ = put < 0 ? errno : ENOSPC;
      break;
    }
    done += put;
  }
  return done;
}

int64_t TFileStream::Seek(int64_t offset, TSeekOrigin origin) {
  const int64_t target = Target(offset, origin, Position(), origin == soEnd ? Size() : 0);
  const off_t reached = ::lseek(fd_, static_cast<off_t>(target), SEEK_SET);
  if (reached < 0) {
    throw EStreamError("Cannot seek in \"" + fileName_ + "\". " + std::strerror(errno));
  }
  return reached;
}

int64_t TFileStream::Position() const {
  const off_t position = ::lseek(fd_, 0, SEEK_CUR);
  return position < 0 ? 0 : position;
}

int64_t TFileStream::Size() const {
  struct stat info {};
  return ::fstat(fd_, &info) == 0 ? info.st_size : 0;
}

void TFileStream::SetSize(int64_t size) {
  if (size < 0) cuadrante::detail::ThrowInvalidPosition(size);
  if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
    throw EStreamError("Cannot resize \"" + fileName_ + "\". " + std::strerror(errno));
  }
  if (Position() > size) Seek(size, soBeginning);
}

AnsiString TFileStream::FailureCause() const {
  const AnsiString cause = "\"" + fileName_ + "\"";
  return lastError_ == 0 ? cause + " ends early" : cause + ". " + std::strerror(lastError_);
}
