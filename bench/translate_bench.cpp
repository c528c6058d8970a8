// Dictionary lookups: a hit among 10,000 rows (from one and two threads), and
// a new text that misses once and then hits.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "cuadrante/services/translate.h"

namespace {

constexpr int kRows = 10000;

// A translator over a 10,000-row dictionary in a folder of its own, shared by
// the benchmarks and ended when the program ends.
class Dictionary {
 public:
  Dictionary() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/dictbench-XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    std::ofstream rows(folder_ + "/trans.ini.dic", std::ios::binary);
    char line[64];
    for (int i = 0; i < kRows; ++i) {
      std::snprintf(line, sizeof line, "Texto de interfaz %05d\tInterface text %05d\r\n", i, i);
      rows << line;
    }
    rows.close();
    std::ofstream(folder_ + "/trans.ini") << "[Localization]\nDictionary=.dic\n";
    bTransActivated = true;
    InitTRANS(folder_ + "/trans.ini");
  }
  ~Dictionary() {
    EndTRANS();
    bTransActivated = false;
    std::filesystem::remove_all(folder_);
  }

 private:
  std::string folder_;
};

Dictionary& Shared() {
  static Dictionary dictionary;
  return dictionary;
}

void BM_TranslateHit(benchmark::State& state) {
  Shared();
  const AnsiString text = "TEXTO DE INTERFAZ 05000";  // found without regard to case
  for (auto _ : state) benchmark::DoNotOptimize(Transport::Translate(text));
}
BENCHMARK(BM_TranslateHit)->Threads(1)->Threads(2);

void BM_TranslateMissThenHit(benchmark::State& state) {
  Shared();
  int n = 0;
  for (auto _ : state) {
    const AnsiString text = "Texto nuevo " + std::to_string(n++);
    benchmark::DoNotOptimize(Transport::Translate(text));  // adds a "<N/A>" row
    benchmark::DoNotOptimize(Transport::Translate(text));  // finds it
  }
}
BENCHMARK(BM_TranslateMissThenHit);

}  // namespace
