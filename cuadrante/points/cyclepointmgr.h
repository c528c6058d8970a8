// TCyclePointMgr, recurring intervals kept as rules and handed out as points.
//
// `Cycles` owns the rules (TCyclePoint objects only); the inherited `Points`
// owns their expansion between two dates, so every query of a point set works
// on the occurrences. The link between a rule and its occurrences is `Group`,
// renumbered from 1 in list order by each expansion. `Points` is derived data:
// stale after a rule changes until the next forced expansion. One thread at a
// time on a manager; `Code` and `Description` are shared by every manager.
//
// Example:
//   TCyclePointMgr mgr;  mgr.RangeStart = 0;  mgr.RangeEnd = 0;
//   TCyclePoint morning(monday8am, tptTimetable, TDuration(8 * 3600));
//   morning.Periodicity = tgDay;
//   mgr.AddCycle(&morning, nullptr, false);  // a clone goes in
//   mgr.Expand(monday, sunday, true) == 5;   // Saturday and Sunday skipped
#pragma once

#include <cstdint>

#include "cuadrante/points/basicpointmgr.h"
#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"
#include "cuadrante/time/basicpoint.h"
#include "cuadrante/time/fecha.h"

class CUADRANTE_API TCyclePointMgr : public TBasicPointMgr {
 public:
  // Both sets empty; the range from 1 January of this year to the global
  // MaxDate.
  TCyclePointMgr();
  TCyclePointMgr(const TCyclePointMgr&) = delete;
  TCyclePointMgr& operator=(const TCyclePointMgr&) = delete;
  // Destroys the occurrences and the rules.
  ~TCyclePointMgr() override;

  // Expands into plain points if `force` or `Points` is empty; otherwise
  // leaves `Points` as it is. Answers the size of `Points`.
  virtual unsigned Expand(const TFecha& from, const TFecha& to, bool force);
  // The same, the occurrences being boxes that carry `Code` and `Description`.
  virtual unsigned ExpandBoxes(const TFecha& from, const TFecha& to, bool force);
  // The same with occurrences of the class of `proto`, which stays the caller's.
  unsigned Expand(TFecha from, TFecha to, TBasicPoint* proto, bool force);
  // Throws the expansion away and unrolls every rule between `from` and `to`
  // (whole days, clipped to the range), renumbering the rules from 1.
  unsigned iExpand(const TFecha& from, const TFecha& to, TBasicPoint* proto);

  // Stores a clone of `c` (which stays the caller's) and sorts the rules;
  // with `expand`, expands over GetMinDate..GetMaxDate with `proto`.
  TBasicPoint* AddCycle(TBasicPoint* c, TBasicPoint* proto, bool expand);
  // Adds the rules of a stored document read with `proto` (a TCyclePoint).
  void AddCycles(const AnsiString& xml, TBasicPoint* proto, bool expand);
  // Adds the given rules themselves: the manager owns them afterwards.
  void AddCycles(TBasicPointList cycles, bool expand);
  // Deletes the rule with the `Group` of `c` (a rule or any occurrence of one).
  bool DelCycle(TBasicPoint* c, bool expand);
  // Edits the rules so that no expansion gives the occurrence `p` again, and
  // takes `p` out of `Points`; `p` then belongs to the caller.
  bool DelCyclePoint(TBasicPoint* p);

  // The first rule with that `Group`, or null.
  TBasicPoint* GetCycleGroup(short group) const;
  // The first rule whose first occurrence holds `d`, end instant included.
  TBasicPoint* FindCycle(TFecha d) const;
  // The rules whose first occurrence overlaps [from, to); borrowed.
  TBasicPointList FindCycles(TFecha from, TFecha to) const;
  bool Solap(const TFecha& from, const TFecha& to) const;
  // The later of the first rule's start and `RangeStart`.
  TFecha GetMinDate() const;
  // The later of the last rule's end date and `RangeEnd`.
  TFecha GetMaxDate() const;
  TFecha GetStartViewDate() const;
  TFecha GetEndViewDate() const;

  // Empties both sets without destroying anything.
  void ClearCycles();
  // Empties both sets, destroying everything.
  void ResetCycles();
  // Replaces the rules by those of a document; the expansion is left stale.
  bool LoadCyclesFromXML(const AnsiString& xml, TBasicPoint* proto);
  bool SaveCyclesToXML(AnsiString& xml) const;
  // The rules, every field labelled.
  AnsiString AsString() const;

  uint8_t GroupCount = 0;  // the last group number handed out
  TFecha RangeStart;       // 0: no lower bound
  TFecha RangeEnd;         // 0: no upper bound
  TBasicPointMgr Cycles;

  // Written into every box an expansion makes; empty until the host sets them.
  static AnsiString Code;
  static AnsiString Description;
};
