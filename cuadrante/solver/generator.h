// Instances of the benchmark's shapes, made up from a seed: for tests,
// benchmarks and tuning where the published instances are too few.
//
// The numbers follow the published instances: eight-hour shifts where a later
// shift forbids an earlier one the next day; about 0.6 of the days worked
// with a minimum a little below; runs of two to six days; one weekend in two;
// a day off every fortnight; about one on-request and one off-request a
// person a week (weights 1 to 3); cover that asks for about what the staff
// can give, 100 per person missing and 1 per person too many. The published
// instances have no weekly caps and no nights; one generated instance in two
// gives most people one of 37.5 or 40 hours (half for part-time staff),
// prorated in a short last week and now and then a shift lower, as plans
// do, and of three types or more the last is a night, 22:00 to 06:00. One
// instance in two gives most people balances: a range about their share on
// the shifts of one or two of their types, on weekends, or both. Every
// instance holds together (ModelProblem is empty); none is promised to have
// a roster without a hard breach, though most have.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/export.h"
#include "cuadrante/solver/model.h"

namespace cuadrante::solver {

struct TShape {
  int employees = 10;
  int days = 28;
  int shiftTypes = 2;
};

CUADRANTE_API TInstance GenerateInstance(const TShape& shape, uint64_t seed);

}  // namespace cuadrante::solver
