// A lower bound by person, for instances too large for the exact engine or
// where its 0-1 relaxation is weak.
//
// The cover lines are all that tie people together. Pricing them (a price
// per line, Lagrange's way) leaves one problem a person: the cheapest month
// of work under that person's rules, solved exactly by dynamic programming
// over the days (the day's shift, the run of work or rest, the week's
// minutes, the horizon's and the weekends worked). Column generation, with
// CLP's simplex setting the prices, drives the bound up to the
// Dantzig-Wolfe bound. On a month of part-timers, where week caps and
// contract minutes meet, it can stand far above the relaxation: the
// relaxation fills each week's cap with fractions of shifts that no single
// person's month can hold at once.
//
// Two rules are left out of each person's problem, the counts of each type
// and the balances: leaving a rule out only makes the bound lower, never
// wrong. The weekends worked and the shortest runs of work and of rest are
// states too, where they can bind.
// Every bound reported is proven: it holds after any number of rounds, and
// each round can only raise it.
//
// Thread contract: PersonBound blocks its caller and prices people on up to
// `threads` threads of its own. `stop` may be raised from any thread. The
// instance and the start roster are only read, and must outlive the call.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

struct TPersonBoundOptions {
  double timeLimitSeconds = 60;
  // Raised from another thread: stop before the next person is priced.
  const std::atomic<bool>* stop = nullptr;
  // A roster whose rows join the first columns (a search's best, say), which
  // are otherwise each person's cheapest month with no prices: the rounds
  // start from prices nearer the end.
  const TRoster* start = nullptr;
  int threads = 2;
  // A person's table holds days x states cells (4 bytes each, a table per
  // thread). A larger one drops the weekends, then the shortest runs, as
  // states (a weaker bound); a person whose table is larger even then makes
  // the bound too large to compute.
  int64_t mostCells = int64_t{1} << 24;
};

struct TPersonBoundResult {
  std::optional<int64_t> bound;  // proven lower bound, rounded up
  int rounds = 0;                // prices set and every person priced
  // "converged" (no person has a cheaper month at the last prices: the bound
  // is the Dantzig-Wolfe bound), "time limit", "stopped", "too large", or
  // "infeasible" (a person has no month that keeps that person's rules).
  std::string status;
};

// `instance` must hold together (CheckModel).
CUADRANTE_API TPersonBoundResult PersonBound(const TInstance& instance,
                                             const TPersonBoundOptions& options);

}  // namespace cuadrante::solver
