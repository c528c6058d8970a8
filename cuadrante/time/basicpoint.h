// TBasicPoint, the typed interval of the scheduling timeline.
//
// A point starts at `Inicio` and lasts `Duration`; its interval is half-open,
// [start, start + duration), and the end is always derived, never stored. It
// is the polymorphic base of the box and cycle points: point sets handle every
// kind through the virtual operations below, in this slot order, and own what
// `Instance` hands them. Its stored text is "start;seconds;type;level".
// A point carries no lock: one thread at a time, or under its owner's lock.
//
// Example:
//   TBasicPoint p(TFecha(86400), TDuration(3600));
//   p.Type = tptTimetable;
//   p.WriteToStr() == "86400;3600;2;1"
#pragma once

#include <cstdint>
#include <string_view>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

class CUADRANTE_API TBasicPoint {
 public:
  TBasicPoint() = default;
  // All five fields, `Group` included. `other` must not be null.
  explicit TBasicPoint(const TBasicPoint* other);
  TBasicPoint(const TBasicPoint& other);
  // The seconds of `duration` with the default duration type.
  TBasicPoint(const TFecha& inicio, const TDuration& duration);
  // `hours` times 3600, truncated toward zero to the second.
  TBasicPoint(TDateTime inicio, float hours);
  // Takes start, duration, type and level, and clears `Group`: a copied point
  // does not join the group of its source.
  TBasicPoint& operator=(const TBasicPoint& other);

  virtual ~TBasicPoint();
  // A heap copy of this point; the caller owns it.
  virtual TBasicPoint* Instance();
  // A heap point of this class built from `other`, of any class; the caller owns it.
  virtual TBasicPoint* Instance(TBasicPoint* other);
  // Inicio + Duration.
  virtual TFecha GetEndDate() const;
  // Recomputes a stored end where a class keeps one; nothing to do here.
  virtual void RestartEnd();
  virtual TColor GetColor() const;
  // 0: the duration alone; 1: "hh:mm - hh:mm"; 2: "hh:mm - " and the duration;
  // 3: "dd/mm/yyyy hh:mm - hh:mm"; any other: both ends as "dd/mm/yyyy hh:mm".
  virtual AnsiString ToString(short form) const;
  // Every field labelled, for logs; nothing reads it back.
  virtual AnsiString SmartString() const;
  // The list of strings shared by every point of this class; borrowed, never null.
  virtual TVectorStrings* GetStrings();
  // Reads "start;seconds;type;level". A text of fewer than four fields changes
  // nothing; fields past the fourth are ignored. A field that is no integer
  // raises EConvertError, after the fields before it have been assigned.
  // `Group` and the duration type are kept.
  virtual void ReadFromStr(const AnsiString& text);
  // "start;seconds;type;level".
  virtual AnsiString WriteToStr();

  // ToString with both ends as "dd/mm/yyyy hh:mm".
  AnsiString ToString() const;
  // The label of `Type`, through the dictionary.
  AnsiString GetTypeStr() const;

  TFecha GetInicio() const { return Inicio; }
  void SetInicio(const TFecha& inicio) { Inicio = inicio; }
  TDuration GetDuration() const { return Duration; }
  // Takes the duration type as well as the seconds.
  void SetDuration(const TDuration& duration) { Duration = duration; }
  int64_t GetDurationValue() const { return Duration.Value(); }
  TTimePointType GetType() const { return Type; }
  int64_t StartValue() const { return Inicio.Value(); }
  // Start plus duration; unlike GetEndDate it is not overridden by any class.
  // A sum past the 64-bit range is held at its limit, so that a point built
  // in memory near the top still compares, merges and prints.
  int64_t EndValue() const {
    int64_t end = 0;
    if (__builtin_add_overflow(Inicio.Value(), Duration.Value(), &end))
      return Duration.Value() > 0 ? INT64_MAX : INT64_MIN;
    return end;
  }
  // 00:00:00 of the starting day.
  TFecha StartDate() const;
  TDateTime AsDate() const;

  bool IsFree() const;        // free time or timetable
  bool IsTask() const;        // task, cover, change of post, reduced or extended day
  bool IsIncidence() const;   // incident, sick leave, holiday leave
  bool IsAssignable() const;  // timetable and the tasks that stand for one
  bool IsWork() const;        // timetable and every task

  // The interval predicates compare start and EndValue as integers.
  // `d` lies in [start, end).
  bool Contain(const TFecha& d) const;
  // `d` lies in [start, end], the end instant included.
  bool ContainC(const TFecha& d) const;
  // `p` lies whole inside this point; equal ends count.
  bool Contain(const TBasicPoint* p) const;
  // Any overlap with [a, b): the same as Solap(a, b), kept for its callers.
  bool Contain(const TFecha& a, const TFecha& b) const;
  // Overlap with [a, b); touching at one instant is none.
  bool Solap(const TFecha& a, const TFecha& b) const;
  bool Solap(const TBasicPoint* p) const;
  // The start of `p` falls strictly inside this point.
  bool LeftSolap(const TBasicPoint* p) const;
  // The end of `p` falls strictly inside this point.
  bool RightSolap(const TBasicPoint* p) const;
  // This point starts on the day of `d`.
  bool InitInDay(const TFecha& d) const;
  // Same start and same duration; the type is not looked at.
  bool Equals(const TBasicPoint* p) const;
  // Same start, duration and type; level and group are not looked at. Const,
  // so that C++20's reversed comparisons find one best candidate.
  bool operator==(const TBasicPoint& p) const;

  // The part of this point that lies within `other`, as a base-class value with
  // this point's type, level and group. There is no overlap test: points apart
  // give a zero or negative duration.
  TBasicPoint Intersection(const TBasicPoint* other) const;

  TFecha Inicio;
  TDuration Duration;
  TTimePointType Type = tptNone;
  short Level = 1;  // stored, copied and printed; nothing decides by it
  unsigned char Group = 0;

 private:
  // Lives from library load to unload; the derived classes keep their own.
  static TVectorStrings SharedStrings;
};

// Comparators for the sorted searches of the point sets; `a` and `b` must not
// be null. Defined here so that a bisection inlines them.
// By start, then by shorter duration: the order of a point set.
CUADRANTE_API inline bool MinorPoint(const TBasicPoint* a, const TBasicPoint* b) {
  if (a->StartValue() != b->StartValue()) return a->StartValue() < b->StartValue();
  return a->GetDurationValue() < b->GetDurationValue();
}
// By start alone.
CUADRANTE_API inline bool EqualInit(const TBasicPoint* a, const TBasicPoint* b) {
  return a->StartValue() < b->StartValue();
}
// `a` ends at or before the start of `b`.
CUADRANTE_API inline bool InInterval(const TBasicPoint* a, const TBasicPoint* b) {
  return a->EndValue() <= b->StartValue();
}
// Internal to the library: `a` ends strictly before the start of `b`, for the
// searches in which a point ending at the instant still counts.
inline bool EndsBefore(const TBasicPoint* a, const TBasicPoint* b) {
  return a->EndValue() < b->StartValue();
}

namespace cuadrante::detail {

// The duration field of a stored point that starts at `start`. Raises
// EConvertError, as for a field that is no number, when the field is no
// number or when start plus duration lies outside the 64-bit range: such a
// point could not say where it ends.
CUADRANTE_API int64_t DurationField(std::string_view field, int64_t start);

}  // namespace cuadrante::detail
