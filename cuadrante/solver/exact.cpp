#include "cuadrante/solver/exact.h"

#include <CbcEventHandler.hpp>
#include <CbcHeuristic.hpp>
#include <CbcHeuristicDiveCoefficient.hpp>
#include <CbcHeuristicFPump.hpp>
#include <CbcHeuristicLocal.hpp>
#include <CbcHeuristicRINS.hpp>
#include <CbcModel.hpp>
#include <CbcTree.hpp>
#include <CglClique.hpp>
#include <CglGomory.hpp>
#include <CglKnapsackCover.hpp>
#include <CglMixedIntegerRounding2.hpp>
#include <CglProbing.hpp>
#include <CglZeroHalf.hpp>
#include <ClpEventHandler.hpp>
#include <ClpSimplex.hpp>
#include <ClpSolve.hpp>
#include <CoinPackedMatrix.hpp>
#include <OsiClpSolverInterface.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

namespace cuadrante::solver {

namespace {

using TClock = std::chrono::steady_clock;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// An objective CBC computed in floating point, as the integer it stands for.
int64_t RoundObjective(double value) { return static_cast<int64_t>(std::llround(value)); }

// A proven bound, rounded up to the next integer: every roster costs an
// integer, so a bound of 606.2 proves 607. The tolerance keeps 607.0000001,
// an LP's rounding noise, from proving 608.
int64_t RoundBoundUp(double value) {
  const double tolerance = 1e-6 * std::max(1.0, std::fabs(value));
  return static_cast<int64_t>(std::ceil(value - tolerance));
}

// A person's run network has (maxConsecutive + minDaysOff) states a day and
// about twice as many arcs; beyond this many states the rows cost less.
constexpr int kMostRunStates = 12;
// Above this many binaries the first relaxation is solved by the barrier
// method (then crossed over to a basis for branch and cut): the dual simplex
// slows down sharply on these degenerate programs, 19 s at 10 000 binaries
// where the barrier takes under 1 s.
constexpr int64_t kBarrierFrom = 4'000;

int64_t CellCount(const TInstance& instance) {
  return static_cast<int64_t>(instance.employees.size()) * instance.days;
}

// When to stop: the wall clock past the deadline or the caller's flag.
// Checked on every simplex iteration, so it must stay cheap.
class TStopper {
 public:
  TStopper(double seconds, const std::atomic<bool>* flag)
      : deadline_(TClock::now() + std::chrono::duration_cast<TClock::duration>(
                                      std::chrono::duration<double>(std::max(0.0, seconds)))),
        flag_(flag) {}

  bool Check() {
    if (reason_ != kNone) return true;
    if (flag_ != nullptr && flag_->load(std::memory_order_relaxed)) {
      reason_ = kFlag;
    } else if (TClock::now() >= deadline_) {
      reason_ = kTime;
    }
    return reason_ != kNone;
  }
  bool Fired() const { return reason_ != kNone; }
  const char* Status() const { return reason_ == kFlag ? "stopped" : "time limit"; }
  double SecondsLeft() const {
    return std::max(0.0, std::chrono::duration<double>(deadline_ - TClock::now()).count());
  }

 private:
  enum { kNone, kTime, kFlag } reason_ = kNone;
  TClock::time_point deadline_;
  const std::atomic<bool>* flag_;
};

// The 0-1 program of an instance, kept row by row, with the maps between
// its columns and a roster.
class TProgram {
 public:
  explicit TProgram(const TInstance& instance);

  // Found while building: a pin that asks for a cell nobody may work, two
  // pins that disagree, a row with no column whose bounds exclude 0.
  bool Infeasible() const { return infeasible_; }
  double Constant() const { return constant_; }
  int Columns() const { return static_cast<int>(lower_.size()); }
  int FirstWork() const { return static_cast<int>(choices_.size()); }

  void Load(OsiSolverInterface& solver) const;

  // The roster a solution of the program stands for.
  TRoster RosterOf(const double* columns) const;
  // A solution of the program for `roster`, or empty when the roster asks
  // for a cell that has no column (a day off, a type never allowed).
  std::vector<double> ColumnsOf(const TRoster& roster) const;
  // Whether `columns` keep every bound and row, and what they cost.
  bool Satisfies(const std::vector<double>& columns) const;
  double Cost(const std::vector<double>& columns) const;
  // A branching hint: 1 for the columns of the cells `roster` works.
  std::vector<double> HintOf(const TRoster& roster) const;

 private:
  struct TChoice {
    int shift;
    int column;
  };
  std::span<const TChoice> Cell(int e, int d) const {
    const size_t cell = static_cast<size_t>(e) * days_ + d;
    return {choices_.data() + first_[cell], choices_.data() + first_[cell + 1]};
  }
  int XColumn(int e, int d, int s) const {
    for (const TChoice& choice : Cell(e, d)) {
      if (choice.shift == s) return choice.column;
    }
    return -1;
  }
  bool Workable(int e, int d) const { return work_[static_cast<size_t>(e) * days_ + d] >= 0; }

  int AddColumn(double lower, double upper, double cost, bool integer);
  void Term(int column, double value) {
    index_.push_back(column);
    value_.push_back(value);
  }
  // The work indicator of (e, d) with coefficient `value`; nothing for a cell
  // that cannot be worked, whose indicator is the constant 0.
  void WorkTerm(int e, int d, double value) {
    const int column = work_[static_cast<size_t>(e) * days_ + d];
    if (column >= 0) Term(column, value);
  }
  // Closes the row begun after the last one. A row that its columns' bounds
  // already keep is dropped, and so is an empty one, which makes the program
  // infeasible when its bounds exclude 0.
  void EndRow(double lower, double upper);

  void BuildColumns(const TInstance& instance);
  void BuildPersonRows(const TInstance& instance, int e);
  void BuildWeekRows(const TInstance& instance, const TEmployee& person, int e, int64_t unit);
  using TTerms = std::vector<std::pair<int, int64_t>>;  // column, positive whole coefficient
  void AddRoundedCaps(const TTerms& terms, int64_t most);
  void BuildRunRows(const TEmployee& person, int e);
  bool BuildRunNetwork(const TEmployee& person, int e);
  std::vector<int> BuildWeekendRows(const TEmployee& person, int e);
  void BuildBalanceRows(const TEmployee& person, int e, const std::vector<int>& weekends);
  void BuildCoverRows(const TInstance& instance);

  int days_ = 0;
  int employees_ = 0;
  bool infeasible_ = false;
  double constant_ = 0;
  std::vector<int64_t> first_;    // per cell, its first choice
  std::vector<TChoice> choices_;  // per cell, the x columns it may take
  std::vector<int> work_;         // per cell, its work indicator column or -1

  std::vector<double> lower_, upper_, cost_;
  std::vector<char> integer_;
  std::vector<CoinBigIndex> start_{0};
  std::vector<int> index_;
  std::vector<double> value_;
  std::vector<double> rowLower_, rowUpper_;
  // For ColumnsOf: the auxiliary columns' meanings.
  struct TWeekendColumn {
    int employee, weekend, column;
  };
  std::vector<TWeekendColumn> weekendColumns_;
  // A person's runs as a path through states: worked r days in a row (r in
  // 1..work) or off q days in a row (q in 1..off, the last meaning "at least").
  struct TRunNetwork {
    int employee, work, off;
    std::vector<int> arcs;  // per day, from state (or the start), to state
    int States() const { return work + off; }
    int& Arc(int d, int from, int to) {
      return arcs[(static_cast<size_t>(d) * (States() + 1) + from) * States() + to];
    }
    int Arc(int d, int from, int to) const {
      return arcs[(static_cast<size_t>(d) * (States() + 1) + from) * States() + to];
    }
  };
  std::vector<TRunNetwork> networks_;
  struct TCoverColumns {
    int day, shift, requirement, under, over;
  };
  std::vector<TCoverColumns> coverColumns_;
  struct TBalanceColumns {
    const TBalance* balance;    // the instance's, which outlives the program
    int employee, under, over;  // under and over -1: a side that cannot bind
  };
  std::vector<TBalanceColumns> balanceColumns_;
};

TProgram::TProgram(const TInstance& instance)
    : days_(instance.days), employees_(static_cast<int>(instance.employees.size())) {
  BuildColumns(instance);
  if (infeasible_) return;
  for (int e = 0; e < employees_; ++e) BuildPersonRows(instance, e);
  BuildCoverRows(instance);
}

int TProgram::AddColumn(double lower, double upper, double cost, bool integer) {
  lower_.push_back(lower);
  upper_.push_back(upper);
  cost_.push_back(cost);
  integer_.push_back(integer ? 1 : 0);
  return static_cast<int>(lower_.size()) - 1;
}

void TProgram::EndRow(double lower, double upper) {
  const size_t begin = static_cast<size_t>(start_.back());
  double most = 0, least = 0;
  for (size_t i = begin; i < index_.size(); ++i) {
    const double a = value_[i];
    const int column = index_[i];
    most += a > 0 ? a * upper_[column] : a * lower_[column];
    least += a > 0 ? a * lower_[column] : a * upper_[column];
  }
  const bool kept = most <= upper && least >= lower;
  if (kept || index_.size() == begin) {
    // A row with no column left that its bounds exclude (a minimum of
    // minutes for someone who can work no shift) is a rule nobody can keep.
    if (!kept) infeasible_ = true;
    index_.resize(begin);
    value_.resize(begin);
    return;
  }
  rowLower_.push_back(lower);
  rowUpper_.push_back(upper);
  start_.push_back(static_cast<CoinBigIndex>(index_.size()));
}

void TProgram::BuildColumns(const TInstance& instance) {
  const int types = static_cast<int>(instance.shifts.size());
  const size_t cells = static_cast<size_t>(CellCount(instance));
  // Pins first: a pinned cell has one column fixed to 1, or none at all.
  std::vector<int> pinned(cells, kOff - 1);
  for (const TPin& pin : instance.pins) {
    int& cell = pinned[static_cast<size_t>(pin.employee) * days_ + pin.day];
    if (cell != kOff - 1 && cell != pin.shift) infeasible_ = true;
    cell = pin.shift;
  }
  first_.assign(cells + 1, 0);
  work_.assign(cells, -1);
  std::vector<char> dayOff(static_cast<size_t>(days_));
  for (int e = 0; e < employees_; ++e) {
    const TEmployee& person = instance.employees[e];
    std::fill(dayOff.begin(), dayOff.end(), 0);
    for (int d : person.daysOff) dayOff[d] = 1;
    for (int d = 0; d < days_; ++d) {
      const size_t cell = static_cast<size_t>(e) * days_ + d;
      const int pin = pinned[cell];
      for (int s = 0; s < types; ++s) {
        if (dayOff[d] || person.maxShifts[s] == 0) continue;
        if (pin != kOff - 1 && pin != s) continue;
        const bool fixed = pin == s;
        choices_.push_back({s, AddColumn(fixed ? 1 : 0, 1, 0, true)});
      }
      first_[cell + 1] = static_cast<int64_t>(choices_.size());
      if (pin >= 0 && XColumn(e, d, pin) < 0) infeasible_ = true;
    }
  }
  // The work indicators follow the x columns: implied integer, so left
  // continuous and never branched on.
  for (size_t cell = 0; cell < cells; ++cell) {
    if (first_[cell + 1] > first_[cell]) work_[cell] = AddColumn(0, 1, 0, true);
  }
  // Requests: an on-request costs its weight unless granted, an off-request
  // its weight when worked.
  for (const TRequest& request : instance.onRequests) {
    constant_ += request.weight;
    const int column = XColumn(request.employee, request.day, request.shift);
    if (column >= 0) cost_[column] -= request.weight;
  }
  for (const TRequest& request : instance.offRequests) {
    const int column = XColumn(request.employee, request.day, request.shift);
    if (column >= 0) cost_[column] += request.weight;
  }
}

void TProgram::BuildPersonRows(const TInstance& instance, int e) {
  const TEmployee& person = instance.employees[e];
  const int types = static_cast<int>(instance.shifts.size());
  // The work indicator is the sum of the day's x: at most one shift a day.
  for (int d = 0; d < days_; ++d) {
    if (!Workable(e, d)) continue;
    WorkTerm(e, d, 1);
    for (const TChoice& choice : Cell(e, d)) Term(choice.column, -1);
    EndRow(0, 0);
  }
  // Forbidden successions, one row per shift and day: the shift and every
  // shift it forbids the next day, which can hold at most one of them anyway.
  std::vector<char> forbids(static_cast<size_t>(types) * types, 0);
  for (int s = 0; s < types; ++s) {
    for (int t : instance.shifts[s].forbiddenNext) forbids[static_cast<size_t>(s) * types + t] = 1;
  }
  for (int d = 0; d + 1 < days_; ++d) {
    for (const TChoice& today : Cell(e, d)) {
      Term(today.column, 1);
      for (const TChoice& next : Cell(e, d + 1)) {
        if (forbids[static_cast<size_t>(today.shift) * types + next.shift]) Term(next.column, 1);
      }
      EndRow(-kInfinity, 1);
    }
  }
  // Shifts of each type, and total minutes.
  std::vector<char> works(static_cast<size_t>(types), 0);
  for (int d = 0; d < days_; ++d) {
    for (const TChoice& choice : Cell(e, d)) works[choice.shift] = 1;
  }
  for (int s = 0; s < types; ++s) {
    for (int d = 0; d < days_; ++d) {
      const int column = XColumn(e, d, s);
      if (column >= 0) Term(column, 1);
    }
    EndRow(-kInfinity, person.maxShifts[s]);
  }
  // The minutes row in units of the greatest common divisor of the lengths
  // this person may work, its bounds rounded inwards: with eight-hour shifts
  // and at most 2160 minutes the relaxation then sees at most 4 shifts, not
  // 4.5. Sums of whole units are whole, so no roster is lost.
  int64_t unit = 0;
  for (int s = 0; s < types; ++s) {
    if (works[s]) unit = std::gcd(unit, static_cast<int64_t>(instance.shifts[s].minutes));
  }
  if (unit == 0) unit = 1;
  for (int d = 0; d < days_; ++d) {
    for (const TChoice& choice : Cell(e, d)) {
      const int64_t minutes = instance.shifts[choice.shift].minutes;
      if (minutes != 0) Term(choice.column, static_cast<double>(minutes / unit));
    }
  }
  const int64_t least = (person.minMinutes + unit - 1) / unit, most = person.maxMinutes / unit;
  EndRow(least > 0 ? static_cast<double>(least) : -kInfinity, static_cast<double>(most));
  BuildWeekRows(instance, person, e, unit);
  BuildRunRows(person, e);
  BuildBalanceRows(person, e, BuildWeekendRows(person, e));
}

// A week's minutes within its cap: the part before midnight of the shifts of
// its days and the part after midnight of the shifts of the day before it
// and of every day of it but the horizon's last. The unit is the minutes
// row's, unless a part after midnight does not divide into it: then the
// greatest common divisor of every part this person may work. The cap is
// rounded down likewise. A cap that working every day at the longest shift
// allowed (by what it puts in the week) keeps anyway gets no row.
void TProgram::BuildWeekRows(const TInstance& instance, const TEmployee& person, int e,
                             int64_t unit) {
  if (person.maxWeekMinutes.empty()) return;
  int64_t weekUnit = unit;
  for (int d = 0; d < days_; ++d) {
    for (const TChoice& choice : Cell(e, d)) {
      weekUnit =
          std::gcd(weekUnit, static_cast<int64_t>(instance.shifts[choice.shift].minutesNextDay));
    }
  }
  for (size_t w = 0; w < person.maxWeekMinutes.size(); ++w) {
    const int first = static_cast<int>(7 * w), last = std::min(first + 7, days_);
    // What the shift s of day d puts in week w.
    const auto inWeek = [&](int d, int s) -> int64_t {
      const TShiftType& type = instance.shifts[s];
      const int64_t sameDay = d >= first ? type.minutes - type.minutesNextDay : 0;
      return sameDay + (d + 1 >= first && d + 1 < last ? type.minutesNextDay : 0);
    };
    int64_t longest = 0;
    for (int d = std::max(first - 1, 0); d < last; ++d) {
      int64_t day = 0;
      for (const TChoice& choice : Cell(e, d)) day = std::max(day, inWeek(d, choice.shift));
      longest += day;
    }
    const int64_t cap = person.maxWeekMinutes[w];
    if (longest <= cap) continue;
    TTerms terms;
    for (int d = std::max(first - 1, 0); d < last; ++d) {
      for (const TChoice& choice : Cell(e, d)) {
        const int64_t minutes = inWeek(d, choice.shift);
        if (minutes == 0) continue;
        Term(choice.column, static_cast<double>(minutes / weekUnit));
        terms.emplace_back(choice.column, minutes);
      }
    }
    EndRow(-kInfinity, static_cast<double>(cap / weekUnit));
    AddRoundedCaps(terms, cap);
  }
}

// Roundings of a cap of minutes over 0-1 columns, sum a_i x_i <= most: for
// a length a, sum floor(a_i / a) x_i <= floor(most / a) holds for every
// whole solution (Chvatal and Gomory). With a the length of a shift it
// counts shifts, and cuts off the relaxation's habit of filling a week's
// last fraction: a 30-hour week holds 4 seven-hour shifts, not 4.3, which
// over a month of 200 part-timers is hundreds of shifts the relaxation would
// otherwise cover. A length is tried when it is one of the row's own and its
// rounding is tighter than the row on some column; others the row implies.
// The horizon's minutes get none: there the roundings gain a shift at most
// and slowed the proofs of the published instances twofold.
void TProgram::AddRoundedCaps(const TTerms& terms, int64_t most) {
  std::vector<int64_t> lengths;
  for (const auto& [column, a] : terms) lengths.push_back(a);
  std::sort(lengths.begin(), lengths.end());
  lengths.erase(std::unique(lengths.begin(), lengths.end()), lengths.end());
  for (const int64_t a : lengths) {
    const int64_t floorMost = most / a;
    bool tighter = false;
    for (const auto& [column, ai] : terms) tighter |= (ai / a) * most > ai * floorMost;
    if (!tighter) continue;
    for (const auto& [column, ai] : terms) {
      if (ai >= a) Term(column, static_cast<double>(ai / a));
    }
    EndRow(-kInfinity, static_cast<double>(floorMost));
  }
}

// Run lengths as a path: each day the person moves from one state to the
// next (worked r days in a row, or off q days in a row), by arcs that exist
// only where the rules allow, so that a run ends only once long enough or
// when it began on day 0, and never grows past maxConsecutive. The arcs are
// a flow of one unit from the first day to the last, whose matrix is totally
// unimodular: the relaxation of one person's runs has integral corners, which
// the rows below do not give when a maximum and a minimum meet. A day's work
// indicator is the flow into its working states. Too many states (a long
// maximum) and the rows below do instead.
bool TProgram::BuildRunNetwork(const TEmployee& person, int e) {
  TRunNetwork net{e, std::min(person.maxConsecutive, days_), std::max(1, person.minDaysOff), {}};
  const int S = net.States();
  if (S > kMostRunStates) return false;
  net.arcs.assign(static_cast<size_t>(days_) * (S + 1) * S, -1);
  auto allowed = [&](int from, int to, int d) {
    if (from == S) return to == 0 || to == net.work;
    if (from < net.work) {
      const int r = from + 1;
      if (to == from + 1 && to < net.work) return true;
      return to == net.work && (r >= person.minConsecutive || r == d);
    }
    const int q = from - net.work + 1;
    if (to == net.work + std::min(q + 1, net.off) - 1) return true;
    return to == 0 && net.work > 0 && (q >= person.minDaysOff || q == d);
  };
  for (int d = 0; d < days_; ++d) {
    for (int from = d == 0 ? S : 0; from < (d == 0 ? S + 1 : S); ++from) {
      for (int to = 0; to < S; ++to) {
        if (!allowed(from, to, d) || (to < net.work && !Workable(e, d))) continue;
        net.Arc(d, from, to) = AddColumn(0, 1, 0, false);
      }
    }
  }
  for (int to = 0; to < S; ++to) {
    if (net.Arc(0, S, to) >= 0) Term(net.Arc(0, S, to), 1);
  }
  EndRow(1, 1);
  for (int d = 0; d + 1 < days_; ++d) {
    for (int st = 0; st < S; ++st) {
      for (int from = 0; from < (d == 0 ? S + 1 : S); ++from) {
        if (net.Arc(d, from, st) >= 0) Term(net.Arc(d, from, st), 1);
      }
      for (int to = 0; to < S; ++to) {
        if (net.Arc(d + 1, st, to) >= 0) Term(net.Arc(d + 1, st, to), -1);
      }
      EndRow(0, 0);
    }
  }
  for (int d = 0; d < days_; ++d) {
    if (!Workable(e, d)) continue;
    WorkTerm(e, d, 1);
    for (int from = 0; from < (d == 0 ? S + 1 : S); ++from) {
      for (int to = 0; to < net.work; ++to) {
        if (net.Arc(d, from, to) >= 0) Term(net.Arc(d, from, to), -1);
      }
    }
    EndRow(0, 0);
  }
  networks_.push_back(std::move(net));
  return true;
}

// Run lengths as rows. At most maxConsecutive worked days in every window one
// longer. A run that starts inside the horizon (the day before is off) must
// go on for minConsecutive days or up to the last day; a run of days off
// likewise for minDaysOff days. These "a start implies the next days" rows
// are the tight form of a minimum run on its own.
void TProgram::BuildRunRows(const TEmployee& person, int e) {
  if (BuildRunNetwork(person, e)) return;
  for (int d = 0; d + person.maxConsecutive < days_; ++d) {
    for (int i = d; i <= d + person.maxConsecutive; ++i) WorkTerm(e, i, 1);
    EndRow(-kInfinity, person.maxConsecutive);
  }
  for (int d = 1; d < days_; ++d) {
    for (int i = 1; i < person.minConsecutive && d + i < days_; ++i) {
      // work(d) - work(d-1) <= work(d+i)
      WorkTerm(e, d, 1);
      WorkTerm(e, d - 1, -1);
      WorkTerm(e, d + i, -1);
      EndRow(-kInfinity, 0);
    }
    for (int i = 1; i < person.minDaysOff && d + i < days_; ++i) {
      // work(d-1) - work(d) <= 1 - work(d+i)
      WorkTerm(e, d - 1, 1);
      WorkTerm(e, d, -1);
      WorkTerm(e, d + i, 1);
      EndRow(-kInfinity, 1);
    }
  }
}

// A weekend indicator at least the work of its Saturday and of its Sunday,
// and at most maxWeekends of them. Only the weekends that can be worked count.
// A balance of weekends counts the indicators, so one with a minimum holds
// each indicator also at most the work of its two days, which the maximum
// alone leaves free. Returns the indicators, none when no row needs them.
std::vector<int> TProgram::BuildWeekendRows(const TEmployee& person, int e) {
  const int weekends = WeekendCount(days_);
  int workable = 0;
  for (int w = 0; w < weekends; ++w) {
    const int saturday = 7 * w + 5, sunday = 7 * w + 6;
    if (Workable(e, saturday) || (sunday < days_ && Workable(e, sunday))) ++workable;
  }
  bool counted = false, atLeast = false;
  for (const TBalance& balance : person.balances) {
    counted |= balance.weekends && (balance.min > 0 || balance.max < workable);
    atLeast |= balance.weekends && balance.min > 0;
  }
  std::vector<int> columns;
  if (workable <= person.maxWeekends && !counted) return columns;
  for (int w = 0; w < weekends; ++w) {
    const int saturday = 7 * w + 5, sunday = 7 * w + 6;
    const bool sundayWorkable = sunday < days_ && Workable(e, sunday);
    if (!Workable(e, saturday) && !sundayWorkable) continue;
    const int column = AddColumn(0, 1, 0, true);
    weekendColumns_.push_back({e, w, column});
    columns.push_back(column);
    for (int day : {saturday, sunday}) {
      if (day >= days_ || !Workable(e, day)) continue;
      Term(column, 1);
      WorkTerm(e, day, -1);
      EndRow(0, kInfinity);
    }
    if (atLeast) {
      Term(column, 1);
      for (int day : {saturday, sunday}) {
        if (day < days_) WorkTerm(e, day, -1);
      }
      EndRow(-kInfinity, 0);
    }
  }
  if (workable > person.maxWeekends) {
    for (int column : columns) Term(column, 1);
    EndRow(-kInfinity, person.maxWeekends);
  }
  return columns;
}

// A balance's count less the shortfall at least its min, and less the excess
// at most its max; the objective pays weight for each unit of either. A side
// the count can never cross gets neither row nor column: a min of 0, or a
// max at least the days (or weekends) with a column to count.
void TProgram::BuildBalanceRows(const TEmployee& person, int e, const std::vector<int>& weekends) {
  for (size_t i = 0; i < person.balances.size(); ++i) {
    const TBalance& balance = person.balances[i];
    std::vector<int> counted;
    int reach = 0;
    if (balance.weekends) {
      counted = weekends;
      reach = static_cast<int>(weekends.size());
    } else {
      for (int d = 0; d < days_; ++d) {
        bool any = false;
        for (int s : balance.shifts) {
          if (const int column = XColumn(e, d, s); column >= 0)
            counted.push_back(column), any = true;
        }
        reach += any;
      }
    }
    TBalanceColumns columns{&balance, e, -1, -1};
    if (balance.min > 0) {
      columns.under = AddColumn(0, balance.min, balance.weight, false);
      for (int column : counted) Term(column, 1);
      Term(columns.under, 1);
      EndRow(balance.min, kInfinity);
    }
    if (reach > balance.max) {
      columns.over = AddColumn(0, reach - balance.max, balance.weight, false);
      for (int column : counted) Term(column, 1);
      Term(columns.over, -1);
      EndRow(-kInfinity, balance.max);
    }
    balanceColumns_.push_back(columns);
  }
}

// Cover: the people on (day, shift), plus the missing, less the surplus,
// make the requirement.
void TProgram::BuildCoverRows(const TInstance& instance) {
  const int types = static_cast<int>(instance.shifts.size());
  std::vector<std::vector<int>> onDuty(static_cast<size_t>(days_) * types);
  for (int e = 0; e < employees_; ++e) {
    for (int d = 0; d < days_; ++d) {
      for (const TChoice& choice : Cell(e, d)) {
        onDuty[static_cast<size_t>(d) * types + choice.shift].push_back(choice.column);
      }
    }
  }
  for (const TCover& cover : instance.cover) {
    const int under = AddColumn(0, cover.requirement, cover.underWeight, false);
    const int over = AddColumn(0, kInfinity, cover.overWeight, false);
    coverColumns_.push_back({cover.day, cover.shift, cover.requirement, under, over});
    for (int column : onDuty[static_cast<size_t>(cover.day) * types + cover.shift]) {
      Term(column, 1);
    }
    Term(under, 1);
    Term(over, -1);
    EndRow(cover.requirement, cover.requirement);
  }
}

void TProgram::Load(OsiSolverInterface& solver) const {
  const int rows = static_cast<int>(rowLower_.size());
  std::vector<int> lengths(static_cast<size_t>(rows));
  for (int r = 0; r < rows; ++r) lengths[r] = static_cast<int>(start_[r + 1] - start_[r]);
  CoinPackedMatrix matrix(false, Columns(), rows, start_.back(), value_.data(), index_.data(),
                          start_.data(), lengths.data());
  std::vector<double> rowLower(rowLower_), rowUpper(rowUpper_), lower(lower_), upper(upper_);
  const double infinity = solver.getInfinity();
  for (std::vector<double>* bound : {&rowLower, &rowUpper, &lower, &upper}) {
    for (double& value : *bound) value = std::clamp(value, -infinity, infinity);
  }
  solver.loadProblem(matrix, lower.data(), upper.data(), cost_.data(), rowLower.data(),
                     rowUpper.data());
  for (int c = 0; c < Columns(); ++c) {
    if (integer_[c]) solver.setInteger(c);
  }
}

TRoster TProgram::RosterOf(const double* columns) const {
  TRoster roster(employees_, days_);
  for (int e = 0; e < employees_; ++e) {
    for (int d = 0; d < days_; ++d) {
      for (const TChoice& choice : Cell(e, d)) {
        if (columns[choice.column] > 0.5) roster.Set(e, d, choice.shift);
      }
    }
  }
  return roster;
}

std::vector<double> TProgram::ColumnsOf(const TRoster& roster) const {
  std::vector<double> columns(lower_.size(), 0.0);
  for (int e = 0; e < employees_; ++e) {
    for (int d = 0; d < days_; ++d) {
      const int s = roster.At(e, d);
      if (s == kOff) continue;
      const int column = XColumn(e, d, s);
      if (column < 0) return {};
      columns[column] = 1;
      columns[work_[static_cast<size_t>(e) * days_ + d]] = 1;
    }
  }
  for (const TRunNetwork& net : networks_) {
    int state = net.States();
    for (int d = 0; d < days_; ++d) {
      const bool worked = roster.At(net.employee, d) != kOff;
      int next;
      if (worked) {
        next = state < net.work ? state + 1 : 0;
      } else {
        next = state >= net.work && state < net.States()
                   ? net.work + std::min(state - net.work + 2, net.off) - 1
                   : net.work;
      }
      if (next >= net.States() || net.Arc(d, state, next) < 0) return {};
      columns[net.Arc(d, state, next)] = 1;
      state = next;
    }
  }
  for (const TWeekendColumn& weekend : weekendColumns_) {
    const int saturday = 7 * weekend.weekend + 5, sunday = saturday + 1;
    const bool worked = roster.At(weekend.employee, saturday) != kOff ||
                        (sunday < days_ && roster.At(weekend.employee, sunday) != kOff);
    columns[weekend.column] = worked ? 1 : 0;
  }
  // Cover slacks from the people on duty.
  for (const TCoverColumns& cover : coverColumns_) {
    int present = 0;
    for (int e = 0; e < employees_; ++e) present += roster.At(e, cover.day) == cover.shift;
    columns[cover.under] = std::max(0, cover.requirement - present);
    columns[cover.over] = std::max(0, present - cover.requirement);
  }
  for (const TBalanceColumns& balance : balanceColumns_) {
    const auto works = [&](int d) { return d < days_ && roster.At(balance.employee, d) != kOff; };
    const std::vector<int>& shifts = balance.balance->shifts;
    int count = 0;
    if (balance.balance->weekends) {
      for (int saturday = 5; saturday < days_; saturday += 7)
        count += works(saturday) || works(saturday + 1);
    } else {
      for (int d = 0; d < days_; ++d) {
        count +=
            std::find(shifts.begin(), shifts.end(), roster.At(balance.employee, d)) != shifts.end();
      }
    }
    if (balance.under >= 0) columns[balance.under] = std::max(0, balance.balance->min - count);
    if (balance.over >= 0) columns[balance.over] = std::max(0, count - balance.balance->max);
  }
  return columns;
}

bool TProgram::Satisfies(const std::vector<double>& columns) const {
  constexpr double kTolerance = 1e-6;
  if (columns.size() != lower_.size()) return false;
  for (size_t c = 0; c < columns.size(); ++c) {
    if (columns[c] < lower_[c] - kTolerance || columns[c] > upper_[c] + kTolerance) return false;
    if (integer_[c] && std::fabs(columns[c] - std::round(columns[c])) > kTolerance) return false;
  }
  for (size_t r = 0; r < rowLower_.size(); ++r) {
    double activity = 0;
    for (CoinBigIndex i = start_[r]; i < start_[r + 1]; ++i) {
      activity += value_[i] * columns[index_[i]];
    }
    if (activity < rowLower_[r] - kTolerance || activity > rowUpper_[r] + kTolerance) return false;
  }
  return true;
}

double TProgram::Cost(const std::vector<double>& columns) const {
  double cost = 0;
  for (size_t c = 0; c < columns.size(); ++c) cost += cost_[c] * columns[c];
  return cost;
}

std::vector<double> TProgram::HintOf(const TRoster& roster) const {
  std::vector<double> hint(lower_);
  for (int e = 0; e < employees_; ++e) {
    for (int d = 0; d < days_; ++d) {
      const int column = roster.At(e, d) == kOff ? -1 : XColumn(e, d, roster.At(e, d));
      if (column >= 0) hint[column] = 1;
    }
  }
  return hint;
}

// One run of SolveExact: what has been proven and found so far, and the
// callbacks to tell of it.
class TRun {
 public:
  TRun(const TProgram& program, const TExactOptions& options)
      : program_(program), options_(options), stopper_(options.timeLimitSeconds, options.stop) {}

  TStopper& Stopper() { return stopper_; }
  const std::optional<int64_t>& Bound() const { return bound_; }
  const std::optional<TRoster>& Best() const { return best_; }
  int64_t BestObjective() const { return bestObjective_; }

  // A bound proven while nothing was cut short.
  void ProveBound(double programBound) {
    int64_t bound = RoundBoundUp(programBound + program_.Constant());
    if (best_) bound = std::min(bound, bestObjective_);  // noise past the incumbent
    if (bound_ && *bound_ >= bound) return;
    bound_ = bound;
    if (options_.onBound) options_.onBound(bound);
  }

  // A solution of CBC's; kept and told when it beats the best. Its roster is
  // checked against every row again, in exact values rather than CBC's
  // floating ones.
  void Offer(const double* columns, bool tell) {
    TRoster roster = program_.RosterOf(columns);
    const std::vector<double> exact = program_.ColumnsOf(roster);
    if (exact.empty() || !program_.Satisfies(exact)) return;
    const int64_t objective = RoundObjective(program_.Cost(exact) + program_.Constant());
    if (best_ && objective >= bestObjective_) return;
    best_ = std::move(roster);
    bestObjective_ = objective;
    if (tell && options_.onRoster) options_.onRoster(*best_, objective);
  }

  // The main model's events: the incumbent and the tree's bound, then
  // whether to stop.
  bool OnEvent(CbcModel& model, CbcEventHandler::CbcEvent event) {
    if (&model == main_ && model.getNumCols() == program_.Columns()) {
      // Checking a solution walks the whole program: only a new incumbent.
      const double* best = model.bestSolution();
      if (best != nullptr && model.getObjValue() != lastIncumbent_) {
        lastIncumbent_ = model.getObjValue();
        Offer(best, true);
      }
      if (event == CbcEventHandler::treeStatus && !stopper_.Fired() && model.tree() != nullptr &&
          model.tree()->size() > 0) {
        ProveBound(model.getBestPossibleObjValue());
      }
    }
    return stopper_.Check();
  }
  void SetMain(CbcModel* model) { main_ = model; }

 private:
  const TProgram& program_;
  const TExactOptions& options_;
  TStopper stopper_;
  CbcModel* main_ = nullptr;
  double lastIncumbent_ = kInfinity;
  std::optional<int64_t> bound_;
  std::optional<TRoster> best_;
  int64_t bestObjective_ = 0;
};

// Stops the simplex between iterations: a large relaxation may take minutes.
class TClpStop final : public ClpEventHandler {
 public:
  explicit TClpStop(TStopper* stopper) : stopper_(stopper) {}
  int event(Event whichEvent) override {
    if (whichEvent != endOfIteration && whichEvent != endOfFactorization) return -1;
    return stopper_->Check() ? 0 : -1;
  }
  ClpEventHandler* clone() const override { return new TClpStop(*this); }

 private:
  TStopper* stopper_;
};

class TCbcEvents final : public CbcEventHandler {
 public:
  explicit TCbcEvents(TRun* run) : run_(run) {}
  CbcAction event(CbcEvent whichEvent) override {
    return run_->OnEvent(*model_, whichEvent) ? stop : noAction;
  }
  CbcEventHandler* clone() const override { return new TCbcEvents(*this); }

 private:
  TRun* run_;
};

void Silence(OsiClpSolverInterface& solver) {
  solver.messageHandler()->setLogLevel(0);
  solver.getModelPtr()->messageHandler()->setLogLevel(0);
  solver.setHintParam(OsiDoReducePrint, true, OsiHintTry);
}

// The cuts and heuristics that proved the published instances fastest; the
// ones left out (two-step MIR, flow cover, RENS, DINS) slowed them down.
void AddCutsAndHeuristics(CbcModel& model) {
  CglProbing probing;
  probing.setUsingObjective(1);
  probing.setMaxPass(1);
  probing.setMaxPassRoot(5);
  probing.setMaxProbe(10);
  probing.setMaxProbeRoot(1000);
  probing.setMaxLook(50);
  probing.setMaxLookRoot(500);
  probing.setMaxElements(200);
  probing.setRowCuts(3);
  model.addCutGenerator(&probing, -1, "Probing");
  CglGomory gomory;
  gomory.setLimit(300);
  model.addCutGenerator(&gomory, -1, "Gomory");
  CglKnapsackCover knapsack;
  model.addCutGenerator(&knapsack, -1, "Knapsack");
  CglClique clique;
  clique.setStarCliqueReport(false);
  clique.setRowCliqueReport(false);
  model.addCutGenerator(&clique, -1, "Clique");
  CglMixedIntegerRounding2 rounding;
  model.addCutGenerator(&rounding, -1, "MixedIntegerRounding2");
  CglZeroHalf zeroHalf;
  model.addCutGenerator(&zeroHalf, -1, "ZeroHalf");

  CbcRounding simpleRounding(model);
  model.addHeuristic(&simpleRounding);
  CbcHeuristicFPump pump(model);
  pump.setMaximumPasses(20);
  model.addHeuristic(&pump);
  CbcHeuristicLocal local(model);
  model.addHeuristic(&local);
  CbcHeuristicRINS rins(model);
  model.addHeuristic(&rins);
  CbcHeuristicDiveCoefficient dive(model);
  model.addHeuristic(&dive);
}

}  // namespace

int64_t ExactVariables(const TInstance& instance) {
  int64_t binaries = 0;
  std::vector<char> dayOff;
  for (const TEmployee& person : instance.employees) {
    int64_t types = 0;
    for (int count : person.maxShifts) types += count > 0;
    dayOff.assign(static_cast<size_t>(std::max(0, instance.days)), 0);
    int64_t off = 0;
    for (int d : person.daysOff) {
      if (d >= 0 && d < instance.days && !dayOff[d]) ++off, dayOff[d] = 1;
    }
    binaries += types * (instance.days - off);
  }
  return binaries;
}

TExactResult SolveExact(const TInstance& instance, const TExactOptions& options) {
  CheckModel(instance);
  TExactResult result;
  if (ExactVariables(instance) > options.mostVariables ||
      CellCount(instance) > options.mostVariables) {
    result.tooLarge = true;
    result.status = "too large";
    return result;
  }
  TProgram program(instance);
  if (program.Infeasible()) {
    result.status = "infeasible";
    return result;
  }
  TRun run(program, options);
  // A start that keeps every rule is the incumbent from the outset; one that
  // breaks some only hints where to branch first.
  std::vector<double> start, hint;
  if (options.start != nullptr) {
    start = program.ColumnsOf(*options.start);
    if (!start.empty() && program.Satisfies(start)) {
      run.Offer(start.data(), false);
    } else {
      start.clear();
      hint = program.HintOf(*options.start);
    }
  }
  const auto conclude = [&run, &result](const char* status) {
    result.roster = run.Best();
    result.objective = run.BestObjective();
    result.bound = run.Bound();
    result.optimal = result.roster && result.bound && *result.bound >= result.objective;
    result.status = result.optimal ? "optimal" : status;
    return result;
  };
  if (run.Stopper().Check()) return conclude(run.Stopper().Status());

  OsiClpSolverInterface solver;
  program.Load(solver);
  Silence(solver);
  TClpStop clpStop(&run.Stopper());
  solver.getModelPtr()->passInEventHandler(&clpStop);

  // The relaxation first, on its own: its bound is worth telling at once, and
  // branch and cut starts from its basis. Clp's own limit backs up the stop
  // handler.
  solver.getModelPtr()->setMaximumSeconds(run.Stopper().SecondsLeft() + 1);
  if (ExactVariables(instance) > kBarrierFrom) {
    ClpSolve barrier;
    barrier.setSolveType(ClpSolve::useBarrier);
    solver.setSolveOptions(barrier);
  }
  solver.initialSolve();
  solver.getModelPtr()->setMaximumSeconds(-1);
  solver.setSolveOptions(ClpSolve());
  if (run.Stopper().Check()) return conclude(run.Stopper().Status());
  if (solver.isProvenPrimalInfeasible()) return conclude("infeasible");
  if (!solver.isProvenOptimal()) return conclude("no roster");
  run.ProveBound(solver.getObjValue());
  if (options.relaxationOnly) return conclude("bound");

  CbcModel model(solver);
  run.SetMain(&model);
  model.setLogLevel(0);
  model.messageHandler()->setLogLevel(0);
  Silence(*dynamic_cast<OsiClpSolverInterface*>(model.solver()));
  model.setNumberThreads(0);
  model.setUseElapsedTime(true);
  model.setMaximumSeconds(run.Stopper().SecondsLeft());
  model.setPrintFrequency(1);
  // Every roster costs an integer: a new incumbent prunes every node that
  // cannot beat it by a whole unit.
  model.setCutoffIncrement(0.999);
  model.setAllowableGap(0.999);
  AddCutsAndHeuristics(model);
  // Work or rest first, which shift only then: a day's work indicator and a
  // weekend's settle many rows at once, a shift type few. On the published
  // instances this branching order is what made the third one provable.
  model.findIntegers(false);
  std::vector<int> priorities;
  for (int c = 0; c < program.Columns(); ++c) {
    if (model.solver()->isInteger(c)) priorities.push_back(c < program.FirstWork() ? 1000 : 100);
  }
  model.passInPriorities(priorities.data(), false);
  TCbcEvents events(&run);
  model.passInEventHandler(&events);
  if (!start.empty())
    model.setBestSolution(start.data(), program.Columns(), program.Cost(start), true);
  if (!hint.empty()) model.setHotstartSolution(hint.data());

  model.branchAndBound();
  if (model.bestSolution() != nullptr) run.Offer(model.bestSolution(), true);
  if (run.Stopper().Fired()) return conclude(run.Stopper().Status());
  // CBC ended by itself: what it says can be trusted.
  if (model.isProvenOptimal()) {
    if (!run.Best()) return conclude("infeasible");
    run.ProveBound(model.getObjValue());
    return conclude("optimal");
  }
  if (model.isProvenInfeasible() && !run.Best()) return conclude("infeasible");
  if (model.isSecondsLimitReached()) {
    run.ProveBound(model.getBestPossibleObjValue());
    return conclude("time limit");
  }
  return conclude("no roster");
}

}  // namespace cuadrante::solver
