#include "cuadrante/solver/search.h"

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cmath>
#include <exception>
#include <mutex>
#include <thread>

#include "cuadrante/solver/exact.h"

namespace cuadrante::solver {

namespace {

using TClock = std::chrono::steady_clock;

// xoshiro256**: fast, and the same stream on every machine for a seed.
class TRandom {
 public:
  explicit TRandom(uint64_t seed) {
    for (uint64_t& word : state_) word = SplitMix(seed);
  }
  uint64_t Next() {
    const uint64_t result = Rotate(state_[1] * 5, 7) * 9;
    const uint64_t t = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= t;
    state_[3] = Rotate(state_[3], 45);
    return result;
  }
  // Uniform in [0, n), n > 0.
  int Below(int n) {
    return static_cast<int>((static_cast<unsigned __int128>(Next()) * static_cast<uint64_t>(n)) >>
                            64);
  }
  double Unit() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }

 private:
  static uint64_t Rotate(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  static uint64_t SplitMix(uint64_t& x) {
    uint64_t z = (x += 0x9e3779b97f4a7c15);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  uint64_t state_[4];
};

// What a person may be given on a day: off, or a type with a maximum above
// zero on a day that is not off.
struct TChoices {
  std::vector<std::vector<int16_t>> types;  // per employee
  std::vector<uint8_t> dayOff;              // employee * days + day
};

TChoices ChoicesOf(const TInstance& instance) {
  TChoices choices;
  const int days = instance.days;
  choices.dayOff.assign(instance.employees.size() * static_cast<size_t>(days), 0);
  for (size_t e = 0; e < instance.employees.size(); ++e) {
    const TEmployee& person = instance.employees[e];
    std::vector<int16_t> types;
    for (size_t s = 0; s < instance.shifts.size(); ++s) {
      if (person.maxShifts[s] > 0) types.push_back(static_cast<int16_t>(s));
    }
    choices.types.push_back(std::move(types));
    for (int d : person.daysOff)
      choices.dayOff[e * static_cast<size_t>(days) + static_cast<size_t>(d)] = 1;
  }
  return choices;
}

// The heaviest and lightest weight of the objective, at least 1.
struct TWeights {
  int64_t heaviest = 1;
  int64_t lightest = 0;
};

// One search: simulated annealing over moves of several sizes, cooling in
// cycles of a fixed number of moves, each cycle starting from the best
// roster known to all workers. Hard rules weigh `hardWeight` a unit, a
// weight that grows while the roster breaks them and shrinks while it keeps
// them, so that the search may cross a breach to reach better rosters.
class TWorker {
 public:
  TWorker(const TInstance& instance, const TRoster& first, const TChoices& choices, uint64_t seed,
          const TWeights& weights)
      : choices_(choices),
        evaluator_(instance, first),
        random_(seed),
        lightest_(std::max<double>(1, static_cast<double>(weights.heaviest) * kLightestWeight)),
        heaviest_(static_cast<double>(weights.heaviest) * kHeaviestWeight),
        hardWeight_(static_cast<double>(weights.heaviest) * kStartWeight),
        employees_(static_cast<int>(instance.employees.size())),
        days_(instance.days),
        types_(static_cast<int>(instance.shifts.size())),
        // Hot enough to trade a few of the lightest wishes, never a person
        // of cover: the cycles restart from the best, so they need not roam.
        startTemperature_(3.0 * static_cast<double>(weights.lightest)),
        endTemperature_(0.1 * static_cast<double>(weights.lightest)) {
    start_ = evaluator_.Roster();
    startScore_ = PenalisedScore();
    NoteFeasible();
    block_.reserve(16);
  }

  // The best roster without a hard breach, if any.
  bool HasFeasible() const { return feasibleObjective_ >= 0; }
  int64_t FeasibleObjective() const { return feasibleObjective_; }
  const TRoster& Feasible() const { return feasible_; }
  uint64_t MovesTried() const { return moves_; }
  int64_t Violation() const { return evaluator_.Violation(); }
  const TRoster& Current() const { return evaluator_.Roster(); }

  // A better roster without breach found elsewhere: the next cycle starts
  // from it, the current one goes on undisturbed.
  void Adopt(const TRoster& roster, int64_t objective) {
    if (HasFeasible() && objective >= feasibleObjective_) return;
    feasible_ = roster;
    feasibleObjective_ = objective;
  }

  // Runs `count` candidate moves at temperatures falling with the cycle.
  void Run(uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
      if (cycleMove_ == cycleLength_) StartCycle();
      if ((cycleMove_ & 1023) == 0) Cool();
      ++cycleMove_;
      Step();
      ++moves_;
    }
  }

 private:
  static constexpr double kLightestWeight = 0.5;
  static constexpr double kStartWeight = 2;
  static constexpr double kHeaviestWeight = 100;

  void Cool() {
    const double fraction = static_cast<double>(cycleMove_) / static_cast<double>(cycleLength_);
    temperature_ = startTemperature_ * std::pow(endTemperature_ / startTemperature_, fraction);
    hardWeight_ = evaluator_.Violation() > 0 ? std::min(heaviest_, hardWeight_ * 1.02)
                                             : std::max(lightest_, hardWeight_ / 1.01);
  }

  void StartCycle() {
    if (cycles_++ > 0) {
      evaluator_.Reset(HasFeasible() ? feasible_ : start_);
      cycleLength_ = std::min<uint64_t>(cycleLength_ * 2, kLongestCycle);
    }
    cycleMove_ = 0;
  }

  double PenalisedScore() const {
    return static_cast<double>(evaluator_.Objective()) +
           hardWeight_ * static_cast<double>(evaluator_.Violation());
  }

  bool Accept(const TDelta& delta) {
    const double change =
        static_cast<double>(delta.objective) + hardWeight_ * static_cast<double>(delta.violation);
    if (change <= 0) return true;
    return random_.Unit() < std::exp(-change / temperature_);
  }

  void NoteFeasible() {
    if (evaluator_.Violation() != 0) {
      const double score = PenalisedScore();
      if (!HasFeasible() && score < startScore_) {
        startScore_ = score;
        start_ = evaluator_.Roster();
      }
      return;
    }
    if (HasFeasible() && evaluator_.Objective() >= feasibleObjective_) return;
    feasibleObjective_ = evaluator_.Objective();
    feasible_ = evaluator_.Roster();
  }

  template <typename Price, typename Apply>
  void Try(Price price, Apply apply) {
    if (!Accept(price())) return;
    apply();
    NoteFeasible();
  }

  size_t Cell(int e, int day) const {
    return static_cast<size_t>(e) * static_cast<size_t>(days_) + static_cast<size_t>(day);
  }

  // A random choice for (e, day) other than `current`: off, or a type the
  // person may work on a day that is not off.
  int RandomChoice(int e, int day, int current) {
    if (choices_.dayOff[Cell(e, day)]) return kOff;
    const auto& types = choices_.types[static_cast<size_t>(e)];
    const int options = static_cast<int>(types.size()) + 1;
    for (int attempt = 0; attempt < 4; ++attempt) {
      const int pick = random_.Below(options);
      const int value = pick == 0 ? kOff : types[static_cast<size_t>(pick - 1)];
      if (value != current) return value;
    }
    return current;
  }

  bool Free(int e, int first, int last) const {
    for (int d = first; d <= last; ++d) {
      if (evaluator_.Pinned(e, d)) return false;
    }
    return true;
  }

  int OtherEmployee(int a) {
    const int b = random_.Below(employees_ - 1);
    return b + (b >= a);
  }

  void Step() {
    const int kind = random_.Below(100);
    if (kind < 10) return FillGap();
    if (kind < 35 || employees_ < 2) return ChangeOne();
    if (kind < 60) return SwapDay();
    if (kind < 75) return SwapBlock();
    if (kind < 82) return MoveShift();
    if (kind < 92) return RotateBlock();
    return RewriteBlock();
  }

  // One person's day changes.
  void ChangeOne() {
    const int e = random_.Below(employees_);
    const int d = random_.Below(days_);
    if (evaluator_.Pinned(e, d)) return;
    const int current = evaluator_.Roster().At(e, d);
    const int value = RandomChoice(e, d, current);
    if (value == current) return;
    Try([&] { return evaluator_.ChangeDelta(e, d, value); },
        [&] { evaluator_.Change(e, d, value); });
  }

  // Someone off on a day where a shift lacks people works it.
  void FillGap() {
    if (types_ == 0) return;
    const int d = random_.Below(days_);
    const int s = random_.Below(types_);
    if (evaluator_.CoverAddDelta(d, s) >= 0) return;
    for (int attempt = 0; attempt < 4; ++attempt) {
      const int e = random_.Below(employees_);
      if (evaluator_.Roster().At(e, d) != kOff || evaluator_.Pinned(e, d) ||
          choices_.dayOff[Cell(e, d)])
        continue;
      Try([&] { return evaluator_.ChangeDelta(e, d, s); }, [&] { evaluator_.Change(e, d, s); });
      return;
    }
  }

  // Two people exchange one day.
  void SwapDay() {
    const int a = random_.Below(employees_);
    const int b = OtherEmployee(a);
    const int d = random_.Below(days_);
    if (evaluator_.Roster().At(a, d) == evaluator_.Roster().At(b, d)) return;
    if (evaluator_.Pinned(a, d) || evaluator_.Pinned(b, d)) return;
    Try([&] { return evaluator_.SwapDelta(a, b, d, d); }, [&] { evaluator_.Swap(a, b, d, d); });
  }

  // Two people exchange a run of days.
  void SwapBlock() {
    const int a = random_.Below(employees_);
    const int b = OtherEmployee(a);
    const int first = random_.Below(days_);
    const int last = std::min(days_ - 1, first + 1 + random_.Below(kLongestBlock - 1));
    if (!Free(a, first, last) || !Free(b, first, last)) return;
    Try([&] { return evaluator_.SwapDelta(a, b, first, last); },
        [&] { evaluator_.Swap(a, b, first, last); });
  }

  // A person works a shift on another day of the same week or so instead:
  // minutes and counts stay, only runs and wishes change.
  void MoveShift() {
    const int e = random_.Below(employees_);
    const int from = random_.Below(days_);
    const int to =
        std::clamp(from + random_.Below(2 * kLongestBlock + 1) - kLongestBlock, 0, days_ - 1);
    const int16_t* row = evaluator_.Roster().Row(e);
    if (from == to || row[from] == row[to]) return;
    const int first = std::min(from, to), last = std::max(from, to);
    if (evaluator_.Pinned(e, first) || evaluator_.Pinned(e, last)) return;
    if ((row[last] != kOff && choices_.dayOff[Cell(e, first)]) ||
        (row[first] != kOff && choices_.dayOff[Cell(e, last)])) {
      return;
    }
    block_.assign(row + first, row + last + 1);
    std::swap(block_.front(), block_.back());
    Try([&] { return evaluator_.BlockDelta(e, first, block_); },
        [&] { evaluator_.Block(e, first, block_); });
  }

  // A person's days in a window move one day later or earlier, the last
  // (first) wrapping round: a run slides without changing its length.
  void RotateBlock() {
    const int e = random_.Below(employees_);
    const int first = random_.Below(days_);
    const int last = std::min(days_ - 1, first + 2 + random_.Below(kLongestBlock - 1));
    if (last - first < 2 || !Free(e, first, last)) return;
    const int16_t* row = evaluator_.Roster().Row(e);
    block_.assign(row + first, row + last + 1);
    if (random_.Below(2) == 0) {
      std::rotate(block_.begin(), block_.begin() + 1, block_.end());
    } else {
      std::rotate(block_.rbegin(), block_.rbegin() + 1, block_.rend());
    }
    for (int d = first; d <= last; ++d) {
      if (block_[static_cast<size_t>(d - first)] != kOff && choices_.dayOff[Cell(e, d)]) return;
    }
    Try([&] { return evaluator_.BlockDelta(e, first, block_); },
        [&] { evaluator_.Block(e, first, block_); });
  }

  // A person's run of days becomes one shift type, or days off.
  void RewriteBlock() {
    const int e = random_.Below(employees_);
    const int first = random_.Below(days_);
    const int last = std::min(days_ - 1, first + 1 + random_.Below(kLongestBlock - 1));
    if (!Free(e, first, last)) return;
    const int value = RandomChoice(e, first, kOff - 1);
    block_.clear();
    for (int d = first; d <= last; ++d)
      block_.push_back(static_cast<int16_t>(choices_.dayOff[Cell(e, d)] ? kOff : value));
    Try([&] { return evaluator_.BlockDelta(e, first, block_); },
        [&] { evaluator_.Block(e, first, block_); });
  }

  static constexpr int kLongestBlock = 7;
  static constexpr uint64_t kFirstCycle = 2'000'000;
  static constexpr uint64_t kLongestCycle = 64'000'000;

  const TChoices& choices_;
  TEvaluator evaluator_;
  TRandom random_;
  double lightest_;
  double heaviest_;
  double hardWeight_;
  int employees_;
  int days_;
  int types_;
  TRoster start_;  // the best penalised roster while none is feasible
  double startScore_ = 0;
  TRoster feasible_;
  int64_t feasibleObjective_ = -1;
  std::vector<int16_t> block_;
  uint64_t moves_ = 0;
  uint64_t cycleMove_ = 0;
  uint64_t cycleLength_ = kFirstCycle;
  int cycles_ = 0;
  double temperature_ = 1;
  double startTemperature_;
  double endTemperature_;
};

TWeights WeightsOf(const TInstance& instance) {
  TWeights weights;
  const auto see = [&weights](int64_t weight) {
    if (weight <= 0) return;
    weights.heaviest = std::max(weights.heaviest, weight);
    weights.lightest = weights.lightest == 0 ? weight : std::min(weights.lightest, weight);
  };
  for (const TCover& c : instance.cover) {
    see(c.underWeight);
    see(c.overWeight);
  }
  for (const TRequest& r : instance.onRequests) see(r.weight);
  for (const TRequest& r : instance.offRequests) see(r.weight);
  for (const TEmployee& person : instance.employees) {
    for (const TBalance& balance : person.balances) see(balance.weight);
  }
  weights.lightest = std::max<int64_t>(weights.lightest, 1);
  return weights;
}

// What the exact engine beside the search has told so far.
struct TExactNews {
  std::mutex mutex;
  std::optional<int64_t> bound;
  std::optional<TRoster> roster;
  bool finished = false;
  bool optimal = false;
};

}  // namespace

TSearchResult Solve(const TInstance& instance, const TSearchOptions& options) {
  CheckModel(instance);
  const TClock::time_point start = TClock::now();
  const auto elapsed = [start] {
    return std::chrono::duration<double>(TClock::now() - start).count();
  };
  const TChoices choices = ChoicesOf(instance);
  const int workers = std::clamp(options.workers - (options.exact ? 1 : 0), 1, 2);
  TRoster first = PinnedRoster(instance);
  if (options.start != nullptr) {
    if (options.start->Employees() != static_cast<int>(instance.employees.size()) ||
        options.start->Days() != instance.days)
      throw EModelError("the start roster's sizes are not the instance's");
    first = *options.start;
    for (const TPin& pin : instance.pins) first.Set(pin.employee, pin.day, pin.shift);
  }
  if (instance.employees.empty()) {
    // Nobody to give a shift: the only roster there is is the answer, and
    // the moves, which each pick a person, have nobody to pick.
    TSearchResult result;
    result.roster = first;
    result.evaluation = Evaluate(instance, first);
    result.bound = result.evaluation.objective.Total();
    result.optimal = result.evaluation.Feasible();
    result.seconds = elapsed();
    return result;
  }
  std::vector<TWorker> team;
  team.reserve(2);  // a second search may join later, and threads hold the first
  for (int w = 0; w < workers; ++w) {
    team.emplace_back(instance, first, choices, options.seed * 2 + static_cast<uint64_t>(w),
                      WeightsOf(instance));
  }
  // The exact engine's core goes to a second search once it ends unproven.
  const bool handOver = options.exact && options.workers >= 2;

  TExactNews news;
  std::atomic<bool> exactStop{false};
  std::thread exactThread;
  if (options.exact) {
    exactThread = std::thread([&] {
      TExactOptions exact;
      exact.timeLimitSeconds = options.exactSeconds > 0
                                   ? std::min(options.exactSeconds, options.timeLimitSeconds)
                                   : options.timeLimitSeconds;
      exact.stop = &exactStop;
      exact.onBound = [&news](int64_t bound) {
        std::lock_guard lock(news.mutex);
        news.bound = bound;
      };
      exact.onRoster = [&news](const TRoster& roster, int64_t) {
        std::lock_guard lock(news.mutex);
        news.roster = roster;
      };
      TExactResult result;
      try {
        result = SolveExact(instance, exact);
      } catch (const std::exception&) {
        // Out of memory inside CBC, say: the search goes on without a bound.
      }
      std::lock_guard lock(news.mutex);
      if (result.bound) news.bound = result.bound;
      if (result.roster) news.roster = std::move(result.roster);
      news.optimal = result.optimal;
      news.finished = true;
    });
  }

  // The best roster without breach among the workers and the exact engine.
  std::optional<TRoster> best;
  int64_t bestObjective = 0;
  double secondsToBest = 0;
  double lastProgress = -1;
  std::optional<int64_t> bound;
  bool exactOptimal = false;
  const auto offer = [&](const TRoster& roster, int64_t objective) {
    if (best && objective >= bestObjective) return;
    best = roster;
    bestObjective = objective;
    secondsToBest = elapsed();
  };
  const auto meet = [&]() -> bool {
    for (TWorker& worker : team) {
      if (worker.HasFeasible()) offer(worker.Feasible(), worker.FeasibleObjective());
    }
    {
      std::lock_guard lock(news.mutex);
      if (news.bound) bound = bound ? std::max(*bound, *news.bound) : news.bound;
      if (news.roster) {
        const TEvaluation offered = Evaluate(instance, *news.roster);
        if (offered.Feasible()) offer(*news.roster, offered.objective.Total());
        news.roster.reset();
      }
      exactOptimal = exactOptimal || news.optimal;
    }
    if (best) {
      for (TWorker& worker : team) worker.Adopt(*best, bestObjective);
      // Every weight is at least zero: nothing beats a roster of cost 0.
      if (bestObjective == 0) bound = 0;
    }
    const bool optimal = best && bound && bestObjective <= *bound;
    const double now = elapsed();
    uint64_t moves = 0;
    for (const TWorker& worker : team) moves += worker.MovesTried();
    if (options.progress && now - lastProgress >= options.progressEverySeconds) {
      lastProgress = now;
      int64_t violation = 0;
      if (!best) {
        violation = team[0].Violation();
        for (const TWorker& worker : team) violation = std::min(violation, worker.Violation());
      }
      options.progress({best ? bestObjective : 0, violation, bound, now, moves});
    }
    const bool budgetSpent = options.maxMoves > 0 && team[0].MovesTried() >= options.maxMoves;
    const bool stopped = options.stop && options.stop->load();
    return optimal || budgetSpent || stopped || now >= options.timeLimitSeconds;
  };

  const uint64_t epoch = std::max<uint64_t>(options.epochMoves, 1);
  const auto epochFor = [&](const TWorker& worker) {
    if (options.maxMoves == 0) return epoch;
    return std::min(epoch, options.maxMoves - std::min(options.maxMoves, worker.MovesTried()));
  };
  const auto exactEnded = [&news] {
    std::lock_guard lock(news.mutex);
    return news.finished;
  };
  const auto runPair = [&] {
    bool done = meet();
    std::barrier meeting(2, [&]() noexcept { done = meet(); });
    std::thread second([&] {
      while (!done) {
        team[1].Run(epochFor(team[1]));
        meeting.arrive_and_wait();
      }
    });
    while (!done) {
      team[0].Run(epochFor(team[0]));
      meeting.arrive_and_wait();
    }
    second.join();
  };
  if (team.size() == 1) {
    bool done = false;
    while (!(done = meet())) {
      team[0].Run(epochFor(team[0]));
      if (handOver && exactEnded()) break;
    }
    if (!done) {
      // The exact engine gave up (time, size): a second search starts from
      // the best roster so far, with the moves the first has left.
      exactThread.join();
      if (!meet()) {
        team.emplace_back(instance, best ? *best : first, choices, options.seed * 2 + 1,
                          WeightsOf(instance));
        runPair();
      }
    }
  } else {
    runPair();
  }
  exactStop = true;
  if (exactThread.joinable()) {
    exactThread.join();
    meet();
  }

  TSearchResult result;
  if (best) {
    result.roster = *best;
  } else {
    // Nothing without breach: the roster that breaks the least, as it
    // stands at the end.
    const TWorker* least = &team[0];
    for (const TWorker& worker : team) {
      if (worker.Violation() < least->Violation()) least = &worker;
    }
    result.roster = least->Current();
    secondsToBest = elapsed();
  }
  result.evaluation = Evaluate(instance, result.roster);
  result.bound = bound;
  result.optimal = best && bound && bestObjective <= *bound;
  result.secondsToBest = secondsToBest;
  result.seconds = elapsed();
  for (const TWorker& worker : team) result.moves += worker.MovesTried();
  return result;
}

}  // namespace cuadrante::solver
