// Filling a plan's month with the auto-rostering engine, as `cuadrante plan
// solve` does: the plan turned into the engine's model (ModelOfPlan) and
// searched (Solve), timed together.
//
// BM_FillMonth is a hospital of 200 people on 10 posts (a random plan of
// testing/plangenerator.h, seed 1) over December 2026, with 10 s for the
// search. The goal: no hard breach well within the 10 s, and an objective
// within 2% of the lower bound proven in 60 s after the clock stops, from
// the search's roster: the exact engine's and the bound by person
// (personbound.h), each given 60 s, the higher one counting. Counters:
// objective, violation and breaches (hard units and breaches; 0 when the
// roster keeps every rule), filled (the shifts the engine gave),
// seconds_to_feasible (-1: never), seconds_to_best, exact_bound and
// person_bound (-1: none), bound and gap in % (-1 when neither gave a bound;
// the label says why).
//
// BM_FillExample is the size of examples/open-ward.xml, two posts and eight
// people over a month: that plan itself and a random one of its size, with
// the exact engine beside the search, which then stops at the proof. Timed to
// the proof (or the 30 s limit); seconds_to_best is when the search first
// held a roster as good as the optimum, that is one with every need met that
// can be met. Counters as above, and optimal (1 when proven).
//
// BM_Replan is a random hospital of 40 people on 4 posts (seed 2) filled for
// 30 s (not timed), then one person with engine shifts on three days in a
// row falls sick on them, and the month is re-planned from the first as
// `plan solve --replan` does: 10 s, the last roster as the start, each day
// changed costing 10. Counters: changed (days, the sick ones included), sick
// (their shifts), without_changes (the objective less what the changes
// cost), full (a free solve of the sick plan, 10 s, no roster kept), and,
// from the exact engine on the re-plan for up to two minutes after the
// clock stops, optimum (its proven best, -1 unproven), optimum_changed and
// optimum_without_changes. The goal was at most the sick shifts and 4 more
// changed within 1% of the full solve: when the optimum's cost less 10 for
// each day it may change (sick + 4) is above 1.01 * full, no re-plan meets
// both halves.
//
// The whole program takes at most about eight minutes.
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
#include "cuadrante/solver/personbound.h"
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
    state.counters["exact_bound"] = proof.bound ? static_cast<double>(*proof.bound) : -1.0;
    why = "exact engine: " + proof.status + " (" +
          std::to_string(solver::ExactVariables(model->instance)) + " binaries)";
    solver::TPersonBoundOptions byPerson;
    byPerson.timeLimitSeconds = boundSeconds;
    byPerson.start = &result.roster;
    const solver::TPersonBoundResult priced = solver::PersonBound(model->instance, byPerson);
    state.counters["person_bound"] = priced.bound ? static_cast<double>(*priced.bound) : -1.0;
    why += "; by person: " + priced.status + " (" + std::to_string(priced.rounds) + " rounds)";
    if (priced.bound && (!bound || *priced.bound > *bound)) bound = priced.bound;
  } else if (!bound) {
    why = "exact engine gave no bound";
  }
  Report(state, plan, *model, result, secondsToFeasible, bound, why);
}

// The plan text with a sick leave on three days in a row for the first
// person the engine gave a shift on each of them, from the 8th to the
// 21st; the person's id and the first day, or nullopt when nobody has them.
std::optional<std::pair<std::string, TFecha>> WithSickLeave(
    std::string& text, const roster::TPlan& plan, const std::vector<roster::TFilledItem>& filled) {
  std::map<size_t, std::vector<int64_t>> days;
  for (const roster::TFilledItem& made : filled)
    days[made.employee].push_back(made.item.start.Date() / kSecondsPerDay);
  for (const auto& [employee, worked] : days) {
    for (const int64_t day : worked) {
      const auto has = [&](int64_t d) {
        return std::find(worked.begin(), worked.end(), d) != worked.end();
      };
      const TFecha from(day * kSecondsPerDay);
      const int dayOfMonth = std::stoi(from.ToString("dd"));
      if (dayOfMonth < 8 || dayOfMonth > 21 || !has(day + 1) || !has(day + 2)) continue;
      const std::string& id = plan.employees[employee].id;
      const size_t tag = text.find('>', text.find("<EMPLOYEE id=\"" + id + "\""));
      text.insert(tag + 1, "<LEAVE from=\"" + from.ToString("yyyy-mm-dd") + "\" to=\"" +
                               TFecha(from.Value() + 2 * kSecondsPerDay).ToString("yyyy-mm-dd") +
                               "\" type=\"7\"/>");
      return std::make_pair(id, from);
    }
  }
  return std::nullopt;
}

solver::TSearchResult SolvePlan(const roster::TFillModel& model, double seconds,
                                const solver::TRoster* start) {
  solver::TSearchOptions options;
  options.seed = 1;
  options.workers = 2;
  options.timeLimitSeconds = seconds;
  // As plan solve: a quarter of the time to the exact engine, all of it in
  // a re-plan (the one with a start).
  options.exactSeconds = start != nullptr ? seconds : seconds / 4;
  options.start = start;
  return solver::Solve(model.instance, options);
}

void Replan(benchmark::State& state) {
  const cuadrante::testing::PlanShape shape{4, 40, 2026, 12};
  std::string text = cuadrante::testing::RandomPlanXml(2, shape);
  const TFecha first(EncodeDate(2026, 12, 1)), last(first.EndOfMonth().Date());
  const roster::TPlan plan = roster::ReadPlan(text);
  const roster::TFillModel model = roster::ModelOfPlan(plan, first, last);
  const solver::TSearchResult known = SolvePlan(model, 30, nullptr);
  const std::vector<roster::TFilledItem> filled = roster::FilledItems(plan, model, known.roster);
  std::string published = roster::WithFilledItems(text, plan, model, filled);
  const auto sick = WithSickLeave(published, plan, filled);
  if (!sick) {
    state.SkipWithError("nobody has engine shifts on three days in a row");
    return;
  }
  const roster::TPlan after = roster::ReadPlan(published);
  roster::TFillOptions replan;
  replan.replanFrom = sick->second;
  std::optional<roster::TFillModel> again;
  solver::TSearchResult result;
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    again.emplace(roster::ModelOfPlan(after, first, last, replan));
    const solver::TRoster lastRoster = roster::LastRoster(*again);
    result = SolvePlan(*again, 10, &lastRoster);
    state.SetIterationTime(Since(start));
  }
  const auto withoutChanges = [&](const solver::TRoster& roster) {
    return solver::Evaluate(again->instance, roster).objective.Total() -
           roster::ChangeCost(*again, roster);
  };
  int sickShifts = 0;
  for (const roster::TFilledItem& made : filled) {
    sickShifts += plan.employees[made.employee].id == sick->first &&
                          made.item.start >= sick->second &&
                          made.item.start.Value() < sick->second.Value() + 3 * kSecondsPerDay
                      ? 1
                      : 0;
  }
  state.counters["changed"] =
      static_cast<double>(roster::ReplanChanges(*again, result.roster).size());
  state.counters["sick"] = sickShifts;
  state.counters["without_changes"] = static_cast<double>(withoutChanges(result.roster));
  // A free solve of the sick plan: what the re-plan is measured against.
  std::string free = published;
  for (size_t at; (at = free.find(" by=\"engine\"")) != std::string::npos;) {
    const size_t open = free.rfind("<ITEM", at);
    free.erase(open, free.find("/>", at) + 2 - open);
  }
  const roster::TPlan freePlan = roster::ReadPlan(free);
  const roster::TFillModel freeModel = roster::ModelOfPlan(freePlan, first, last);
  state.counters["full"] =
      static_cast<double>(SolvePlan(freeModel, 10, nullptr).evaluation.objective.Total());

  solver::TExactOptions proof;
  proof.timeLimitSeconds = 120;
  proof.start = &result.roster;
  const solver::TExactResult best = solver::SolveExact(again->instance, proof);
  state.counters["optimum"] = best.optimal ? static_cast<double>(best.objective) : -1.0;
  state.counters["optimum_changed"] =
      best.roster ? static_cast<double>(roster::ReplanChanges(*again, *best.roster).size()) : -1.0;
  state.counters["optimum_without_changes"] =
      best.roster ? static_cast<double>(withoutChanges(*best.roster)) : -1.0;
  state.SetLabel(sick->first + " sick from " + sick->second.ToString("yyyy-mm-dd") +
                 "; exact engine: " + best.status);
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
  benchmark::RegisterBenchmark("BM_Replan/40x4/10s", Replan)
      ->Iterations(1)
      ->UseManualTime()
      ->Unit(benchmark::kSecond);
  return true;
}

[[maybe_unused]] const bool registered = Register();

}  // namespace
