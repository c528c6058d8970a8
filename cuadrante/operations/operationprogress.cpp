#include "cuadrante/operations/operationprogress.h"

#include <array>
#include <charconv>
#include <thread>

#include "cuadrante/port/application.h"
#include "cuadrante/port/thread.h"
#include "cuadrante/port/tickcount.h"
#include "cuadrante/text/rutinastext.h"

namespace cuadrante::detail {
namespace {

constexpr int kFields = 9;

void AppendNumber(AnsiString& text, int64_t value) {
  std::array<char, 24> digits{};
  const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
  text.append(digits.data(), end);
}

}  // namespace
}  // namespace cuadrante::detail

using cuadrante::detail::AppendNumber;
using Lock = std::lock_guard<std::mutex>;

TOperationProgress::TOperationProgress() {
  fields_.StartTick = GetTickCount();
  fields_.LastReport = fields_.StartTick;
}

TOperationProgress::TOperationProgress(const TOperationProgress* source)
    : TOperationProgress(source != nullptr ? *source : TOperationProgress()) {}

TOperationProgress::TOperationProgress(const TOperationProgress& other)
    : fields_(other.Snapshot()) {}

TOperationProgress& TOperationProgress::operator=(const TOperationProgress& other) {
  if (this == &other) return *this;
  TFields copy = other.Snapshot();  // never both locks at once
  Lock lock(guard_);
  fields_ = std::move(copy);
  return *this;
}

TOperationProgress::TFields TOperationProgress::Snapshot() const {
  Lock lock(guard_);
  return fields_;
}

uint32_t TOperationProgress::GetElapsedTime() const { return GetTickCount() - GetStartTick(); }

void TOperationProgress::ReadFromStr(const AnsiString& text) {
  TVectorStrings fields;
  if (RutinasText::GetStrings(text, ";", fields) < cuadrante::detail::kFields) return;
  Lock lock(guard_);
  TFields& f = fields_;
  // Field by field, so that a bad number leaves the ones before it assigned.
  f.Description = fields[0];
  f.ActualPhase = fields[1];
  f.StartTick = static_cast<uint32_t>(StrToInt64(fields[2]));
  f.LastReport = static_cast<uint32_t>(StrToInt64(fields[3]));
  f.Progress = static_cast<int16_t>(ToInt(fields[4]));
  f.TotalCount = ToInt(fields[5]);
  f.ActualCount = ToInt(fields[6]);
  f.FinalType = static_cast<int8_t>(ToInt(fields[7]));
  f.XMLResult = fields[8];
}

AnsiString TOperationProgress::WriteToStr() const {
  AnsiString text;
  int8_t finalType = 0;
  uint32_t lastReport = 0;
  iWriteState(text, finalType, lastReport);
  return text;
}

void TOperationProgress::iWriteState(AnsiString& text, int8_t& finalType,
                                     uint32_t& lastReport) const {
  // The same text as joining the nine fields with ";", written in one buffer:
  // the manager does this at every poll.
  Lock lock(guard_);
  const TFields& f = fields_;
  text.clear();
  text.reserve(f.Description.size() + f.ActualPhase.size() + f.XMLResult.size() + 64);
  text += f.Description;
  text += ';';
  text += f.ActualPhase;
  for (const int64_t number :
       {int64_t{f.StartTick}, int64_t{f.LastReport}, int64_t{f.Progress}, int64_t{f.TotalCount},
        int64_t{f.ActualCount}, int64_t{f.FinalType}}) {
    text += ';';
    AppendNumber(text, number);
  }
  text += ';';
  text += f.XMLResult;
  finalType = f.FinalType;
  lastReport = f.LastReport;
}

void TOperationProgress::ReportActivity(TOperationProgress* progress, short progressValue,
                                        int32_t actualCount) {
  if (progress == nullptr) return;
  {
    const uint32_t now = GetTickCount();
    Lock lock(progress->guard_);
    progress->fields_.LastReport = now;
    progress->fields_.Progress = progressValue;
    progress->fields_.ActualCount = actualCount;
  }
  // The host's pump belongs to its main thread; a worker has no queue of its
  // own to pump, so the pass is empty there.
  if (std::this_thread::get_id() == MainThreadID) Application->ProcessMessages();
}

AnsiString TOperationProgress::GetDescription() const {
  Lock lock(guard_);
  return fields_.Description;
}

void TOperationProgress::SetDescription(const AnsiString& text) {
  Lock lock(guard_);
  fields_.Description = text;
}

AnsiString TOperationProgress::GetActualPhase() const {
  Lock lock(guard_);
  return fields_.ActualPhase;
}

void TOperationProgress::SetActualPhase(const AnsiString& text) {
  Lock lock(guard_);
  fields_.ActualPhase = text;
}

uint32_t TOperationProgress::GetStartTick() const {
  Lock lock(guard_);
  return fields_.StartTick;
}

uint32_t TOperationProgress::GetLastReport() const {
  Lock lock(guard_);
  return fields_.LastReport;
}

void TOperationProgress::SetLastReport(const int32_t& ticks) {
  Lock lock(guard_);
  fields_.LastReport = static_cast<uint32_t>(ticks);
}

short TOperationProgress::GetProgress() const {
  Lock lock(guard_);
  return fields_.Progress;
}

void TOperationProgress::SetProgress(const short& value) {
  Lock lock(guard_);
  fields_.Progress = value;
}

int32_t TOperationProgress::GetTotalCount() const {
  Lock lock(guard_);
  return fields_.TotalCount;
}

int32_t TOperationProgress::GetActualCount() const {
  Lock lock(guard_);
  return fields_.ActualCount;
}

void TOperationProgress::SetActualCount(const int32_t& value) {
  Lock lock(guard_);
  fields_.ActualCount = value;
}

short TOperationProgress::GetFinalType() const {
  Lock lock(guard_);
  return fields_.FinalType;
}

void TOperationProgress::SetFinalType(const short& value) {
  Lock lock(guard_);
  fields_.FinalType = static_cast<int8_t>(value & 0xFF);
}

AnsiString TOperationProgress::GetXMLResult() const {
  Lock lock(guard_);
  return fields_.XMLResult;
}

void TOperationProgress::SetXMLResult(const AnsiString& text) {
  Lock lock(guard_);
  fields_.XMLResult = text;
}
