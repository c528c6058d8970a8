#include "tools/cuadrante/plan_solve.h"

#include <cstdio>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/fill.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/solver/search.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/table.h"

namespace cuadrante::tool {
namespace {

void PrintSummary(const PlanSolveJob& job, const solver::TSearchResult& result, size_t filled,
                  size_t gaps) {
  const solver::TObjective& objective = result.evaluation.objective;
  std::printf("%-18s %zu\n", Say("shifts filled").c_str(), filled);
  std::printf("%-18s %lld\n", Say("objective").c_str(), static_cast<long long>(objective.Total()));
  std::printf("  %-16s %lld\n", Say("people missing").c_str(),
              static_cast<long long>(objective.underCover));
  std::printf("  %-16s %lld\n", Say("people too many").c_str(),
              static_cast<long long>(objective.overCover));
  std::printf("  %-16s %lld\n", Say("wishes not met").c_str(),
              static_cast<long long>(objective.onRequests + objective.offRequests));
  std::printf("%-18s %zu\n", Say("hard breaches").c_str(), result.evaluation.breaches.size());
  std::printf("%-18s %zu\n", Say("gaps left").c_str(), gaps);
  if (!job.output.empty()) std::printf("%-18s %s\n", Say("written").c_str(), job.output.c_str());
}

// What the plan's own part breaks and the engine could not mend, first.
void ReportBreaches(const roster::TFillModel& model, const solver::TSearchResult& result) {
  for (const solver::TBreach& breach : result.evaluation.breaches) {
    const TFecha day(model.firstDay.Value() + breach.day * kSecondsPerDay);
    std::fprintf(stderr, "cuadrante plan solve: %s %s: %s: %s\n",
                 model.instance.employees[static_cast<size_t>(breach.employee)].id.c_str(),
                 day.ToString("dd/mm/yyyy").c_str(), solver::RuleName(breach.rule),
                 breach.detail.c_str());
  }
}

// Each gap the engine left, and for each person of its post the first rule
// that kept them out: as lines for people, a row a person for programs.
void PrintExplanations(const roster::TPlan& plan, const std::vector<roster::TGapExplanation>& gaps,
                       Format format) {
  if (format == Format::kText) {
    for (const roster::TGapExplanation& gap : gaps) {
      std::printf("\n%s %s %s: %d %s\n", gap.post->code.c_str(), gap.shift->code.c_str(),
                  gap.day.ToString("dd/mm/yyyy").c_str(), gap.missing, Say("missing").c_str());
      for (const roster::TGapPerson& person : gap.people) {
        std::printf("  %-10s %s\n", plan.employees[person.employee].id.c_str(),
                    Say(roster::GapReasonName(person.reason)).c_str());
      }
    }
    return;
  }
  Table table("explanations", {{"post", "post", 0},
                               {"shift", "shift", 0},
                               {"date", "date", 0},
                               {"missing", "missing", 0, true, true},
                               {"employee", "employee", 0},
                               {"reason", "reason", 0}});
  for (const roster::TGapExplanation& gap : gaps) {
    for (const roster::TGapPerson& person : gap.people) {
      table.Add({gap.post->code, gap.shift->code, gap.day.ToString("yyyy-mm-dd"),
                 std::to_string(gap.missing), plan.employees[person.employee].id,
                 roster::GapReasonName(person.reason)});
    }
  }
  table.Print(format);
}

}  // namespace

int RunPlanSolve(const PlanSolveJob& job) {
  const roster::TPlan& plan = *job.plan;
  const roster::TFillModel model = roster::ModelOfPlan(plan, job.first, job.last);
  solver::TSearchOptions options;
  options.timeLimitSeconds = job.timeLimitSeconds;
  options.seed = job.seed;
  const solver::TSearchResult result = solver::Solve(model.instance, options);
  const std::vector<roster::TFilledItem> filled = roster::FilledItems(plan, model, result.roster);
  ReportBreaches(model, result);

  roster::TPlan after = plan;
  for (const roster::TFilledItem& made : filled)
    after.employees[made.employee].items.push_back(made.item);
  const auto gaps = roster::CheckCoverage(after, roster::BuildRosters(after, job.first, job.last),
                                          job.first, job.last);
  size_t shortfalls = 0;
  for (const roster::TCoverageGap& gap : gaps) shortfalls += gap.Shortfall() > 0 ? 1 : 0;
  if (!job.output.empty()) {
    MakeFoldersFor(job.output);
    WriteFileAtomically(job.output, roster::WithFilledItems(job.text, plan, filled));
  }

  if (job.explain) {
    if (job.format == Format::kText) PrintSummary(job, result, filled.size(), shortfalls);
    PrintExplanations(plan, roster::ExplainGaps(plan, model, result.roster), job.format);
  } else if (job.format == Format::kText) {
    PrintSummary(job, result, filled.size(), shortfalls);
    Table table("gaps", {{"post", Say("post"), 5},
                         {"from", Say("from"), 16},
                         {"to", Say("to"), 16},
                         {"missing", Say("missing"), 7, true, true}});
    for (const roster::TCoverageGap& gap : gaps) {
      if (gap.Shortfall() <= 0) continue;
      table.Add({gap.post->code, gap.from.ToString("dd/mm/yyyy hh:nn"),
                 gap.to.ToString("dd/mm/yyyy hh:nn"), std::to_string(gap.Shortfall())});
    }
    if (table.Rows() > 0) {
      std::printf("\n");
      table.Print(job.format);
    }
  } else {
    // For programs: what the engine gave, a row a shift.
    Table table("filled", {{"employee", "employee", 0},
                           {"post", "post", 0},
                           {"date", "date", 0},
                           {"shift", "shift", 0}});
    for (const roster::TFilledItem& made : filled) {
      const roster::TEmployee& person = plan.employees[made.employee];
      table.Add({person.id, made.item.post.empty() ? person.post : made.item.post,
                 made.item.start.ToString("yyyy-mm-dd"), made.item.code});
    }
    table.Print(job.format);
  }
  return result.evaluation.Feasible() ? 0 : kBadInput;
}

}  // namespace cuadrante::tool
