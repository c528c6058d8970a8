#include "cuadrante/port/filesystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <string>

namespace cuadrante {
namespace {

TPosixFileSystem posixFileSystem;
std::atomic<TFileSystem*> current{&posixFileSystem};

}  // namespace

TFileSystem::~TFileSystem() = default;

int TPosixFileSystem::Open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}
ssize_t TPosixFileSystem::Read(int fd, void* buffer, size_t size) {
  return ::read(fd, buffer, size);
}
ssize_t TPosixFileSystem::Write(int fd, const void* data, size_t size) {
  return ::write(fd, data, size);
}
int TPosixFileSystem::Sync(int fd) { return ::fsync(fd); }
int TPosixFileSystem::Close(int fd) { return ::close(fd); }
int TPosixFileSystem::Stat(const char* path, struct stat* info) { return ::stat(path, info); }
int TPosixFileSystem::LinkStat(const char* path, struct stat* info) { return ::lstat(path, info); }
int TPosixFileSystem::FileStat(int fd, struct stat* info) { return ::fstat(fd, info); }
ssize_t TPosixFileSystem::ReadLink(const char* path, char* buffer, size_t size) {
  return ::readlink(path, buffer, size);
}
int TPosixFileSystem::LinkOpenFile(int fd, const char* path) {
  // The way that needs no privilege: the descriptor's entry under /proc,
  // followed to the open file.
  const std::string self = "/proc/self/fd/" + std::to_string(fd);
  return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW);
}
int TPosixFileSystem::Rename(const char* from, const char* to) { return ::rename(from, to); }
int TPosixFileSystem::Unlink(const char* path) { return ::unlink(path); }
int TPosixFileSystem::ChangeOwner(int fd, uid_t owner, gid_t group) {
  return ::fchown(fd, owner, group);
}
int TPosixFileSystem::ChangeMode(int fd, mode_t mode) { return ::fchmod(fd, mode); }
int TPosixFileSystem::Lock(int fd, int operation) { return ::flock(fd, operation); }
int TPosixFileSystem::Access(const char* path, int mode) { return ::access(path, mode); }
int TPosixFileSystem::SetStatusFlags(int fd, int flags) { return ::fcntl(fd, F_SETFL, flags); }

TFileSystem& FileSystem() { return *current.load(std::memory_order_acquire); }

TFileSystemOverride::TFileSystemOverride(TFileSystem& replacement)
    : previous_(current.exchange(&replacement, std::memory_order_acq_rel)) {}

TFileSystemOverride::~TFileSystemOverride() { current.store(previous_, std::memory_order_release); }

}  // namespace cuadrante
