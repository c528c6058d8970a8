// Reads arbitrary bytes as a benchmark instance and, after the first NUL, a
// roster of it. The instance is either refused with an EInstanceError or holds
// together, and writing it gives a text that reads back as the same instance
// and writes again as the same text. The roster likewise: refused, or a
// roster of the instance's sizes that writes and reads back unchanged, and
// that the evaluator can price.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/instancefile.h"

namespace {

using namespace cuadrante::solver;

void Require(bool condition) {
  if (!condition) std::abort();
}

// The model's structs have no equality of their own.
bool Same(const TInstance& a, const TInstance& b) {
  const auto shifts = [](const TInstance& x) {
    std::vector<std::tuple<std::string, int, std::vector<int>>> out;
    for (const TShiftType& s : x.shifts) out.emplace_back(s.id, s.minutes, s.forbiddenNext);
    return out;
  };
  const auto staff = [](const TInstance& x) {
    std::vector<std::tuple<std::string, std::vector<int>, int64_t, int64_t, int, int, int, int,
                           std::vector<int>>>
        out;
    for (const TEmployee& e : x.employees) {
      out.emplace_back(e.id, e.maxShifts, e.maxMinutes, e.minMinutes, e.maxConsecutive,
                       e.minConsecutive, e.minDaysOff, e.maxWeekends, e.daysOff);
    }
    return out;
  };
  const auto requests = [](const std::vector<TRequest>& list) {
    std::vector<std::tuple<int, int, int, int>> out;
    for (const TRequest& r : list) out.emplace_back(r.employee, r.day, r.shift, r.weight);
    return out;
  };
  const auto cover = [](const TInstance& x) {
    std::vector<std::tuple<int, int, int, int, int>> out;
    for (const TCover& c : x.cover)
      out.emplace_back(c.day, c.shift, c.requirement, c.underWeight, c.overWeight);
    return out;
  };
  const auto pins = [](const TInstance& x) {
    std::vector<std::tuple<int, int, int>> out;
    for (const TPin& p : x.pins) out.emplace_back(p.employee, p.day, p.shift);
    return out;
  };
  return a.days == b.days && shifts(a) == shifts(b) && staff(a) == staff(b) &&
         requests(a.onRequests) == requests(b.onRequests) &&
         requests(a.offRequests) == requests(b.offRequests) && cover(a) == cover(b) &&
         pins(a) == pins(b);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 16) return 0;  // a longer text is only more of the same lines
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const size_t nul = bytes.find('\0');
  const std::string_view text = bytes.substr(0, nul);
  TInstance instance;
  try {
    instance = ReadInstance(text, "fuzz");
  } catch (const EInstanceError&) {
    return 0;
  }
  Require(ModelProblem(instance).empty());
  const std::string written = WriteInstance(instance);
  const TInstance back = ReadInstance(written, "written");
  Require(Same(back, instance));
  Require(WriteInstance(back) == written);

  if (nul == std::string_view::npos) return 0;
  TRoster roster;
  try {
    roster = ReadRoster(bytes.substr(nul + 1), instance, "fuzz");
  } catch (const EInstanceError&) {
    return 0;
  }
  Require(roster.Employees() == static_cast<int>(instance.employees.size()));
  Require(roster.Days() == instance.days);
  Require(ReadRoster(WriteRoster(instance, roster), instance, "written") == roster);
  // A roster the reader gives is one the evaluator can price, whatever its breaches.
  if (int64_t{roster.Employees()} * roster.Days() <= 10'000) Evaluate(instance, roster);
  return 0;
}
