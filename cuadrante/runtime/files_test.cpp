#include "cuadrante/runtime/files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"

namespace {

namespace fs = std::filesystem;
using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

auto EntriesIn(const std::string& folder) {
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

// The message of the E that `f` raises, or "" if it raises none.
template <typename E, typename F>
std::string MessageOf(F f) {
  try {
    f();
  } catch (const E& e) {
    return e.Message;
  }
  return "";
}

TEST(Files, SplitsPathsAtTheLastSlash) {
  struct Case {
    const char *path, *folder, *name;
  };
  for (const Case& c : {Case{"/opt/app/x.ini", "/opt/app/", "x.ini"}, Case{"x.ini", "", "x.ini"},
                        Case{"/x", "/", "x"}, Case{"dir/", "dir/", ""}, Case{"", "", ""}}) {
    EXPECT_EQ(ExtractFilePath(c.path), c.folder) << c.path;
    EXPECT_EQ(ExtractFileName(c.path), c.name) << c.path;
  }
}

TEST(Files, ReadsEveryByteOfFilesOnlyOrRaisesNamingThePath) {
  TempFolder folder;
  const std::string bytes("a\r\n\0b\rc\xC3\xAD", 9);
  WriteText(folder / "bytes", bytes);
  WriteText(folder / "empty", "");
  EXPECT_TRUE(FileExists(folder / "bytes"));
  EXPECT_FALSE(FileExists(folder / "missing") || FileExists(folder.Path()) || FileExists(""));
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "bytes"), bytes);
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "empty"), "");
  EXPECT_NE(MessageOf<EFOpenError>([&] {
              cuadrante::ReadWholeFile(folder / "missing");
            }).find(folder / "missing"),
            std::string::npos);
  EXPECT_THROW(cuadrante::ReadWholeFile(folder.Path()), EFOpenError);
}

TEST(Files, ReplacesWholeKeepingModeAndLeavingNoTemporary) {
  TempFolder folder;
  const std::string path = folder / "dict.txt";
  cuadrante::WriteFileAtomically(path, "first");
  ::chmod(path.c_str(), 0640);
  cuadrante::WriteFileAtomically(path, "second, longer");
  EXPECT_EQ(ReadText(path), "second, longer");
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  cuadrante::WriteFileAtomically(path, "");
  EXPECT_EQ(ReadText(path), "");
  EXPECT_EQ(EntriesIn(folder.Path()), 1);

  // Through a link the target is rewritten and the link stays a link.
  fs::create_symlink(path, folder / "link");
  cuadrante::WriteFileAtomically(folder / "link", "via link");
  EXPECT_EQ(ReadText(path), "via link");
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
}

TEST(Files, FailedReplacementRaisesAndKeepsTheOldFile) {
  TempFolder folder;
  WriteText(folder / "plain", "not a folder");
  const std::string below = folder / "plain/dict.txt";
  EXPECT_NE(
      MessageOf<EFCreateError>([&] { cuadrante::WriteFileAtomically(below, "x"); }).find(below),
      std::string::npos);
  EXPECT_EQ(ReadText(folder / "plain"), "not a folder");
  fs::create_directory(folder / "sub");
  EXPECT_THROW(cuadrante::WriteFileAtomically(folder / "sub", "x"), EFCreateError);
  EXPECT_TRUE(fs::is_directory(folder / "sub"));

  // A write that stops half way (the disk is full) must not touch the old file.
  const std::string path = folder / "dict.txt";
  WriteText(path, "old contents");
  {
    cuadrante::testing::FileSizeLimit limit(16);
    EXPECT_THROW(cuadrante::WriteFileAtomically(path, std::string(1000, 'n')), EFCreateError);
  }
  EXPECT_EQ(ReadText(path), "old contents");
  EXPECT_EQ(EntriesIn(folder.Path()), 3);  // plain, sub and dict.txt: no temporary left
}

TEST(Files, ConcurrentReplacementsEachLeaveAWholeFile) {
  TempFolder folder;
  const std::string path = folder / "shared.txt";
  const std::string a(4096, 'a'), b(8192, 'b');
  auto write = [&](const std::string& contents) {
    for (int i = 0; i < 20; ++i) cuadrante::WriteFileAtomically(path, contents);
  };
  std::thread first(write, a);
  write(b);
  first.join();
  const std::string result = ReadText(path);
  EXPECT_TRUE(result == a || result == b) << result.size();
  EXPECT_EQ(EntriesIn(folder.Path()), 1);
}

}  // namespace
