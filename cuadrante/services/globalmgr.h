// TGlobalMgr: where the library meets the machine and its settings. It finds
// the program's folder and its two INI files (a working file chosen by the
// host and the configuration file), knows the computer's name and address,
// measures memory, holds the colour of each kind of time point and the latest
// date that cycle views reach, owns the process-wide read/write lock and the
// environment document (named sections of text values in one XML file).
//
// One instance, `_GlobalMgr`, lives from load to unload; building it sets the
// decimal separator to "." and creates `_MessagesMgr` and `_CallBacksMgr`.
// Threads: only Begin/End Read/Write are safe from any thread. Everything else
// is for one thread at a time; the fields are set at start or by the host's
// single calls to SetWorkingFile and SetConfigFile.
//
// Example:
//   _GlobalMgr.SetConfigValue("GENERAL", "PORT", 8080);
//   _GlobalMgr.GetConfigValue("general", "port", "") == "8080";
//   _GlobalMgr.SetValueEnv("GENERAL", "ZV_MON_TIMEOUT", "1");
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "cuadrante/documents/inifile.h"
#include "cuadrante/port/rwlock.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/runtime/sysutils.h"

namespace cuadrante {
class TXMLDocument;
}  // namespace cuadrante

class CUADRANTE_API TGlobalMgr {
 public:
  // In order: the fields, the decimal separator, the computer, the colours,
  // MaxDate, a new _MessagesMgr on the working folder, a new _CallBacksMgr and
  // the lock. The two globals are overwritten, not deleted, if they exist.
  TGlobalMgr();
  TGlobalMgr(const TGlobalMgr&) = delete;
  TGlobalMgr& operator=(const TGlobalMgr&) = delete;
  ~TGlobalMgr();  // Reset, then the fields.

  AnsiString ComputerName;     // host name, or empty
  AnsiString ComputerAddress;  // dotted IPv4 address, or empty
  AnsiString ReservedText;
  // File name of the working INI file inside the working folder; "<>" while
  // the host has chosen none.
  AnsiString WorkingFile = "<>";
  // File name of the configuration INI file inside the working folder.
  AnsiString ConfigFile = "ZelvorinSrv.ini";
  // Path of the environment document, used as it stands: a relative name
  // counts from the process's current directory, not the working folder.
  AnsiString EnvFile = "Enviroment.xml";
  int32_t ReservedValue = 0;
  // The far limit of cycle expansion and of the cycle view.
  TDateTime MaxDate;
  // One colour per TTimePointType, indexed by its value; 14 entries.
  std::vector<TColor> Colors;

  // Deletes _CallBacksMgr, then _MessagesMgr (clearing both) and the lock,
  // when _CallBacksMgr exists; always drops the loaded environment document.
  // Safe to call again: the second call only drops the document.
  void Reset();
  // Drops the loaded environment document: the next use reads the file again.
  void Restart();
  // Bytes the system can still hand out: MemAvailable plus SwapFree of
  // /proc/meminfo (free RAM plus free swap by sysinfo where that can't be
  // read), capped at 0xFFFFFFFF; 0 when neither can be read.
  uint32_t GetFreeMemory();
  // Private bytes of this process: Private_Clean + Private_Dirty + Swap of
  // /proc/self/smaps_rollup, capped below 0xFFFFFFFF; 0xFFFFFFFF on failure.
  uint32_t GetUsedMemory();
  // Sets ComputerName and ComputerAddress from the host name and its first
  // IPv4 address by the local resolver; both empty if either step fails.
  void iGetThisComputer();
  // There is no registry on this platform: always the empty text, as for a key
  // that does not exist.
  AnsiString GetRegistryValue(void* rootKey, AnsiString keyPath, AnsiString valueName);

  // Take the name, and create the file empty in the working folder if it is
  // missing (a failure to create it is ignored). SetWorkingFile then reads
  // "MAXDATE" of "GENERAL" into MaxDate; any failure gives 31/12/2010.
  void SetWorkingFile(const AnsiString& fileName);
  void SetConfigFile(const AnsiString& fileName);
  // The program's folder with its final '/', computed at each call; empty when
  // the program's path has no folder.
  AnsiString GetWorkingDir();
  AnsiString GetWorkingFile();  // GetWorkingDir() + WorkingFile
  AnsiString GetConfigFile();   // GetWorkingDir() + ConfigFile
  // New objects on the files; the caller deletes them.
  TIniFile* GetWorkingINI();
  TIniFile* GetConfigINI();
  // One open, read and close each; a missing file, section or key gives `def`.
  AnsiString GetWorkingValue(const AnsiString& section, const AnsiString& key, AnsiString def);
  AnsiString GetConfigValue(const AnsiString& section, const AnsiString& key, AnsiString def);
  // Written to the configuration file before the call returns; the INI
  // file's EFCreateError reaches the caller.
  void SetConfigValue(const AnsiString& section, const AnsiString& key, AnsiString value);
  void SetConfigValue(const AnsiString& section, const AnsiString& key, int value);

  // The process-wide lock. After Reset these do nothing.
  void BeginRead();
  void EndRead();
  void BeginWrite();
  void EndWrite();

  // Colors anew: the 14 constants, in order.
  void RestartColors();

  // --- The environment document. One thread at a time; the global lock is
  // not taken. ---
  // Names of sections and values compare in lower case; the first match in
  // document order wins. Every change is saved to EnvFile at once, replacing
  // the file whole. A change reads the file again under its update lock
  // (files.h) and applies itself to what it finds, so changes of other
  // processes survive it and are seen from then on. The file is read only
  // when it is a regular file of at most kSettingsFileLimit bytes; one that
  // can't be read is left as it is and the call fails. So is a well-formed
  // document beyond the document service's bounds (nested deeper than
  // kMaxXmlDepth): it is no broken file, and nothing replaces it. No save
  // writes a document that a load would not take back (one longer than
  // kSettingsFileLimit, say): the save fails and the file stays as it was.

  // Drops the loaded document and takes the new path; the file is not touched.
  void SetFileEnv(const AnsiString& file);
  AnsiString GetFileEnv() const;
  // True when a document is loaded or has just been: a missing file is created
  // with an empty "DATAPACKET", and a file that is empty or isn't XML is
  // replaced by one. The bytes of a file that isn't XML are first kept in
  // "<EnvFile>.unreadable" (replacing an older copy, and readable by no one
  // that EnvFile's mode keeps out), written as EnvFile is. False, with
  // nothing loaded and EnvFile as it was, when that copy or the new file
  // can't be written, or when the file can't be read or lies beyond the
  // bounds above.
  bool LoadEnviroment();
  // Writes the loaded document to EnvFile; false when none is loaded or the
  // write fails.
  bool SaveEnviroment();
  // The section as XML text, its own tags included; empty when it is missing.
  AnsiString GetNodeEnv(const AnsiString& section);
  // The value's text; empty when it, or its section, is missing.
  AnsiString GetValueEnv(const AnsiString& section, const AnsiString& value);
  // Replaces the section's values by the children of the root of `xml` (names
  // and texts; attributes and the root's name are ignored), creating the
  // section at the end if it is missing, then saves. `xml` is parsed before
  // anything changes: bad text raises EXMLDocError and leaves all as it was.
  bool SetNodeEnv(const AnsiString& section, const AnsiString& xml);
  // Sets the value's text, creating the section and the value at the end as
  // needed (new names as spelled here; found ones keep theirs), then saves.
  // A name that is no XML name raises EXMLDocError. A value that XML cannot
  // carry back (NUL, CR, other control characters but tab and line feed,
  // invalid UTF-8) gives false, and nothing is written.
  bool SetValueEnv(const AnsiString& section, const AnsiString& valueName, const AnsiString value);
  // What went wrong with EnvFile, for the host to tell its user: why the
  // last load failed or what it had to replace ("'env.xml' is not XML (...);
  // its text was kept in 'env.xml.unreadable'", "'env.xml' was left as it
  // is: XML elements nest deeper than 256 at ..."), or why a change's read or
  // save failed; the empty text when all went well. A load that reads the
  // file and a change that finds a document loaded start it empty, and so
  // does SetFileEnv.
  AnsiString EnvironmentProblem() const { return envProblem_; }

 private:
  template <typename Change>
  bool iChangeEnviroment(bool fresh, Change change);

  std::unique_ptr<TMultiReadExclusiveWriteSynchronizer> lock_;
  // The loaded environment document, or null. Kept by the instance rather
  // than as a file-level static so that an instance of its own in a test never
  // shares it with _GlobalMgr.
  std::unique_ptr<cuadrante::TXMLDocument> env_;
  // What EnvironmentProblem gives.
  AnsiString envProblem_;
};

// The one instance, built at load.
extern CUADRANTE_API TGlobalMgr _GlobalMgr;
