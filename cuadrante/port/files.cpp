#include "cuadrante/port/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "cuadrante/port/filesystem.h"
#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

// As many links as the kernel follows before it calls the chain a loop.
constexpr int kMaxLinkHops = 40;
// The temporary name beside a target, used only while the folder's lock is held
// by the writer, so one name serves every target of the folder.
constexpr std::string_view kTemporaryName = ".cuadrante.tmp";

// The texts of the runtime's file errors: what failed, on which file, and why.
[[noreturn]] void ThrowOpenError(const AnsiString& path, const std::string& cause) {
  throw EFOpenError("Cannot open file \"" + path + "\". " + cause);
}
[[noreturn]] void ThrowOpenError(const AnsiString& path, int error) {
  ThrowOpenError(path, std::strerror(error));
}
[[noreturn]] void ThrowCreateError(const AnsiString& path, const std::string& cause) {
  throw EFCreateError("Cannot create file \"" + path + "\". " + cause);
}
[[noreturn]] void ThrowCreateError(const AnsiString& path, int error) {
  ThrowCreateError(path, std::strerror(error));
}

// Closes a descriptor once, through the seam, whatever path leaves the scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) FileSystem().Close(fd_);
  }
  int Get() const { return fd_; }
  // Closes now and answers the error of close, which can be the first report
  // of a failed write on some file systems.
  int Close() {
    const int result = FileSystem().Close(fd_);
    fd_ = -1;
    return result == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

// 0, or the errno of the write that failed. A write that makes no progress is
// an I/O error rather than a reason to spin.
int WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = FileSystem().Write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return EIO;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

// --- Following links ---------------------------------------------------------

// The name that the chain of symbolic links starting at `path` ends on, which
// may not exist yet. 0, or ELOOP when the chain is too long to be anything
// but a loop, or the errno of a link that cannot be read.
int FollowLinks(const AnsiString& path, AnsiString& name) {
  name = path;
  for (int hop = 0; hop <= kMaxLinkHops; ++hop) {
    struct stat info {};
    if (FileSystem().LinkStat(name.c_str(), &info) != 0) {
      // A name that is not there ends the chain: it is the one to create. Any
      // other failure leaves the chain unknown, and guessing would replace the
      // link itself.
      return errno == ENOENT ? 0 : errno;
    }
    if (!S_ISLNK(info.st_mode)) return 0;
    char buffer[4096];
    const ssize_t length = FileSystem().ReadLink(name.c_str(), buffer, sizeof buffer);
    if (length < 0) return errno;
    if (static_cast<size_t>(length) == sizeof buffer) return ENAMETOOLONG;
    const AnsiString target(buffer, static_cast<size_t>(length));
    name = target.starts_with('/') ? target : ExtractFilePath(name) + target;
  }
  return ELOOP;
}

// What a write meets at the end of `path`'s links.
struct Target {
  enum Kind { kMissing, kRegular, kThrough } kind = kMissing;
  AnsiString name;      // the final name, for kMissing and kRegular
  struct stat info {};  // the file's status, for kRegular
};

Target FindTarget(const AnsiString& path) {
  Target target;
  struct stat info {};
  if (FileSystem().Stat(path.c_str(), &info) != 0) {
    if (errno != ENOENT) ThrowCreateError(path, errno);
    // Nothing there, or a link to a name that does not exist yet: that name is
    // the one to create.
    if (const int error = FollowLinks(path, target.name); error != 0) {
      ThrowCreateError(path, error);
    }
    return target;
  }
  if (S_ISDIR(info.st_mode)) ThrowCreateError(path, EISDIR);
  target.kind = Target::kThrough;
  if (!S_ISREG(info.st_mode)) return target;
  // A regular file is replaced under its final name. A link whose text names
  // another file than the one it opens (the descriptors under /proc) cannot be
  // replaced by name: it is written through.
  struct stat named {};
  if (FollowLinks(path, target.name) == 0 && FileSystem().Stat(target.name.c_str(), &named) == 0 &&
      named.st_dev == info.st_dev && named.st_ino == info.st_ino) {
    target.kind = Target::kRegular;
    target.info = info;
  }
  return target;
}

// --- Folder locks ----------------------------------------------------------------

// The folders whose lock this process holds. flock excludes open file
// descriptions, not threads, so threads of this process queue here first, and a
// thread that holds a folder may take it again.
struct HeldFolder {
  dev_t device;
  ino_t inode;
  int fd;
  int depth;
  std::thread::id owner;
};
std::mutex heldMutex;
std::condition_variable heldReleased;
std::vector<HeldFolder> heldFolders;

// The descriptor of `folder` with its lock held, or -1 when it cannot be
// opened (no read permission): the write then goes on without a lock.
int AcquireFolder(const AnsiString& folder) {
  const int fd = FileSystem().Open(folder.empty() ? "." : folder.c_str(),
                                   O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (fd < 0) return -1;
  struct stat info {};
  if (FileSystem().FileStat(fd, &info) != 0) {
    FileSystem().Close(fd);
    return -1;
  }
  const std::thread::id self = std::this_thread::get_id();
  {
    std::unique_lock lock(heldMutex);
    for (;;) {
      const auto held = std::find_if(heldFolders.begin(), heldFolders.end(), [&](const auto& h) {
        return h.device == info.st_dev && h.inode == info.st_ino;
      });
      if (held == heldFolders.end()) break;
      if (held->owner == self) {
        ++held->depth;
        FileSystem().Close(fd);
        return held->fd;
      }
      heldReleased.wait(lock);
    }
    heldFolders.push_back({info.st_dev, info.st_ino, fd, 1, self});
  }
  // Other processes are waited for outside the mutex; the entry above keeps
  // this process's other threads queued meanwhile. A file system without
  // locks leaves the threads of this process ordered, which is all it can do.
  while (FileSystem().Lock(fd, LOCK_EX) != 0 && errno == EINTR) {
  }
  return fd;
}

void ReleaseFolder(int fd) {
  if (fd < 0) return;
  std::lock_guard lock(heldMutex);
  const auto held = std::find_if(heldFolders.begin(), heldFolders.end(),
                                 [&](const auto& h) { return h.fd == fd; });
  if (held == heldFolders.end() || --held->depth > 0) return;
  FileSystem().Lock(fd, LOCK_UN);
  FileSystem().Close(fd);
  heldFolders.erase(held);
  heldReleased.notify_all();
}

class FolderLock {
 public:
  explicit FolderLock(const AnsiString& folder) : fd_(AcquireFolder(folder)) {}
  ~FolderLock() { ReleaseFolder(fd_); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  int Get() const { return fd_; }

 private:
  int fd_;
};

std::atomic<unsigned> temporaryCounter{0};

// --- Writing ---------------------------------------------------------------------

// A device, a FIFO or a terminal takes the bytes as they come; there is
// nothing to replace. A FIFO that nobody reads is refused rather than waited on.
void WriteThrough(const AnsiString& path, std::string_view contents) {
  FileDescriptor file(
      FileSystem().Open(path.c_str(), O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0));
  if (file.Get() < 0) {
    if (errno == ENXIO) ThrowCreateError(path, "No process is reading from it.");
    ThrowCreateError(path, errno);
  }
  if (FileSystem().SetStatusFlags(file.Get(), 0) != 0) ThrowCreateError(path, errno);
  if (const int error = WriteAll(file.Get(), contents); error != 0) {
    ThrowCreateError(path, error);
  }
  // Devices and pipes have nothing to flush and say so.
  if (FileSystem().Sync(file.Get()) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {
    ThrowCreateError(path, errno);
  }
  if (const int error = file.Close(); error != 0) ThrowCreateError(path, error);
}

// The new file takes the old one's owner, group and permission bits. Only root
// may give a file away; anyone else keeps at least the group where they belong
// to it, and otherwise becomes the owner, as any editor that saves by rename.
int CopyOwnerAndMode(int fd, const struct stat& old) {
  if (FileSystem().ChangeOwner(fd, old.st_uid, old.st_gid) != 0) {
    FileSystem().ChangeOwner(fd, static_cast<uid_t>(-1), old.st_gid);
  }
  // After the owner, since a change of owner clears the set-id bits.
  return FileSystem().ChangeMode(fd, old.st_mode & 07777) == 0 ? 0 : errno;
}

void WriteReplacing(const AnsiString& path, Target target, std::string_view contents) {
  const AnsiString folder = ExtractFilePath(target.name);
  const FolderLock lock(folder);
  // Another writer may have made or replaced the file while this one waited:
  // its owner and mode are the ones to keep.
  struct stat now {};
  const bool exists = FileSystem().Stat(target.name.c_str(), &now) == 0 && S_ISREG(now.st_mode);
  if (exists) target.info = now;
  // Renaming would slip past a read-only file, which a direct write would not:
  // refuse it the same way.
  if (exists && FileSystem().Access(target.name.c_str(), W_OK) != 0) {
    ThrowCreateError(path, errno);
  }
  // Under the lock one temporary name serves the whole folder, and whatever
  // has it is debris of a writer that died. Without the lock the name is this
  // writer's own.
  AnsiString temporary = folder;
  if (lock.Get() >= 0) {
    temporary.append(kTemporaryName);
  } else {
    temporary.append(".cuadrante-")
        .append(std::to_string(::getpid()))
        .append("-")
        .append(std::to_string(temporaryCounter.fetch_add(1)))
        .append(".tmp");
  }

  // A new file gets 0666 less the umask, as any new file; an existing one is
  // private until it has its final owner and mode.
  const mode_t mode = exists ? 0600 : 0666;
  const char* folderName = folder.empty() ? "." : folder.c_str();
  int fd = FileSystem().Open(folderName, O_TMPFILE | O_WRONLY | O_CLOEXEC, mode);
  const bool unnamed = fd >= 0;
  if (!unnamed) {
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) ThrowCreateError(path, errno);
    if (lock.Get() >= 0) FileSystem().Unlink(temporary.c_str());
    fd = FileSystem().Open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0) ThrowCreateError(path, errno);
  }
  FileDescriptor file(fd);
  bool named = !unnamed;  // whether `temporary` exists and must go on failure
  const auto fail = [&](int error) {
    if (named) FileSystem().Unlink(temporary.c_str());
    ThrowCreateError(path, error);
  };

  if (exists) {
    if (const int error = CopyOwnerAndMode(fd, target.info); error != 0) fail(error);
  }
  if (const int error = WriteAll(fd, contents); error != 0) fail(error);
  if (FileSystem().Sync(fd) != 0) fail(errno);

  bool done = false;
  if (unnamed && !exists) {
    // A new file takes its name in one step.
    if (FileSystem().LinkOpenFile(fd, target.name.c_str()) == 0) {
      done = true;
    } else if (errno != EEXIST) {
      fail(errno);
    }
  }
  if (!done && unnamed) {
    if (lock.Get() >= 0) FileSystem().Unlink(temporary.c_str());
    if (FileSystem().LinkOpenFile(fd, temporary.c_str()) != 0) fail(errno);
    named = true;
  }
  if (!done && FileSystem().Rename(temporary.c_str(), target.name.c_str()) != 0) fail(errno);
  // Every byte is on the disk already; what close says now changes nothing.
  file.Close();

  // The new name itself is durable only once the folder is flushed; a folder
  // that cannot be opened for that still holds the complete new file.
  if (lock.Get() >= 0) {
    FileSystem().Sync(lock.Get());
  } else {
    FileDescriptor directory(FileSystem().Open(folderName, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    if (directory.Get() >= 0) FileSystem().Sync(directory.Get());
  }
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

bool FileExists(const AnsiString& fileName) {
  struct stat info {};
  return !fileName.empty() && cuadrante::FileSystem().Stat(fileName.c_str(), &info) == 0 &&
         !S_ISDIR(info.st_mode);
}

AnsiString ExtractFilePath(const AnsiString& fileName) {
  const size_t slash = fileName.rfind('/');
  return slash == AnsiString::npos ? AnsiString() : fileName.substr(0, slash + 1);
}

AnsiString ExtractFileName(const AnsiString& fileName) {
  const size_t slash = fileName.rfind('/');
  return slash == AnsiString::npos ? fileName : fileName.substr(slash + 1);
}

namespace cuadrante {

AnsiString ReadWholeFile(const AnsiString& path, size_t limit) {
  // Opening a FIFO for reading would wait for a writer; without blocking it
  // opens at once, and the check below refuses it.
  FileDescriptor file(
      FileSystem().Open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0));
  if (file.Get() < 0) ThrowOpenError(path, errno);
  struct stat info {};
  if (FileSystem().FileStat(file.Get(), &info) != 0) ThrowOpenError(path, errno);
  if (S_ISDIR(info.st_mode)) ThrowOpenError(path, EISDIR);
  if (!S_ISREG(info.st_mode)) ThrowOpenError(path, "It is not a regular file.");
  const auto tooLarge = [&] {
    ThrowOpenError(path, "It is larger than the limit of " + std::to_string(limit) + " bytes.");
  };
  if (static_cast<uint64_t>(info.st_size) > limit) tooLarge();

  AnsiString contents;
  try {
    contents.reserve(static_cast<size_t>(info.st_size));
    char buffer[65536];
    for (;;) {
      const ssize_t got = FileSystem().Read(file.Get(), buffer, sizeof buffer);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) ThrowOpenError(path, errno);
      if (got == 0) break;
      // A file that grows while it is read is held to the same limit.
      if (contents.size() + static_cast<size_t>(got) > limit) tooLarge();
      contents.append(buffer, static_cast<size_t>(got));
    }
  } catch (const std::bad_alloc&) {
    ThrowOpenError(path, std::strerror(ENOMEM));
  }
  return contents;
}

void WriteFileAtomically(const AnsiString& path, std::string_view contents) {
  if (path.empty()) ThrowCreateError(path, ENOENT);
  const Target target = FindTarget(path);
  if (target.kind == Target::kThrough) {
    WriteThrough(path, contents);
  } else {
    if (ExtractFileName(target.name).empty()) ThrowCreateError(path, EISDIR);
    WriteReplacing(path, target, contents);
  }
}

TFileUpdateLock::TFileUpdateLock(const AnsiString& path) {
  AnsiString name;
  if (FollowLinks(path, name) != 0) name = path;
  fd_ = AcquireFolder(ExtractFilePath(name));
}

TFileUpdateLock::~TFileUpdateLock() { ReleaseFolder(fd_); }

}  // namespace cuadrante
