// TThread: one object with a thread of its own, over std::thread. The thread is
// made suspended and starts at Resume; Terminate only raises a flag for Execute
// to read. When Execute is over, by return or by an exception (kept in
// FatalException), the termination event runs through the host's main-thread
// dispatcher, and then an object with FreeOnTerminate deletes itself.
// Threads: Resume, Terminate, Terminated, Suspended and SetPriority are safe
// from any thread; the fields are set before Resume or by the thread itself.
#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

#include "cuadrante/runtime/boundmethod.h"
#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/export.h"

// An event handler bound to its object: a member function taking the sender,
// with the object, as one value. Equal when both parts are equal; the empty
// one calls nothing. Immutable, so safe to copy from any thread.
class TNotifyEvent {
 public:
  using TFunction = void (*)(void* self, TObject* sender);

  constexpr TNotifyEvent() noexcept = default;
  // A plain function with its context; a null `function` gives the empty event.
  constexpr TNotifyEvent(void* object, TFunction function) noexcept
      : object_(function != nullptr ? object : nullptr), function_(function) {}

  constexpr bool IsEmpty() const noexcept { return function_ == nullptr; }
  constexpr void* Object() const noexcept { return object_; }

  void operator()(TObject* sender) const {
    if (function_ != nullptr) function_(object_, sender);
  }

  friend constexpr bool operator==(const TNotifyEvent&, const TNotifyEvent&) noexcept = default;

 private:
  void* object_ = nullptr;
  TFunction function_ = nullptr;
};

namespace cuadrante::detail {
template <auto Method>
void InvokeNotify(void* self, TObject* sender) {
  using C = typename MethodClass<decltype(Method)>::Type;
  (static_cast<C*>(self)->*Method)(sender);
}
}  // namespace cuadrante::detail

// Binds `object` to its member `Method(TObject* sender)`; a null object gives
// the empty event.
template <auto Method, class T>
TNotifyEvent MakeNotifyEvent(T* object) noexcept {
  using C = typename cuadrante::detail::MethodClass<decltype(Method)>::Type;
  if (object == nullptr) return TNotifyEvent();
  C* self = object;
  return TNotifyEvent(const_cast<void*>(static_cast<const void*>(self)),
                      &cuadrante::detail::InvokeNotify<Method>);
}

// Scheduling priorities, lowest first; the numbers are part of the interface.
enum TThreadPriority : int8_t {
  tpIdle = 0,
  tpLowest = 1,
  tpLower = 2,
  tpNormal = 3,
  tpHigher = 4,
  tpHighest = 5,
  tpTimeCritical = 6,
};

// A thread could not be started.
class CUADRANTE_API EThread : public Exception {
 public:
  using Exception::Exception;
  ~EThread() override;
};

// The thread that loaded the library, which hosts take for their main thread.
extern CUADRANTE_API const std::thread::id MainThreadID;

class CUADRANTE_API TThread : public TObject {
 public:
  // Suspended: nothing runs until Resume. A derived class resumes itself at the
  // end of its own constructor if it wants to start at once, since only then
  // is the object whole.
  TThread();
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;
  // REQUIRES: the thread never started, has ended (WaitFor), or this is the
  // thread itself (FreeOnTerminate).
  ~TThread() override;

  // Starts a suspended thread; does nothing once it has started. Raises
  // EThread when the system refuses a new thread; the object then stays
  // suspended and may be resumed again.
  void Resume();
  // Raises the flag that Execute may read; wakes and stops nothing.
  void Terminate();
  bool Terminated() const;
  // True until Resume has started the thread.
  bool Suspended() const;
  // Waits until a started thread has ended; returns at once otherwise. One
  // waiter at a time, and not for a FreeOnTerminate thread, which may be gone
  // by then.
  void WaitFor();

  // Applied when the thread starts, and at once if it runs. On Linux the
  // priorities below normal are niceness 19, 10 and 5 (tpIdle also takes the
  // idle policy); those above normal need privileges, and a refusal is ignored.
  void SetPriority(TThreadPriority priority);
  TThreadPriority GetPriority() const;

  // Set before Resume: the object deletes itself after the termination event.
  bool FreeOnTerminate = false;
  // Runs after Execute, through the main-thread dispatcher, with this object as
  // the sender. Set before Resume or by Execute itself.
  TNotifyEvent OnTerminate;
  // The exception that left Execute, or null; readable in OnTerminate.
  std::exception_ptr FatalException;

 protected:
  // The thread's body.
  virtual void Execute() = 0;
  // Runs OnTerminate through the dispatcher, if it is set.
  virtual void DoTerminate();
  // Runs `method` through the main-thread dispatcher and returns once it has run.
  static void Synchronize(const std::function<void()>& method);

 private:
  void ThreadMain();
  void ApplyPriority();

  mutable std::mutex mutex_;  // orders Resume against the thread's first step
  std::thread handle_;
  bool started_ = false;
  std::atomic<bool> terminated_{false};
  std::atomic<TThreadPriority> priority_{tpNormal};
  std::atomic<int> tid_{0};  // the kernel's id of the running thread, 0 before
};

namespace cuadrante {

// Runs `event` on the host's main thread and returns once it has run there. A
// host with an event loop posts the event to it and waits; the event may take
// the locks that the host's other threads take, never ones held while waiting.
using TMainThreadDispatcher = std::function<void(const std::function<void()>& event)>;

// Installs the host's dispatcher for termination events and Synchronize; an
// empty one (the default) runs each event on the thread that ends. Install it
// once at start; safe from any thread.
CUADRANTE_API void SetMainThreadDispatcher(TMainThreadDispatcher dispatcher);

// How TThread starts a system thread for `body`. A host with its own thread
// policy, or a test that needs a start to fail, replaces it; it reports a
// refusal by raising std::system_error, as std::thread does.
using TThreadLauncher = std::thread (*)(std::function<void()> body);

// Installs `launcher` (null: a plain std::thread) and answers the one it
// replaces, null for the plain one.
CUADRANTE_API TThreadLauncher SetThreadLauncher(TThreadLauncher launcher);

}  // namespace cuadrante
