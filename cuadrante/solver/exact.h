// The exact engine: the model as a 0-1 program, solved by branch and cut
// (COIN-OR CBC), for a proven lower bound and, on small instances, a proven
// optimum.
//
// One binary per employee, day and shift type that may be worked (days off,
// types with a maximum of 0 and cells pinned elsewhere never get one), a
// binary work indicator per employee and day, one per employee and weekend,
// an under and an over slack per cover line, and a shortfall and an excess
// per balance whose range its count can leave. The hard rules are rows, and
// each person's runs of work and rest a path through a few states a day,
// where a run too short ends only if it touches either end of the horizon.
// A week's cap of minutes also counts whole shifts, so that the relaxation
// cannot fill the last fraction of every part-timer's week.
// The objective is the evaluator's, constant part included, so the objective
// reported for a roster equals what `Evaluate` says of it, and every bound is
// rounded up to an integer (all weights are integers). Every roster CBC finds
// is checked against every row again before it is reported.
//
// CBC prints nothing, runs on one thread and honours the time limit and the
// stop flag within about a second, also while it is solving the first linear
// relaxation of a large model. Beyond `mostVariables` binaries (by default
// `kMostExactVariables`) the model is not built at all (`tooLarge`).
//
// Thread contract: SolveExact blocks its caller; the callbacks are called on
// that same thread, one at a time. `stop` may be raised from any thread. The
// instance and the start roster are only read, and must outlive the call.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

// Binaries beyond which SolveExact refuses the model (and staff x days beyond
// which likewise). The first relaxation of these programs is slow to solve:
// 20 staff x 364 days x 3 types (21 000 binaries) takes about 35 s, and the
// time grows faster than the size, so that 150 x 364 x 32 (1.7 million)
// would not give even a bound within any reasonable limit. Such instances
// are left to the search alone.
inline constexpr int64_t kMostExactVariables = 25'000;

struct TExactOptions {
  double timeLimitSeconds = 60;
  const std::atomic<bool>* stop = nullptr;  // raised from another thread: stop soon (< 1 s)
  // A roster to start from. When it keeps every hard rule it is the first
  // incumbent; when it breaks some it only steers the branching towards it.
  const TRoster* start = nullptr;
  std::function<void(int64_t bound)> onBound;  // the proven lower bound improved
  std::function<void(const TRoster&, int64_t objective)> onRoster;  // a better roster was found
  bool relaxationOnly = false;  // only the bound of the linear relaxation (fast, for big instances)
  // The most binaries to build; above them the model is refused. A caller
  // with time to spend on a bound (a benchmark) may raise it.
  int64_t mostVariables = kMostExactVariables;
};

struct TExactResult {
  std::optional<TRoster> roster;  // the best roster found that keeps every hard rule
  int64_t objective = 0;          // its objective, as Evaluate reports it
  std::optional<int64_t> bound;   // proven lower bound, rounded up
  bool optimal = false;           // roster's objective equals the bound
  bool tooLarge = false;          // not built: more binaries than kMostExactVariables
  // "optimal", "time limit", "stopped", "infeasible", "too large", "bound" (a
  // relaxation only), or "no roster" (CBC ended without proof, rare).
  std::string status;
};

// The number of binaries SolveExact would build for `instance`, cheap to ask.
CUADRANTE_API int64_t ExactVariables(const TInstance& instance);

// Solves `instance` (which must hold together: CheckModel) until it is proven
// optimal or infeasible, the time is up or `stop` is raised.
CUADRANTE_API TExactResult SolveExact(const TInstance& instance, const TExactOptions& options);

}  // namespace cuadrante::solver
