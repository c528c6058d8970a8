// Small file steps that the library's own loaders share, kept here so that
// no folder above this one touches the system's file calls. Every call goes
// through the file-system seam, so a test's faulty file system reaches them.
// Not part of the installed interface.
#pragma once

#include "cuadrante/runtime/sysutils.h"

namespace cuadrante::detail {

// True when nothing is at `path` (or a folder on the way is missing); false
// when something is there, readable or not.
bool PathIsMissing(const AnsiString& path);

// Creates `path` empty unless something is there; a failure is not looked at.
void CreateIfMissing(const AnsiString& path);

// Removes the name `path`; a failure is not looked at.
void RemoveName(const AnsiString& path);

// Whether the two paths name one file: the same device and inode where both
// exist, else the same text.
bool SameFile(const AnsiString& a, const AnsiString& b);

// Makes sure that the copy `aside` of `path` shows no one what `path` hides:
// a new copy is made, empty, with the mode of `path`, and an older one loses
// the read and write bits that `path` lacks; the atomic write keeps that
// mode. True when the copy was made here.
bool PrepareSideCopy(const AnsiString& path, const AnsiString& aside);

}  // namespace cuadrante::detail
