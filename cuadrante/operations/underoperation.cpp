#include "cuadrante/operations/underoperation.h"

#include <exception>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/services/translate.h"

namespace cuadrante::detail {
namespace {

// The Message of an exception that left the work function. Only Exception
// has one; other standard exceptions give their what(), anything else a
// sentence of our own, since a thrown value of another type tells nothing.
AnsiString DetailOf(const std::exception_ptr& fatal) {
  try {
    std::rethrow_exception(fatal);
  } catch (const Exception& e) {
    return e.Message;
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return Transport::Translate("Excepción desconocida");
  }
}

}  // namespace
}  // namespace cuadrante::detail

TUnderOperation::TUnderOperation(bool CreateSuspended)
    : Progress(std::make_unique<TOperationProgress>()) {
  FreeOnTerminate = true;
  SetPriority(tpLowest);
  if (!CreateSuspended) Resume();
}

TUnderOperation::~TUnderOperation() = default;

void TUnderOperation::Execute() {
  if (releasedUnrun_) return;
  // There is no component system to set up for the thread on this platform:
  // a work function that needs per-thread set-up does it itself.
  OnTerminate = MakeNotifyEvent<&TUnderOperation::evTerminate>(this);
  RunPhases();
}

void TUnderOperation::RunPhases() {
  try {
    if (OnRunPhases) OnRunPhases(this);
  } catch (const Exception& e) {
    iReportFailure(e.Message);
    Progress->SetFinalType(cuadrante::ftException);
  }
  iNotifyClose();
}

void TUnderOperation::evTerminate(TObject*) {
  if (!FatalException) return;
  iReportFailure(cuadrante::detail::DetailOf(FatalException));
  Progress->SetFinalType(cuadrante::ftException);
  // The exception skipped the close notification; without it the manager
  // would keep an entry for an object that is about to free itself.
  iNotifyClose();
}

void TUnderOperation::Stop() { iStop(); }

bool TUnderOperation::iStop() {
  Progress->SetFinalType(cuadrante::ftStopped);
  Terminate();
  const bool unrun = Suspended();
  bool notifying = false;
  {
    std::lock_guard lock(handlerMutex_);
    CapturedTerminate = TNotifyEvent();
    notifying = notifying_;
  }
  // From here on a thread that has ended its work may free the object at any
  // moment: nothing below touches it but the start of a thread that never ran.
  if (unrun) {
    // Left suspended it would wait for ever, and with it the object and its
    // record: it starts and ends at once, the work function unrun.
    releasedUnrun_ = true;
    Resume();
  }
  return notifying;
}

void TUnderOperation::CaptureTerminate(const TNotifyEvent& handler) {
  std::lock_guard lock(handlerMutex_);
  // Once taken, never stored again: one close notification at most, so that
  // nothing reaches a manager after it has let the operation go.
  if (!closed_) CapturedTerminate = handler;
}

bool TUnderOperation::IsNotifying() const {
  std::lock_guard lock(handlerMutex_);
  return notifying_;
}

TNotifyEvent TUnderOperation::iTakeCloseHandler() {
  std::lock_guard lock(handlerMutex_);
  const TNotifyEvent handler = CapturedTerminate;
  CapturedTerminate = TNotifyEvent();
  closed_ = true;
  notifying_ = !handler.IsEmpty();
  return handler;
}

void TUnderOperation::iNotifyClose() {
  const TNotifyEvent handler = iTakeCloseHandler();
  if (handler.IsEmpty()) return;
  struct Done {
    TUnderOperation* self;
    ~Done() {
      std::lock_guard lock(self->handlerMutex_);
      self->notifying_ = false;
    }
  } done{this};
  handler(reinterpret_cast<TObject*>(static_cast<intptr_t>(ID)));
}

void TUnderOperation::iReportFailure(const AnsiString& detail) {
  // A thread that outlives the library's services has nobody to tell.
  if (_MessagesMgr == nullptr) return;
  _MessagesMgr->PushException(
      "EXP - " + Transport::Translate("Excepción inesperada ejecutando la operación") + " '" +
      Progress->GetDescription() + "' [" + Progress->GetActualPhase() + "]\r\n" + detail);
}
