// TCyclePoint, a time point that recurs.
//
// `Inicio` and `Duration` describe the first occurrence; the next ones lie
// `IncDays(Periodicity)` apart until `EndDate` (0: no end of its own), and
// occurrences on Saturday or Sunday count only `WithWeekend`. The class holds
// and stores that description; the cycle manager expands it. Its stored text is
// "start;seconds;type;level;periodicity;weekend;tag;end". No lock: one thread
// at a time, or under its owner's lock.
//
// Example:
//   TCyclePoint c(TFecha(86400), tptTimetable, TDuration(3600));
//   c.Level = 1; c.Periodicity = tgWeek;
//   c.WriteToStr() == "86400;3600;2;1;2;0;0;0"
#pragma once

#include <cstdint>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

class CUADRANTE_API TCyclePoint : public TBasicPoint {
 public:
  TCyclePoint() = default;
  // Every point field, `Group` included, and the four cycle fields. `other`
  // must not be null.
  explicit TCyclePoint(const TCyclePoint* other);
  TCyclePoint(const TCyclePoint& other) : TCyclePoint(&other) {}
  // `hours` as in TBasicPoint(TDateTime, float); `Level` stays 1.
  TCyclePoint(TDateTime inicio, TTimePointType type, float hours);
  // The duration keeps its duration type; `Level` and `Group` are 0 here.
  TCyclePoint(TFecha inicio, TTimePointType type, TDuration duration);
  TCyclePoint& operator=(const TCyclePoint&) = default;

  ~TCyclePoint() override;
  // A heap copy of this cycle point; the caller owns it.
  TBasicPoint* Instance() override;
  // A heap copy of `other`, which must be a TCyclePoint; the caller owns it.
  TBasicPoint* Instance(TBasicPoint* other) override;
  // `EndDate`, the end of the whole cycle, not Inicio + Duration.
  TFecha GetEndDate() const override;
  // The colour table's entry for `Type`, read at each call; `Type` must lie in 0..13.
  TColor GetColor() const override;
  // Reads the eight fields. A text of fewer than eight changes nothing; fields
  // past the eighth are ignored. A field that is no number raises
  // EConvertError, after the fields before it have been assigned. `Group` is kept.
  void ReadFromStr(const AnsiString& text) override;
  // The eight fields joined by ";".
  AnsiString WriteToStr() override;

  TTimesGroup GetPeriodicity() const { return Periodicity; }
  bool GetWithWeekend() const { return WithWeekend; }
  void SetEndDate(const TFecha& end) { EndDate = end; }

  // Days between occurrences, as a TFecha::IncDays step; 0 or below: no repeat.
  TTimesGroup Periodicity = tgNone;
  TFecha EndDate;
  bool WithWeekend = false;
  // Carried by copies and by the text form; the library never reads it.
  int32_t CycleTag = 0;

  // Class-wide texts for the host; empty after load, never touched by the library.
  static AnsiString m_Code;
  static AnsiString m_Description;
};
