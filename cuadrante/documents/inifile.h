// Settings in an INI file, read and written by section and key.
//
// The file is the store: every read parses it afresh and every write replaces
// it whole (atomically, beside the old one) before the call returns, so several
// objects and processes on one file see each other's writes. A write reads the
// file again under the folder's update lock (files.h) and changes only its own
// key, so concurrent writers, in this process or others, lose nothing. Section
// and key names ignore case; a key written twice in a section reads as its
// first value. A missing file is an empty INI, and so, for reads, is anything
// that is not a regular file of at most kSettingsFileLimit bytes. One object is
// for one thread at a time.
//
// Example:
//   TIniFile ini("/opt/app/app.ini");
//   ini.WriteInteger("GENERAL", "MAXDATE", 2099);
//   ini.ReadString("general", "maxdate", "") == "2099";
#pragma once

#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/stringlist.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TIniFile : public TObject {
 public:
  // Opens nothing yet: the file is read at each call and may not exist.
  explicit TIniFile(const AnsiString& fileName);
  ~TIniFile() override;

  const AnsiString& FileName() const { return fileName_; }

  // Reads answer `defaultValue` when the section or key is absent.
  AnsiString ReadString(const AnsiString& section, const AnsiString& ident,
                        const AnsiString& defaultValue) const;
  // Decimal, or hexadecimal after "0x"; a value that is no number gives the default.
  int ReadInteger(const AnsiString& section, const AnsiString& ident, int defaultValue) const;
  // Any integer but 0 is true; a value that is no number gives the default.
  bool ReadBool(const AnsiString& section, const AnsiString& ident, bool defaultValue) const;

  // These replace the contents of `strings`, in file order.
  void ReadSection(const AnsiString& section, TStrings& strings) const;        // key names
  void ReadSectionValues(const AnsiString& section, TStrings& strings) const;  // name=value
  void ReadSections(TStrings& strings) const;                                  // section names

  bool SectionExists(const AnsiString& section) const;
  bool ValueExists(const AnsiString& section, const AnsiString& ident) const;

  // Writes create the section and the file as needed, keep comments and the
  // order of what was there, and raise EFCreateError when the file can't be
  // replaced, or EFOpenError when a file that is there can't be read (the old
  // file then stays as it was). What the format cannot carry is refused with
  // Exception before anything is written: a line break, NUL or invalid UTF-8
  // anywhere; blanks around a name or value; control characters, '[' or ']'
  // in a section name; an empty key, or one with '=', or beginning with ';',
  // '#' or '['.
  void WriteString(const AnsiString& section, const AnsiString& ident, const AnsiString& value);
  void WriteInteger(const AnsiString& section, const AnsiString& ident, int value);
  void WriteBool(const AnsiString& section, const AnsiString& ident, bool value);  // "1" / "0"
  // Removing what is absent leaves the file untouched.
  void DeleteKey(const AnsiString& section, const AnsiString& ident);
  void EraseSection(const AnsiString& section);

 private:
  AnsiString fileName_;
};
