#include "cuadrante/operations/underoperationmgr.h"

#include <chrono>
#include <thread>
#include <utility>

#include "cuadrante/port/interlocked.h"
#include "cuadrante/port/tickcount.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/services/translate.h"

namespace cuadrante::detail {
namespace {

// The monitor's limit: silence is counted in whole seconds.
constexpr uint32_t kSilentSeconds = 120;
// How long a poll gives way to waiting close notifications. Bounded, since the
// poller may itself hold the global lock that they wait for.
constexpr auto kGiveWay = std::chrono::milliseconds(1);

// The write side of the global lock for a scope.
class TGlobalWrite {
 public:
  TGlobalWrite() { _GlobalMgr.BeginWrite(); }
  TGlobalWrite(const TGlobalWrite&) = delete;
  TGlobalWrite& operator=(const TGlobalWrite&) = delete;
  ~TGlobalWrite() { _GlobalMgr.EndWrite(); }
};

// The read side of the global lock for a scope.
class TGlobalRead {
 public:
  TGlobalRead() { _GlobalMgr.BeginRead(); }
  TGlobalRead(const TGlobalRead&) = delete;
  TGlobalRead& operator=(const TGlobalRead&) = delete;
  ~TGlobalRead() { _GlobalMgr.EndRead(); }
};

void Report(const AnsiString& text) {
  if (_MessagesMgr != nullptr) _MessagesMgr->PushException(text);
}

// "EXP - ", the translated sentence, and the exception's message on a line of
// its own.
void ReportFailure(const char* sentence, const Exception& e) {
  Report("EXP - " + Transport::Translate(sentence) + "\r\n" + e.Message);
}

}  // namespace
}  // namespace cuadrante::detail

using cuadrante::detail::Report;
using cuadrante::detail::ReportFailure;
using cuadrante::detail::TGlobalRead;
using cuadrante::detail::TGlobalWrite;

TUnderOperationMgr::TUnderOperationMgr() {
  // A switch, not a number of seconds: any number but 0 turns the monitor on.
  MonitorEnabled = ToIntDef(_GlobalMgr.GetValueEnv("GENERAL", "ZV_MON_TIMEOUT"), 0) != 0;
}

TUnderOperationMgr::~TUnderOperationMgr() {
  ResetList();
  // Operations that had taken their close handler before they were stopped
  // still call evOnCloseThread; this object must outlive those calls.
  std::unique_lock lock(closingMutex_);
  closingDone_.wait(lock, [this] { return closing_.empty(); });
}

TUnderOperation* TUnderOperationMgr::GetNewOperation() {
  auto* operation = new TUnderOperation(true);
  AddOperation(operation, AnsiString());
  return operation;
}

int32_t TUnderOperationMgr::AddOperation(TUnderOperation* operation, AnsiString sessionID) {
  TGlobalWrite lock;
  try {
    if (operation == nullptr) throw Exception("no operation was given");
    if (operation->GetID() != 0) {
      throw Exception("operation " + IntToStr(operation->GetID()) + " has a number already");
    }
    const int32_t id = InterlockedIncrement(&LastID);
    operation->SetID(id);
    operation->SetSessionID(std::move(sessionID));
    Operations[id] = operation;
    return id;
  } catch (const Exception& e) {
    ReportFailure("Excepción al añadir la operación", e);
    return 0;
  }
}

TUnderOperation* TUnderOperationMgr::GetOperation(int32_t id) {
  TGlobalWrite lock;
  try {
    const auto entry = Operations.find(id);
    return entry != Operations.end() ? entry->second : nullptr;
  } catch (const Exception& e) {
    ReportFailure("Excepción al buscar la operación", e);
    return nullptr;
  }
}

bool TUnderOperationMgr::Run(int32_t id) {
  // The read side: Run changes neither store, and the entry can't leave while
  // it is held.
  TGlobalRead lock;
  TOperationProgress* progress = nullptr;
  try {
    const auto entry = Operations.find(id);
    if (entry == Operations.end()) return false;
    TUnderOperation* operation = entry->second;
    progress = operation->GetProgress();
    // The monitor's two minutes count from here, not from the construction.
    progress->SetLastReport(static_cast<int32_t>(GetTickCount()));
    operation->CaptureTerminate(MakeNotifyEvent<&TUnderOperationMgr::evOnCloseThread>(this));
    operation->Resume();
    return true;
  } catch (const Exception& e) {
    ReportFailure("Excepción al ejecutar la operación en el servidor", e);
    if (progress != nullptr) progress->SetFinalType(cuadrante::ftException);
    return false;
  }
}

void TUnderOperationMgr::iStopEntry(std::map<int32_t, TUnderOperation*>::iterator entry) {
  // Too late to hold the notification back: remember to wait for it. The
  // operation may be gone once iStop returns.
  if (entry->second->iStop()) {
    std::lock_guard closing(closingMutex_);
    closing_.insert(entry->first);
  }
}

bool TUnderOperationMgr::Stop(int32_t id) {
  TGlobalWrite lock;
  try {
    const auto entry = Operations.find(id);
    if (entry == Operations.end()) return false;
    TOperationProgress* progress = entry->second->GetProgress();
    progress->SetFinalType(cuadrante::ftStopped);
    OperationsInfo[id] = progress->WriteToStr();
    // If this fails, the entry stays and the operation can be stopped again.
    iStopEntry(entry);
    Operations.erase(entry);
    return true;
  } catch (const Exception& e) {
    ReportFailure("Excepción al detener la operación en el servidor", e);
    return false;
  }
}

void TUnderOperationMgr::iYieldToClosers() const {
  if (closers_.load(std::memory_order_relaxed) == 0) return;
  const auto until = std::chrono::steady_clock::now() + cuadrante::detail::kGiveWay;
  while (closers_.load(std::memory_order_relaxed) > 0 && std::chrono::steady_clock::now() < until) {
    std::this_thread::yield();
  }
}

bool TUnderOperationMgr::IsTerminated(int32_t id, AnsiString& info) {
  iYieldToClosers();
  TGlobalWrite lock;
  try {
    const auto entry = Operations.find(id);
    if (entry == Operations.end()) {
      // Not active: over, whatever its text says. An id never seen is over too.
      const auto kept = OperationsInfo.find(id);
      if (kept != OperationsInfo.end()) info = kept->second;
      return true;
    }
    int8_t finalType = 0;
    uint32_t lastReport = 0;
    entry->second->GetProgress()->iWriteState(info, finalType, lastReport);
    OperationsInfo[id] = info;
    if (finalType != cuadrante::ftNone) return true;
    if (!MonitorEnabled) return false;
    const uint32_t silence = GetTickCount() - lastReport;
    if (silence / 1000 < cuadrante::detail::kSilentSeconds) return false;
    Report("EXP - " + Transport::Translate("La operación fue abortada porque lleva más de dos "
                                           "minutos si reportar actividad."));
    Stop(id);  // the write side again, on this thread
    return true;
  } catch (const Exception& e) {
    ReportFailure("Excepción al detener la operación en el servidor", e);
    return true;
  }
}

bool TUnderOperationMgr::PopOperationInfo(int32_t id, TOperationProgress& record) {
  TGlobalWrite lock;
  try {
    const auto kept = OperationsInfo.find(id);
    if (kept == OperationsInfo.end()) return false;
    record.ReadFromStr(kept->second);
    return true;
  } catch (const Exception& e) {
    ReportFailure("Excepción al buscar la operación", e);
    return false;
  }
}

void TUnderOperationMgr::ResetList() {
  TGlobalWrite lock;
  for (auto entry = Operations.begin(); entry != Operations.end(); ++entry) {
    const auto kept = OperationsInfo.find(entry->first);
    try {
      iStopEntry(entry);
    } catch (const Exception&) {
      Report("EXP - " + Transport::Translate("Excepción al finalizar la operación") +
             (kept != OperationsInfo.end() ? " [" + kept->second + "]" : AnsiString()));
    }
  }
  Operations.clear();
}

void TUnderOperationMgr::evOnCloseThread(TObject* Sender) {
  const int32_t id = TUnderOperation::IdOfSender(Sender);
  closers_.fetch_add(1, std::memory_order_relaxed);
  TGlobalWrite lock;
  closers_.fetch_sub(1, std::memory_order_relaxed);
  try {
    const auto entry = Operations.find(id);
    if (entry == Operations.end()) {
      // Stopped a moment ago. If the destructor waits for this call, this is
      // the last touch of the manager.
      std::lock_guard closing(closingMutex_);
      if (closing_.erase(id) > 0) closingDone_.notify_all();
      return;
    }
    TUnderOperation* operation = entry->second;
    // Out of the store first: whatever happens next, no entry outlives the
    // object, which frees itself once this returns.
    Operations.erase(entry);
    OperationsInfo[id] = operation->GetProgress()->WriteToStr();
  } catch (const Exception& e) {
    Report("EXP - " + Transport::Translate("Excepción al finalizar una operación") + " [" +
           IntToStr(id) + "]\r\n" + e.Message);
  }
}
