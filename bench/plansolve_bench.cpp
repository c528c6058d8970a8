// Filling a plan's month with the auto-rostering engine, as `cuadrante plan
// solve` does: the plan turned into the engine's model (ModelOfPlan) and
// searched (Solve), timed together.
//
// BM_FillMonth is a hospital of 200 people on 10 posts (a random plan of
// testing/plangenerator.h, seed 1) over December 2026, with 10 s for the
// search. The goal: no hard breach well within the 10 s, and an objective
// within 2% of the lower bound that the exact engine proves in 60 s (run
// after the clock stops, from the search's roster). Counters: objective,
// violation and breaches (hard units and breaches; 0 when the roster keeps
// every rule), filled (the shifts the engine gave), seconds_to_feasible (-1:
// never), seconds_to_best, bound and gap in % (-1 when the exact engine gave
// no bound; the label says why).
//
// BM_FillExample is the size of examples/open-ward.xml, two posts and eight
// people over a month: that plan itself and a random one of its size, with
// the exact engine beside the search, which then stops at the proof. Timed to
// the proof (or the 30 s limit); seconds_to_best is when the search first
// held a roster as good as the optimum, that is one with every need met that
// can be met. Counters as above, and optimal (1 when proven).
//
// The whole program takes at most about two and a half minutes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/roster/fill.h"
#include "cuadrante/roster/plan.h"
#include "cuadrante/runtime/datetime.h"
#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/exact.h"
#include "cuadrante/solver/search.h"
#include "cuadrante/testing/plangenerator.h"

namespace {

using namespace cuadrante;
using Clock = std::chrono::steady_clock;

struct TPlanCase {
  std::string name;
  cuadrante::testing::PlanShape shape;  // of a random plan, or the month of `file`
  std::string file;                     // under examples/, or empty for a random plan
};

std::string PlanText(const TPlanCase& c) {
  if (c.file.empty()) return cuadrante::testing::RandomPlanXml(1, c.shape);
  const std::filesystem::path path =
      std::filesystem::path(__FILE__).parent_path().parent_path() / "examples" / c.file;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// What a filling gave, as counters, with the hard breaches by rule in the label.
void Report(benchmark::State& state, const roster::TPlan& plan, const roster::TFillModel& model,
            const solver::TSearchResult& result, double secondsToFeasible,
            std::optional<int64_t> bound, const std::string& why) {
  const int64_t objective = result.evaluation.objective.Total();
  const int64_t violation = result.evaluation.violation;
  double gap = -1;
  if (bound && violation == 0) {
    gap = objective == 0
              ? 0
              : 100.0 * static_cast<double>(objective - *bound) / static_cast<double>(objective);
  }
  state.counters["objective"] = static_cast<double>(objective);
  state.counters["violation"] = static_cast<double>(violation);
  state.counters["breaches"] = static_cast<double>(result.evaluation.breaches.size());
  state.counters["filled"] =
      static_cast<double>(roster::FilledItems(plan, model, result.roster).size());
  state.counters["seconds_to_feasible"] = secondsToFeasible;
  state.counters["seconds_to_best"] = result.secondsToBest;
  state.counters["bound"] = bound ? static_cast<double>(*bound) : -1.0;
  state.counters["gap"] = gap;
  state.counters["optimal"] = result.optimal ? 1 : 0;
  std::map<std::string, int> byRule;
  for (const solver::TBreach& breach : result.evaluation.breaches)
    ++byRule[solver::RuleName(breach.rule)];
  std::string label = why;
  for (const auto& [rule, count] : byRule)
    label += (label.empty() ? "" : "; ") + rule + ": " + std::to_string(count);
  state.SetLabel(label);
}

// Fills the plan's month: model and search on the clock, `seconds` for the
// search; with `exact`, the exact engine beside it, else after it for
// `boundSeconds` to tell the gap.
void Fill(benchmark::State& state, const TPlanCase& c, double seconds, bool exact,
          double boundSeconds) {
  roster::TPlan plan;
  try {
    plan = roster::ReadPlan(PlanText(c));
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
    return;
  }
  const TFecha first(
      EncodeDate(static_cast<uint16_t>(c.shape.year), static_cast<uint16_t>(c.shape.month), 1));
  const TFecha last(first.EndOfMonth().Date());
  std::optional<roster::TFillModel> model;
  solver::TSearchResult result;
  double secondsToFeasible = -1;
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    model.emplace(roster::ModelOfPlan(plan, first, last));
    solver::TSearchOptions options;
    options.seed = 1;
    options.workers = 2;
    options.timeLimitSeconds = seconds;
    options.exact = exact;
    options.progressEverySeconds = 0.01;
    options.progress = [&](const solver::TProgress& progress) {
      if (progress.bestViolation == 0 && secondsToFeasible < 0) secondsToFeasible = Since(start);
    };
    result = solver::Solve(model->instance, options);
    state.SetIterationTime(Since(start));
  }
  if (result.evaluation.violation == 0 && secondsToFeasible < 0)
    secondsToFeasible = result.seconds;  // feasible between the last two reports

  std::optional<int64_t> bound = result.bound;
  std::string why;
  if (!exact) {
    solver::TExactOptions options;
    options.timeLimitSeconds = boundSeconds;
    options.start = &result.roster;
    // A month of 200 people is beyond what a search's companion builds; the
    // bound is worth a minute here.
    options.mostVariables = 200'000;
    const solver::TExactResult proof = solver::SolveExact(model->instance, options);
    bound = proof.bound;
    // Whether CBC, from the search's roster, found a better one: a weak
    // search rather than a weak bound.
    state.counters["exact_objective"] = proof.roster ? static_cast<double>(proof.objective) : -1.0;
    why = "exact engine: " + proof.status + " (" +
          std::to_string(solver::ExactVariables(model->instance)) + " binaries)";
  } else if (!bound) {
    why = "exact engine gave no bound";
  }
  Report(state, plan, *model, result, secondsToFeasible, bound, why);
}

bool Register() {
  benchmark::RegisterBenchmark("BM_FillMonth/200x10/10s", Fill,
                               TPlanCase{"200x10", {10, 200, 2026, 12}, ""}, 10.0, false, 60.0)
      ->Iterations(1)
      ->UseManualTime()
      ->Unit(benchmark::kSecond);
  const TPlanCase examples[] = {{"open-ward", {2, 8, 2026, 12}, "open-ward.xml"},
                                {"random-2x8", {2, 8, 2026, 12}, ""}};
  for (const TPlanCase& c : examples) {
    benchmark::RegisterBenchmark(("BM_FillExample/" + c.name).c_str(), Fill, c, 30.0, true, 0.0)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kSecond);
  }
  return true;
}

[[maybe_unused]] const bool registered = Register();

}  // namespace
