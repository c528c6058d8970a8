// The search: fills a roster and improves it until the time is up, the stop
// flag is raised, or the roster is proven optimal.
//
// It starts from the pinned roster, repairs it towards the hard rules and
// then lowers objective + w * violation with moves of several sizes (one
// assignment, two people exchanging a day or a run of days, a person's block
// of days rewritten), accepting worse rosters the way late acceptance does
// and raising w while the roster breaks hard rules. With two workers they
// search apart and meet every `epochMoves` moves, where the worse adopts the
// better: so a seed and a move budget give the same roster whatever the
// machine's speed. A time limit ends the search at the first meeting after
// it, so the limit holds to within one epoch (a few milliseconds).
//
// With `exact` the exact engine runs beside the search on a thread of its own
// (see exact.h): its bound tells the gap and stops the search once the best
// roster meets it, and a roster it finds that is better is adopted. It takes
// one of the `workers`; when it ends without a proof (its `exactSeconds` are
// up, or the model is beyond it) a second search takes that core over.
//
// An example, reading an instance of the benchmark and writing the roster:
//
//   TInstance instance = ReadInstanceFile("Instance1.txt");  // instancefile.h
//   TSearchOptions options;
//   options.timeLimitSeconds = 10;
//   options.exact = ExactVariables(instance) <= kMostExactVariables;  // exact.h
//   TSearchResult result = Solve(instance, options);
//   if (result.evaluation.Feasible()) csv = WriteRoster(instance, result.roster);
//   // result.evaluation.objective.Total(), result.bound, result.optimal
//
// Thread contract: Solve blocks its caller and may start threads of its own;
// `progress` is called from one of them, at most every
// `progressEverySeconds`, never twice at once. `stop` may be raised from any
// thread. The instance is only read.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

struct TProgress {
  int64_t bestObjective = 0;     // of the best roster with no hard breach
  int64_t bestViolation = 0;     // hard units of the best roster; 0 once feasible
  std::optional<int64_t> bound;  // a proven lower bound, when known
  double seconds = 0;            // since the start
  uint64_t moves = 0;            // candidate moves evaluated
};

struct TSearchOptions {
  uint64_t seed = 1;
  double timeLimitSeconds = 10;
  uint64_t maxMoves = 0;  // 0: no budget; otherwise stop after this many per worker
  int workers = 2;        // 1 or 2 searches
  bool exact = false;     // run the exact engine beside the search
  // The exact engine's own limit (0: the whole time limit). With two
  // workers, once it ends without a proof its core goes to a second search.
  double exactSeconds = 0;
  uint64_t epochMoves = 200'000;
  const std::atomic<bool>* stop = nullptr;
  // A roster to start from instead of the pinned one (the pins are laid
  // over it): a roster to mend, such as last month's after a sick call. Its
  // sizes must be the instance's; it is only read during the call.
  const TRoster* start = nullptr;
  std::function<void(const TProgress&)> progress;
  double progressEverySeconds = 0.25;
};

struct TSearchResult {
  TRoster roster;
  TEvaluation evaluation;        // of `roster`
  std::optional<int64_t> bound;  // proven lower bound, when known
  bool optimal = false;          // the objective meets the bound
  double secondsToBest = 0;
  double seconds = 0;
  uint64_t moves = 0;  // candidate moves evaluated, all workers
};

CUADRANTE_API TSearchResult Solve(const TInstance& instance, const TSearchOptions& options);

}  // namespace cuadrante::solver
