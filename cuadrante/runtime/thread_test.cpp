#include "cuadrante/runtime/thread.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "cuadrante/runtime/interlocked.h"

namespace {

// What a probe saw of itself, kept by the test so that it outlives a probe
// that frees itself.
struct Seen {
  std::mutex mutex;
  std::condition_variable changed;
  std::thread::id executeThread, terminateThread;
  bool terminated = false;  // Terminated() inside Execute
  int niceness = 0;
  int policy = -1;
  bool fatal = false;  // FatalException set inside OnTerminate
  std::vector<std::string> order;

  void Add(const std::string& step) {
    std::lock_guard lock(mutex);
    order.push_back(step);
    changed.notify_all();
  }
  void WaitFor(const std::string& step) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return !order.empty() && order.back() == step; });
  }
};

class TProbe : public TThread {
 public:
  TProbe(Seen& seen, std::function<void()> work) : seen_(seen), work_(std::move(work)) {
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
  Seen& seen_;
  std::function<void()> work_;
};

// The host's main loop: the dispatcher hands each event to the test's thread,
// which runs it, and the worker waits for that.
class TMainLoop {
 public:
  TMainLoop() {
    cuadrante::SetMainThreadDispatcher([this](const std::function<void()>& event) {
      std::unique_lock lock(mutex_);
      bool done = false;
      queue_.push_back([&] {
        event();
        std::lock_guard inner(mutex_);
        done = true;
      });
      changed_.notify_all();
      changed_.wait(lock, [&] { return done; });
    });
  }
  ~TMainLoop() { cuadrante::SetMainThreadDispatcher(nullptr); }
  // Runs the next event posted to the main thread.
  void RunOne() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return !queue_.empty(); });
    auto event = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    event();
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> queue_;
};

TEST(TThread, RunsAfterResumeAndDeliversItsEndOnTheMainThread) {
  Seen seen;
  TProbe probe(seen, nullptr);
  EXPECT_TRUE(probe.Suspended());
  probe.WaitFor();  // a thread that never started: nothing to wait for
  EXPECT_TRUE(seen.order.empty());
  probe.Terminate();  // only a flag, which Execute reads
  {
    TMainLoop loop;
    probe.Resume();
    probe.Resume();  // already started: nothing more
    EXPECT_FALSE(probe.Suspended());
    loop.RunOne();
    probe.WaitFor();
  }
  EXPECT_EQ(seen.order, (std::vector<std::string>{"execute", "terminate"}));
  EXPECT_NE(seen.executeThread, MainThreadID);
  EXPECT_EQ(seen.terminateThread, MainThreadID);
  EXPECT_EQ(std::this_thread::get_id(), MainThreadID);
  EXPECT_TRUE(seen.terminated);
  EXPECT_FALSE(seen.fatal);
}

TEST(TThread, KeepsTheFatalExceptionAndFreesItselfAfterTheEvent) {
  for (const bool standard : {true, false}) {
    Seen seen;
    auto* probe = new TProbe(seen, [standard] {
      if (standard) throw std::runtime_error("boom");
      throw 7;
    });
    probe->FreeOnTerminate = true;
    probe->Resume();  // without a dispatcher the event runs on the worker
    seen.WaitFor("deleted");
    EXPECT_EQ(seen.order, (std::vector<std::string>{"execute", "terminate", "deleted"}));
    EXPECT_EQ(seen.terminateThread, seen.executeThread);
    EXPECT_TRUE(seen.fatal);
  }
}

TEST(TThread, RunsAtItsPriority) {
  const int inherited = getpriority(PRIO_PROCESS, 0);
  struct Case {
    TThreadPriority priority;
    int niceness;
    int policy;
  };
  for (const Case& c : {Case{tpNormal, inherited, SCHED_OTHER}, Case{tpLower, 5, SCHED_OTHER},
                        Case{tpLowest, 10, SCHED_OTHER}, Case{tpIdle, 19, SCHED_IDLE}}) {
    if (c.niceness < inherited) continue;  // a process started under `nice` can't go back
    Seen seen;
    TProbe probe(seen, nullptr);
    probe.SetPriority(c.priority);
    EXPECT_EQ(probe.GetPriority(), c.priority);
    probe.Resume();
    probe.WaitFor();
    EXPECT_EQ(seen.niceness, c.niceness) << int{c.priority};
    EXPECT_EQ(seen.policy, c.policy) << int{c.priority};
  }
}

TEST(TThread, ARefusedStartRaisesEThreadAndCanBeRetried) {
  const cuadrante::TThreadLauncher previous =
      cuadrante::SetThreadLauncher([](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
      });
  Seen seen;
  TProbe probe(seen, nullptr);
  try {
    probe.Resume();
    ADD_FAILURE() << "Resume did not raise";
  } catch (const EThread& e) {
    EXPECT_EQ(e.Message.rfind("Thread creation error: ", 0), 0u) << e.Message;
  }
  EXPECT_TRUE(probe.Suspended());
  cuadrante::SetThreadLauncher(previous);
  probe.Resume();
  probe.WaitFor();
  EXPECT_EQ(seen.order, (std::vector<std::string>{"execute", "terminate"}));
}

TEST(TNotifyEvent, BindsAnObjectToOneOfItsMethods) {
  Seen a, b;
  TProbe first(a, nullptr), second(b, nullptr);
  EXPECT_EQ(MakeNotifyEvent<&TProbe::evDone>(&first), MakeNotifyEvent<&TProbe::evDone>(&first));
  EXPECT_NE(MakeNotifyEvent<&TProbe::evDone>(&first), MakeNotifyEvent<&TProbe::evDone>(&second));
  EXPECT_TRUE(MakeNotifyEvent<&TProbe::evDone>(static_cast<TProbe*>(nullptr)).IsEmpty());
  TNotifyEvent().operator()(nullptr);  // the empty event calls nothing
  MakeNotifyEvent<&TProbe::evDone> (&first)(&first);
  EXPECT_EQ(a.order, std::vector<std::string>{"terminate"});
  EXPECT_TRUE(b.order.empty());
}

TEST(InterlockedIncrement, GivesEveryNumberOnceAcrossThreadsAndWraps) {
  constexpr int kThreads = 4, kEach = 20000;
  int32_t counter = 0;
  std::vector<std::vector<int32_t>> got(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) got[t].push_back(InterlockedIncrement(&counter));
    });
  }
  for (auto& thread : threads) thread.join();
  std::vector<bool> seen(kThreads * kEach + 1, false);
  for (const auto& numbers : got) {
    for (const int32_t n : numbers) {
      ASSERT_TRUE(n >= 1 && n <= kThreads * kEach && !seen[n]) << n;
      seen[n] = true;
    }
  }
  EXPECT_EQ(counter, kThreads * kEach);
  int32_t top = INT32_MAX;
  EXPECT_EQ(InterlockedIncrement(&top), INT32_MIN);
}

}  // namespace
