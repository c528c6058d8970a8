#include "cuadrante/port/thread.h"

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

EThread::~EThread() = default;

const std::thread::id MainThreadID = std::this_thread::get_id();

namespace cuadrante::detail {
namespace {

std::mutex dispatcherMutex;
TMainThreadDispatcher dispatcher;  // guarded by dispatcherMutex; empty: inline
constinit std::atomic<bool> dispatcherSet{false};
constinit std::atomic<TThreadLauncher> launcher{nullptr};

// Niceness of each priority below normal; the ones above ask for what only a
// privileged process gets.
constexpr int kNiceness[] = {19, 10, 5, 0, -5, -10, -20};

}  // namespace
}  // namespace cuadrante::detail

namespace cuadrante {

void SetMainThreadDispatcher(TMainThreadDispatcher dispatcher) {
  std::lock_guard lock(detail::dispatcherMutex);
  detail::dispatcherSet = static_cast<bool>(dispatcher);
  detail::dispatcher = std::move(dispatcher);
}

TThreadLauncher SetThreadLauncher(TThreadLauncher launcher) {
  return detail::launcher.exchange(launcher);
}

}  // namespace cuadrante

TThread::TThread() = default;

TThread::~TThread() {
  if (!handle_.joinable()) return;
  if (handle_.get_id() == std::this_thread::get_id()) {
    handle_.detach();  // deleted by its own thread: nobody is left to join it
  } else {
    handle_.join();
  }
}

void TThread::Resume() {
  std::lock_guard lock(mutex_);
  if (started_) return;
  auto body = [this] { ThreadMain(); };
  try {
    const cuadrante::TThreadLauncher launch = cuadrante::detail::launcher.load();
    handle_ = launch != nullptr ? launch(body) : std::thread(body);
  } catch (const std::system_error& e) {
    throw EThread(std::string("Thread creation error: ") + e.what());
  }
  started_ = true;
}

void TThread::Terminate() { terminated_ = true; }

bool TThread::Terminated() const { return terminated_; }

bool TThread::Suspended() const {
  std::lock_guard lock(mutex_);
  return !started_;
}

void TThread::WaitFor() {
  {
    // Not held across the join: the thread takes it as its first step.
    std::lock_guard lock(mutex_);
    if (!started_) return;
  }
  if (handle_.joinable() && handle_.get_id() != std::this_thread::get_id()) handle_.join();
}

void TThread::SetPriority(TThreadPriority priority) {
  priority_ = priority;
  if (tid_ != 0) ApplyPriority();
}

TThreadPriority TThread::GetPriority() const { return priority_; }

void TThread::ApplyPriority() {
  const int priority = std::clamp<int>(priority_.load(), tpIdle, tpTimeCritical);
  const pid_t tid = tid_;
  // Only the idle class needs its own policy; the rest is niceness, which
  // Linux keeps per thread. Both take the thread's kernel id, so this works
  // from any thread. A refusal leaves the thread as it was.
  const sched_param param{};
  (void)sched_setscheduler(tid, priority == tpIdle ? SCHED_IDLE : SCHED_OTHER, &param);
  (void)setpriority(PRIO_PROCESS, static_cast<id_t>(tid), cuadrante::detail::kNiceness[priority]);
}

void TThread::ThreadMain() {
  {
    // Resume holds the mutex until the handle is stored.
    std::lock_guard lock(mutex_);
  }
  tid_ = static_cast<int>(gettid());
  // A normal thread keeps what it inherits, so a process started under `nice`
  // stays as its user asked.
  if (priority_ != tpNormal) ApplyPriority();
  try {
    Execute();
  } catch (...) {
    FatalException = std::current_exception();
  }
  try {
    DoTerminate();
  } catch (...) {  // NOLINT(bugprone-empty-catch)
    // The termination event has no caller to report to; the thread ends all the same.
  }
  if (FreeOnTerminate) {
    handle_.detach();
    delete this;
  }
}

void TThread::DoTerminate() {
  if (OnTerminate.IsEmpty()) return;
  Synchronize([this] { OnTerminate(this); });
}

void TThread::Synchronize(const std::function<void()>& method) {
  if (!cuadrante::detail::dispatcherSet.load()) {
    method();
    return;
  }
  cuadrante::TMainThreadDispatcher dispatch;
  {
    std::lock_guard lock(cuadrante::detail::dispatcherMutex);
    dispatch = cuadrante::detail::dispatcher;
  }
  if (dispatch) {
    dispatch(method);
  } else {
    method();
  }
}
