// Byte streams: a position over a sequence of bytes that can be read, written
// and sought, held in memory (`TMemoryStream`, `TStringStream`) or in a file
// (`TFileStream`).
//
// Positions and sizes are 64-bit byte counts from the start. Reading and
// writing move the position; writing past the end grows the stream. A stream
// is for one thread at a time; its owner guards it.
//
// Example:
//   TStringStream text("");
//   text.WriteBuffer("abc", 3);
//   text.DataString() == "abc" && text.Position() == 3;
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

// A stream could not give or take all the bytes asked of it.
class CUADRANTE_API EStreamError : public Exception {
 public:
  using Exception::Exception;
  ~EStreamError() override;
};

class CUADRANTE_API EReadError : public EStreamError {
 public:
  using EStreamError::EStreamError;
  ~EReadError() override;
};

class CUADRANTE_API EWriteError : public EStreamError {
 public:
  using EStreamError::EStreamError;
  ~EWriteError() override;
};

enum TSeekOrigin : int8_t { soBeginning = 0, soCurrent = 1, soEnd = 2 };

class CUADRANTE_API TStream {
 public:
  TStream() = default;
  TStream(const TStream&) = delete;
  TStream& operator=(const TStream&) = delete;
  virtual ~TStream();

  // Up to `count` bytes from the position; answers how many were read (0 at the
  // end or on a failure). A count of 0 or less reads nothing.
  virtual int64_t Read(void* buffer, int64_t count) = 0;
  // Up to `count` bytes at the position; answers how many were written.
  virtual int64_t Write(const void* buffer, int64_t count) = 0;
  // Moves to `offset` from `origin` and answers the new position. A position
  // before the start is refused with EStreamError; one past the end is allowed,
  // and a write there fills the gap with zero bytes.
  virtual int64_t Seek(int64_t offset, TSeekOrigin origin) = 0;
  virtual int64_t Size() const = 0;
  // Cuts or extends the stream (with zero bytes); the position stays, but never
  // beyond the new end.
  virtual void SetSize(int64_t size) = 0;

  virtual int64_t Position() const = 0;
  void SetPosition(int64_t position) { Seek(position, soBeginning); }

  // Exactly `count` bytes, or EReadError (the position then stands wherever the
  // partial read left it).
  void ReadBuffer(void* buffer, int64_t count);
  // Exactly `count` bytes, or EWriteError naming the cause.
  void WriteBuffer(const void* buffer, int64_t count);
  // Copies `count` bytes from the position of `source`, or all of `source`
  // from its start when `count` is 0; answers the number copied.
  int64_t CopyFrom(TStream& source, int64_t count);

 protected:
  // What the last failed read or write of this stream knows of its cause, for
  // the texts of EReadError and EWriteError; empty when there is nothing to add.
  virtual AnsiString FailureCause() const;
};

// Bytes in memory, grown as they are written.
class CUADRANTE_API TMemoryStream : public TStream {
 public:
  TMemoryStream();
  ~TMemoryStream() override;

  int64_t Read(void* buffer, int64_t count) override;
  int64_t Write(const void* buffer, int64_t count) override;
  int64_t Seek(int64_t offset, TSeekOrigin origin) override;
  int64_t Size() const override { return static_cast<int64_t>(bytes_.size()); }
  void SetSize(int64_t size) override;
  int64_t Position() const override { return position_; }

  // The bytes, valid until the next change of the stream's size.
  char* Memory() { return bytes_.data(); }
  const char* Memory() const { return bytes_.data(); }
  // Empties the stream and goes back to the start.
  void Clear();

  // Replaces the bytes with the whole file and goes back to the start;
  // EFOpenError naming the file when it can't be read, is not a regular file
  // or holds more than kDataFileLimit bytes (files.h).
  void LoadFromFile(const AnsiString& fileName);
  // Replaces the file with the bytes, atomically: EFCreateError naming the file
  // on failure, and an old file is then left whole.
  void SaveToFile(const AnsiString& fileName) const;
  // Replaces the bytes with all of `source`, read from its start.
  void LoadFromStream(TStream& source);
  // Writes all the bytes at the position of `target`.
  void SaveToStream(TStream& target) const;

 protected:
  AnsiString bytes_;
  int64_t position_ = 0;
};

// A memory stream whose bytes are a text.
class CUADRANTE_API TStringStream : public TMemoryStream {
 public:
  // Starts with the bytes of `text`, at position 0.
  explicit TStringStream(std::string_view text);
  ~TStringStream() override;

  const AnsiString& DataString() const { return bytes_; }
  // Moves the text out, without a copy; the stream is left empty, at 0.
  AnsiString TakeDataString() {
    position_ = 0;
    return std::exchange(bytes_, AnsiString());
  }
  void WriteString(std::string_view text) {
    WriteBuffer(text.data(), static_cast<int64_t>(text.size()));
  }
};

// How a TFileStream opens its file. fmCreate makes the file or empties an
// existing one; the others open a file that must exist.
enum : uint16_t {
  fmOpenRead = 0x0000,
  fmOpenWrite = 0x0001,
  fmOpenReadWrite = 0x0002,
  fmCreate = 0xFFFF,
};

// A file opened for the life of the object, read and written in place (no
// temporary copy: use TMemoryStream::SaveToFile for an atomic replacement).
class CUADRANTE_API TFileStream : public TStream {
 public:
  // EFOpenError, or EFCreateError for fmCreate, naming the file and the cause.
  TFileStream(const AnsiString& fileName, uint16_t mode);
  ~TFileStream() override;

  int64_t Read(void* buffer, int64_t count) override;
  int64_t Write(const void* buffer, int64_t count) override;
  int64_t Seek(int64_t offset, TSeekOrigin origin) override;
  int64_t Size() const override;
  void SetSize(int64_t size) override;
  int64_t Position() const override;

  const AnsiString& FileName() const { return fileName_; }

 protected:
  AnsiString FailureCause() const override;

 private:
  AnsiString fileName_;
  int fd_ = -1;
  int lastError_ = 0;
};
