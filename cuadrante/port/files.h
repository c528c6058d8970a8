// Files as whole texts: existence, path pieces, bounded whole-file reads, and
// the one path by which the library writes a file.
//
// Paths are POSIX paths with '/' as the only separator. Every file call goes
// through the file-system seam (filesystem.h). All functions keep no state of
// their own but the folder locks below, and are safe from any thread.
//
// How a file is written (`WriteFileAtomically`):
// - a symbolic link is followed to its final target, which is created if it
//   does not exist yet; a loop is refused;
// - a target that is not a regular file (a device, a FIFO with a reader, a
//   terminal) is written through, never replaced;
// - a regular file is replaced atomically: the new bytes go to an unnamed
//   file in the target's folder (a hidden ".cuadrante.tmp" where the file
//   system has no unnamed files), are flushed to the disk, and only then take
//   the target's name. An existing file keeps its mode, owner and group (the
//   owner only where the process may give files away, as root may);
// - writers of one folder take turns under an advisory lock on the folder,
//   shared by processes and threads, so a read-change-write held under
//   `TFileUpdateLock` loses no other writer's change.
// A kill at any instant leaves the old file or the new one. The only debris
// possible is ".cuadrante.tmp" from a kill in the instant between naming the
// new file and renaming it, and the next write in that folder removes it.
#pragma once

#include <cstddef>
#include <string_view>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

// True when `fileName` names something that exists and is not a directory.
CUADRANTE_API bool FileExists(const AnsiString& fileName);
// The folder part of `fileName`, up to and including its last '/'; the empty
// text when there is none. Example: ExtractFilePath("/opt/app/x.ini") == "/opt/app/".
CUADRANTE_API AnsiString ExtractFilePath(const AnsiString& fileName);
// What follows the last '/' of `fileName` (all of it when there is none).
CUADRANTE_API AnsiString ExtractFileName(const AnsiString& fileName);

namespace cuadrante {

// The largest files that the loaders read: settings (INI files, the
// dictionary, the environment document) are small by nature; documents
// (point sets, rules) may hold years of a large roster; data files (Base64
// and blob files) stay below the 2 GiB of the gzip stage.
inline constexpr size_t kSettingsFileLimit = size_t{16} << 20;
inline constexpr size_t kDocumentFileLimit = size_t{256} << 20;
inline constexpr size_t kDataFileLimit = size_t{1} << 30;

// The bytes of the regular file `path`, as they are. Raises EFOpenError naming
// the path and the cause when it is missing, is not a regular file (a folder,
// a FIFO, a device: refused before anything is read, so nothing blocks), is
// larger than `limit` bytes, or cannot be read.
CUADRANTE_API AnsiString ReadWholeFile(const AnsiString& path, size_t limit = kDocumentFileLimit);

// Writes `contents` to `path` as the header says. On any failure the old file
// is left whole, no temporary file remains, and EFCreateError naming the path
// and the cause is raised.
CUADRANTE_API void WriteFileAtomically(const AnsiString& path, std::string_view contents);

// The lock that writers of `path`'s folder take, held from construction to
// destruction: a caller that reads a file, changes it and writes it back under
// it loses no update of another thread or process doing the same. The lock
// follows symbolic links to the final target's folder, is re-entrant for its
// thread (WriteFileAtomically inside it takes it again), and is skipped where
// the folder cannot be opened for reading. It waits as long as another holder
// keeps it; a process that dies releases it.
class CUADRANTE_API TFileUpdateLock {
 public:
  explicit TFileUpdateLock(const AnsiString& path);
  ~TFileUpdateLock();
  TFileUpdateLock(const TFileUpdateLock&) = delete;
  TFileUpdateLock& operator=(const TFileUpdateLock&) = delete;

 private:
  int fd_ = -1;  // the folder's descriptor while this object holds the lock
};

}  // namespace cuadrante
