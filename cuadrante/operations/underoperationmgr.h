// TUnderOperationMgr: the host's handle on background operations. It numbers
// them from 1, starts, polls and stops them, and keeps the last text form of
// each one that was polled, stopped or has ended, for PopOperationInfo after
// the thread is gone. Its monitor, a check inside IsTerminated, aborts an
// operation that has not reported for 120 seconds, if the environment value
// "ZV_MON_TIMEOUT" of "GENERAL" is a number other than 0.
// Threads: every member is safe from any thread; the two stores are guarded by
// the global lock of _GlobalMgr. Delete the manager before _GlobalMgr.Reset,
// and never while the deleting thread holds the global lock.
//
// Example:
//   TUnderOperation* op = _UnderOperationMgr->GetNewOperation();
//   op->OnRunPhases = [](TUnderOperation* self) { ... };
//   _UnderOperationMgr->Run(op->GetID());
//   AnsiString info;
//   while (!_UnderOperationMgr->IsTerminated(op->GetID(), info)) { ... }
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>

#include "cuadrante/operations/operationprogress.h"
#include "cuadrante/operations/underoperation.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TUnderOperationMgr {
 public:
  // Reads the monitor switch from the environment document once.
  TUnderOperationMgr();
  TUnderOperationMgr(const TUnderOperationMgr&) = delete;
  TUnderOperationMgr& operator=(const TUnderOperationMgr&) = delete;
  // ResetList, then waits until no thread can reach this object any more.
  // Operations still running end by themselves.
  ~TUnderOperationMgr();

  // A new suspended operation, added with an empty session. Returned even if
  // the add failed (its ID is then 0).
  TUnderOperation* GetNewOperation();
  // Gives `operation` the next number and keeps it as active. 0 and a message,
  // with no number used up, for a null operation or one that has a number
  // already (an operation listed twice would outlive one of its entries).
  int32_t AddOperation(TUnderOperation* operation, AnsiString sessionID);
  // The active operation, or null. Unprotected once returned: the operation may
  // end and free itself at any moment.
  TUnderOperation* GetOperation(int32_t id);
  // Starts (or, if running, only re-arms the monitor of) an active operation.
  // False for an id that is not active, or when the thread can't start: the
  // operation then stays active with FinalType 3.
  bool Run(int32_t id);
  // Stops an active operation: its text with FinalType 2 is kept and it leaves
  // the active store. False for an id that is not active.
  bool Stop(int32_t id);
  // True when the operation is over: not active, or FinalType set, or aborted
  // by the monitor now. `info` gets the operation's text (refreshing the kept
  // one while it is active), or the kept text, or is left alone for an id
  // never seen.
  bool IsTerminated(int32_t id, AnsiString& info);
  // Reads the kept text of `id` into `record`; false when none is kept or it
  // doesn't read (a message then tells why). Repeatable.
  bool PopOperationInfo(int32_t id, TOperationProgress& record);
  // Stops every active operation without keeping their texts.
  void ResetList();
  // The close handler of the operations: `Sender` carries the id.
  void evOnCloseThread(TObject* Sender);

  // The fields below are guarded by the global lock: read them between
  // _GlobalMgr.BeginRead and EndRead.
  bool MonitorEnabled = false;
  int32_t LastID = 0;
  // The operations alive and not stopped; not owned.
  std::map<int32_t, TUnderOperation*> Operations;
  // The last text of every operation polled, stopped or ended; never pruned
  // while the manager lives.
  std::map<int32_t, AnsiString> OperationsInfo;

 private:
  // Lets close notifications that wait for the lock in first, for a bounded
  // while: a host polling in a tight loop would otherwise take the lock back
  // before the woken operation thread gets to it, and delay every end.
  void iYieldToClosers() const;
  // Stops an active entry; the caller holds the write lock.
  void iStopEntry(std::map<int32_t, TUnderOperation*>::iterator entry);

  // Ids stopped while their close notification was already on its way: the
  // destructor waits for those to arrive, since they still reach this object.
  std::mutex closingMutex_;
  std::condition_variable closingDone_;
  std::set<int32_t> closing_;
  // Close notifications waiting for the global lock.
  std::atomic<int> closers_{0};
};
