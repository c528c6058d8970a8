// A file system for tests that makes one chosen step of a writer fail, and a
// harness that runs a writer once with every one of its steps failing in turn
// and checks that the old file survives each failure whole and that nothing
// is left beside it. For tests only.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

#include "cuadrante/port/filesystem.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/testing/testsupport.h"

namespace cuadrante::testing {

// Counts every call as a step. The step `failAt` fails with `error`, or kills
// the process when `kill` is set (after writing half of its bytes, for a
// write). `shortWrites` makes every write take at most 7 bytes, as a pipe or a
// signal may; that is no failure, and writers must finish the job.
class TFaultyFileSystem : public TPosixFileSystem {
 public:
  int failAt = -1;
  int error = EIO;
  bool kill = false;
  bool shortWrites = false;
  bool noUnnamedFiles = false;  // as a file system without O_TMPFILE
  int steps = 0;

  int Open(const char* p, int f, mode_t m) override {
    if (Fault()) return -1;
    if (noUnnamedFiles && (f & O_TMPFILE) == O_TMPFILE) {
      errno = EOPNOTSUPP;
      return -1;
    }
    return TPosixFileSystem::Open(p, f, m);
  }
  ssize_t Read(int fd, void* b, size_t n) override {
    return Fault() ? -1 : TPosixFileSystem::Read(fd, b, n);
  }
  ssize_t Write(int fd, const void* d, size_t n) override {
    if (shortWrites && n > 7) n = 7;
    if (kill && steps == failAt) TPosixFileSystem::Write(fd, d, n / 2);
    return Fault() ? -1 : TPosixFileSystem::Write(fd, d, n);
  }
  int Sync(int fd) override { return Fault() ? -1 : TPosixFileSystem::Sync(fd); }
  int Close(int fd) override {
    // The descriptor is gone whatever close answers, as on Linux.
    const bool fault = Fault();
    const int result = TPosixFileSystem::Close(fd);
    return fault ? -1 : result;
  }
  int Stat(const char* p, struct stat* s) override {
    return Fault() ? -1 : TPosixFileSystem::Stat(p, s);
  }
  int LinkStat(const char* p, struct stat* s) override {
    return Fault() ? -1 : TPosixFileSystem::LinkStat(p, s);
  }
  int FileStat(int fd, struct stat* s) override {
    return Fault() ? -1 : TPosixFileSystem::FileStat(fd, s);
  }
  ssize_t ReadLink(const char* p, char* b, size_t n) override {
    return Fault() ? -1 : TPosixFileSystem::ReadLink(p, b, n);
  }
  int LinkOpenFile(int fd, const char* p) override {
    return Fault() ? -1 : TPosixFileSystem::LinkOpenFile(fd, p);
  }
  int Rename(const char* a, const char* b) override {
    return Fault() ? -1 : TPosixFileSystem::Rename(a, b);
  }
  int Unlink(const char* p) override { return Fault() ? -1 : TPosixFileSystem::Unlink(p); }
  int ChangeOwner(int fd, uid_t u, gid_t g) override {
    return Fault() ? -1 : TPosixFileSystem::ChangeOwner(fd, u, g);
  }
  int ChangeMode(int fd, mode_t m) override {
    return Fault() ? -1 : TPosixFileSystem::ChangeMode(fd, m);
  }
  int Lock(int fd, int op) override { return Fault() ? -1 : TPosixFileSystem::Lock(fd, op); }
  int Access(const char* p, int m) override {
    return Fault() ? -1 : TPosixFileSystem::Access(p, m);
  }
  int SetStatusFlags(int fd, int f) override {
    return Fault() ? -1 : TPosixFileSystem::SetStatusFlags(fd, f);
  }

 private:
  bool Fault() {
    if (steps++ != failAt) return false;
    if (kill) ::raise(SIGKILL);
    errno = error;
    return true;
  }
};

// The names in `folder`, sorted.
inline std::set<std::string> NamesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

// Runs `write` (which changes `path` from the text `before` to `after`; ""
// for a file that does not exist) with each of its steps failing in turn with
// each error in `errors`, after `reset` has put `before` back. A run that
// raises leaves `before`; one that tolerates its failure leaves `after`;
// either way the folder holds nothing new but the file. `noUnnamedFiles` runs
// it all as on a file system without unnamed files. Returns how many steps a
// clean run takes.
inline int CheckEveryFault(const std::string& path, const std::string& before,
                           const std::string& after, const std::function<void()>& reset,
                           const std::function<void()>& write, bool noUnnamedFiles = false,
                           std::initializer_list<int> errors = {EIO, ENOSPC}) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  const std::string name = std::filesystem::path(path).filename().string();
  const auto others = [&] {
    std::set<std::string> names = NamesIn(folder);
    names.erase(name);
    return names;
  };
  reset();
  const std::set<std::string> names = others();
  int steps = 0;
  {
    TFaultyFileSystem counter;
    counter.noUnnamedFiles = noUnnamedFiles;
    TFileSystemOverride use(counter);
    write();
    steps = counter.steps;
  }
  EXPECT_EQ(ReadText(path), after) << "a clean run";
  for (int error : errors) {
    for (int step = 0; step < steps; ++step) {
      reset();
      bool raised = false;
      {
        TFaultyFileSystem faulty;
        faulty.failAt = step;
        faulty.error = error;
        faulty.noUnnamedFiles = noUnnamedFiles;
        TFileSystemOverride use(faulty);
        try {
          write();
        } catch (const Exception&) {
          raised = true;
        }
      }
      EXPECT_EQ(ReadText(path), raised ? before : after)
          << "step " << step << " of " << steps << " failing with errno " << error
          << (raised ? " (raised)" : " (tolerated)");
      EXPECT_EQ(others(), names) << "step " << step << " failing with errno " << error;
    }
  }
  return steps;
}

}  // namespace cuadrante::testing
