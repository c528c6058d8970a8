#include "cuadrante/port/fileutil.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "cuadrante/port/filesystem.h"

namespace cuadrante::detail {

bool PathIsMissing(const AnsiString& path) {
  struct stat info {};
  return FileSystem().Stat(path.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

void CreateIfMissing(const AnsiString& path) {
  const int fd = FileSystem().Open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd >= 0) FileSystem().Close(fd);
}

void RemoveName(const AnsiString& path) { FileSystem().Unlink(path.c_str()); }

bool SameFile(const AnsiString& a, const AnsiString& b) {
  struct stat x {
  }, y{};
  if (FileSystem().Stat(a.c_str(), &x) == 0 && FileSystem().Stat(b.c_str(), &y) == 0) {
    return x.st_dev == y.st_dev && x.st_ino == y.st_ino;
  }
  return a == b;
}

bool PrepareSideCopy(const AnsiString& path, const AnsiString& aside) {
  TFileSystem& files = FileSystem();
  struct stat original {};
  if (files.Stat(path.c_str(), &original) != 0) return false;
  const mode_t mode = original.st_mode & 0666;
  int fd = files.Open(aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
  if (fd >= 0) {
    files.Close(fd);
    return true;
  }
  // Not blocking on a FIFO, and not through a link: a link's target is
  // written through as any file the library writes, and keeps its mode.
  fd = files.Open(aside.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC, 0);
  if (fd < 0) return false;
  struct stat older {};
  if (files.FileStat(fd, &older) == 0 && S_ISREG(older.st_mode) &&
      (older.st_mode & 0666 & ~mode) != 0) {
    files.ChangeMode(fd, older.st_mode & 07777 & ~(0666 & ~mode));
  }
  files.Close(fd);
  return false;
}

}  // namespace cuadrante::detail
