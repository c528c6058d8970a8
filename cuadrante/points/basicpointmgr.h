// TBasicPointMgr, a timeline: one flat list of owned points with the queries,
// shape changes, grids and XML document of a schedule.
//
// The set owns every pointer in `Points` and destroys them through the
// virtual destructor; queries hand out borrowed pointers, except the `Copy`
// queries, whose clones the caller owns. Intervals are half-open. The list is
// in `MinorPoint` order (start, then shorter first) only if it was built by
// `AddUnique` and `Merge` alone or `Sort` was called last; the queries that
// bisect assume that order and nothing checks it. A set built by `AddUnique`
// and `Merge` alone holds no two overlapping points, whatever their types.
// A set is for one thread at a time; the list shared by `GetStrings` is shared
// by all sets.
//
// Example:
//   TBasicPointMgr day;
//   day.Merge(new TBasicPoint(TFecha(8 * 3600), TDuration(4 * 3600)));   // [8,12)
//   day.Merge(new TBasicPoint(TFecha(10 * 3600), TDuration(4 * 3600)));  // adds [12,14)
//   day.Points.size() == 2
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <set>
#include <vector>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/graphics.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"
#include "cuadrante/vocabulary/basicdefines.h"

using TBasicPointList = std::vector<TBasicPoint*>;
// One list of points for each day of a period.
using TPointList2D = std::vector<TBasicPointList>;

// One row of a grid: the points of one type that start in one week or month,
// by day of the period. The points are borrowed from their set.
struct CUADRANTE_API ItemPointGrid {
  ItemPointGrid(TTimePointType type, TFecha period);

  // Rows order by period, then by falling type; Days and Total are not part
  // of the key, so a stored row may change them in place.
  bool operator<(const ItemPointGrid& other) const;

  TFecha Period;  // first day of the week or month, 00:00:00
  TTimePointType Type;
  mutable TPointList2D Days;  // [k]: the points that start on day k + 1
  mutable TDuration Total;    // sum of the durations in Days
};

using SetPointsGrid = std::set<ItemPointGrid>;

// A set of point types over 0..13: value v is bit v % 8 of byte v / 8.
// Membership of any other value is false.
class CUADRANTE_API TMapingFlags {
 public:
  constexpr TMapingFlags() noexcept = default;
  constexpr TMapingFlags(std::initializer_list<TTimePointType> types) noexcept {
    for (TTimePointType type : types) Include(type);
  }

  constexpr TMapingFlags& Include(TTimePointType type) noexcept {
    if (InRange(type)) bits_[type / 8] = static_cast<uint8_t>(bits_[type / 8] | Bit(type));
    return *this;
  }
  constexpr TMapingFlags& Exclude(TTimePointType type) noexcept {
    if (InRange(type)) bits_[type / 8] = static_cast<uint8_t>(bits_[type / 8] & ~Bit(type));
    return *this;
  }
  // Delphi-style spelling of Include.
  constexpr TMapingFlags& operator<<(TTimePointType type) noexcept { return Include(type); }
  constexpr bool Contains(TTimePointType type) const noexcept {
    return InRange(type) && (bits_[type / 8] & Bit(type)) != 0;
  }
  constexpr bool Empty() const noexcept { return bits_[0] == 0 && bits_[1] == 0; }

 private:
  static constexpr bool InRange(int type) noexcept { return type >= 0 && type < 14; }
  static constexpr uint8_t Bit(int type) noexcept { return static_cast<uint8_t>(1u << (type % 8)); }

  std::array<uint8_t, 2> bits_{};
};

class CUADRANTE_API TBasicPointMgr {
 public:
  TBasicPointMgr();
  // A deep copy: Instance() of each point of `source`, in its order. The host
  // fields are not copied.
  explicit TBasicPointMgr(const TBasicPointMgr* source);
  TBasicPointMgr(const TBasicPointMgr&) = delete;
  TBasicPointMgr& operator=(const TBasicPointMgr&) = delete;

  // Virtual operations, in slot order.
  // Destroys every point and empties the list.
  virtual void iReset();
  virtual ~TBasicPointMgr();
  // Empties the list without destroying anything: the points leave the set.
  virtual void ClearPoints();
  // The list shared by the class, refilled with the first three HostTexts.
  virtual TVectorStrings* GetStrings();

  // Bulk changes.
  void ResetPoints();
  // Destroys the points that start at `d` or later; earlier ones stay whole.
  void ResetPoints(TFecha d);
  // Stable sort by MinorPoint, or by the given strict comparator.
  void Sort();
  void Sort(bool (*less)(const TBasicPoint*, const TBasicPoint*));

  // Adding and removing. Add appends and owns, without any test.
  void Add(TBasicPoint* p);
  void Add(TBasicPointList& list);
  // Inserts `p` in order if it overlaps nothing: true and owned by the set;
  // false and `p` stays the caller's.
  bool AddUnique(TBasicPoint* p);
  // AddUnique of each element; refused elements are destroyed. Answers how
  // many went in.
  unsigned AddUnique(TBasicPointList& list);
  // Takes a point out of the list without destroying it: the caller owns it.
  // An index past the end, or a pointer the set does not hold, does nothing.
  void Del(unsigned index);
  void Del(TBasicPoint* p);

  // Queries that answer one thing.
  bool ArePoints(const TFecha& from, const TFecha& to, TTimePointType t) const;
  // Identity of the pointers, position by position; not equality of values.
  bool Equals(const TBasicPointMgr& other) const;
  TFecha GetFirstDate(TFecha def) const;
  TFecha GetLastDate(TFecha def) const;
  // The first point equal to `p` by start, duration and type, or null.
  TBasicPoint* GetPoint(const TBasicPoint* p) const;
  // The first point that ends after `d` (bisection), or null.
  TBasicPoint* GetFirstPoint(const TFecha& d) const;
  // The same point, only if it starts before `to`.
  TBasicPoint* GetFirstPoint(const TFecha& from, const TFecha& to) const;
  // Reports neighbours of one type that overlap, appending a line for each to
  // `msg`; true if there was one.
  bool PointsSolap(AnsiString& msg) const;
  AnsiString SmartString() const;

  // Queries that answer a list of borrowed points (the list is the caller's).
  // A filter `t` of 0 (tptNone) selects every type.
  TBasicPointList GetPoints() const;
  TBasicPointList GetPoints(TTimePointType t) const;
  // Points that overlap [from, to).
  TBasicPointList GetPoints(const TFecha& from, const TFecha& to, TTimePointType t) const;
  // Points that lie whole inside the closed period [from, to].
  TBasicPointList GetPointsC(const TFecha& from, const TFecha& to, TTimePointType t) const;
  // Points that overlap the whole day of `day`, also those that began earlier.
  TBasicPointList GetPointsDay(const TFecha& day, TTimePointType t) const;
  // Points that start on the day of `d`, at or after its time of day.
  TBasicPointList GetPointsInitDay(const TFecha& d, TTimePointType t) const;
  // Points that start in the week of `d` (not those running in from before).
  TBasicPointList GetPointsInWeek(const TFecha& d, TTimePointType t) const;
  // Points of the month of `d`, in every year of the set.
  TBasicPointList GetPointsInMonth(const TFecha& d) const;
  TBasicPointList GetFreeC(const TFecha& from, const TFecha& to) const;
  TBasicPointList GetTasksC(const TFecha& from, const TFecha& to) const;
  TBasicPointList GetWorksC(const TFecha& from, const TFecha& to) const;
  // Clones, owned by the caller, of the points from the first that ends after
  // `from` to the last that starts before `to`; whole, not cut.
  TBasicPointList GetPointsCopy(const TFecha& from, const TFecha& to, TTimePointType t) const;
  TBasicPointList GetPointsGroup(short g) const;

  // Shape changes.
  // Adds the part of `p` not yet covered; old points never change. True: `p`
  // is consumed (in the set, or destroyed). False: nothing went in and `p` is
  // still the caller's, perhaps trimmed from the left.
  bool Merge(TBasicPoint* p);
  // Merge of each point of `list` in turn (earlier points win where they
  // overlap later ones), in one pass: O((n + m) log m) on a set in order
  // without overlaps; any other set takes the points one at a time. The set
  // takes or destroys what Merge would; `list` keeps, in order and still the
  // caller's, the points Merge refuses, trimmed as it leaves them. If an
  // exception passes, `list` still holds every point the set did not take.
  void MergeAll(TBasicPointList& list);
  // Takes the time of `p` out of the points beside its sort position. `p`
  // stays the caller's.
  bool Unmerge(TBasicPoint* p);
  void Unmerge(TBasicPointList& list);
  // Cuts the points at the two edges of `p`; no time is added or lost.
  bool Crush(const TBasicPoint* p);
  // Joins touching or overlapping neighbours of one type and drops points
  // shorter than 10 seconds. Call Sort first.
  void Compact();
  void iCompactPeriods();
  // Destroys the points of one group.
  void iDelPointsGorup(short group);

  // Grids and totals. A point belongs to [from, to] by its start: from its
  // instant on, up to the whole day of `to`.
  // Sorts the set first, so even this query changes it.
  SetPointsGrid GetPointsGrid(TTimesGroup group, TFecha from, TFecha to, TTimePointType t);
  // `flags` empty selects every point.
  SetPointsGrid GetPointsGrid(TTimesGroup group, TFecha from, TFecha to, TMapingFlags flags);
  TDuration GetTotalDuration(TTimePointType t) const;
  TDuration GetTotalDuration(TFecha from, TFecha to, TTimePointType t) const;
  // Points with IsWork(), type 3 included.
  TDuration GetDurationAssignable(TFecha from, TFecha to) const;
  TDuration GetDurationTasks(TFecha from, TFecha to) const;

  // The XML document. An empty set writes a single blank. Raises
  // EXMLDocError on text that is not well-formed XML.
  bool SaveToXML(AnsiString& xml) const;
  // Replaces the points by clones of `proto` (which stays the caller's), read
  // from each child of the root; the n-th gets Group n (8 bits). True if the set
  // holds a point afterwards. A field that is no number raises after the points
  // before it went in.
  bool LoadFromXML(const AnsiString& xml, TBasicPoint* proto);

  // Carried for the host; nothing in the library reads them, but GetStrings
  // reads the first three texts.
  int32_t HostTag = 0;
  std::array<AnsiString, 4> HostTexts;
  bool HostFlag = false;
  TRect HostRect;
  TBasicPointList Points;

 private:
  static TVectorStrings SharedStrings;
};
