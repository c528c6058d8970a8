// What the evaluator looks up while it prices moves, built once per instance
// and shared, read-only, by every copy of it. Private to the solver.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "cuadrante/solver/model.h"

namespace cuadrante::solver::detail {

inline constexpr int16_t kNoPin = -2;

struct TCoverLine {
  int32_t requirement = 0;
  int32_t under = 0;
  int32_t over = 0;
};

struct TTables {
  int employees = 0;
  int days = 0;
  int types = 0;
  // Request cost of each choice: (employee * days + day) * (types + 1) + shift + 1.
  std::vector<int64_t> cellCost;
  std::vector<uint8_t> dayOff;     // employee * days + day
  std::vector<int16_t> pin;        // employee * days + day; kNoPin when free
  std::vector<uint8_t> forbidden;  // shift * types + next
  std::vector<int32_t> coverBegin;  // day * types + shift, and one past the end
  std::vector<TCoverLine> coverLines;
  std::vector<int32_t> minutes;  // per type
  int64_t minuteUnit = 1;

  size_t Cell(int employee, int day) const {
    return static_cast<size_t>(employee) * static_cast<size_t>(days) + static_cast<size_t>(day);
  }
  int64_t CellCost(int employee, int day, int shift) const {
    return cellCost[Cell(employee, day) * static_cast<size_t>(types + 1) + static_cast<size_t>(shift + 1)];
  }
  // Cost of `count` people in (day, shift) against its cover lines.
  int64_t CoverCost(int day, int shift, int64_t count) const {
    const size_t slot = static_cast<size_t>(day) * static_cast<size_t>(types) + static_cast<size_t>(shift);
    int64_t cost = 0;
    for (int32_t i = coverBegin[slot]; i < coverBegin[slot + 1]; ++i) {
      const TCoverLine& line = coverLines[static_cast<size_t>(i)];
      cost += count < line.requirement ? (line.requirement - count) * line.under
                                       : (count - line.requirement) * line.over;
    }
    return cost;
  }
};

// The shortest shift's minutes, at least 1: the unit of a minutes breach.
int64_t MinuteUnit(const TInstance& instance);
inline int64_t Units(int64_t amount, int64_t unit) { return amount <= 0 ? 0 : (amount + unit - 1) / unit; }

std::shared_ptr<const TTables> BuildTables(const TInstance& instance);

}  // namespace cuadrante::solver::detail
