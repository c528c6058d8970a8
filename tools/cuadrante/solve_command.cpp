// `cuadrante solve`: the search runs as a background operation of the
// library's manager, as a host would run it; this thread polls the record
// and, on a terminal, redraws one line of progress from it.
#include "tools/cuadrante/solve_command.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <future>
#include <thread>

#include "cuadrante/operations/underoperationmgr.h"
#include "cuadrante/port/files.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/solver/exact.h"
#include "cuadrante/solver/instancefile.h"
#include "cuadrante/solver/search.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/operation_scope.h"

namespace cuadrante::tool {
namespace {

using solver::TInstance;
using solver::TSearchOptions;
using solver::TSearchResult;

constexpr int64_t kLongestTimeLimit = 7 * 24 * 3600;

std::string Fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string FileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

// The gap between the objective and the bound, in percent of the objective.
double GapPercent(int64_t objective, int64_t bound) {
  return objective == 0
             ? 0.0
             : 100.0 * static_cast<double>(objective - bound) / static_cast<double>(objective);
}

std::string ProgressLine(const solver::TProgress& progress) {
  std::string line = progress.bestViolation > 0 && progress.bestObjective == 0
                         ? "repairing (" + std::to_string(progress.bestViolation) + " hard units)"
                         : "best " + std::to_string(progress.bestObjective);
  line += progress.bound ? ", bound " + std::to_string(*progress.bound) : ", no bound yet";
  line += ", " + Fixed(progress.seconds, 1) + " s";
  return line;
}

// Runs the search as an operation of the manager and waits for it, drawing
// the record's phase on a terminal.
TSearchResult SolveAsOperation(const TInstance& instance, const TSearchOptions& given,
                               const std::string& name) {
  ManagerScope scope;
  TUnderOperationMgr& manager = *_UnderOperationMgr;
  std::atomic<bool> stop{false};
  TSearchResult result;
  std::exception_ptr failure;
  std::promise<void> finished;
  std::future<void> done = finished.get_future();
  TUnderOperation* op = manager.GetNewOperation();
  const int32_t id = op->GetID();
  op->OnRunPhases = [&](TUnderOperation* self) {
    struct Signal {
      std::promise<void>& promise;
      ~Signal() { promise.set_value(); }
    } signal{finished};
    try {
      self->SetDescription("solve " + name);
      self->SetActualPhase("searching");
      TSearchOptions options = given;
      options.stop = &stop;
      options.progress = [self, &stop, &given](const solver::TProgress& progress) {
        if (self->Terminated()) stop = true;
        const double share = progress.seconds / std::max(given.timeLimitSeconds, 1e-9);
        TOperationProgress::ReportActivity(
            self->GetProgress(), static_cast<short>(std::min(99.0, 100 * share)),
            static_cast<int>(std::min<uint64_t>(progress.moves / 1'000'000, INT32_MAX)));
        self->SetActualPhase(ProgressLine(progress));
      };
      result = solver::Solve(instance, options);
    } catch (...) {
      failure = std::current_exception();
    }
  };
  if (!manager.Run(id)) throw Exception("the search did not start");
  const bool live = ::isatty(STDERR_FILENO) != 0;
  AnsiString info;
  TOperationProgress snapshot;
  while (!manager.IsTerminated(id, info)) {
    if (live) {
      snapshot.ReadFromStr(info);
      std::fprintf(stderr, "\r%s\033[K", snapshot.GetActualPhase().c_str());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  if (live) std::fprintf(stderr, "\r\033[K");
  done.wait();
  TOperationProgress record;
  manager.PopOperationInfo(id, record);
  if (failure) std::rethrow_exception(failure);
  return result;
}

std::vector<Column> SummaryColumns() {
  return {{"instance", "instance"},
          {"objective", "objective", 0, true, true},
          {"on_requests", "on-requests", 0, true, true},
          {"off_requests", "off-requests", 0, true, true},
          {"under_cover", "under-cover", 0, true, true},
          {"over_cover", "over-cover", 0, true, true},
          {"hard_breaches", "hard breaches", 0, true, true},
          {"lower_bound", "lower bound", 0, true, true},
          {"gap_percent", "gap %", 0, true, true},
          {"optimal", "optimal"},
          {"seconds_to_best", "s to best", 0, true, true},
          {"seconds", "s", 0, true, true},
          {"moves", "moves", 0, true, true}};
}

void PrintBreaches(const TInstance& instance, const solver::TEvaluation& evaluation) {
  for (const solver::TBreach& breach : evaluation.breaches) {
    std::printf("breach  %s day %d: %s: %s\n",
                Printable(instance.employees[static_cast<size_t>(breach.employee)].id).c_str(),
                breach.day, solver::RuleName(breach.rule), breach.detail.c_str());
  }
}

void PrintObjective(const solver::TEvaluation& evaluation) {
  const solver::TObjective& o = evaluation.objective;
  std::printf("objective      %lld\n", static_cast<long long>(o.Total()));
  std::printf("  on-requests  %lld\n", static_cast<long long>(o.onRequests));
  std::printf("  off-requests %lld\n", static_cast<long long>(o.offRequests));
  std::printf("  under-cover  %lld\n", static_cast<long long>(o.underCover));
  std::printf("  over-cover   %lld\n", static_cast<long long>(o.overCover));
  std::printf("hard breaches  %zu\n", evaluation.breaches.size());
}

void PrintSolveText(const TInstance& instance, const std::string& name, const TSearchResult& result,
                    const TSearchOptions& options) {
  std::printf("instance       %s: %zu staff, %d days, %zu shift types\n", Printable(name).c_str(),
              instance.employees.size(), instance.days, instance.shifts.size());
  PrintBreaches(instance, result.evaluation);
  PrintObjective(result.evaluation);
  const int64_t objective = result.evaluation.objective.Total();
  if (!result.bound) {
    std::printf("lower bound    none\n");
  } else if (result.optimal) {
    std::printf("lower bound    %lld: the roster is optimal\n",
                static_cast<long long>(*result.bound));
  } else {
    std::printf("lower bound    %lld, gap %s%%\n", static_cast<long long>(*result.bound),
                Fixed(GapPercent(objective, *result.bound), 2).c_str());
  }
  std::printf("time to best   %s s of %s s (limit %s s), %s million moves\n",
              Fixed(result.secondsToBest, 2).c_str(), Fixed(result.seconds, 2).c_str(),
              Fixed(options.timeLimitSeconds, 0).c_str(),
              Fixed(static_cast<double>(result.moves) / 1e6, 1).c_str());
}

void PrintSolveTable(const std::string& name, const TSearchResult& result, Format format) {
  Table table("solve", SummaryColumns());
  const solver::TObjective& o = result.evaluation.objective;
  const bool known = result.bound.has_value();
  table.Add({name, std::to_string(o.Total()), std::to_string(o.onRequests),
             std::to_string(o.offRequests), std::to_string(o.underCover),
             std::to_string(o.overCover), std::to_string(result.evaluation.breaches.size()),
             known ? std::to_string(*result.bound) : "",
             known ? Fixed(GapPercent(o.Total(), *result.bound), 2) : "",
             result.optimal ? "yes" : "no", Fixed(result.secondsToBest, 3),
             Fixed(result.seconds, 3), std::to_string(result.moves)});
  table.Print(format);
}

// --score: every breach, then the objective; as a list, one row an item.
int Score(const Options& options, Format format) {
  if (options.words.size() != 2) throw Misuse("solve --score needs INSTANCE.txt ROSTER.csv");
  const TInstance instance = solver::ReadInstanceFile(options.words[0]);
  const solver::TRoster roster = solver::ReadRosterFile(options.words[1], instance);
  const solver::TEvaluation evaluation = solver::Evaluate(instance, roster);
  if (format == Format::kText) {
    PrintBreaches(instance, evaluation);
    PrintObjective(evaluation);
  } else {
    Table table("score", {{"item", "item"},
                          {"employee", "employee"},
                          {"day", "day", 0, true, true},
                          {"detail", "detail"},
                          {"value", "value", 0, true, true}});
    for (const solver::TBreach& breach : evaluation.breaches) {
      table.Add({"breach", instance.employees[static_cast<size_t>(breach.employee)].id,
                 std::to_string(breach.day),
                 std::string(solver::RuleName(breach.rule)) + ": " + breach.detail, "1"});
    }
    const solver::TObjective& o = evaluation.objective;
    table.Add({"on-requests", "", "", "", std::to_string(o.onRequests)});
    table.Add({"off-requests", "", "", "", std::to_string(o.offRequests)});
    table.Add({"under-cover", "", "", "", std::to_string(o.underCover)});
    table.Add({"over-cover", "", "", "", std::to_string(o.overCover)});
    table.Add({"objective", "", "", "", std::to_string(o.Total())});
    table.Print(format);
  }
  return evaluation.breaches.empty() ? 0 : kBadInput;
}

}  // namespace

void HelpSolve() {
  std::printf(
      "usage: cuadrante solve INSTANCE.txt [--time-limit SECONDS] [--seed N] [--exact]\n"
      "                       [--workers 1|2] [--moves N] [-o ROSTER.csv] [--format F]\n"
      "       cuadrante solve --score INSTANCE.txt ROSTER.csv [--format F]\n\n"
      "Fills a roster for an instance of the employee shift scheduling benchmark\n"
      "(Curtois and Qu): a local search, with the exact engine (COIN-OR CBC) beside it\n"
      "on instances it can hold, which gives a lower bound and proves small instances\n"
      "optimal. Prints the objective broken down, the bound and the gap when known, and\n"
      "the time to the best roster; on a terminal, a line of progress on stderr.\n\n"
      "  --time-limit S  seconds to search (default 10); the search stops sooner when\n"
      "                  its roster meets the bound\n"
      "  --seed N        the search's seed (default 1): a seed and --moves give the\n"
      "                  same roster on every machine\n"
      "  --moves N       stop after N candidate moves of each search instead of a time\n"
      "  --workers W     1 or 2 searches (default 2); the exact engine takes one's place\n"
      "  --exact         run the exact engine beside the search (default: on when the\n"
      "                  instance is small enough for it, off with --moves)\n"
      "  --no-exact      never run it\n"
      "  -o ROSTER.csv   write the roster as rows employee,day,shift\n"
      "  --score         evaluate ROSTER.csv: every hard breach, then the objective;\n"
      "                  exit status 1 when a hard rule is broken\n\n"
      "exit status: 0 a roster without hard breach, 1 bad input or a roster that\n"
      "breaks a hard rule, 2 misuse\n\n"
      "examples:\n  cuadrante solve examples/ward.txt --time-limit 5 -o roster.csv\n"
      "  cuadrante solve --score examples/ward.txt roster.csv\n");
}

int RunSolve(const Args& args) {
  const Options options =
      Parse(args, {{Number("--time-limit", 1, kLongestTimeLimit), Number("--seed", 0, INT64_MAX),
                    Number("--moves", 1, INT64_MAX), Number("--workers", 1, 2), Value("-o"),
                    FormatOption(), Flag("--exact"), Flag("--no-exact"), Flag("--score")},
                   {}});
  const Format format = ParseFormat(options);
  if (format == Format::kXml) throw Misuse("solve prints text, csv or json");
  if (options.Flag("--score")) return Score(options, format);
  if (options.words.size() != 1)
    throw Misuse("solve needs one INSTANCE.txt (see `cuadrante help solve`)");
  if (options.Flag("--exact") && options.Flag("--no-exact"))
    throw Misuse("--exact and --no-exact exclude each other");
  const std::string& path = options.words[0];
  const TInstance instance = solver::ReadInstanceFile(path);
  TSearchOptions search;
  search.timeLimitSeconds = static_cast<double>(options.Number("--time-limit", 10));
  search.seed = static_cast<uint64_t>(options.Number("--seed", 1));
  search.maxMoves = static_cast<uint64_t>(options.Number("--moves", 0));
  search.workers = static_cast<int>(options.Number("--workers", 2));
  if (options.Flag("--exact")) {
    search.exact = true;
  } else if (!options.Flag("--no-exact") && search.maxMoves == 0) {
    search.exact = solver::ExactVariables(instance) <= solver::kMostExactVariables;
  }
  if (search.maxMoves > 0 && !options.Has("--time-limit"))
    search.timeLimitSeconds = static_cast<double>(kLongestTimeLimit);
  const std::string name = FileName(path);
  const TSearchResult result = SolveAsOperation(instance, search, name);
  if (options.Has("-o")) {
    const std::string& output = options.Need("-o");
    MakeFoldersFor(output);
    WriteFileAtomically(output, solver::WriteRoster(instance, result.roster));
  }
  if (format == Format::kText) {
    PrintSolveText(instance, name, result, search);
  } else {
    PrintSolveTable(name, result, format);
  }
  if (!result.evaluation.Feasible()) {
    std::fprintf(stderr, "cuadrante: solve: no roster without a hard breach found in %s s\n",
                 Fixed(result.seconds, 1).c_str());
    return kBadInput;
  }
  return 0;
}

}  // namespace cuadrante::tool
