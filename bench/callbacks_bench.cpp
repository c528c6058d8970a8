// Raising an event: three listeners under one key among several keys.
#include <benchmark/benchmark.h>

#include "cuadrante/services/callbacksmgr.h"

namespace {

class TListener : public TObject {
 public:
  void evEvent(TObject*, TCallbackType, short, int64_t value) { Sum += value; }
  int64_t Sum = 0;
};

void BM_CallThreeListeners(benchmark::State& state) {
  TCallBacksMgr mgr;
  TListener listeners[3 * 8];
  for (short key = 0; key < 8; ++key) {
    for (int i = 0; i < 3; ++i) {
      mgr.Add(key, MakeCallback<&TListener::evEvent>(&listeners[key * 3 + i]));
    }
  }
  int64_t value = 0;
  for (auto _ : state) {
    mgr.Call(nullptr, TCallbackType{1}, 5, ++value);
  }
  benchmark::DoNotOptimize(listeners[15].Sum);
}
BENCHMARK(BM_CallThreeListeners);

void BM_CallMissingKey(benchmark::State& state) {
  TCallBacksMgr mgr;
  TListener listener;
  for (short key = 0; key < 8; ++key) mgr.Add(key, MakeCallback<&TListener::evEvent>(&listener));
  for (auto _ : state) mgr.Call(nullptr, TCallbackType{1}, 100, 1);
  benchmark::DoNotOptimize(listener.Sum);
}
BENCHMARK(BM_CallMissingKey);

}  // namespace
