#include "cuadrante/runtime/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cuadrante/runtime/exception.h"

namespace cuadrante::detail {
namespace {

// The texts of the runtime's file errors: what failed, on which file, and why.
[[noreturn]] void ThrowOpenError(const AnsiString& path, int error) {
  throw EFOpenError("Cannot open file \"" + path + "\". " + std::strerror(error));
}

[[noreturn]] void ThrowCreateError(const AnsiString& path, int error) {
  throw EFCreateError("Cannot create file \"" + path + "\". " + std::strerror(error));
}

// Closes a descriptor once, whatever path leaves the scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int Get() const { return fd_; }
  // Closes now and answers the error of close, which can be the first report
  // of a failed write on some file systems.
  int Close() {
    const int result = ::close(fd_);
    fd_ = -1;
    return result == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

// A symbolic link is replaced through: the file it names is the one rewritten.
AnsiString ResolveTarget(const AnsiString& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path;
  char resolved[PATH_MAX];
  if (::realpath(path.c_str(), resolved) == nullptr) return path;
  return resolved;
}

std::atomic<unsigned> temporaryCounter{0};

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

bool FileExists(const AnsiString& fileName) {
  struct stat info {};
  return !fileName.empty() && ::stat(fileName.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
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

AnsiString ReadWholeFile(const AnsiString& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) ThrowOpenError(path, errno);
  struct stat info {};
  if (::fstat(file.Get(), &info) != 0) ThrowOpenError(path, errno);
  if (S_ISDIR(info.st_mode)) ThrowOpenError(path, EISDIR);

  AnsiString contents;
  if (info.st_size > 0) contents.reserve(static_cast<size_t>(info.st_size));
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(file.Get(), buffer, sizeof buffer);
    if (got < 0) {
      if (errno == EINTR) continue;
      ThrowOpenError(path, errno);
    }
    if (got == 0) break;
    contents.append(buffer, static_cast<size_t>(got));
  }
  return contents;
}

void WriteFileAtomically(const AnsiString& path, std::string_view contents) {
  const AnsiString target = ResolveTarget(path);
  const AnsiString name = ExtractFileName(target);
  if (name.empty()) ThrowCreateError(path, EISDIR);

  // Replacing by rename would slip past a read-only file, which a direct write
  // would not: refuse it the same way.
  struct stat old {};
  const bool oldExists = ::stat(target.c_str(), &old) == 0;
  if (oldExists && S_ISDIR(old.st_mode)) ThrowCreateError(path, EISDIR);
  if (oldExists && ::access(target.c_str(), W_OK) != 0) ThrowCreateError(path, errno);

  // The temporary file sits beside the target so that the rename stays on one
  // file system, and is hidden so that folder listings do not pick it up.
  const AnsiString folder = ExtractFilePath(target);
  AnsiString temporary;
  int fd = -1;
  for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
    temporary = folder;
    temporary.append(".").append(name).append(".tmp").append(std::to_string(::getpid()));
    temporary.append("-").append(std::to_string(temporaryCounter.fetch_add(1)));
    fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno != EEXIST) break;
  }
  if (fd < 0) ThrowCreateError(path, errno);

  FileDescriptor file(fd);
  int error = 0;
  if (oldExists) ::fchmod(file.Get(), old.st_mode & 07777);
  if (!WriteAll(file.Get(), contents) || ::fsync(file.Get()) != 0) error = errno;
  const int closeError = file.Close();
  if (error == 0) error = closeError;
  if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temporary.c_str());
    ThrowCreateError(path, error);
  }

  // The rename itself is durable only once the folder is flushed; a folder that
  // cannot be opened for that still holds the complete new file.
  FileDescriptor directory(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_CLOEXEC));
  if (directory.Get() >= 0) ::fsync(directory.Get());
}

}  // namespace cuadrante
