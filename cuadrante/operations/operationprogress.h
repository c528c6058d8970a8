// TOperationProgress: how far a background operation has come, as nine fields
// and their one-line text form "Description;ActualPhase;StartTick;LastReport;
// Progress;TotalCount;ActualCount;FinalType;XMLResult". The text is the only
// form in which the state outlives the operation.
// Threads: every member is safe from any thread. The work function writes the
// record on its own thread while the manager reads it on others, so a small
// lock inside keeps each call whole: a text is one consistent cut.
#pragma once

#include <cstdint>
#include <mutex>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

namespace cuadrante {
// How an operation ended (FinalType). Anything but ftNone means it is over.
enum TFinalType : int8_t {
  ftNone = 0,       // running, or ended without a mark
  ftHost = 1,       // set by a work function, never by the library
  ftStopped = 2,    // stopped on request or aborted by the monitor
  ftException = 3,  // ended by an exception, or could not be started
};
}  // namespace cuadrante

class CUADRANTE_API TOperationProgress {
 public:
  // One tick reading in StartTick and LastReport; "<N/A>" in Description and
  // ActualPhase (so that neither vanishes from the text form); zeros; no result.
  TOperationProgress();
  // A copy of `source`, or a default record when it is null. (Copying is what
  // a host that hands a record over expects of this form.)
  explicit TOperationProgress(const TOperationProgress* source);
  TOperationProgress(const TOperationProgress& other);
  TOperationProgress& operator=(const TOperationProgress& other);

  // Milliseconds since StartTick, right across the wrap of the counter.
  uint32_t GetElapsedTime() const;

  // Overwrites the record from its text form. The split at ";" drops empty
  // fields, so a text with an empty field or with fewer than nine fields
  // changes nothing; fields after the ninth are ignored. A field that is no
  // number raises EConvertError, leaving the fields before it assigned and
  // the rest as they were.
  void ReadFromStr(const AnsiString& text);
  // The nine fields joined by ";": texts as they stand, ticks as unsigned
  // 32-bit numbers, the rest signed decimal.
  AnsiString WriteToStr() const;

  // The work function's sign of life: LastReport from GetTickCount, then
  // Progress and ActualCount; on the main thread also one pass of the host's
  // event pump. A null record is left alone, the clock unread.
  static void ReportActivity(TOperationProgress* progress, short progressValue,
                             int32_t actualCount);

  AnsiString GetDescription() const;
  void SetDescription(const AnsiString& text);
  AnsiString GetActualPhase() const;
  void SetActualPhase(const AnsiString& text);
  uint32_t GetStartTick() const;
  uint32_t GetLastReport() const;
  // The 32 bits of the argument, unchanged.
  void SetLastReport(const int32_t& ticks);
  short GetProgress() const;
  void SetProgress(const short& value);
  int32_t GetTotalCount() const;
  int32_t GetActualCount() const;
  void SetActualCount(const int32_t& value);
  // Sign-extended.
  short GetFinalType() const;
  // Keeps the low 8 bits: 259 stores 3.
  void SetFinalType(const short& value);
  AnsiString GetXMLResult() const;
  void SetXMLResult(const AnsiString& text);

 private:
  friend class TUnderOperationMgr;

  // WriteToStr into `text`, reusing its storage, with FinalType and LastReport
  // read in the same step: what a poll needs, under one lock.
  void iWriteState(AnsiString& text, int8_t& finalType, uint32_t& lastReport) const;

  // The nine fields, in the order of the text form.
  struct TFields {
    AnsiString Description = "<N/A>";
    AnsiString ActualPhase = "<N/A>";
    uint32_t StartTick = 0;
    uint32_t LastReport = 0;
    int16_t Progress = 0;
    // Travels in the text form only: nothing but ReadFromStr sets it.
    int32_t TotalCount = 0;
    int32_t ActualCount = 0;
    int8_t FinalType = cuadrante::ftNone;
    AnsiString XMLResult;
  };

  TFields Snapshot() const;

  mutable std::mutex guard_;
  TFields fields_;
};
