// Settings lookups in the loaded environment document: a hit in a typical
// document (a few sections of a few values), a miss, and a hit with names in
// another case than the document's.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "cuadrante/services/globalmgr.h"

namespace {

// Points _GlobalMgr at a document of its own for the life of the program.
class Environment {
 public:
  Environment() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/envbench-XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    saved_ = _GlobalMgr.GetFileEnv();
    _GlobalMgr.SetFileEnv(folder_ + "/Enviroment.xml");
    for (const char* section : {"SERVER", "CLIENT", "PLANNER", "GENERAL"}) {
      for (const char* value : {"HOST", "PORT", "ZV_LANG", "ZV_MON_TIMEOUT", "ZV_THEME"}) {
        _GlobalMgr.SetValueEnv(section, value, std::string(section) + "." + value);
      }
    }
  }
  ~Environment() {
    _GlobalMgr.SetFileEnv(saved_);
    std::filesystem::remove_all(folder_);
  }

 private:
  std::string folder_;
  std::string saved_;
};

void Prepare() { static Environment environment; }

void BM_GetValueEnvHit(benchmark::State& state) {
  Prepare();
  const AnsiString section = "GENERAL";
  const AnsiString value = "ZV_MON_TIMEOUT";
  for (auto _ : state) benchmark::DoNotOptimize(_GlobalMgr.GetValueEnv(section, value));
}
BENCHMARK(BM_GetValueEnvHit);

void BM_GetValueEnvOtherCase(benchmark::State& state) {
  Prepare();
  const AnsiString section = "general";
  const AnsiString value = "zv_mon_timeout";
  for (auto _ : state) benchmark::DoNotOptimize(_GlobalMgr.GetValueEnv(section, value));
}
BENCHMARK(BM_GetValueEnvOtherCase);

void BM_GetValueEnvAccentedMiss(benchmark::State& state) {
  Prepare();
  const AnsiString section = "GENERAL";
  const AnsiString value = "AÑO";
  for (auto _ : state) benchmark::DoNotOptimize(_GlobalMgr.GetValueEnv(section, value));
}
BENCHMARK(BM_GetValueEnvAccentedMiss);

}  // namespace
