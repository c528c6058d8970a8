// TUnderOperation: one background operation, a low-priority worker thread that
// runs the host's work function, keeps a TOperationProgress and, when it ends,
// hands its id to a close handler (the manager's) while the record is still
// alive. It frees itself. Failures never leave the thread: they become a text
// on _MessagesMgr and FinalType 3.
// Threads: set it up (work function, id) on one thread before it runs; the
// rest is safe from any thread while the object lives, and the record guards
// itself. The forwarders are for the work function.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "cuadrante/operations/operationprogress.h"
#include "cuadrante/port/thread.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TUnderOperation : public TThread {
 public:
  // The work function; it gets the operation and may call ReportActivity on
  // GetProgress(). Only an Exception is caught inside the operation.
  using TRunPhases = std::function<void(TUnderOperation*)>;

  // A new record, FreeOnTerminate and the lowest priority but idle. With
  // `CreateSuspended` false the thread starts at the end of this constructor,
  // so a class derived from this one passes true and resumes when whole.
  explicit TUnderOperation(bool CreateSuspended);
  // Deletes the record; the object is deleted by its own thread.
  ~TUnderOperation() override;

  // Runs the work function and closes the operation: an Exception from it
  // becomes a message and FinalType 3; then the close handler, taken once,
  // gets the ID as its sender.
  void RunPhases();
  // The termination event. After an exception other than Exception left the
  // work function, reports it as RunPhases would, sets FinalType 3 and hands
  // the ID to the close handler, so that the manager retires the entry while
  // the record still lives. Otherwise does nothing.
  void evTerminate(TObject* Sender);
  // FinalType 2, the Terminate flag, and no close notification from now on;
  // the work function is not interrupted. An operation that never ran lets
  // its thread end without running the work function (and may raise EThread
  // if the system refuses that thread; it can then be stopped again). Once
  // this returns the object may be gone: hosts stop through the manager, which
  // holds its entry until then.
  void Stop();
  // Stores the close handler; an empty event clears it. Has no effect once the
  // thread has taken its handler to close. The handler's sender is no object:
  // it holds the ID as an integer (see IdOfSender).
  void CaptureTerminate(const TNotifyEvent& handler);
  // True from the moment the thread takes its close handler until the handler
  // returns: a Stop in that time comes too late to prevent the notification.
  bool IsNotifying() const;

  // Borrowed; valid as long as the object lives.
  TOperationProgress* GetProgress() const { return Progress.get(); }
  int32_t GetID() const { return ID; }
  void SetID(int32_t id) { ID = id; }
  AnsiString GetSessionID() const { return SessionID; }
  void SetSessionID(AnsiString sessionID) { SessionID = std::move(sessionID); }

  void SetDescription(const AnsiString& text) { Progress->SetDescription(text); }
  void SetActualPhase(const AnsiString& text) { Progress->SetActualPhase(text); }
  void SetLastReport(const int32_t& ticks) { Progress->SetLastReport(ticks); }
  void SetProgress(const short& value) { Progress->SetProgress(value); }
  void SetXMLResult(const AnsiString& text) { Progress->SetXMLResult(text); }

  // The id that a close handler receives as its sender.
  static int32_t IdOfSender(TObject* sender) {
    return static_cast<int32_t>(reinterpret_cast<intptr_t>(sender));
  }

  // Set by the host before Run; null runs nothing and closes at once.
  TRunPhases OnRunPhases;
  // Two words for the host; the library never reads them.
  int32_t Reserved1 = 0;
  int32_t Reserved2 = 0;

 protected:
  void Execute() override;

 private:
  friend class TUnderOperationMgr;

  // Stop, answering whether the close notification was already on its way
  // (taken before the handler was cleared).
  bool iStop();
  // Takes the close handler, leaving it empty, and marks the notification.
  TNotifyEvent iTakeCloseHandler();
  void iNotifyClose();
  void iReportFailure(const AnsiString& detail);

  int32_t ID = 0;
  AnsiString SessionID;
  // Owned for the whole life of the object, so the close handler and the
  // termination event both find it, whichever way the work function left.
  std::unique_ptr<TOperationProgress> Progress;

  mutable std::mutex handlerMutex_;  // the three fields below as one
  TNotifyEvent CapturedTerminate;
  bool closed_ = false;  // the handler has been taken
  bool notifying_ = false;
  // Stop found the thread never started and let it end unrun.
  std::atomic<bool> releasedUnrun_{false};
};
