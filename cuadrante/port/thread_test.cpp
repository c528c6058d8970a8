#include "cuadrante/port/thread.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <tuple>
#include <vector>

#include "cuadrante/port/interlocked.h"
#include "cuadrante/testing/values.h"

namespace {

// What a probe saw of itself, kept by the test since a probe may free itself.
struct TSeen {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> steps;
  std::thread::id executeThread, terminateThread;
  int niceness = 0, policy = -1;
  bool terminated = false, fatal = false;

  void Add(const std::string& step) {
    std::lock_guard lock(mutex);
    steps.push_back(step);
    changed.notify_all();
  }
  void Await(const std::string& step) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return !steps.empty() && steps.back() == step; });
  }
};

class TProbe : public TThread {
 public:
  explicit TProbe(TSeen& seen, std::function<void()> work = nullptr)
      : seen_(seen), work_(std::move(work)) {
    OnTerminate = MakeNotifyEvent<&TProbe::evDone>(this);
  }
  ~TProbe() override { seen_.Add("deleted"); }
  void evDone(TObject* sender) {
    EXPECT_EQ(sender, this);
    seen_.terminateThread = std::this_thread::get_id();
    seen_.fatal = static_cast<bool>(FatalException);
    seen_.Add("terminate");
  }

 protected:
  void Execute() override {
    seen_.executeThread = std::this_thread::get_id();
    seen_.terminated = Terminated();
    seen_.niceness = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    seen_.policy = sched_getscheduler(0);
    seen_.Add("execute");
    if (work_) work_();
  }

 private:
  TSeen& seen_;
  std::function<void()> work_;
};

TEST(TThread, StartsAtResumeAndEndsThroughTheHostsMainThread) {
  // The host's loop: the dispatcher hands the event to this thread and waits.
  std::mutex mutex;
  std::condition_variable changed;
  const std::function<void()>* posted = nullptr;
  cuadrante::SetMainThreadDispatcher([&](const std::function<void()>& event) {
    std::unique_lock lock(mutex);
    posted = &event;
    changed.notify_all();
    changed.wait(lock, [&] { return posted == nullptr; });
  });
  TSeen seen;
  TProbe probe(seen);
  EXPECT_TRUE(probe.Suspended());
  probe.WaitFor();  // never started: nothing to wait for
  probe.Terminate();
  probe.Resume();
  probe.Resume();  // started already: nothing more
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return posted != nullptr; });
    (*posted)();
    posted = nullptr;
    changed.notify_all();
  }
  probe.WaitFor();
  cuadrante::SetMainThreadDispatcher(nullptr);
  EXPECT_EQ(seen.steps, (std::vector<std::string>{"execute", "terminate"}));
  EXPECT_EQ(std::this_thread::get_id(), MainThreadID);
  EXPECT_NE(seen.executeThread, MainThreadID);
  EXPECT_EQ(seen.terminateThread, MainThreadID);
  EXPECT_TRUE(seen.terminated);
  EXPECT_FALSE(seen.fatal);
}

TEST(TThread, KeepsTheFatalExceptionAndFreesItselfAfterTheEvent) {
  TSeen seen;
  auto* probe = new TProbe(seen, [] { throw 7; });  // not even an exception class
  probe->FreeOnTerminate = true;
  probe->Resume();  // no dispatcher: the event runs on the thread itself
  seen.Await("deleted");
  EXPECT_EQ(seen.steps, (std::vector<std::string>{"execute", "terminate", "deleted"}));
  EXPECT_EQ(seen.terminateThread, seen.executeThread);
  EXPECT_TRUE(seen.fatal);
}

TEST(TThread, RunsAtItsPriorityAndReportsARefusedStart) {
  const int inherited = getpriority(PRIO_PROCESS, 0);
  for (const auto& [priority, niceness, policy] :
       {std::tuple{tpNormal, inherited, SCHED_OTHER}, std::tuple{tpLower, 5, SCHED_OTHER},
        std::tuple{tpLowest, 10, SCHED_OTHER}, std::tuple{tpIdle, 19, SCHED_IDLE}}) {
    if (niceness < inherited) continue;  // a process started under `nice` can't go back
    TSeen seen;
    TProbe probe(seen);
    probe.SetPriority(priority);
    probe.Resume();
    probe.WaitFor();
    EXPECT_EQ(seen.niceness, niceness) << int{priority};
    EXPECT_EQ(seen.policy, policy) << int{priority};
  }
  if (inherited <= 10) {
    // Changed from the host's thread while the worker runs: the worker's
    // niceness moves, the host's stays.
    int niceness = -1;
    TSeen seen;
    TProbe probe(seen, [&] {
      seen.Await("set");
      niceness = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    });
    probe.Resume();
    seen.Await("execute");
    probe.SetPriority(tpLowest);
    seen.Add("set");
    probe.WaitFor();
    EXPECT_EQ(niceness, 10);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), inherited);
  }

  const cuadrante::TThreadLauncher previous =
      cuadrante::SetThreadLauncher([](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
      });
  TSeen seen;
  TProbe probe(seen);
  EXPECT_EQ(cuadrante::testing::ErrorOf<EThread>([&] { probe.Resume(); }),
            "Thread creation error: Resource temporarily unavailable");
  EXPECT_TRUE(probe.Suspended());
  cuadrante::SetThreadLauncher(previous);
  probe.Resume();  // a refused start can be tried again
  probe.WaitFor();
  EXPECT_EQ(seen.steps.front(), "execute");
}

TEST(InterlockedIncrement, GivesEveryNumberOnceAcrossThreadsAndWraps) {
  constexpr int kThreads = 4, kEach = 20000;
  int32_t counter = 0;
  std::vector<std::atomic<int>> given(kThreads * kEach + 2);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) ++given[InterlockedIncrement(&counter)];
    });
  }
  for (auto& thread : threads) thread.join();
  for (int n = 1; n <= kThreads * kEach; ++n) ASSERT_EQ(given[n], 1) << n;
  int32_t top = INT32_MAX;
  EXPECT_EQ(InterlockedIncrement(&top), INT32_MIN);
}

}  // namespace
