// The auto-rostering engine at work. BM_SolverMoves prices random moves on a
// roster the search has already worked on, without applying them: one
// assignment changed, two people exchanging one day, and a person's week
// rewritten, on a month of 30 people and on a year of 150 people with 32
// shift types. The search lives on these prices, so the goal is millions a
// second. BM_Solve runs the whole engine, two searches and the exact engine
// beside them, on the three published instances (proven optima 607, 828,
// 1001) and on generated ones of a month, half a year and a year, for 10 s and
// for 60 s each; every run reports what it found as counters: objective,
// violation (hard units; 0 when the roster keeps every rule), bound and gap
// (-1 when the exact engine gave none: it refuses models above
// kMostExactVariables), seconds_to_best and moves.
//
// The twelve runs take about seven minutes. For a quick look restrict them to
// some time limits, as in
//   CUADRANTE_BENCH_SOLVER_SECONDS=10 solver_bench --benchmark_filter=BM_Solve
// (a comma-separated list; any limit may be named, not only 10 and 60).
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "cuadrante/solver/evaluator.h"
#include "cuadrante/solver/generator.h"
#include "cuadrante/solver/instancefile.h"
#include "cuadrante/solver/model.h"
#include "cuadrante/solver/search.h"

namespace {

using namespace cuadrante::solver;

std::string ShapeName(const TShape& shape) {
  return std::to_string(shape.employees) + "x" + std::to_string(shape.days) + "x" +
         std::to_string(shape.shiftTypes);
}

// The published instances lie in shared/data beside the repository: the first
// folder above this one that holds them.
std::string BenchmarkPath(const std::string& name) {
  std::filesystem::path folder = std::filesystem::path(__FILE__).parent_path();
  for (;;) {
    const std::filesystem::path candidate = folder / "shared" / "data" / "shift-benchmark" / name;
    if (std::filesystem::exists(candidate) || !folder.has_relative_path()) return candidate.string();
    folder = folder.parent_path();
  }
}

// --- Moves priced ---------------------------------------------------------

enum class TMoveKind { kChange, kSwap, kBlock };
constexpr int kBlockDays = 7;
// Moves drawn ahead and walked in a ring, so that drawing them stays out of
// the clock; enough of them that the days and people they touch spread over
// the whole roster.
constexpr size_t kMoves = size_t{1} << 14;

struct TMove {
  int a = 0;
  int b = 0;
  int day = 0;
  int shift = kOff;
  std::array<int16_t, kBlockDays> shifts{};
};

// A generated instance and a roster of it after a short search with a move
// budget: neither all off nor random, but what the search prices moves on,
// and the same on every machine. Made once per shape, as Google Benchmark
// calls each benchmark several times.
const TEvaluator& WorkedRoster(const TShape& shape) {
  static std::map<std::string, std::pair<std::unique_ptr<TInstance>, std::unique_ptr<TEvaluator>>>
      made;
  auto& entry = made[ShapeName(shape)];
  if (!entry.second) {
    entry.first = std::make_unique<TInstance>(GenerateInstance(shape, 1));
    TSearchOptions options;
    options.seed = 1;
    options.workers = 1;
    options.maxMoves = 200'000;
    options.timeLimitSeconds = 60;
    TSearchResult result = Solve(*entry.first, options);
    entry.second = std::make_unique<TEvaluator>(*entry.first, std::move(result.roster));
  }
  return *entry.second;
}

std::vector<TMove> RandomMoves(const TInstance& instance, TMoveKind kind) {
  std::mt19937_64 random(7);
  const int employees = static_cast<int>(instance.employees.size());
  const int types = static_cast<int>(instance.shifts.size());
  auto below = [&random](int n) { return static_cast<int>(random() % static_cast<uint64_t>(n)); };
  std::vector<TMove> moves(kMoves);
  for (TMove& move : moves) {
    move.a = below(employees);
    move.b = (move.a + 1 + below(employees - 1)) % employees;  // never a
    move.day =
        kind == TMoveKind::kBlock ? below(instance.days - kBlockDays + 1) : below(instance.days);
    move.shift = below(types + 1) - 1;
    for (int16_t& shift : move.shifts) shift = static_cast<int16_t>(below(types + 1) - 1);
  }
  return moves;
}

void BM_SolverMoves(benchmark::State& state, TShape shape, TMoveKind kind) {
  const TEvaluator& evaluator = WorkedRoster(shape);
  const std::vector<TMove> moves = RandomMoves(evaluator.Instance(), kind);
  size_t next = 0;
  int64_t sum = 0;
  for (auto _ : state) {
    const TMove& move = moves[next];
    next = (next + 1) & (kMoves - 1);
    TDelta delta;
    switch (kind) {
      case TMoveKind::kChange:
        delta = evaluator.ChangeDelta(move.a, move.day, move.shift);
        break;
      case TMoveKind::kSwap:
        delta = evaluator.SwapDelta(move.a, move.b, move.day, move.day);
        break;
      case TMoveKind::kBlock:
        delta = evaluator.BlockDelta(move.a, move.day, move.shifts);
        break;
    }
    sum += delta.objective + delta.violation;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  state.SetLabel("moves evaluated per second");
}

// --- The whole engine -----------------------------------------------------

struct TSolveCase {
  std::string name;  // "Instance1" or a shape, "30x28x4"
  TShape shape;      // for the generated ones
};

void BM_Solve(benchmark::State& state, const TSolveCase& c, double seconds) {
  TInstance instance;
  try {
    instance = c.name.starts_with("Instance") ? ReadInstanceFile(BenchmarkPath(c.name + ".txt"))
                                              : GenerateInstance(c.shape, 1);
  } catch (const std::exception& error) {
    state.SkipWithError(error.what());
    return;
  }
  TSearchOptions options;
  options.seed = 1;
  options.timeLimitSeconds = seconds;
  options.workers = 2;
  options.exact = true;
  TSearchResult result;
  for (auto _ : state) result = Solve(instance, options);

  const int64_t objective = result.evaluation.objective.Total();
  const int64_t violation = result.evaluation.violation;
  double gap = -1;
  if (result.bound && violation == 0) {
    gap = objective == 0 ? 0
                         : 100.0 * static_cast<double>(objective - *result.bound) /
                               static_cast<double>(objective);
  }
  state.counters["objective"] = static_cast<double>(objective);
  state.counters["violation"] = static_cast<double>(violation);
  state.counters["bound"] = result.bound ? static_cast<double>(*result.bound) : -1.0;
  state.counters["gap"] = gap;
  state.counters["seconds_to_best"] = result.secondsToBest;
  state.counters["moves"] = static_cast<double>(result.moves);
}

// The time limits to run, from CUADRANTE_BENCH_SOLVER_SECONDS when set.
std::vector<double> SolveSeconds() {
  const char* chosen = std::getenv("CUADRANTE_BENCH_SOLVER_SECONDS");
  if (chosen == nullptr || *chosen == '\0') return {10, 60};
  std::vector<double> seconds;
  std::istringstream in(chosen);
  for (std::string item; std::getline(in, item, ',');) {
    char* end = nullptr;
    const double value = std::strtod(item.c_str(), &end);
    if (end != item.c_str() && value > 0) seconds.push_back(value);
  }
  return seconds;
}

std::string SecondsName(double seconds) {
  std::ostringstream out;
  out << seconds;
  return out.str();
}

bool Register() {
  const TShape moveShapes[] = {{30, 28, 4}, {150, 364, 32}};
  const std::pair<TMoveKind, const char*> kinds[] = {
      {TMoveKind::kChange, "change"}, {TMoveKind::kSwap, "swap"}, {TMoveKind::kBlock, "block"}};
  for (const TShape& shape : moveShapes) {
    for (const auto& [kind, kindName] : kinds) {
      benchmark::RegisterBenchmark(("BM_SolverMoves/" + ShapeName(shape) + "/" + kindName).c_str(),
                                   BM_SolverMoves, shape, kind);
    }
  }

  std::vector<TSolveCase> cases = {{"Instance1", {}}, {"Instance2", {}}, {"Instance3", {}}};
  for (const TShape& shape : {TShape{30, 28, 4}, TShape{50, 182, 6}, TShape{150, 364, 32}}) {
    cases.push_back({ShapeName(shape), shape});
  }
  for (const double seconds : SolveSeconds()) {
    for (const TSolveCase& c : cases) {
      benchmark::RegisterBenchmark(("BM_Solve/" + c.name + "/" + SecondsName(seconds)).c_str(),
                                   BM_Solve, c, seconds)
          ->Iterations(1)
          ->UseRealTime()
          ->Unit(benchmark::kSecond);
    }
  }
  return true;
}

[[maybe_unused]] const bool registered = Register();

}  // namespace
