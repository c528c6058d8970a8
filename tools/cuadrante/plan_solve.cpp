#include "tools/cuadrante/plan_solve.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cuadrante/port/files.h"
#include "cuadrante/roster/checks.h"
#include "cuadrante/roster/fairness.h"
#include "cuadrante/roster/fill.h"
#include "cuadrante/roster/personroster.h"
#include "cuadrante/solver/exact.h"
#include "cuadrante/solver/search.h"
#include "tools/cuadrante/documents.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/plan_command.h"
#include "tools/cuadrante/table.h"

namespace cuadrante::tool {
namespace {

// A plan filled: the engine's answer and what the plan holds with it.
struct Filled {
  roster::TFillModel model;
  solver::TSearchResult result;
  std::vector<roster::TFilledItem> items;
  std::string text;    // the plan document with the engine's items
  roster::TPlan plan;  // read back from `text`
};

Filled Fill(const PlanSolveJob& job, const roster::TFillOptions& options, double seconds) {
  Filled filled;
  filled.model = roster::ModelOfPlan(*job.plan, job.first, job.last, options);
  solver::TSearchOptions search;
  search.timeLimitSeconds = seconds;
  search.seed = job.seed;
  // Small plans end at the proof rather than at the time limit.
  search.exact = solver::ExactVariables(filled.model.instance) <= solver::kMostExactVariables;
  // A quarter of the time is enough to prove what it can prove (open-ward
  // in a fifth of a second); a plan of forty people it cannot, and a second
  // search does more with that core. A re-plan's change costs anchor its
  // relaxation: there the exact engine proves forty people's month in a
  // minute or two and finds mends that take chains of moves, so it keeps
  // its core to the end.
  search.exactSeconds = options.replanFrom ? seconds : seconds / 4;
  // A re-plan mends the roster people know rather than build another.
  const solver::TRoster last = roster::LastRoster(filled.model);
  if (!filled.model.previous.empty()) search.start = &last;
  filled.result = solver::Solve(filled.model.instance, search);
  filled.items = roster::FilledItems(*job.plan, filled.model, filled.result.roster);
  filled.text = roster::WithFilledItems(job.text, *job.plan, filled.model, filled.items);
  filled.plan = roster::ReadPlan(filled.text);
  return filled;
}

void PrintSummary(const PlanSolveJob& job, const Filled& filled, size_t changes, size_t gaps) {
  const solver::TObjective& objective = filled.result.evaluation.objective;
  const int64_t changeCost = roster::ChangeCost(filled.model, filled.result.roster);
  const auto line = [](const char* label, long long value) {
    std::printf("  %-16s %lld\n", Say(label).c_str(), value);
  };
  std::printf("%-18s %zu\n", Say("shifts filled").c_str(), filled.items.size());
  std::printf("%-18s %lld\n", Say("objective").c_str(), static_cast<long long>(objective.Total()));
  line("people missing", objective.underCover);
  line("people too many", objective.overCover);
  line("wishes not met", objective.onRequests + objective.offRequests - changeCost);
  if (job.replanFrom) line("changes", changeCost);
  if (job.fair) line("fairness", objective.balance);
  std::printf("%-18s %zu\n", Say("hard breaches").c_str(),
              filled.result.evaluation.breaches.size());
  std::printf("%-18s %zu\n", Say("gaps left").c_str(), gaps);
  if (job.replanFrom) std::printf("%-18s %zu\n", Say("days changed").c_str(), changes);
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

// A need's shift code, or its span of hours when it names none.
std::string NeedLabel(const roster::TNeed& need) {
  if (!need.shift.empty()) return need.shift;
  const TFecha start(need.startMinute * int64_t{60});
  return start.ToString("hh:nn") + "-" +
         TFecha(start.Value() + need.seconds.Value()).ToString("hh:nn");
}

// Why a short need names nobody: its post has no people, or all of them
// work it already.
const char* NobodyLeft(const roster::TPlan& plan, const roster::TPost& post) {
  for (const roster::TEmployee& employee : plan.employees) {
    if (std::find(employee.posts.begin(), employee.posts.end(), post.code) != employee.posts.end())
      return "all its people on it";
  }
  return "nobody at the post";
}

// Each gap the engine left, and for each person of its post the first rule
// that kept them out, then the needs it never had and why: as lines for
// people, a row a person (or a need) for programs.
void PrintExplanations(const roster::TPlan& plan, const std::vector<roster::TGapExplanation>& gaps,
                       const std::vector<roster::TLeftOutNeed>& leftOut, Format format) {
  if (format == Format::kText) {
    for (const roster::TGapExplanation& gap : gaps) {
      std::printf("\n%s %s %s: %d %s\n", gap.post->code.c_str(), gap.shift->code.c_str(),
                  gap.day.ToString("dd/mm/yyyy").c_str(), gap.missing, Say("missing").c_str());
      for (const roster::TGapPerson& person : gap.people) {
        std::printf("  %-10s %s\n", plan.employees[person.employee].id.c_str(),
                    Say(roster::GapReasonName(person.reason)).c_str());
      }
      if (gap.people.empty()) std::printf("  %s\n", Say(NobodyLeft(plan, *gap.post)).c_str());
    }
    for (const roster::TLeftOutNeed& need : leftOut) {
      std::printf("\n%s %s %s: %lld %s\n  %s\n", need.post->code.c_str(),
                  NeedLabel(*need.need).c_str(), need.day.ToString("dd/mm/yyyy").c_str(),
                  static_cast<long long>(need.missing), Say("missing").c_str(),
                  Say(roster::LeftOutReasonName(need.reason)).c_str());
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
    if (gap.people.empty()) {
      table.Add({gap.post->code, gap.shift->code, gap.day.ToString("yyyy-mm-dd"),
                 std::to_string(gap.missing), "", NobodyLeft(plan, *gap.post)});
    }
  }
  // Needs the engine never had: one row each, with nobody to name.
  for (const roster::TLeftOutNeed& need : leftOut) {
    table.Add({need.post->code, NeedLabel(*need.need), need.day.ToString("yyyy-mm-dd"),
               std::to_string(need.missing), "", roster::LeftOutReasonName(need.reason)});
  }
  table.Print(format);
}

// What a re-plan changed, person by person: a row a day.
void PrintChanges(const roster::TPlan& plan, const std::vector<roster::TReplanChange>& changes,
                  Format format) {
  const bool forPeople = format == Format::kText;
  // People read "days changed 0" in the summary; a header over no rows adds
  // nothing. Programs still get their empty list.
  if (forPeople && changes.empty()) return;
  const auto shift = [&](const roster::TShift* code, const roster::TPost* post) {
    if (code == nullptr) return std::string(forPeople ? "-" : "");
    return forPeople ? post->code + " " + code->code : code->code;
  };
  const auto post = [](const roster::TPost* at) { return at ? at->code : std::string(); };
  std::vector<Column> columns = {{"employee", Say("employee"), 10}, {"date", Say("date"), 10}};
  if (forPeople) {
    columns.push_back({"before", Say("before"), 9});
    columns.push_back({"after", Say("after"), 0});
  } else {
    columns.insert(columns.end(), {{"before", "before", 0},
                                   {"beforePost", "beforePost", 0},
                                   {"after", "after", 0},
                                   {"afterPost", "afterPost", 0}});
  }
  Table table("changes", columns);
  for (const roster::TReplanChange& change : changes) {
    std::vector<std::string> row = {plan.employees[change.employee].id,
                                    change.day.ToString(forPeople ? "dd/mm/yyyy" : "yyyy-mm-dd"),
                                    shift(change.before, change.beforePost)};
    if (!forPeople) row.push_back(post(change.beforePost));
    row.push_back(shift(change.after, change.afterPost));
    if (!forPeople) row.push_back(post(change.afterPost));
    table.Add(std::move(row));
  }
  if (forPeople) std::printf("\n");
  table.Print(format);
}

// Nights, weekends, holidays and hours per person, and their spread per
// post; with the plain roster beside it, what fairness cost.
void PrintFairness(const PlanSolveJob& job, const Filled& filled, const Filled* plain) {
  const auto fairnessOf = [&](const Filled& of) {
    return roster::FairnessOf(of.plan, roster::BuildRosters(of.plan, job.first, job.last),
                              job.first, job.last);
  };
  const roster::TFairness fairness = fairnessOf(filled);
  Table people("fairness", {{"employee", Say("employee"), 10},
                            {"post", Say("post"), 5},
                            {"nights", Say("nights"), 6, true, true},
                            {"weekends", Say("weekends"), 8, true, true},
                            {"holidays", Say("holidays"), 8, true, true},
                            {"hours", Say("hours"), 7, true, true},
                            {"contract", Say("contract"), 8, true, true},
                            {"balance", Say("balance"), 7, true, true}});
  for (const roster::TFairShare& share : fairness.people) {
    people.Add({share.employee->id, share.employee->post, std::to_string(share.nights),
                std::to_string(share.weekends), std::to_string(share.holidays),
                HoursText(share.hours.WorkUnits(), true), HoursText(share.hours.contract, true),
                HoursText(share.hours.Balance(), true)});
  }
  std::printf("\n");
  people.Print(Format::kText);
  std::optional<roster::TFairness> before;
  if (plain != nullptr) before = fairnessOf(*plain);
  Table posts("spread", {{"post", Say("spread"), 8},
                         {"nights", Say("nights"), 6, true, true},
                         {"weekends", Say("weekends"), 8, true, true},
                         {"holidays", Say("holidays"), 8, true, true},
                         {"balance", Say("balance"), 7, true, true}});
  for (size_t at = 0; at < fairness.posts.size(); ++at) {
    const roster::TFairSpread& spread = fairness.posts[at];
    if (spread.people < 2) continue;
    // "3 (5)": the spread with fairness, and without it.
    const auto cell = [&](int64_t now, int64_t was) {
      return before ? std::to_string(now) + " (" + std::to_string(was) + ")" : std::to_string(now);
    };
    const roster::TFairSpread* was = before ? &before->posts[at] : nullptr;
    posts.Add({spread.post->code, cell(spread.nights, was ? was->nights : 0),
               cell(spread.weekends, was ? was->weekends : 0),
               cell(spread.holidays, was ? was->holidays : 0),
               HoursText(spread.balance, true) +
                   (was ? " (" + HoursText(was->balance, true) + ")" : "")});
  }
  if (posts.Rows() > 0) {
    std::printf("\n");
    posts.Print(Format::kText);
  }
  if (plain != nullptr) {
    // Fairness is paid for in the rest of the objective.
    const auto rest = [](const Filled& of) {
      const solver::TObjective& objective = of.result.evaluation.objective;
      return static_cast<long long>(objective.Total() - objective.balance);
    };
    std::printf("\n%-18s %lld (%s %lld)\n", Say("fairness cost").c_str(),
                rest(filled) - rest(*plain), Say("objective without it").c_str(), rest(*plain));
  }
}

void PrintGaps(const std::vector<roster::TCoverageGap>& gaps, Format format) {
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
    table.Print(format);
  }
}

// For programs: what the engine gave, a row a shift.
void PrintFilled(const roster::TPlan& plan, const std::vector<roster::TFilledItem>& filled,
                 Format format) {
  Table table("filled", {{"employee", "employee", 0},
                         {"post", "post", 0},
                         {"date", "date", 0},
                         {"shift", "shift", 0}});
  for (const roster::TFilledItem& made : filled) {
    const roster::TEmployee& person = plan.employees[made.employee];
    table.Add({person.id, made.item.post.empty() ? person.post : made.item.post,
               made.item.start.ToString("yyyy-mm-dd"), made.item.code});
  }
  table.Print(format);
}

}  // namespace

int RunPlanSolve(const PlanSolveJob& job) {
  const roster::TPlan& plan = *job.plan;
  roster::TFillOptions options;
  options.replanFrom = job.replanFrom;
  options.changeWeight = job.changeWeight;
  double seconds = job.timeLimitSeconds;
  std::optional<Filled> plain;
  if (job.fair) {
    seconds /= 2;
    plain = Fill(job, options, seconds);
    options.fairWeight = kFairWeight;
  }
  const Filled filled = Fill(job, options, seconds);
  ReportBreaches(filled.model, filled.result);
  const std::vector<roster::TReplanChange> changes =
      roster::ReplanChanges(filled.model, filled.result.roster);

  const auto gaps = roster::CheckCoverage(
      filled.plan, roster::BuildRosters(filled.plan, job.first, job.last), job.first, job.last);
  size_t shortfalls = 0;
  for (const roster::TCoverageGap& gap : gaps) shortfalls += gap.Shortfall() > 0 ? 1 : 0;
  if (!job.output.empty()) {
    MakeFoldersFor(job.output);
    WriteFileAtomically(job.output, filled.text);
  }

  if (job.format == Format::kText) PrintSummary(job, filled, changes.size(), shortfalls);
  const auto explain = [&] {
    PrintExplanations(plan, roster::ExplainGaps(plan, filled.model, filled.result.roster),
                      roster::NeedsLeftOut(filled.plan, filled.model, gaps), job.format);
  };
  if (job.format == Format::kText) {
    // The explanations tell each gap, in place of their list; what changed
    // and the fairness table follow either way.
    if (job.explain) {
      explain();
      std::printf("\n");
    } else {
      PrintGaps(gaps, job.format);
    }
    if (job.replanFrom) PrintChanges(plan, changes, job.format);
    PrintFairness(job, filled, plain ? &*plain : nullptr);
  } else if (job.explain) {
    explain();
  } else if (job.replanFrom) {
    PrintChanges(plan, changes, job.format);
  } else {
    PrintFilled(plan, filled.items, job.format);
  }
  return filled.result.evaluation.Feasible() ? 0 : kBadInput;
}

}  // namespace cuadrante::tool
