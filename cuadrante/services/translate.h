// The translation dictionary: every text the library shows to a person passes
// through `Transport::Translate`, which looks the Spanish text up as a key and
// gives the dictionary's wording; a text it doesn't know gets a "<N/A>" row,
// written back to the dictionary file for a translator to fill in.
//
// Nothing happens until the host sets `bTransActivated` and calls `InitTRANS`.
// `Translate` may be called from any thread: one process-wide read/write lock
// guards the translator pointer and its rows (shared for lookups, exclusive
// for adding a missing row and for InitTRANS, ReLoadDictionary and EndTRANS).
// A host that reads the fields of `_Translate` itself must do so while no
// other thread translates.
//
// The settings INI file has a section "Localization": "Dictionary" names the
// dictionary file (appended as it is to the INI path given to InitTRANS), and
// each key starting with "TransFormProp" names a property for TranslateForm.
// The dictionary is a text file of rows "key<TAB>translation"; its other
// lines (translators' notes, blank lines) are kept, ahead of the rows, when
// the file is written back. A dictionary path that is the settings file
// itself (no "Dictionary" key, or one naming that file) is read but never
// written: the settings would be lost. That is said once, on _MessagesMgr's
// message stack, when the settings are read. A text that a row cannot carry
// (a tab, a line break, NUL, invalid UTF-8) is translated as itself and never
// collected.
#pragma once

#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/stringlist.h"
#include "cuadrante/runtime/sysutils.h"

// The master switch, false at load; only the host sets it, before InitTRANS.
extern CUADRANTE_API bool bTransActivated;

// The translation of one row, attached to its key in TTranslate::Rows.
class CUADRANTE_API TTransData : public TObject {
 public:
  explicit TTransData(const AnsiString& translation);
  ~TTransData() override;

  AnsiString Translation;
};

// The one dictionary of the process. Made by InitTRANS, destroyed by EndTRANS.
class CUADRANTE_API TTranslate {
 public:
  TTranslate();
  TTranslate(const TTranslate&) = delete;
  TTranslate& operator=(const TTranslate&) = delete;
  // Releases the TTransData of every row.
  ~TTranslate();

  // 1 once a row has been read from a dictionary file; while 0 nothing is
  // looked up or collected.
  int Loaded = 0;
  // Set when a row was added for a missing text; never cleared, so every
  // later write-back rewrites the file.
  bool Modified = false;
  AnsiString DictionaryFile;
  // The INI path given to InitTRANS.
  AnsiString BasePath;
  // The property names that TranslateForm handles, in the INI file's order.
  TStringList Properties;
  // Sorted without regard to case, refusing duplicates; each line owns its
  // TTransData as the attached object.
  TStringList Rows;
  // The lines of the dictionary file that are no rows, in the file's order.
  TVectorStrings Notes;
  // False when DictionaryFile is the settings file: no write-back then.
  bool WriteBack = true;
};

// The translator, null until InitTRANS and after EndTRANS.
extern CUADRANTE_API TTranslate* _Translate;

// With the switch on and no translator yet, makes one on `iniFile`; a missing
// INI or dictionary leaves it with no rows, so texts pass unchanged.
CUADRANTE_API void InitTRANS(const AnsiString& iniFile);
// With the switch on: writes the dictionary back if rows were added, then
// destroys the translator. A failed write raises EFileError and keeps the
// translator, so the host may try again.
CUADRANTE_API void EndTRANS();
// With the switch on and a translator: drops the rows and the property names
// and reads `iniFile` and its dictionary again, keeping BasePath, Loaded and
// Modified. A missing `iniFile` changes nothing.
CUADRANTE_API void ReLoadDictionary(const AnsiString& iniFile);

namespace Transport {

// The dictionary's wording of `text`; `text` itself while translation is off,
// the dictionary not loaded, the row's translation empty, or the row new.
CUADRANTE_API AnsiString Translate(const AnsiString& text);

// Translates the string properties named in the settings on `form` and on the
// components it owns directly (not deeper). A failure on a component skips
// that component; a failure on the form itself ends the walk with false, as
// does a null form. Then writes the dictionary back if rows were added, which
// may raise EFileError. True when there is nothing to do.
CUADRANTE_API bool TranslateForm(TComponent* form);

}  // namespace Transport
