#include "cuadrante/port/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <thread>

#include "cuadrante/port/filesystem.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/faultyfilesystem.h"
#include "cuadrante/testing/testsupport.h"

namespace {

namespace fs = std::filesystem;
using cuadrante::testing::CheckEveryFault;
using cuadrante::testing::NamesIn;
using cuadrante::testing::RaisesWith;
using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::TFaultyFileSystem;
using cuadrante::testing::WriteText;

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

TEST(Files, ReadsEveryByteOfRegularFilesWithinTheLimitAndNeverBlocks) {
  TempFolder folder;
  const std::string bytes("a\r\n\0b\rc\xC3\xAD", 9);
  WriteText(folder / "bytes", bytes);
  WriteText(folder / "empty", "");
  EXPECT_TRUE(FileExists(folder / "bytes"));
  EXPECT_FALSE(FileExists(folder / "missing") || FileExists(folder.Path()) || FileExists(""));
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "bytes", 9), bytes);
  EXPECT_EQ(cuadrante::ReadWholeFile(folder / "empty"), "");
  EXPECT_TRUE(RaisesWith<EFOpenError>([&] { cuadrante::ReadWholeFile(folder / "bytes", 8); },
                                      "limit of 8 bytes"));
  EXPECT_TRUE(RaisesWith<EFOpenError>([&] { cuadrante::ReadWholeFile(folder / "missing"); },
                                      folder / "missing"));
  EXPECT_THROW(cuadrante::ReadWholeFile(folder.Path()), EFOpenError);
  // A FIFO that nobody writes would hold a plain read forever.
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const std::string& path : {folder / "fifo", std::string("/dev/zero")}) {
    const auto read = [&] { cuadrante::ReadWholeFile(path); };
    EXPECT_TRUE(RaisesWith<EFOpenError>(read, path));
    EXPECT_TRUE(RaisesWith<EFOpenError>(read, "not a regular file"));
  }
  // A failing read is reported, never taken for the end of the file.
  TFaultyFileSystem faulty;
  faulty.failAt = 2;  // open, fstat, then the first read
  cuadrante::TFileSystemOverride use(faulty);
  EXPECT_TRUE(RaisesWith<EFOpenError>([&] { cuadrante::ReadWholeFile(folder / "bytes"); },
                                      "Input/output error"));
}

TEST(Files, ReplacesWholeOrRaisesAndLeavesNoTemporary) {
  TempFolder folder;
  const std::string path = folder / "dict.txt";
  cuadrante::WriteFileAtomically(path, "first");
  cuadrante::WriteFileAtomically(path, "second, longer");
  EXPECT_EQ(ReadText(path), "second, longer");
  cuadrante::WriteFileAtomically(path, "");
  EXPECT_EQ(ReadText(path), "");
  EXPECT_EQ(NamesIn(folder.Path()), std::set<std::string>{"dict.txt"});

  // Through a link the target is rewritten and the link stays a link.
  fs::create_symlink(path, folder / "link");
  cuadrante::WriteFileAtomically(folder / "link", "via link");
  EXPECT_EQ(ReadText(path), "via link");
  EXPECT_TRUE(fs::is_symlink(folder / "link"));

  // A failed replacement raises naming the path and keeps what was there.
  WriteText(folder / "plain", "not a folder");
  const std::string below = folder / "plain/dict.txt";
  EXPECT_TRUE(
      RaisesWith<EFCreateError>([&] { cuadrante::WriteFileAtomically(below, "x"); }, below));
  EXPECT_EQ(ReadText(folder / "plain"), "not a folder");
  fs::create_directory(folder / "sub");
  EXPECT_THROW(cuadrante::WriteFileAtomically(folder / "sub", "x"), EFCreateError);
  EXPECT_TRUE(fs::is_directory(folder / "sub"));
  EXPECT_EQ(NamesIn(folder.Path()), (std::set<std::string>{"dict.txt", "link", "plain", "sub"}));
}

// Without the folder lock two writers still never share a temporary file.
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
  EXPECT_EQ(NamesIn(folder.Path()), std::set<std::string>{"shared.txt"});
}

TEST(Files, FollowsLinksToTheirFinalTargetAndRefusesLoops) {
  TempFolder folder;
  fs::create_directory(folder / "real");
  // A chain whose last name does not exist yet: the file is made there, with
  // relative links counted from the folder of the link.
  fs::create_symlink("b", folder / "a");
  fs::create_symlink("real/c", folder / "b");
  cuadrante::WriteFileAtomically(folder / "a", "through two links");
  EXPECT_EQ(ReadText(folder / "real/c"), "through two links");
  EXPECT_TRUE(fs::is_symlink(folder / "a") && fs::is_symlink(folder / "b"));
  cuadrante::WriteFileAtomically(folder / "a", "again");
  EXPECT_EQ(ReadText(folder / "real/c"), "again");
  EXPECT_EQ(NamesIn(folder / "real"), std::set<std::string>{"c"});

  fs::create_symlink("loop2", folder / "loop1");
  fs::create_symlink("loop1", folder / "loop2");
  EXPECT_TRUE(RaisesWith<EFCreateError>(
      [&] { cuadrante::WriteFileAtomically(folder / "loop1", "x"); }, "symbolic links"));
  EXPECT_TRUE(fs::is_symlink(folder / "loop1") && fs::is_symlink(folder / "loop2"));
}

TEST(Files, WritesThroughWhatIsNotARegularFile) {
  TempFolder folder;
  cuadrante::WriteFileAtomically("/dev/null", "nothing");
  EXPECT_TRUE(RaisesWith<EFCreateError>([&] { cuadrante::WriteFileAtomically("/dev/full", "x"); },
                                        "No space left"));
  struct stat info {};
  ASSERT_EQ(::stat("/dev/full", &info), 0);
  EXPECT_TRUE(S_ISCHR(info.st_mode));  // written through, not replaced

  // A FIFO with a reader gets the bytes and stays a FIFO; without one the
  // write is refused rather than left waiting.
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_TRUE(RaisesWith<EFCreateError>([&] { cuadrante::WriteFileAtomically(fifo, "x"); },
                                        "No process is reading"));
  const std::string payload(200000, 'f');  // more than a pipe holds at once
  std::string received;
  const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  // A writer of the test's own keeps the reader from seeing the end before the
  // library has opened the FIFO, and gives it the end once the write is over,
  // whatever the write did.
  const int keeper = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
  ASSERT_GE(keeper, 0);
  std::thread drain([&] {
    ::fcntl(reader, F_SETFL, 0);
    char buffer[4096];
    for (ssize_t got; (got = ::read(reader, buffer, sizeof buffer)) != 0;) {
      if (got > 0) received.append(buffer, static_cast<size_t>(got));
    }
  });
  EXPECT_NO_THROW(cuadrante::WriteFileAtomically(fifo, payload));
  ::close(keeper);
  drain.join();
  ::close(reader);
  EXPECT_EQ(received, payload);
  ASSERT_EQ(::lstat(fifo.c_str(), &info), 0);
  EXPECT_TRUE(S_ISFIFO(info.st_mode));
}

TEST(Files, KeepsOwnerGroupAndModeAndTakesNamesUpToTheLimit) {
  TempFolder folder;
  const std::string path = folder / "settings.ini";
  WriteText(path, "old");
  ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
  }
  cuadrante::WriteFileAtomically(path, "new");
  struct stat info {};
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  // Where the test may give the file away (as root), the owner travels too.
  EXPECT_TRUE(!root || (info.st_uid == 65534u && info.st_gid == 65534u))
      << info.st_uid << ":" << info.st_gid;
  // A new file gets what any new file gets: 0666 less the umask.
  const mode_t mask = ::umask(027);
  cuadrante::WriteFileAtomically(folder / "fresh", "x");
  ::umask(mask);
  ASSERT_EQ(::stat((folder / "fresh").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);

  for (size_t length : {250u, 255u}) {
    const std::string longName = folder / std::string(length, 'n');
    cuadrante::WriteFileAtomically(longName, "long");
    cuadrante::WriteFileAtomically(longName, "longer");
    EXPECT_EQ(ReadText(longName), "longer") << length;
  }
}

TEST(Files, EveryFailingStepLeavesTheOldFileWholeAndNoDebris) {
  TempFolder folder;
  const std::string path = folder / "doc.xml";
  const std::string before = "old contents", after(100000, 'n');
  WriteText(folder / "neighbour", "untouched");
  for (bool noUnnamedFiles : {false, true}) {
    const int steps = CheckEveryFault(
        path, before, after, [&] { WriteText(path, before); },
        [&] { cuadrante::WriteFileAtomically(path, after); }, noUnnamedFiles);
    EXPECT_GE(steps, 10) << noUnnamedFiles;
    // A file that does not exist yet stays missing.
    CheckEveryFault(
        path, "", after, [&] { fs::remove(path); },
        [&] { cuadrante::WriteFileAtomically(path, after); }, noUnnamedFiles);
    // Through a link to a name that does not exist yet: a failure while the
    // link is followed raises too, and neither the link nor its target changes.
    const std::string link = folder / "link.xml";
    fs::create_symlink("doc.xml", link);
    CheckEveryFault(
        path, "", after, [&] { fs::remove(path); },
        [&] { cuadrante::WriteFileAtomically(link, after); }, noUnnamedFiles);
    EXPECT_TRUE(fs::is_symlink(link));
    fs::remove(link);
  }
  // Short writes are no failure: the writer goes on until every byte is out.
  TFaultyFileSystem shortWrites;
  shortWrites.shortWrites = true;
  {
    cuadrante::TFileSystemOverride use(shortWrites);
    cuadrante::WriteFileAtomically(path, "written seven bytes at a time");
  }
  EXPECT_EQ(ReadText(path), "written seven bytes at a time");
  EXPECT_EQ(ReadText(folder / "neighbour"), "untouched");
  // A folder whose status cannot be read is written without its lock, and
  // the new name is still flushed to the folder itself.
  struct NoFolderStatus : cuadrante::TPosixFileSystem {
    int FileStat(int fd, struct stat* s) override {
      const int result = TPosixFileSystem::FileStat(fd, s);
      if (result != 0 || !S_ISDIR(s->st_mode)) return result;
      errno = EIO;
      return -1;
    }
    int Sync(int fd) override {
      struct stat s {};
      lastSyncedFolder = ::fstat(fd, &s) == 0 && S_ISDIR(s.st_mode);
      return TPosixFileSystem::Sync(fd);
    }
    bool lastSyncedFolder = false;
  } noFolderStatus;
  {
    cuadrante::TFileSystemOverride use(noFolderStatus);
    cuadrante::WriteFileAtomically(path, "without the lock");
  }
  EXPECT_EQ(ReadText(path), "without the lock");
  EXPECT_TRUE(noFolderStatus.lastSyncedFolder);
  EXPECT_EQ(NamesIn(folder.Path()), (std::set<std::string>{"doc.xml", "neighbour"}));
}

TEST(Files, KilledAtAnyStepLeavesTheOldFileOrTheNewOne) {
  TempFolder folder;
  const std::string path = folder / "roster.xml";
  const std::string before(1 << 20, 'o'), after(3 << 20, 'n');
  int steps = 0;
  {
    WriteText(path, before);
    TFaultyFileSystem counter;
    cuadrante::TFileSystemOverride use(counter);
    cuadrante::WriteFileAtomically(path, after);
    steps = counter.steps;
  }
  // Every step in turn, then rounds at random steps of either kind of folder.
  std::mt19937 random(20261124);
  int unnamedDebris = 0;  // rounds of the unnamed-file kind that left the temporary name
  for (int round = 0; round < steps * 2 + 100; ++round) {
    const bool everyStep = round < steps * 2;
    const int step = everyStep ? round / 2 : static_cast<int>(random() % steps);
    const bool noUnnamedFiles = everyStep ? round % 2 == 1 : random() % 2 == 1;
    WriteText(path, before);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      TFaultyFileSystem killer;
      killer.failAt = step;
      killer.kill = true;
      killer.noUnnamedFiles = noUnnamedFiles;
      cuadrante::TFileSystemOverride use(killer);
      try {
        cuadrante::WriteFileAtomically(path, after);
      } catch (...) {
        ::_exit(4);
      }
      ::_exit(3);  // not killed: the step was never reached
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "step " << step;
    const std::string left = ReadText(path);
    EXPECT_TRUE(left == before || left == after) << "step " << step << ": " << left.size();
    std::set<std::string> names = NamesIn(folder.Path());
    // The one instant between naming the new file and renaming it over the old
    // one leaves the folder's temporary name, and nothing else.
    // Where the file system has no unnamed files, the name is there from the
    // start of the write.
    if (names.erase(".cuadrante.tmp") == 1 && everyStep && !noUnnamedFiles) ++unnamedDebris;
    EXPECT_EQ(names, std::set<std::string>{"roster.xml"}) << "step " << step;
    fs::remove(folder / ".cuadrante.tmp");
  }
  EXPECT_EQ(unnamedDebris, 1);
  // The next write in the folder clears what a killed writer left.
  WriteText(folder / ".cuadrante.tmp", "debris");
  cuadrante::WriteFileAtomically(path, "after the kills");
  EXPECT_EQ(NamesIn(folder.Path()), std::set<std::string>{"roster.xml"});
}

TEST(Files, UpdatesUnderTheFolderLockLoseNothingAcrossThreadsAndProcesses) {
  TempFolder folder;
  const std::string path = folder / "counter";
  WriteText(path, "0");
  // Read, add one, write back: without the lock two writers read the same
  // number and one increment is lost.
  const auto increment = [&](int times) {
    for (int i = 0; i < times; ++i) {
      cuadrante::TFileUpdateLock lock(path);
      const int value = std::stoi(cuadrante::ReadWholeFile(path));
      cuadrante::WriteFileAtomically(path, std::to_string(value + 1));
    }
  };
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      increment(150);
      ::_exit(0);
    }
    children.push_back(child);
  }
  std::thread other(increment, 150);
  increment(150);
  other.join();
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EXPECT_EQ(ReadText(path), "600");
  EXPECT_EQ(NamesIn(folder.Path()), std::set<std::string>{"counter"});

  // The end of a nested hold leaves the folder locked until the outer one
  // ends; another open of the folder sees it.
  const auto othersMayLock = [&] {
    const int probe = ::open(folder.Path().c_str(), O_RDONLY | O_DIRECTORY);
    const bool free = ::flock(probe, LOCK_EX | LOCK_NB) == 0;
    ::close(probe);
    return free;
  };
  {
    cuadrante::TFileUpdateLock outer(path);
    { cuadrante::TFileUpdateLock inner(path); }
    EXPECT_FALSE(othersMayLock());
  }
  EXPECT_TRUE(othersMayLock());
}

}  // namespace
