// TEvaluator: prices moves from kept counts and the days around each move.
#include <algorithm>

#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/tables.h"

namespace cuadrante::solver {

namespace detail {

int64_t MinuteUnit(const TInstance& instance) {
  int64_t unit = 0;
  for (const TShiftType& type : instance.shifts) {
    if (type.minutes > 0 && (unit == 0 || type.minutes < unit)) unit = type.minutes;
  }
  return std::max<int64_t>(unit, 1);
}

std::shared_ptr<const TTables> BuildTables(const TInstance& instance) {
  auto tables = std::make_shared<TTables>();
  TTables& t = *tables;
  t.employees = static_cast<int>(instance.employees.size());
  t.days = instance.days;
  t.types = static_cast<int>(instance.shifts.size());
  const size_t cells = static_cast<size_t>(t.employees) * static_cast<size_t>(t.days);
  const size_t choices = static_cast<size_t>(t.types + 1);
  t.cellCost.assign(cells * choices, 0);
  for (const TRequest& r : instance.onRequests) {
    // Every choice but the wished one misses the wish.
    int64_t* cost = &t.cellCost[t.Cell(r.employee, r.day) * choices];
    for (size_t c = 0; c < choices; ++c) cost[c] += r.weight;
    cost[static_cast<size_t>(r.shift + 1)] -= r.weight;
  }
  for (const TRequest& r : instance.offRequests) {
    t.cellCost[t.Cell(r.employee, r.day) * choices + static_cast<size_t>(r.shift + 1)] += r.weight;
  }
  t.dayOff.assign(cells, 0);
  for (int e = 0; e < t.employees; ++e) {
    for (int d : instance.employees[static_cast<size_t>(e)].daysOff) t.dayOff[t.Cell(e, d)] = 1;
  }
  t.pin.assign(cells, kNoPin);
  for (const TPin& pin : instance.pins) t.pin[t.Cell(pin.employee, pin.day)] = static_cast<int16_t>(pin.shift);
  t.forbidden.assign(static_cast<size_t>(t.types) * static_cast<size_t>(t.types), 0);
  for (int s = 0; s < t.types; ++s) {
    for (int next : instance.shifts[static_cast<size_t>(s)].forbiddenNext) {
      t.forbidden[static_cast<size_t>(s * t.types + next)] = 1;
    }
  }
  std::vector<TCover> cover = instance.cover;
  std::stable_sort(cover.begin(), cover.end(), [](const TCover& a, const TCover& b) {
    return a.day != b.day ? a.day < b.day : a.shift < b.shift;
  });
  const size_t slots = static_cast<size_t>(t.days) * static_cast<size_t>(t.types);
  t.coverBegin.assign(slots + 1, 0);
  for (const TCover& c : cover) {
    ++t.coverBegin[static_cast<size_t>(c.day) * static_cast<size_t>(t.types) + static_cast<size_t>(c.shift) + 1];
    t.coverLines.push_back({c.requirement, c.underWeight, c.overWeight});
  }
  for (size_t i = 1; i <= slots; ++i) t.coverBegin[i] += t.coverBegin[i - 1];
  for (const TShiftType& type : instance.shifts) t.minutes.push_back(type.minutes);
  t.minuteUnit = MinuteUnit(instance);
  return tables;
}

}  // namespace detail

namespace {

// Hard units of one run of equal status [start, end) of a person.
int64_t RunUnits(const TEmployee& person, bool worked, int start, int end, int days) {
  const int length = end - start;
  const bool inside = start > 0 && end < days;
  if (worked) {
    int64_t units = length > person.maxConsecutive ? length - person.maxConsecutive : 0;
    if (inside && length < person.minConsecutive) units += person.minConsecutive - length;
    return units;
  }
  return inside && length < person.minDaysOff ? person.minDaysOff - length : 0;
}

// Hard units of the runs in [lo, hi], which starts and ends at run edges.
template <typename Worked>
int64_t RunsUnits(const TEmployee& person, int lo, int hi, int days, Worked worked) {
  int64_t units = 0;
  int start = lo;
  bool status = worked(lo);
  for (int d = lo + 1; d <= hi + 1; ++d) {
    const bool now = d <= hi && worked(d);
    if (d <= hi && now == status) continue;
    units += RunUnits(person, status, start, d, days);
    start = d;
    status = now;
  }
  return units;
}

int64_t Excess(int64_t value, int64_t limit) { return value > limit ? value - limit : 0; }

int64_t BalanceCost(const TBalance& balance, int64_t count) {
  return balance.weight * (Excess(balance.min, count) + Excess(count, balance.max));
}

// What moves a balance's count: the change of shifts per type in `perType`,
// or of weekends worked.
int64_t BalanceMove(const TBalance& balance, const int32_t* perType, int weekendChange) {
  if (balance.weekends) return weekendChange;
  int64_t moved = 0;
  for (int s : balance.shifts) moved += perType[s];
  return moved;
}

}  // namespace

TEvaluator::TEvaluator(const TInstance& instance, TRoster roster)
    : instance_(&instance), roster_(std::move(roster)) {
  CheckModel(instance);
  if (roster_.Employees() != static_cast<int>(instance.employees.size()) ||
      roster_.Days() != instance.days) {
    throw EModelError("the roster's sizes are not the instance's");
  }
  tables_ = detail::BuildTables(instance);
  balanceBegin_.assign(instance.employees.size() + 1, 0);
  for (size_t e = 0; e < instance.employees.size(); ++e) {
    balanceBegin_[e + 1] =
        balanceBegin_[e] + static_cast<int32_t>(instance.employees[e].balances.size());
  }
  Recount();
}

void TEvaluator::Reset(TRoster roster) {
  roster_ = std::move(roster);
  Recount();
}

void TEvaluator::Recount() {
  const detail::TTables& t = *tables_;
  const auto types = static_cast<size_t>(t.types);
  coverCount_.assign(static_cast<size_t>(t.days) * types, 0);
  typeCount_.assign(static_cast<size_t>(t.employees) * types, 0);
  minutes_.assign(static_cast<size_t>(t.employees), 0);
  const auto weeks = static_cast<size_t>(WeekCount(t.days));
  weekMinutes_.assign(static_cast<size_t>(t.employees) * weeks, 0);
  weekends_.assign(static_cast<size_t>(t.employees), 0);
  balanceCount_.assign(static_cast<size_t>(balanceBegin_.back()), 0);
  scratch_.assign(types, 0);
  touched_.clear();
  swapBuffer_.assign(static_cast<size_t>(t.days), 0);
  objective_ = 0;
  violation_ = 0;
  for (int e = 0; e < t.employees; ++e) {
    const int16_t* row = roster_.Row(e);
    for (int d = 0; d < t.days; ++d) {
      const int s = row[d];
      if (s < kOff || s >= t.types) throw EModelError("the roster names a shift type that does not exist");
      objective_ += t.CellCost(e, d, s);
      if (s == kOff) continue;
      ++coverCount_[static_cast<size_t>(d) * types + static_cast<size_t>(s)];
      ++typeCount_[static_cast<size_t>(e) * types + static_cast<size_t>(s)];
      minutes_[static_cast<size_t>(e)] += t.minutes[static_cast<size_t>(s)];
      AddWeekMinutes(weekMinutes_.data() + static_cast<size_t>(e) * weeks, d, s, 1);
    }
    for (int w = 0; w < WeekendCount(t.days); ++w) {
      const int saturday = 7 * w + 5;
      weekends_[static_cast<size_t>(e)] +=
          row[saturday] != kOff || (saturday + 1 < t.days && row[saturday + 1] != kOff);
    }
    const std::vector<TBalance>& balances = instance_->employees[static_cast<size_t>(e)].balances;
    for (size_t i = 0; i < balances.size(); ++i) {
      int32_t& count =
          balanceCount_[static_cast<size_t>(balanceBegin_[static_cast<size_t>(e)]) + i];
      count = static_cast<int32_t>(BalanceMove(balances[i],
                                               typeCount_.data() + static_cast<size_t>(e) * types,
                                               weekends_[static_cast<size_t>(e)]));
      objective_ += BalanceCost(balances[i], count);
    }
    violation_ += PersonViolation(e);
  }
  for (int d = 0; d < t.days; ++d) {
    for (int s = 0; s < t.types; ++s) {
      objective_ += t.CoverCost(d, s, coverCount_[static_cast<size_t>(d) * types + static_cast<size_t>(s)]);
    }
  }
}

void TEvaluator::AddWeekMinutes(int64_t* weeks, int day, int shift, int sign) const {
  const TShiftType& type = instance_->shifts[static_cast<size_t>(shift)];
  weeks[day / 7] += sign * (type.minutes - type.minutesNextDay);
  if (day + 1 < roster_.Days()) weeks[(day + 1) / 7] += sign * type.minutesNextDay;
}

int64_t TEvaluator::BalanceDelta(int e, int weekendChange) const {
  const std::vector<TBalance>& balances = instance_->employees[static_cast<size_t>(e)].balances;
  const int32_t* counts = balanceCount_.data() + balanceBegin_[static_cast<size_t>(e)];
  int64_t change = 0;
  for (size_t i = 0; i < balances.size(); ++i) {
    const int64_t moved = BalanceMove(balances[i], scratch_.data(), weekendChange);
    if (moved != 0)
      change += BalanceCost(balances[i], counts[i] + moved) - BalanceCost(balances[i], counts[i]);
  }
  return change;
}

int64_t TEvaluator::PersonViolation(int e) const {
  const detail::TTables& t = *tables_;
  const TEmployee& person = instance_->employees[static_cast<size_t>(e)];
  const int16_t* row = roster_.Row(e);
  int64_t units = 0;
  for (int d = 0; d < t.days; ++d) {
    const int s = row[d];
    const size_t cell = t.Cell(e, d);
    if (t.pin[cell] != detail::kNoPin && t.pin[cell] != s) ++units;
    if (s == kOff) continue;
    units += t.dayOff[cell];
    if (d > 0 && row[d - 1] != kOff) units += t.forbidden[static_cast<size_t>(row[d - 1] * t.types + s)];
  }
  for (int s = 0; s < t.types; ++s) {
    units += Excess(typeCount_[static_cast<size_t>(e * t.types + s)], person.maxShifts[static_cast<size_t>(s)]);
  }
  const int64_t minutes = minutes_[static_cast<size_t>(e)];
  units += detail::Units(minutes - person.maxMinutes, t.minuteUnit) +
           detail::Units(person.minMinutes - minutes, t.minuteUnit);
  const int64_t* weekMinutes = WeekMinutes(e);
  for (size_t w = 0; w < person.maxWeekMinutes.size(); ++w) {
    units += detail::Units(weekMinutes[w] - person.maxWeekMinutes[w], t.minuteUnit);
  }
  units += Excess(weekends_[static_cast<size_t>(e)], person.maxWeekends);
  units += RunsUnits(person, 0, t.days - 1, t.days, [row](int d) { return row[d] != kOff; });
  return units;
}

TDelta TEvaluator::RowDelta(int e, int a, int b, const int16_t* shifts) const {
  const detail::TTables& t = *tables_;
  const TEmployee& person = instance_->employees[static_cast<size_t>(e)];
  const int16_t* row = roster_.Row(e);
  const auto at = [&](int d) { return d >= a && d <= b ? shifts[d - a] : row[d]; };
  TDelta delta;
  int64_t minutes = 0;
  bool statusChanged = false;
  for (int d = a; d <= b; ++d) {
    const int before = row[d];
    const int after = shifts[d - a];
    if (before == after) continue;
    const size_t cell = t.Cell(e, d);
    delta.objective += t.CellCost(e, d, after) - t.CellCost(e, d, before);
    const int pin = t.pin[cell];
    if (pin != detail::kNoPin) delta.violation += (pin != after) - (pin != before);
    if (t.dayOff[cell]) delta.violation += (after != kOff) - (before != kOff);
    statusChanged |= (after == kOff) != (before == kOff);
    if (before != kOff) {
      if (scratch_[static_cast<size_t>(before)]-- == 0) touched_.push_back(before);
      minutes -= t.minutes[static_cast<size_t>(before)];
    }
    if (after != kOff) {
      if (scratch_[static_cast<size_t>(after)]++ == 0) touched_.push_back(after);
      minutes += t.minutes[static_cast<size_t>(after)];
    }
  }
  // Successions: every pair with a day in [a, b].
  for (int d = std::max(a, 1); d <= std::min(b + 1, t.days - 1); ++d) {
    const int beforePrev = row[d - 1], beforeNext = row[d];
    const int afterPrev = at(d - 1), afterNext = at(d);
    if (beforePrev == afterPrev && beforeNext == afterNext) continue;
    if (beforePrev != kOff && beforeNext != kOff) {
      delta.violation -= t.forbidden[static_cast<size_t>(beforePrev * t.types + beforeNext)];
    }
    if (afterPrev != kOff && afterNext != kOff) {
      delta.violation += t.forbidden[static_cast<size_t>(afterPrev * t.types + afterNext)];
    }
  }
  // Weekends that meet [a, b]; only a change of work or rest moves them.
  int weekendChange = 0;
  if (statusChanged) {
    for (int w = a / 7; w < WeekendCount(t.days); ++w) {
      const int saturday = 7 * w + 5;
      if (saturday > b) break;
      const bool sunday = saturday + 1 < t.days;
      const bool before = row[saturday] != kOff || (sunday && row[saturday + 1] != kOff);
      const bool after = at(saturday) != kOff || (sunday && at(saturday + 1) != kOff);
      weekendChange += after - before;
    }
  }
  // Balances, from the change per type while scratch_ still holds it.
  if (!person.balances.empty()) delta.objective += BalanceDelta(e, weekendChange);
  for (int s : touched_) {
    const int32_t before = typeCount_[static_cast<size_t>(e * t.types + s)];
    const int32_t limit = person.maxShifts[static_cast<size_t>(s)];
    delta.violation += Excess(before + scratch_[static_cast<size_t>(s)], limit) - Excess(before, limit);
    scratch_[static_cast<size_t>(s)] = 0;
  }
  touched_.clear();
  if (minutes != 0) {
    const int64_t before = minutes_[static_cast<size_t>(e)];
    const int64_t after = before + minutes;
    delta.violation += detail::Units(after - person.maxMinutes, t.minuteUnit) +
                       detail::Units(person.minMinutes - after, t.minuteUnit) -
                       detail::Units(before - person.maxMinutes, t.minuteUnit) -
                       detail::Units(person.minMinutes - before, t.minuteUnit);
  }
  // Capped weeks that meet [a, b], and the week of b + 1, which takes the
  // part after midnight of b's shift; a change of type alone may change them.
  if (!person.maxWeekMinutes.empty()) {
    const int64_t* weekMinutes = WeekMinutes(e);
    const auto nextDayOf = [this](int s) {
      return s == kOff ? 0 : instance_->shifts[static_cast<size_t>(s)].minutesNextDay;
    };
    const auto sameDayOf = [this, &t, &nextDayOf](int s) {
      return s == kOff ? 0 : t.minutes[static_cast<size_t>(s)] - nextDayOf(s);
    };
    const int end = std::min(b + 1, t.days - 1);
    for (int w = a / 7; w <= end / 7; ++w) {
      int64_t change = 0;
      // The days of w and the day before them, whose night may reach into w.
      for (int d = std::max(a, 7 * w - 1); d <= std::min(b, 7 * w + 6); ++d) {
        const int before = row[d], after = shifts[d - a];
        if (before == after) continue;
        if (d / 7 == w) change += sameDayOf(after) - sameDayOf(before);
        if ((d + 1) / 7 == w && d + 1 < t.days) change += nextDayOf(after) - nextDayOf(before);
      }
      if (change == 0) continue;
      const int64_t cap = person.maxWeekMinutes[static_cast<size_t>(w)];
      const int64_t before = weekMinutes[w];
      delta.violation += detail::Units(before + change - cap, t.minuteUnit) -
                         detail::Units(before - cap, t.minuteUnit);
    }
  }
  if (!statusChanged) return delta;
  if (weekendChange != 0) {
    const int32_t before = weekends_[static_cast<size_t>(e)];
    delta.violation += Excess(before + weekendChange, person.maxWeekends) - Excess(before, person.maxWeekends);
  }
  // Runs: the days left of a and right of b keep their status, so the runs
  // that meet [a - 1, b + 1] lie in [lo, hi] before and after.
  int lo = a;
  if (a > 0) {
    const bool status = row[a - 1] != kOff;
    lo = a - 1;
    while (lo > 0 && (row[lo - 1] != kOff) == status) --lo;
  }
  int hi = b;
  if (b + 1 < t.days) {
    const bool status = row[b + 1] != kOff;
    hi = b + 1;
    while (hi + 1 < t.days && (row[hi + 1] != kOff) == status) ++hi;
  }
  delta.violation += RunsUnits(person, lo, hi, t.days, [&](int d) { return at(d) != kOff; }) -
                     RunsUnits(person, lo, hi, t.days, [row](int d) { return row[d] != kOff; });
  return delta;
}

TDelta TEvaluator::CoverDelta(int e, int a, int b, const int16_t* shifts) const {
  const detail::TTables& t = *tables_;
  const int16_t* row = roster_.Row(e);
  int64_t change = 0;
  for (int d = a; d <= b; ++d) {
    const int before = row[d];
    const int after = shifts[d - a];
    if (before == after) continue;
    const size_t base = static_cast<size_t>(d) * static_cast<size_t>(t.types);
    if (before != kOff) {
      const int32_t count = coverCount_[base + static_cast<size_t>(before)];
      change += t.CoverCost(d, before, count - 1) - t.CoverCost(d, before, count);
    }
    if (after != kOff) {
      const int32_t count = coverCount_[base + static_cast<size_t>(after)];
      change += t.CoverCost(d, after, count + 1) - t.CoverCost(d, after, count);
    }
  }
  return {change, 0};
}

void TEvaluator::ApplyRow(int e, int a, int b, const int16_t* shifts, bool moveCover) {
  const detail::TTables& t = *tables_;
  const auto types = static_cast<size_t>(t.types);
  int16_t* row = roster_.Row(e);
  int64_t* weekMinutes = WeekMinutes(e);
  for (int w = a / 7; w < WeekendCount(t.days); ++w) {
    const int saturday = 7 * w + 5;
    if (saturday > b) break;
    weekends_[static_cast<size_t>(e)] -= row[saturday] != kOff || (saturday + 1 < t.days && row[saturday + 1] != kOff);
  }
  for (int d = a; d <= b; ++d) {
    const int before = row[d];
    const int after = shifts[d - a];
    if (before == after) continue;
    if (before != kOff) {
      if (moveCover) --coverCount_[static_cast<size_t>(d) * types + static_cast<size_t>(before)];
      --typeCount_[static_cast<size_t>(e) * types + static_cast<size_t>(before)];
      minutes_[static_cast<size_t>(e)] -= t.minutes[static_cast<size_t>(before)];
      AddWeekMinutes(weekMinutes, d, before, -1);
    }
    if (after != kOff) {
      if (moveCover) ++coverCount_[static_cast<size_t>(d) * types + static_cast<size_t>(after)];
      ++typeCount_[static_cast<size_t>(e) * types + static_cast<size_t>(after)];
      minutes_[static_cast<size_t>(e)] += t.minutes[static_cast<size_t>(after)];
      AddWeekMinutes(weekMinutes, d, after, 1);
    }
    row[d] = static_cast<int16_t>(after);
  }
  for (int w = a / 7; w < WeekendCount(t.days); ++w) {
    const int saturday = 7 * w + 5;
    if (saturday > b) break;
    weekends_[static_cast<size_t>(e)] += row[saturday] != kOff || (saturday + 1 < t.days && row[saturday + 1] != kOff);
  }
  // The person's balances anew from the counts just kept: a few sums.
  const std::vector<TBalance>& balances = instance_->employees[static_cast<size_t>(e)].balances;
  for (size_t i = 0; i < balances.size(); ++i) {
    balanceCount_[static_cast<size_t>(balanceBegin_[static_cast<size_t>(e)]) + i] =
        static_cast<int32_t>(BalanceMove(balances[i],
                                         typeCount_.data() + static_cast<size_t>(e) * types,
                                         weekends_[static_cast<size_t>(e)]));
  }
}

TDelta TEvaluator::ChangeDelta(int e, int day, int shift) const {
  const auto value = static_cast<int16_t>(shift);
  return BlockDelta(e, day, std::span<const int16_t>(&value, 1));
}

void TEvaluator::Change(int e, int day, int shift) {
  const auto value = static_cast<int16_t>(shift);
  Block(e, day, std::span<const int16_t>(&value, 1));
}

TDelta TEvaluator::BlockDelta(int e, int firstDay, std::span<const int16_t> shifts) const {
  if (shifts.empty()) return {};
  const int lastDay = firstDay + static_cast<int>(shifts.size()) - 1;
  TDelta row = RowDelta(e, firstDay, lastDay, shifts.data());
  const TDelta cover = CoverDelta(e, firstDay, lastDay, shifts.data());
  return {row.objective + cover.objective, row.violation};
}

void TEvaluator::Block(int e, int firstDay, std::span<const int16_t> shifts) {
  const TDelta delta = BlockDelta(e, firstDay, shifts);
  ApplyRow(e, firstDay, firstDay + static_cast<int>(shifts.size()) - 1, shifts.data(), true);
  objective_ += delta.objective;
  violation_ += delta.violation;
}

TDelta TEvaluator::SwapDelta(int a, int b, int firstDay, int lastDay) const {
  if (a == b) return {};
  const TDelta first = RowDelta(a, firstDay, lastDay, roster_.Row(b) + firstDay);
  const TDelta second = RowDelta(b, firstDay, lastDay, roster_.Row(a) + firstDay);
  return {first.objective + second.objective, first.violation + second.violation};
}

void TEvaluator::Swap(int a, int b, int firstDay, int lastDay) {
  if (a == b) return;
  const TDelta delta = SwapDelta(a, b, firstDay, lastDay);
  // The day's cover is the same after: each shift changes hands.
  std::copy(roster_.Row(a) + firstDay, roster_.Row(a) + lastDay + 1, swapBuffer_.begin());
  ApplyRow(a, firstDay, lastDay, roster_.Row(b) + firstDay, false);
  ApplyRow(b, firstDay, lastDay, swapBuffer_.data(), false);
  objective_ += delta.objective;
  violation_ += delta.violation;
}

bool TEvaluator::Pinned(int e, int day) const { return tables_->pin[tables_->Cell(e, day)] != detail::kNoPin; }

int TEvaluator::CoverCount(int day, int shift) const {
  return coverCount_[static_cast<size_t>(day) * static_cast<size_t>(tables_->types) + static_cast<size_t>(shift)];
}

int64_t TEvaluator::CoverAddDelta(int day, int shift) const {
  const int count = CoverCount(day, shift);
  return tables_->CoverCost(day, shift, count + 1) - tables_->CoverCost(day, shift, count);
}

}  // namespace cuadrante::solver
