// The file-system seam: every open, read, write, sync, rename, link, lock and
// stat that the library makes goes through one `TFileSystem`, so that a test
// can make any single step fail (ENOSPC, EIO, a short write, a failing rename
// or fsync) and check what the library leaves behind, without mounting
// anything.
//
// Each member behaves as the POSIX call it names: it answers what the call
// answers and leaves the cause in errno. The default is the POSIX one. A test
// installs its own for the time of a test; installing is not synchronised with
// file calls in flight on other threads, everything else is safe from any
// thread.
//
// Example (a test):
//   struct NoSpace : cuadrante::TPosixFileSystem {
//     ssize_t Write(int, const void*, size_t) override { errno = ENOSPC; return -1; }
//   } noSpace;
//   cuadrante::TFileSystemOverride use(noSpace);
//   EXPECT_THROW(cuadrante::WriteFileAtomically(path, "x"), EFCreateError);
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "cuadrante/runtime/export.h"

namespace cuadrante {

class CUADRANTE_API TFileSystem {
 public:
  virtual ~TFileSystem();

  virtual int Open(const char* path, int flags, mode_t mode) = 0;  // open(2)
  virtual ssize_t Read(int fd, void* buffer, size_t size) = 0;     // read(2)
  virtual ssize_t Write(int fd, const void* data, size_t size) = 0;
  virtual int Sync(int fd) = 0;  // fsync(2)
  virtual int Close(int fd) = 0;
  virtual int Stat(const char* path, struct stat* info) = 0;      // follows links
  virtual int LinkStat(const char* path, struct stat* info) = 0;  // lstat(2)
  virtual int FileStat(int fd, struct stat* info) = 0;            // fstat(2)
  virtual ssize_t ReadLink(const char* path, char* buffer, size_t size) = 0;
  // Gives the unnamed file open as `fd` (O_TMPFILE) the name `path`; EEXIST
  // when something already has it.
  virtual int LinkOpenFile(int fd, const char* path) = 0;
  virtual int Rename(const char* from, const char* to) = 0;
  virtual int Unlink(const char* path) = 0;
  virtual int ChangeOwner(int fd, uid_t owner, gid_t group) = 0;  // fchown(2)
  virtual int ChangeMode(int fd, mode_t mode) = 0;                // fchmod(2)
  virtual int Lock(int fd, int operation) = 0;                    // flock(2)
  virtual int Access(const char* path, int mode) = 0;             // access(2)
  virtual int SetStatusFlags(int fd, int flags) = 0;              // fcntl(F_SETFL)
};

// The operating system's calls, as they are.
class CUADRANTE_API TPosixFileSystem : public TFileSystem {
 public:
  int Open(const char* path, int flags, mode_t mode) override;
  ssize_t Read(int fd, void* buffer, size_t size) override;
  ssize_t Write(int fd, const void* data, size_t size) override;
  int Sync(int fd) override;
  int Close(int fd) override;
  int Stat(const char* path, struct stat* info) override;
  int LinkStat(const char* path, struct stat* info) override;
  int FileStat(int fd, struct stat* info) override;
  ssize_t ReadLink(const char* path, char* buffer, size_t size) override;
  int LinkOpenFile(int fd, const char* path) override;
  int Rename(const char* from, const char* to) override;
  int Unlink(const char* path) override;
  int ChangeOwner(int fd, uid_t owner, gid_t group) override;
  int ChangeMode(int fd, mode_t mode) override;
  int Lock(int fd, int operation) override;
  int Access(const char* path, int mode) override;
  int SetStatusFlags(int fd, int flags) override;
};

// The file system that the library uses now.
CUADRANTE_API TFileSystem& FileSystem();

// Puts `replacement` (borrowed) in place of the file system for its lifetime
// and restores the one before it when it ends. Overrides nest.
class CUADRANTE_API TFileSystemOverride {
 public:
  explicit TFileSystemOverride(TFileSystem& replacement);
  ~TFileSystemOverride();
  TFileSystemOverride(const TFileSystemOverride&) = delete;
  TFileSystemOverride& operator=(const TFileSystemOverride&) = delete;

 private:
  TFileSystem* previous_;
};

}  // namespace cuadrante
