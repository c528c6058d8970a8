#include "cuadrante/runtime/files.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"

namespace {

using cuadrante::testing::FileSizeLimit;
using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

int EntriesIn(const std::string& folder) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
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
  EXPECT_TRUE(FileExists(folder / "bytes"));
  EXPECT_FALSE(FileExists(folder / "missing"));
  EXPECT_FALSE(FileExists(folder.Path()));
  EXPECT_FALSE(FileExists(""));
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "bytes"), bytes);
  WriteText(folder / "empty", "");
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "empty"), "");

  try {
    cuadrante::ReadWholeFile(folder / "missing");
    FAIL() << "a missing file was read";
  } catch (const EFOpenError& e) {
    EXPECT_NE(e.Message.find(folder / "missing"), std::string::npos) << e.Message;
  }
  EXPECT_THROW(cuadrante::ReadWholeFile(folder.Path()), EFOpenError);
}

TEST(Files, ReplacesWholeKeepingModeAndLeavingNoTemporary) {
  TempFolder folder;
  const std::string path = folder / "dict.txt";
  cuadrante::WriteFileAtomically(path, "first");
  EXPECT_EQ(ReadText(path), "first");

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
  std::filesystem::create_symlink(path, folder / "link");
  cuadrante::WriteFileAtomically(folder / "link", "via link");
  EXPECT_EQ(ReadText(path), "via link");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(Files, FailedReplacementRaisesAndKeepsTheOldFile) {
  TempFolder folder;
  WriteText(folder / "plain", "not a folder");
  try {
    cuadrante::WriteFileAtomically(folder / "plain/dict.txt", "x");
    FAIL() << "wrote under a regular file";
  } catch (const EFCreateError& e) {
    EXPECT_NE(e.Message.find(folder / "plain/dict.txt"), std::string::npos) << e.Message;
  }
  EXPECT_EQ(ReadText(folder / "plain"), "not a folder");

  std::filesystem::create_directory(folder / "sub");
  EXPECT_THROW(cuadrante::WriteFileAtomically(folder / "sub", "x"), EFCreateError);
  EXPECT_TRUE(std::filesystem::is_directory(folder / "sub"));

  // A write that stops half way (the disk is full) must not touch the old file.
  const std::string path = folder / "dict.txt";
  WriteText(path, "old contents");
  {
    FileSizeLimit limit(16);
    EXPECT_THROW(cuadrante::WriteFileAtomically(path, std::string(1000, 'n')), EFCreateError);
  }
  EXPECT_EQ(ReadText(path), "old contents");
  EXPECT_EQ(EntriesIn(folder.Path()), 3);  // plain, sub and dict.txt: no temporary left
}

TEST(Files, ConcurrentReplacementsEachLeaveAWholeFile) {
  TempFolder folder;
  const std::string path = folder / "shared.txt";
  const std::string a(4096, 'a');
  const std::string b(8192, 'b');
  std::thread first([&] {
    for (int i = 0; i < 20; ++i) cuadrante::WriteFileAtomically(path, a);
  });
  std::thread second([&] {
    for (int i = 0; i < 20; ++i) cuadrante::WriteFileAtomically(path, b);
  });
  first.join();
  second.join();
  const std::string result = ReadText(path);
  EXPECT_TRUE(result == a || result == b) << result.size();
  EXPECT_EQ(EntriesIn(folder.Path()), 1);
}

}  // namespace
