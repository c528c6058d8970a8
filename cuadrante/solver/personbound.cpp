#include "cuadrante/solver/personbound.h"

#include <CoinPackedMatrix.hpp>
#include <OsiClpSolverInterface.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <numeric>
#include <thread>
#include <vector>

namespace cuadrante::solver {
namespace {

constexpr double kNoMonth = std::numeric_limits<double>::infinity();
constexpr int kFree = -1;   // a day whose shift the person's problem chooses
constexpr int kNever = -2;  // a day no shift keeps the rules: pinned to a type
                            // the person may not take, or pinned twice

// The buffers of one pricing thread, sized once for the largest person.
struct TWorkspace {
  std::vector<double> cost;                // days x local types
  std::vector<double> here, next;          // per state; kNoMonth where not reached
  std::vector<uint32_t> reached, touched;  // the states reached today, tomorrow
  std::vector<uint32_t> from;              // days x states: the state each came from
};

// One person's month as a cheapest path through a few states a day. A state
// is the day's local type (0: off), the run of work or of rest it ends, the
// week's minutes without the part of tonight's shift that falls tomorrow,
// the horizon's minutes (all minutes in units of the lengths' divisor) and
// the weekends worked. A dimension no rule needs has a single value.
class TPersonMonth {
 public:
  // A table past `mostCells` loses the weekends, then the shortest runs, as
  // states: a weaker bound, still proven.
  TPersonMonth(const TInstance& instance, int employee, int64_t mostCells) : days_(instance.days) {
    const TEmployee& person = instance.employees[static_cast<size_t>(employee)];
    ReadTypes(instance, person);
    ReadDays(instance, employee, person);
    ReadRules(instance, person, mostCells);
    ReadRequests(instance, employee);
  }

  int Types() const { return static_cast<int>(types_.size()); }
  int Type(int local) const { return types_[static_cast<size_t>(local)]; }
  // Saturating: the sizes of a model at its limits multiply past 64 bits.
  int64_t States() const {
    int64_t product = Types();
    for (const int64_t size : {runs_, weeks_, horizon_, weekends_}) {
      if (__builtin_mul_overflow(product, size, &product)) return INT64_MAX;
    }
    return product;
  }
  int64_t Cells() const {
    int64_t cells = 0;
    return __builtin_mul_overflow(States(), int64_t{days_}, &cells) ? INT64_MAX : cells;
  }
  double BaseCost(int day, int local) const {
    return base_[static_cast<size_t>(day) * types_.size() + static_cast<size_t>(local)];
  }

  // The cheapest month when local type k on day d costs `work.cost[d * Types()
  // + k]`, and its local types a day in `path`; kNoMonth when there is none.
  double Cheapest(TWorkspace& work, std::vector<int>& path) const {
    const size_t states = static_cast<size_t>(States());
    work.here.assign(states, kNoMonth);
    work.next.assign(states, kNoMonth);
    work.from.resize(states * static_cast<size_t>(days_));
    work.here[0] = 0;  // the day before: off, no run, nothing worked
    work.reached.assign(1, 0);
    for (int day = 0; day < days_; ++day) Step(work, day);
    double best = kNoMonth;
    size_t at = 0;
    for (const uint32_t state : work.reached) {
      if (work.here[state] < best && Horizon(state) >= minUnits_) {
        best = work.here[state];
        at = state;
      }
    }
    path.assign(static_cast<size_t>(days_), 0);
    if (best == kNoMonth) return best;
    for (int day = days_ - 1; day >= 0; --day) {
      path[static_cast<size_t>(day)] =
          static_cast<int>(at / static_cast<size_t>(runs_ * weeks_ * horizon_ * weekends_));
      at = work.from[static_cast<size_t>(day) * states + at];
    }
    return best;
  }

 private:
  // Local types: off and every type the person may take; lengths in units
  // of the divisor of every length.
  void ReadTypes(const TInstance& instance, const TEmployee& person) {
    for (const TShiftType& type : instance.shifts) {
      unit_ = std::gcd(unit_, std::gcd(type.minutes, type.minutesNextDay));
    }
    unit_ = std::max(unit_, 1);
    types_.push_back(kOff);
    for (size_t t = 0; t < instance.shifts.size(); ++t) {
      if (person.maxShifts[t] > 0) types_.push_back(static_cast<int>(t));
    }
    const int locals = Types();
    for (int k = 0; k < locals; ++k) {
      const int t = types_[static_cast<size_t>(k)];
      const int minutes = k == 0 ? 0 : instance.shifts[static_cast<size_t>(t)].minutes;
      const int nextDay = k == 0 ? 0 : instance.shifts[static_cast<size_t>(t)].minutesNextDay;
      total_.push_back(minutes / unit_);
      today_.push_back((minutes - nextDay) / unit_);
      tomorrow_.push_back(nextDay / unit_);
      for (int j = 0; j < locals; ++j) {
        const auto& forbidden = instance.shifts[static_cast<size_t>(t)].forbiddenNext;
        forbids_.push_back(k > 0 && j > 0 &&
                           std::find(forbidden.begin(), forbidden.end(),
                                     types_[static_cast<size_t>(j)]) != forbidden.end());
      }
    }
  }

  // Each day free, fixed to a local type, or impossible.
  void ReadDays(const TInstance& instance, int employee, const TEmployee& person) {
    constexpr int kUnpinned = kOff - 1;
    std::vector<int> pinned(static_cast<size_t>(days_), kUnpinned);
    std::vector<char> clash(static_cast<size_t>(days_), 0);
    for (const TPin& pin : instance.pins) {
      if (pin.employee != employee) continue;
      int& cell = pinned[static_cast<size_t>(pin.day)];
      clash[static_cast<size_t>(pin.day)] |= cell != kUnpinned && cell != pin.shift;
      cell = pin.shift;
    }
    std::vector<char> dayOff(static_cast<size_t>(days_), 0);
    for (int day : person.daysOff) dayOff[static_cast<size_t>(day)] = 1;
    for (size_t day = 0; day < pinned.size(); ++day) {
      const int shift = pinned[day];
      const auto local = std::find(types_.begin(), types_.end(), shift);
      if (shift == kUnpinned) {
        fixed_.push_back(dayOff[day] ? 0 : kFree);
      } else if (clash[day] || local == types_.end() || (dayOff[day] && shift != kOff)) {
        fixed_.push_back(kNever);
      } else {
        fixed_.push_back(static_cast<int>(local - types_.begin()));
      }
    }
  }

  void ReadRules(const TInstance& instance, const TEmployee& person, int64_t mostCells) {
    int longest = 0, longestNext = 0;
    for (const TShiftType& type : instance.shifts) {
      longest = std::max(longest, type.minutes);
      longestNext = std::max(longestNext, type.minutesNextDay);
    }
    maxConsecutive_ = person.maxConsecutive;
    trackLongest_ = person.maxConsecutive < days_;
    maxWeekends_ = person.maxWeekends;
    if (maxWeekends_ < WeekendCount(days_)) weekends_ = maxWeekends_ + 1;
    SetShortestRuns(person.minConsecutive, person.minDaysOff);
    // A week can hold no more than seven of the longest shifts and a night
    // from the week before: a cap above that never binds.
    const int64_t weekMost = (int64_t{7} * longest + longestNext) / unit_;
    for (int64_t cap : person.maxWeekMinutes) weekCaps_.push_back(std::min(cap / unit_, weekMost));
    for (int64_t cap : weekCaps_) weeks_ = std::max<int64_t>(weeks_, cap + 1);
    const int64_t horizonMost = int64_t{days_} * longest / unit_;
    minUnits_ = (person.minMinutes + unit_ - 1) / unit_;
    maxUnits_ = std::min(person.maxMinutes / unit_, horizonMost);
    trackHorizon_ = minUnits_ > 0 || maxUnits_ < horizonMost;
    if (trackHorizon_) horizon_ = maxUnits_ + 1;
    if (Cells() > mostCells && weekends_ > 1) {
      weekends_ = 1;
      maxWeekends_ = WeekendCount(days_);
    }
    if (Cells() > mostCells) SetShortestRuns(0, 0);
  }

  // An on-request not granted costs on every other choice.
  void ReadRequests(const TInstance& instance, int employee) {
    const int locals = Types();
    base_.assign(static_cast<size_t>(days_) * static_cast<size_t>(locals), 0.0);
    for (const TRequest& request : instance.onRequests) {
      if (request.employee != employee) continue;
      for (int k = 0; k < locals; ++k) {
        if (types_[static_cast<size_t>(k)] != request.shift) Base(request.day, k) += request.weight;
      }
    }
    for (const TRequest& request : instance.offRequests) {
      if (request.employee != employee) continue;
      const auto local = std::find(types_.begin(), types_.end(), request.shift);
      if (local != types_.end())
        Base(request.day, static_cast<int>(local - types_.begin())) += request.weight;
    }
  }

  // Runs: a working run's length up to the longest allowed (or up to the
  // shortest, when no longest binds), a run of rest's up to the shortest.
  void SetShortestRuns(int64_t work, int64_t rest) {
    minConsecutive_ = work;
    minDaysOff_ = rest;
    runCap_ = std::max({trackLongest_ ? maxConsecutive_ : 0, minConsecutive_, minDaysOff_});
    runCap_ = std::min(runCap_, static_cast<int64_t>(days_));
    runs_ = runCap_ + 1;
  }

  double& Base(int day, int local) {
    return base_[static_cast<size_t>(day) * types_.size() + static_cast<size_t>(local)];
  }
  size_t Index(int local, int64_t run, int64_t week, int64_t horizon, int64_t weekends) const {
    return static_cast<size_t>(
        (((local * runs_ + run) * weeks_ + week) * horizon_ + horizon) * weekends_ + weekends);
  }
  int64_t Horizon(size_t state) const {
    return trackHorizon_ ? static_cast<int64_t>(state / static_cast<size_t>(weekends_) %
                                                static_cast<size_t>(horizon_))
                         : minUnits_;
  }

  // Only the states reached are visited: early in the month, and for the
  // horizon's minutes at any time, most are not.
  void Step(TWorkspace& work, int day) const {
    uint32_t* from = work.from.data() + static_cast<size_t>(day) * work.here.size();
    const double* cost = work.cost.data() + static_cast<size_t>(day) * types_.size();
    const size_t week = static_cast<size_t>(day / 7);
    const bool capped = week < weekCaps_.size();
    const int64_t cap = capped ? weekCaps_[week] : 0;
    const bool weekStarts = day % 7 == 0;
    const int fixed = fixed_[static_cast<size_t>(day)];
    const int locals = Types();
    work.touched.clear();
    const int64_t weekend = day % 7;  // 5: Saturday, 6: Sunday
    for (const uint32_t state : work.reached) {
      const double value = work.here[state];
      work.here[state] = kNoMonth;  // ready to be tomorrow's next
      int64_t rest = state;
      const int64_t weekends = rest % weekends_;
      rest /= weekends_;
      const int64_t horizon = rest % horizon_;
      rest /= horizon_;
      const int64_t weekUnits = rest % weeks_;
      rest /= weeks_;
      const int64_t run = rest % runs_;  // of work when `last` is a shift, else of rest
      const int last = static_cast<int>(rest / runs_);
      // A run that began on the first day touches the horizon's edge and
      // owes no minimum; below the cap a run's length is exact.
      const bool fromFirstDay = run == day;
      const int64_t carried = (weekStarts ? 0 : weekUnits) + tomorrow_[static_cast<size_t>(last)];
      for (int k = 0; k < locals; ++k) {
        if (fixed != kFree && k != fixed) continue;
        int64_t nextRun = 1, nextWeek = carried, nextHorizon = horizon, nextWeekends = weekends;
        if (k > 0) {
          if (forbids_[static_cast<size_t>(last * locals + k)]) continue;
          if (last == 0 && run < minDaysOff_ && !fromFirstDay) continue;
          if (last > 0) nextRun = run + 1;
          if (trackLongest_ && nextRun > maxConsecutive_) continue;
          nextWeek += today_[static_cast<size_t>(k)];
          nextHorizon += total_[static_cast<size_t>(k)];
          if (trackHorizon_ && nextHorizon > maxUnits_) continue;
          // A weekend counts once, on its Saturday or on a Sunday after a
          // Saturday off.
          if (weekend == 5 || (weekend == 6 && last == 0)) ++nextWeekends;
          if (nextWeekends > maxWeekends_) continue;
        } else {
          if (last > 0 && run < minConsecutive_ && !fromFirstDay) continue;
          if (last == 0) nextRun = run + 1;
        }
        if (capped && nextWeek > cap) continue;
        const size_t to = Index(k, std::min(nextRun, runCap_), capped ? nextWeek : 0,
                                trackHorizon_ ? nextHorizon : 0, weekends_ > 1 ? nextWeekends : 0);
        const double reached = value + cost[k];
        if (work.next[to] == kNoMonth) work.touched.push_back(static_cast<uint32_t>(to));
        if (reached < work.next[to]) {
          work.next[to] = reached;
          from[to] = state;
        }
      }
    }
    work.here.swap(work.next);
    work.reached.swap(work.touched);
  }

  int days_;
  int unit_ = 0;            // minutes: the divisor of every length
  std::vector<int> types_;  // local -> shift type; 0 is off
  std::vector<int64_t> total_, today_, tomorrow_;
  std::vector<char> forbids_;  // last x next, local types
  std::vector<int> fixed_;     // per day: the local type pinned, kFree or kNever
  std::vector<int64_t> weekCaps_;
  int64_t maxConsecutive_ = 0, minConsecutive_ = 0, minDaysOff_ = 0, maxWeekends_ = 0;
  bool trackLongest_ = false, trackHorizon_ = false;
  int64_t runCap_ = 0;  // runs longer count as this long
  // The size of each dimension; one value where no rule needs it.
  int64_t runs_ = 1, weeks_ = 1, horizon_ = 1, weekends_ = 1;
  int64_t minUnits_ = 0, maxUnits_ = 0;
  std::vector<double> base_;  // days x local types: the requests' cost
};

class TBoundRun {
 public:
  TBoundRun(const TInstance& instance, const TPersonBoundOptions& options)
      : instance_(instance),
        options_(options),
        deadline_(std::chrono::steady_clock::now() +
                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                      std::chrono::duration<double>(options.timeLimitSeconds))) {
    for (int e = 0; e < Employees(); ++e) people_.emplace_back(instance, e, options.mostCells);
  }

  TPersonBoundResult Run() {
    TPersonBoundResult result;
    for (const TPersonMonth& person : people_) {
      if (person.Cells() > options_.mostCells || person.States() > UINT32_MAX) {
        result.status = "too large";
        return result;
      }
    }
    std::vector<double> prices(instance_.cover.size(), 0.0);
    if (!PriceEveryone(prices)) return Ended(result);
    for (int e = 0; e < Employees(); ++e) {
      if (values_[static_cast<size_t>(e)] == kNoMonth) {
        result.status = "infeasible";
        return result;
      }
    }
    BuildMaster();
    for (int e = 0; e < Employees(); ++e) AddColumn(ColumnOf(e, paths_[static_cast<size_t>(e)]));
    if (options_.start != nullptr) AddStartColumns(*options_.start);
    // Smoothing the prices towards the best so far (Wentges) took more
    // rounds, not fewer, on a month of 200 people: the master's own prices
    // are used as they are.
    for (bool first = true;; first = false) {
      if (first) {
        master_.initialSolve();
      } else {
        master_.resolve();
      }
      if (!master_.isProvenOptimal()) return Ended(result);
      // A copy: adding columns may move the master's arrays.
      const std::vector<double> duals(master_.getRowPrice(),
                                      master_.getRowPrice() + master_.getNumRows());
      for (size_t c = 0; c < prices.size(); ++c) {
        const TCover& line = instance_.cover[c];
        prices[c] = std::clamp(duals[c], -static_cast<double>(line.overWeight),
                               static_cast<double>(line.underWeight));
      }
      if (!PriceEveryone(prices)) return Ended(result);
      ++result.rounds;
      const int64_t bound = LagrangianBound(prices);
      if (!result.bound || bound > *result.bound) result.bound = bound;
      if (AddCheaperMonths(duals) == 0) {
        result.status = "converged";
        return result;
      }
    }
  }

 private:
  int Employees() const { return static_cast<int>(instance_.employees.size()); }

  // What every roster costs at least, by the prices just used: the prices'
  // worth of the requirements and each person's cheapest month. All costs
  // are whole and none is negative, so the bound is rounded up, and never
  // below nothing; the tolerance absorbs the simplex's rounding.
  int64_t LagrangianBound(const std::vector<double>& prices) const {
    double lagrangian = 0;
    for (size_t c = 0; c < prices.size(); ++c) {
      lagrangian += prices[c] * instance_.cover[c].requirement;
    }
    for (const double value : values_) lagrangian += value;
    const double rounded = std::ceil(lagrangian - 1e-6 * std::max(1.0, std::fabs(lagrangian)));
    return std::max<int64_t>(0, static_cast<int64_t>(rounded));
  }

  // Each person's month just priced that is cheaper than the master's
  // months at the master's own prices joins it; how many did.
  int AddCheaperMonths(const std::vector<double>& duals) {
    int added = 0;
    for (int e = 0; e < Employees(); ++e) {
      const TColumn column = ColumnOf(e, paths_[static_cast<size_t>(e)]);
      double reduced = column.cost;
      for (const int row : column.rows) reduced -= duals[static_cast<size_t>(row)];
      if (reduced < -1e-6) {
        AddColumn(column);
        ++added;
      }
    }
    return added;
  }

  bool Expired() const {
    return (options_.stop != nullptr && options_.stop->load()) ||
           std::chrono::steady_clock::now() >= deadline_;
  }

  TPersonBoundResult& Ended(TPersonBoundResult& result) const {
    result.status = options_.stop != nullptr && options_.stop->load() ? "stopped" : "time limit";
    return result;
  }

  // Each person's cheapest month at `prices` (per cover line), on the
  // option's threads; false when the time ran out first.
  bool PriceEveryone(const std::vector<double>& prices) {
    const int days = instance_.days;
    const size_t types = instance_.shifts.size();
    std::vector<double> price(static_cast<size_t>(days) * types, 0.0);
    for (size_t c = 0; c < prices.size(); ++c) {
      const TCover& line = instance_.cover[c];
      price[Cell(line.day, line.shift)] += prices[c];
    }
    values_.assign(people_.size(), kNoMonth);
    paths_.resize(people_.size());
    std::atomic<int> next{0};
    std::atomic<bool> expired{false};
    const auto work = [&] {
      TWorkspace space;
      std::vector<int> local;  // a month's local types, reused for each person
      for (int e = next++; e < Employees(); e = next++) {
        if (Expired()) {
          expired = true;
          return;
        }
        const TPersonMonth& person = people_[static_cast<size_t>(e)];
        space.cost.resize(static_cast<size_t>(days * person.Types()));
        for (int d = 0; d < days; ++d) {
          for (int k = 0; k < person.Types(); ++k) {
            double cost = person.BaseCost(d, k);
            if (k > 0) cost -= price[Cell(d, person.Type(k))];
            space.cost[static_cast<size_t>(d * person.Types() + k)] = cost;
          }
        }
        values_[static_cast<size_t>(e)] = person.Cheapest(space, local);
        std::vector<int>& path = paths_[static_cast<size_t>(e)];
        path.resize(local.size());
        for (size_t d = 0; d < local.size(); ++d) path[d] = person.Type(local[d]);
      }
    };
    const int threads = std::clamp(options_.threads, 1, std::max(1, Employees()));
    std::vector<std::thread> helpers;
    for (int i = 1; i < threads; ++i) helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers) helper.join();
    return !expired;
  }

  // Cover rows (requirement = people + missing - too many) and a row a
  // person (its months' weights sum to one).
  void BuildMaster() {
    const int lines = static_cast<int>(instance_.cover.size());
    CoinPackedMatrix matrix(true, 0, 0);
    matrix.setDimensions(lines + Employees(), 0);
    std::vector<double> cost, lower, upper;
    for (int c = 0; c < lines; ++c) {
      const TCover& line = instance_.cover[static_cast<size_t>(c)];
      const int row[] = {c};
      const double missing[] = {1}, tooMany[] = {-1};
      matrix.appendCol(1, row, missing);
      matrix.appendCol(1, row, tooMany);
      cost.insert(cost.end(),
                  {static_cast<double>(line.underWeight), static_cast<double>(line.overWeight)});
      lower.insert(lower.end(), {0, 0});
      upper.insert(upper.end(), 2, OsiClpInfinity);
    }
    std::vector<double> rows(static_cast<size_t>(lines + Employees()), 1.0);
    for (int c = 0; c < lines; ++c)
      rows[static_cast<size_t>(c)] = instance_.cover[static_cast<size_t>(c)].requirement;
    master_.loadProblem(matrix, lower.data(), upper.data(), cost.data(), rows.data(), rows.data());
    master_.messageHandler()->setLogLevel(0);
    master_.getModelPtr()->setLogLevel(0);
    for (int c = 0; c < lines; ++c) {
      const TCover& line = instance_.cover[static_cast<size_t>(c)];
      linesAt_.emplace_back(Cell(line.day, line.shift), c);
    }
    std::sort(linesAt_.begin(), linesAt_.end());
  }

  size_t Cell(int day, int shift) const {
    return static_cast<size_t>(day) * instance_.shifts.size() + static_cast<size_t>(shift);
  }

  // A month as a column: its cost and its rows (cover lines, then the
  // person's own).
  struct TColumn {
    double cost = 0;
    std::vector<int> rows;
  };

  TColumn ColumnOf(int e, const std::vector<int>& path) const {
    const TPersonMonth& person = people_[static_cast<size_t>(e)];
    TColumn column;
    std::vector<int>& rows = column.rows;
    double& cost = column.cost;
    for (int d = 0; d < instance_.days; ++d) {
      const int shift = path[static_cast<size_t>(d)];
      int local = 0;
      while (person.Type(local) != shift) ++local;
      cost += person.BaseCost(d, local);
      if (shift == kOff) continue;
      const std::pair<size_t, int> cell{Cell(d, shift), -1};
      for (auto line = std::upper_bound(linesAt_.begin(), linesAt_.end(), cell);
           line != linesAt_.end() && line->first == cell.first; ++line) {
        rows.push_back(line->second);
      }
    }
    rows.push_back(static_cast<int>(instance_.cover.size()) + e);
    return column;
  }

  void AddColumn(const TColumn& column) {
    const std::vector<double> ones(column.rows.size(), 1.0);
    master_.addCol(static_cast<int>(column.rows.size()), column.rows.data(), ones.data(), 0, 1,
                   column.cost);
  }

  // The start roster's rows, where each keeps to the person's own types.
  void AddStartColumns(const TRoster& start) {
    for (int e = 0; e < Employees() && e < start.Employees(); ++e) {
      std::vector<int> path(static_cast<size_t>(instance_.days), kOff);
      bool known = start.Days() == instance_.days;
      for (int d = 0; known && d < instance_.days; ++d) {
        path[static_cast<size_t>(d)] = start.At(e, d);
        bool found = false;
        for (int k = 0; k < people_[static_cast<size_t>(e)].Types(); ++k)
          found = found || people_[static_cast<size_t>(e)].Type(k) == start.At(e, d);
        known = found;
      }
      if (known) AddColumn(ColumnOf(e, path));
    }
  }

  const TInstance& instance_;
  const TPersonBoundOptions& options_;
  const std::chrono::steady_clock::time_point deadline_;
  std::vector<TPersonMonth> people_;
  std::vector<double> values_;                   // per person, at the last prices
  std::vector<std::vector<int>> paths_;          // per person, shift types a day
  std::vector<std::pair<size_t, int>> linesAt_;  // (day x type cell, cover line), sorted
  OsiClpSolverInterface master_;
};

}  // namespace

TPersonBoundResult PersonBound(const TInstance& instance, const TPersonBoundOptions& options) {
  CheckModel(instance);
  if (instance.employees.empty() || instance.days == 0) {
    // Nobody to price: every cover line is missed or met as it stands.
    TPersonBoundResult result;
    result.status = "converged";
    int64_t cost = 0;
    for (const TCover& line : instance.cover) cost += int64_t{line.requirement} * line.underWeight;
    result.bound = cost;
    return result;
  }
  return TBoundRun(instance, options).Run();
}

}  // namespace cuadrante::solver
