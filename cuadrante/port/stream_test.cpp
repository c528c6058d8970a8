#include "cuadrante/port/stream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "cuadrante/port/filesystem.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::FileSizeLimit;
using cuadrante::testing::RaisesWith;
using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

std::string ReadAll(TStream& stream) {
  std::string bytes(static_cast<size_t>(stream.Size()), '\0');
  stream.SetPosition(0);
  stream.ReadBuffer(bytes.data(), stream.Size());
  return bytes;
}

// The same walk over any stream: writes, seeks from each origin, a gap, a cut.
void WalkStream(TStream& stream) {
  stream.WriteBuffer("hello", 5);
  EXPECT_EQ(stream.Position(), 5);
  EXPECT_EQ(stream.Seek(-2, soEnd), 3);
  stream.WriteBuffer("p!", 2);
  EXPECT_EQ(stream.Seek(2, soCurrent), 7);
  stream.WriteBuffer("x", 1);  // the gap reads as zero bytes
  EXPECT_EQ(ReadAll(stream), std::string("help!\0\0x", 8));
  char byte = 0;
  EXPECT_EQ(stream.Read(&byte, 1), 0);  // at the end
  EXPECT_THROW(stream.ReadBuffer(&byte, 1), EReadError);
  EXPECT_THROW(stream.Seek(-1, soBeginning), EStreamError);
  stream.SetSize(3);
  EXPECT_EQ(stream.Size(), 3);
  EXPECT_EQ(stream.Position(), 3);
  EXPECT_EQ(ReadAll(stream), "hel");
}

TEST(TStream, MemoryStringAndFileStreamsWalkAlike) {
  TMemoryStream memory;
  WalkStream(memory);
  EXPECT_EQ(std::string(memory.Memory(), 3), "hel");
  TStringStream text("ignored soon");
  text.SetSize(0);
  WalkStream(text);
  EXPECT_EQ(text.DataString(), "hel");
  TempFolder folder;
  {
    TFileStream file(folder / "walk", fmCreate);
    WalkStream(file);
  }
  EXPECT_EQ(ReadText(folder / "walk"), "hel");
}

TEST(TStream, FileStreamsOpenCreateAndReportTheirFile) {
  TempFolder folder;
  WriteText(folder / "old", "old contents");
  {
    TFileStream created(folder / "old", fmCreate);  // an existing file is emptied
    EXPECT_EQ(created.Size(), 0);
    created.WriteBuffer("new", 3);
  }
  TFileStream reader(folder / "old", fmOpenRead);
  EXPECT_EQ(ReadAll(reader), "new");
  EXPECT_TRUE(RaisesWith<EWriteError>([&] { reader.WriteBuffer("x", 1); }, folder / "old"));
  EXPECT_THROW(TFileStream(folder / "missing", fmOpenRead), EFOpenError);
  EXPECT_THROW(TFileStream(folder.Path(), fmOpenRead), EFOpenError);
  EXPECT_THROW(TFileStream(folder / "no/such", fmCreate), EFCreateError);

  // A full disk: the write stops half way and says why.
  TFileStream writer(folder / "full", fmCreate);
  FileSizeLimit limit(4);
  EXPECT_TRUE(RaisesWith<EWriteError>([&] { writer.WriteBuffer("0123456789", 10); }, "full"));
  // A device that takes nothing and gives no reason counts as full, whatever
  // errno an earlier call left behind.
  struct TakesNothing : cuadrante::TPosixFileSystem {
    ssize_t Write(int, const void*, size_t) override {
      errno = EBADF;
      return 0;
    }
  } nothing;
  TFileStream stalled(folder / "stalled", fmCreate);
  cuadrante::TFileSystemOverride use(nothing);
  EXPECT_TRUE(RaisesWith<EWriteError>([&] { stalled.WriteBuffer("x", 1); }, std::strerror(ENOSPC)));
}

TEST(TStream, CopiesAndLoadsWholeStreamsAndFiles) {
  TempFolder folder;
  std::string bytes(200000, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  TStringStream source(bytes);
  source.Seek(0, soEnd);
  TMemoryStream copy;
  EXPECT_EQ(copy.CopyFrom(source, 0), 200000);  // 0: all of it, from its start
  EXPECT_EQ(ReadAll(copy), bytes);
  source.SetPosition(10);
  TStringStream part("");
  EXPECT_EQ(part.CopyFrom(source, 5), 5);
  EXPECT_EQ(part.DataString(), bytes.substr(10, 5));
  EXPECT_THROW(part.CopyFrom(source, 300000), EReadError);

  copy.SaveToFile(folder / "saved");
  TMemoryStream loaded;
  loaded.LoadFromFile(folder / "saved");
  EXPECT_EQ(loaded.Position(), 0);
  EXPECT_EQ(ReadAll(loaded), bytes);
  TStringStream fromStream("");
  fromStream.LoadFromStream(loaded);
  EXPECT_EQ(fromStream.DataString(), bytes);
}

}  // namespace
