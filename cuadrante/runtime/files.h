// Files as whole texts: existence, path pieces, whole-file reads and atomic
// replacement.
//
// Paths are POSIX paths with '/' as the only separator. Every file that the
// library rewrites goes through `WriteFileAtomically`, so a crash or a failed
// write never leaves half a file behind. All functions keep no state and are
// safe from any thread; two threads replacing the same file at once each leave
// a whole file, the later rename winning.
#pragma once

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

// The bytes of the file, as they are. Raises EFOpenError naming the path when
// the file is missing, is a directory or cannot be read.
CUADRANTE_API AnsiString ReadWholeFile(const AnsiString& path);

// Replaces (or creates) `path` with `contents`: the bytes go to a temporary file
// in the same folder, are flushed to the disk and renamed over the old file. A
// symbolic link is written through to its target. An existing file keeps its
// permission bits; a file that this process may not write is refused. On any
// failure the temporary file is removed, the old file is left as it was, and
// EFCreateError naming the path is raised.
CUADRANTE_API void WriteFileAtomically(const AnsiString& path, std::string_view contents);

}  // namespace cuadrante
