// What the unit tests share: a temporary folder per test, whole-file reads and
// writes, a cap on file sizes to make writes fail half way, a guard that
// restores the process-wide format settings, and a plain point. Dates and
// error messages are in values.h. For tests only.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"
#include "cuadrante/testing/values.h"
#include "cuadrante/time/basicpoint.h"

namespace cuadrante::testing {

// A file of the shift scheduling benchmark's published instances, which lie in
// shared/data/shift-benchmark beside the repository: the first folder above
// this one that holds it, so that clones under build/ find it too. The name as
// given when none does, for the reader to report it missing.
inline std::string BenchmarkFile(const std::string& name) {
  std::filesystem::path folder = std::filesystem::path(__FILE__).parent_path();
  for (;;) {
    const std::filesystem::path candidate = folder / "shared" / "data" / "shift-benchmark" / name;
    if (std::filesystem::exists(candidate)) return candidate.string();
    if (!folder.has_relative_path()) return name;
    folder = folder.parent_path();
  }
}

// A folder of its own, removed with everything in it.
class TempFolder {
 public:
  TempFolder() = default;
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() { std::filesystem::remove_all(path_); }

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }

 private:
  std::string pattern_ = ::testing::TempDir() + "/cuadrante-XXXXXX";
  std::string path_ = ::mkdtemp(pattern_.data());
};

inline std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline void WriteText(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Caps the size of files this process may write, so that a write fails half
// way as it would on a full disk (root ignores permissions, not this limit);
// restores the limit and the signal after.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &saved_);
    const rlimit limit{bytes, saved_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &saved_);
    ::signal(SIGXFSZ, previous_);
  }

 private:
  rlimit saved_{};
  sighandler_t previous_ = ::signal(SIGXFSZ, SIG_IGN);
};

// Restores every format setting that a test changes.
class SettingsGuard {
 public:
  SettingsGuard() = default;
  explicit SettingsGuard(char decimalSeparator) {
    FormatSettings.DecimalSeparator = decimalSeparator;
  }
  SettingsGuard(const SettingsGuard&) = delete;
  SettingsGuard& operator=(const SettingsGuard&) = delete;
  ~SettingsGuard() { FormatSettings = saved_; }

 private:
  TFormatSettings saved_ = FormatSettings;
};

// A plain point of a start, a length in seconds and a type.
inline TBasicPoint Point(int64_t start, int64_t duration, int type = 0) {
  TBasicPoint p{TFecha(start), TDuration(duration)};
  p.Type = static_cast<TTimePointType>(type);
  return p;
}

}  // namespace cuadrante::testing
