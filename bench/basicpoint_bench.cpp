// The stored text of a point: how fast it is read and written, and the split
// underneath. Reading should allocate nothing and writing only the result.
#include <benchmark/benchmark.h>

#include <string>

#include "cuadrante/text/rutinastext.h"
#include "cuadrante/time/basicpoint.h"

namespace {

const AnsiString kText = "4004582400;28800;2;1";

void AppendField(AnsiString& text, int value) {
  if (!text.empty()) text += ';';
  text += std::to_string(value);
}

void BM_ReadFromStr(benchmark::State& state) {
  TBasicPoint point;
  for (auto _ : state) {
    point.ReadFromStr(kText);
    benchmark::DoNotOptimize(point);
  }
}
BENCHMARK(BM_ReadFromStr);

void BM_WriteToStr(benchmark::State& state) {
  TBasicPoint point;
  point.ReadFromStr(kText);
  for (auto _ : state) {
    AnsiString text = point.WriteToStr();
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_WriteToStr);

void BM_ReadWriteRoundTrip(benchmark::State& state) {
  TBasicPoint point;
  for (auto _ : state) {
    point.ReadFromStr(kText);
    AnsiString text = point.WriteToStr();
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_ReadWriteRoundTrip);

// A longer line of many fields, as a box or a progress record writes.
void BM_GetStrings(benchmark::State& state) {
  TVectorStrings fields;
  AnsiString text;
  for (int i = 0; i < state.range(0); ++i) AppendField(text, i * 1000);
  for (auto _ : state) {
    fields.clear();
    benchmark::DoNotOptimize(RutinasText::GetStrings(text, ";", fields));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_GetStrings)->Arg(4)->Arg(64);

void BM_GetNumbers(benchmark::State& state) {
  std::vector<int32_t> numbers;
  AnsiString text;
  for (int i = 0; i < state.range(0); ++i) AppendField(text, i * 1000);
  for (auto _ : state) {
    numbers.clear();
    benchmark::DoNotOptimize(RutinasText::GetNumbers(text, ";", numbers));
  }
}
BENCHMARK(BM_GetNumbers)->Arg(64);

}  // namespace
