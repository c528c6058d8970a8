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

#include "cuadrante/runtime/exception.h"

namespace {

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = ::testing::TempDir() + "/files-XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempFolder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void Spit(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

int EntriesIn(const std::string& folder) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

// Caps the size of files this process may write, so that a write fails half
// way as it would on a full disk; restores the limit and the signal after.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &saved_);
    previous_ = ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = saved_;
    limit.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &saved_);
    ::signal(SIGXFSZ, previous_);
  }

 private:
  rlimit saved_{};
  sighandler_t previous_;
};

TEST(Files, SplitsPathsAtTheLastSlash) {
  EXPECT_EQ(ExtractFilePath("/opt/app/x.ini"), "/opt/app/");
  EXPECT_EQ(ExtractFileName("/opt/app/x.ini"), "x.ini");
  EXPECT_EQ(ExtractFilePath("x.ini"), "");
  EXPECT_EQ(ExtractFileName("x.ini"), "x.ini");
  EXPECT_EQ(ExtractFilePath("/x"), "/");
  EXPECT_EQ(ExtractFilePath("dir/"), "dir/");
  EXPECT_EQ(ExtractFileName("dir/"), "");
  EXPECT_EQ(ExtractFilePath(""), "");
}

TEST(Files, ExistsOnlyForThingsThatAreNotFolders) {
  TempFolder folder;
  Spit(folder / "a.txt", "x");
  EXPECT_TRUE(FileExists(folder / "a.txt"));
  EXPECT_FALSE(FileExists(folder / "b.txt"));
  EXPECT_FALSE(FileExists(folder.Path()));
  EXPECT_FALSE(FileExists(""));
}

TEST(Files, ReadsEveryByteOrRaisesNamingThePath) {
  TempFolder folder;
  const std::string bytes("a\r\n\0b\rc\xC3\xAD", 9);
  Spit(folder / "bytes", bytes);
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "bytes"), bytes);
  Spit(folder / "empty", "");
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
  EXPECT_EQ(Slurp(path), "first");

  ::chmod(path.c_str(), 0640);
  cuadrante::WriteFileAtomically(path, "second, longer");
  EXPECT_EQ(Slurp(path), "second, longer");
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);

  cuadrante::WriteFileAtomically(path, "");
  EXPECT_EQ(Slurp(path), "");
  EXPECT_EQ(EntriesIn(folder.Path()), 1);

  // Through a link the target is rewritten and the link stays a link.
  std::filesystem::create_symlink(path, folder / "link");
  cuadrante::WriteFileAtomically(folder / "link", "via link");
  EXPECT_EQ(Slurp(path), "via link");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(Files, FailedReplacementRaisesAndKeepsTheOldFile) {
  TempFolder folder;
  Spit(folder / "plain", "not a folder");
  try {
    cuadrante::WriteFileAtomically(folder / "plain/dict.txt", "x");
    FAIL() << "wrote under a regular file";
  } catch (const EFCreateError& e) {
    EXPECT_NE(e.Message.find(folder / "plain/dict.txt"), std::string::npos) << e.Message;
  }
  EXPECT_EQ(Slurp(folder / "plain"), "not a folder");

  std::filesystem::create_directory(folder / "sub");
  EXPECT_THROW(cuadrante::WriteFileAtomically(folder / "sub", "x"), EFCreateError);
  EXPECT_TRUE(std::filesystem::is_directory(folder / "sub"));

  // A write that stops half way (the disk is full) must not touch the old file.
  const std::string path = folder / "dict.txt";
  Spit(path, "old contents");
  {
    FileSizeLimit limit(16);
    EXPECT_THROW(cuadrante::WriteFileAtomically(path, std::string(1000, 'n')), EFCreateError);
  }
  EXPECT_EQ(Slurp(path), "old contents");
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
  const std::string result = Slurp(path);
  EXPECT_TRUE(result == a || result == b) << result.size();
  EXPECT_EQ(EntriesIn(folder.Path()), 1);
}

}  // namespace
