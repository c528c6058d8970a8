// Background operations: the whole life of an operation (made, started, run to
// its end, polled and collected) beside a bare std::thread made and joined in
// the same run, and IsTerminated on a live operation beside the global lock it
// takes, from 1 and 8 polling threads.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cuadrante/operations/underoperationmgr.h"
#include "cuadrante/services/globalmgr.h"

namespace {

// A manager with the monitor on, so that every poll runs its check too, over
// an environment document of the benchmark's own.
class TBenchManager {
 public:
  TBenchManager()
      : path_("/tmp/cuadrante-bench-" + std::to_string(::getpid()) + ".xml"),
        saved_(_GlobalMgr.GetFileEnv()) {
    _GlobalMgr.SetFileEnv(path_);
    _GlobalMgr.SetValueEnv("GENERAL", "ZV_MON_TIMEOUT", "1");
    mgr_ = std::make_unique<TUnderOperationMgr>();
  }
  TBenchManager(const TBenchManager&) = delete;
  TBenchManager& operator=(const TBenchManager&) = delete;
  ~TBenchManager() {
    mgr_.reset();
    _GlobalMgr.SetFileEnv(saved_);
    std::remove(path_.c_str());
  }
  TUnderOperationMgr& operator*() { return *mgr_; }

 private:
  std::string path_;
  AnsiString saved_;
  std::unique_ptr<TUnderOperationMgr> mgr_;
};

void Report(TUnderOperation* op) {
  TOperationProgress::ReportActivity(op->GetProgress(), 100, 1);
  op->SetXMLResult("<ok/>");
}

// The floor: what the system asks for one thread that does nothing.
void BM_BareThreadCreateJoin(benchmark::State& state) {
  for (auto _ : state) {
    std::thread thread([] { benchmark::ClobberMemory(); });
    thread.join();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BareThreadCreateJoin)->UseRealTime();

// One operation at a time, as a host with one job: made, run, polled until
// over, collected.
void BM_OperationOneAtATime(benchmark::State& state) {
  TBenchManager mgr;
  AnsiString info;
  TOperationProgress record;
  for (auto _ : state) {
    TUnderOperation* op = (*mgr).GetNewOperation();
    op->OnRunPhases = Report;
    const int32_t id = op->GetID();
    (*mgr).Run(id);
    while (!(*mgr).IsTerminated(id, info)) std::this_thread::yield();
    (*mgr).PopOperationInfo(id, record);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OperationOneAtATime)->UseRealTime();

// Sixteen in flight, polled in turn: a server with several jobs at once.
void BM_OperationSixteenInFlight(benchmark::State& state) {
  constexpr int kBatch = 16;
  TBenchManager mgr;
  AnsiString info;
  TOperationProgress record;
  std::vector<int32_t> ids(kBatch);
  for (auto _ : state) {
    for (int32_t& id : ids) {
      TUnderOperation* op = (*mgr).GetNewOperation();
      op->OnRunPhases = Report;
      id = op->GetID();
      (*mgr).Run(id);
    }
    for (int left = kBatch; left > 0;) {
      left = 0;
      for (const int32_t id : ids) left += (*mgr).IsTerminated(id, info) ? 0 : 1;
      if (left > 0) std::this_thread::yield();
    }
    for (const int32_t id : ids) (*mgr).PopOperationInfo(id, record);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}
BENCHMARK(BM_OperationSixteenInFlight)->UseRealTime();

// A live operation that waits until the benchmark lets it go.
struct TLiveOperation {
  std::mutex mutex;
  std::condition_variable changed;
  bool open = false, done = false;
  int32_t id = 0;
};
TBenchManager* liveManager = nullptr;
TLiveOperation* live = nullptr;

void StartLive() {
  liveManager = new TBenchManager();
  live = new TLiveOperation();
  TUnderOperation* op = (**liveManager).GetNewOperation();
  op->OnRunPhases = [state = live](TUnderOperation* self) {
    self->SetXMLResult("<r/>");
    std::unique_lock lock(state->mutex);
    state->changed.wait(lock, [&] { return state->open; });
  };
  live->id = op->GetID();
  (**liveManager).Run(live->id);
}

void StopLive() {
  {
    std::lock_guard lock(live->mutex);
    live->open = true;
  }
  live->changed.notify_all();
  AnsiString info;
  while (!(**liveManager).IsTerminated(live->id, info)) std::this_thread::yield();
  delete liveManager;
  delete live;
}

void BM_IsTerminatedLive(benchmark::State& state) {
  if (state.thread_index() == 0) StartLive();
  AnsiString info;
  for (auto _ : state) benchmark::DoNotOptimize((**liveManager).IsTerminated(live->id, info));
  state.SetItemsProcessed(state.iterations());
  if (state.thread_index() == 0) StopLive();
}
BENCHMARK(BM_IsTerminatedLive)->Threads(1)->Threads(8)->UseRealTime();

// The floor of a poll: the global lock's write side taken and left.
void BM_GlobalWriteLock(benchmark::State& state) {
  for (auto _ : state) {
    _GlobalMgr.BeginWrite();
    _GlobalMgr.EndWrite();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GlobalWriteLock)->Threads(1)->Threads(8)->UseRealTime();

}  // namespace
