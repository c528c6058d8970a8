// What the fuzz targets share: one temporary folder for the whole run.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace cuadrante::fuzzing {

// A folder of its own for the run (one process), removed when it ends.
inline const std::string& RunFolder() {
  static const std::string folder = [] {
    std::string pattern =
        std::filesystem::temp_directory_path().string() + "/cuadrante-fuzz-XXXXXX";
    return std::string(::mkdtemp(pattern.data()));
  }();
  // Registered once the folder's text is whole, so it runs before the text goes.
  static const bool cleanup = [] {
    std::atexit([] { std::filesystem::remove_all(folder); });
    return true;
  }();
  static_cast<void>(cleanup);
  return folder;
}

}  // namespace cuadrante::fuzzing
