#include "cuadrante/services/globalmgr.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>

#include "cuadrante/documents/xmldocument.h"
#include "cuadrante/port/application.h"
#include "cuadrante/port/files.h"
#include "cuadrante/port/fileutil.h"
#include "cuadrante/port/system.h"
#include "cuadrante/runtime/dateformat.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/services/callbacksmgr.h"
#include "cuadrante/services/messagesmgr.h"

namespace cuadrante::detail {
namespace {

constexpr const char* kGeneralSection = "GENERAL";
constexpr const char* kMaxDateKey = "MAXDATE";
// 31 December 2010 as a day count from 30 December 1899; a constant so that
// building the object at load needs no other unit.
constexpr TDateTime kDefaultMaxDate(40543.0);

constexpr std::array<TColor, 14> kColors = {
    0x808000,  // no type
    0x00FF00,  // free time
    0xFFFF00,  // timetable
    0xF0CAA6,  // task
    0x000080,  // public holiday
    0x800080,  // working holiday
    0x0000FF,  // incident
    0x808080,  // sick leave
    0xFF0000,  // cover of a post
    0x008080,  // holiday leave
    0x00FFFF,  // change of post
    0xF0CAA6,  // reduced working day
    0xF0CAA6,  // extended working day
    0x808000,  // end of the range
};

uint32_t Saturate(uint64_t bytes) {
  return bytes >= 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<uint32_t>(bytes);
}

// Sums the "Name: N kB" lines of a /proc file whose names are in `fields`.
// False when the file can't be read or a field is missing.
template <size_t N>
bool SumKiloBytes(const char* path, const std::array<std::string_view, N>& fields,
                  uint64_t& bytes) {
  std::ifstream in(path);
  if (!in) return false;
  std::array<bool, N> seen{};
  uint64_t total = 0;
  std::string line;
  while (std::getline(in, line)) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string_view name(line.data(), colon);
    for (size_t i = 0; i < N; ++i) {
      if (seen[i] || name != fields[i]) continue;
      seen[i] = true;
      total += std::strtoull(line.c_str() + colon + 1, nullptr, 10) * 1024;
    }
  }
  for (bool found : seen) {
    if (!found) return false;
  }
  bytes = total;
  return true;
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

TGlobalMgr::TGlobalMgr() : MaxDate(kDefaultMaxDate) {
  FormatSettings.DecimalSeparator = '.';
  iGetThisComputer();
  RestartColors();
  MaxDate = kDefaultMaxDate;
  _MessagesMgr = new TMessagesMgr(GetWorkingDir());
  _CallBacksMgr = new TCallBacksMgr();
  lock_ = std::make_unique<TMultiReadExclusiveWriteSynchronizer>();
}

TGlobalMgr::~TGlobalMgr() { Reset(); }

void TGlobalMgr::Reset() {
  if (_CallBacksMgr != nullptr) {
    delete _CallBacksMgr;
    _CallBacksMgr = nullptr;
    delete _MessagesMgr;
    _MessagesMgr = nullptr;
    lock_.reset();
  }
  env_.reset();
}

void TGlobalMgr::Restart() { env_.reset(); }

uint32_t TGlobalMgr::GetFreeMemory() {
  // What the system can still hand out before it has to refuse: the memory
  // available without swapping plus the free swap, the nearest thing to the
  // free space of a page file. sysinfo stands in on kernels without
  // MemAvailable; it counts only the strictly free memory.
  uint64_t bytes = 0;
  if (SumKiloBytes<2>("/proc/meminfo", {"MemAvailable", "SwapFree"}, bytes)) {
    return Saturate(bytes);
  }
  return Saturate(KernelFreeMemoryBytes());
}

uint32_t TGlobalMgr::GetUsedMemory() {
  // The private memory of this process, in RAM or swapped out: pages that no
  // other process shares. Pages reserved but never touched count nowhere on
  // this platform, so they are left out. One below the failure value at most,
  // so that a huge process is never taken for a failure.
  uint64_t bytes = 0;
  if (!SumKiloBytes<3>("/proc/self/smaps_rollup", {"Private_Clean", "Private_Dirty", "Swap"},
                       bytes)) {
    return 0xFFFFFFFFu;
  }
  return bytes >= 0xFFFFFFFFull ? 0xFFFFFFFEu : static_cast<uint32_t>(bytes);
}

void TGlobalMgr::iGetThisComputer() {
  ComputerName.clear();
  ComputerAddress.clear();
  LocalHostIdentity(ComputerName, ComputerAddress);
}

AnsiString TGlobalMgr::GetRegistryValue(void*, AnsiString, AnsiString) { return AnsiString(); }

void TGlobalMgr::SetWorkingFile(const AnsiString& fileName) {
  WorkingFile = fileName;
  CreateIfMissing(GetWorkingFile());
  try {
    const AnsiString text =
        GetWorkingValue(kGeneralSection, kMaxDateKey, DateString(kDefaultMaxDate));
    MaxDate = StrToDateTime(text);
  } catch (...) {
    // Whatever went wrong, the cycle views keep a sound limit.
    MaxDate = kDefaultMaxDate;
  }
}

void TGlobalMgr::SetConfigFile(const AnsiString& fileName) {
  ConfigFile = fileName;
  CreateIfMissing(GetConfigFile());
}

AnsiString TGlobalMgr::GetWorkingDir() {
  AnsiString folder = ExtractFilePath(Application->ExeName());
  if (!folder.empty() && folder.back() != '/') folder += '/';
  return folder;
}

AnsiString TGlobalMgr::GetWorkingFile() { return GetWorkingDir() + WorkingFile; }

AnsiString TGlobalMgr::GetConfigFile() { return GetWorkingDir() + ConfigFile; }

TIniFile* TGlobalMgr::GetWorkingINI() { return new TIniFile(GetWorkingFile()); }

TIniFile* TGlobalMgr::GetConfigINI() { return new TIniFile(GetConfigFile()); }

AnsiString TGlobalMgr::GetWorkingValue(const AnsiString& section, const AnsiString& key,
                                       AnsiString def) {
  return TIniFile(GetWorkingFile()).ReadString(section, key, def);
}

AnsiString TGlobalMgr::GetConfigValue(const AnsiString& section, const AnsiString& key,
                                      AnsiString def) {
  return TIniFile(GetConfigFile()).ReadString(section, key, def);
}

void TGlobalMgr::SetConfigValue(const AnsiString& section, const AnsiString& key,
                                AnsiString value) {
  TIniFile(GetConfigFile()).WriteString(section, key, value);
}

void TGlobalMgr::SetConfigValue(const AnsiString& section, const AnsiString& key, int value) {
  TIniFile(GetConfigFile()).WriteInteger(section, key, value);
}

void TGlobalMgr::BeginRead() {
  if (lock_) lock_->BeginRead();
}

void TGlobalMgr::EndRead() {
  if (lock_) lock_->EndRead();
}

void TGlobalMgr::BeginWrite() {
  if (lock_) lock_->BeginWrite();
}

void TGlobalMgr::EndWrite() {
  if (lock_) lock_->EndWrite();
}

void TGlobalMgr::RestartColors() {
  Colors.clear();
  Colors.assign(kColors.begin(), kColors.end());
}
