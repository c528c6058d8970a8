// `cuadrante demo-operation`: a long operation run through the operation
// manager as a host runs one. A worker thread counts steps in three phases and
// reports each; this thread polls IsTerminated, draws a progress bar from the
// text it gets back, and at the end prints the record from PopOperationInfo.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "cuadrante/library.h"
#include "cuadrante/operations/underoperationmgr.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/services/translate.h"
#include "tools/cuadrante/env_command.h"
#include "tools/cuadrante/labels.h"
#include "tools/cuadrante/operation_command.h"
#include "tools/cuadrante/operation_scope.h"

namespace cuadrante::tool {
namespace {

struct DemoOptions {
  int steps = 40;
  int stepMs = 25;
  bool fail = false;
  int stopAt = 0;  // 0: never
};

DemoOptions ParseOptions(const Args& args) {
  const Options given = Parse(args, {{Number("--steps", 1, 100000), Number("--step-ms", 0, 1000),
                                      Number("--stop-at", 1, 100000), Flag("--fail")},
                                     {}});
  if (!given.words.empty())
    throw Misuse("unknown argument '" + Printable(given.words.front()) +
                 "' (see `cuadrante help demo-operation`)");
  DemoOptions options;
  options.steps = static_cast<int>(given.Number("--steps", options.steps));
  options.stepMs = static_cast<int>(given.Number("--step-ms", options.stepMs));
  options.stopAt = static_cast<int>(given.Number("--stop-at", options.stopAt));
  options.fail = given.Flag("--fail");
  return options;
}

// The work function: three phases over the steps, a report after each, a
// result document at the end. It learns of Stop from the Terminate flag.
void Work(TUnderOperation* op, const DemoOptions& options) {
  const AnsiString phases[] = {Say("Leyendo reglas"), Say("Calculando turnos"),
                               Say("Guardando resultado")};
  op->SetDescription(Say("Demostración de operación larga"));
  // A result from the start, so that every snapshot has all nine fields.
  op->SetXMLResult("<RESULTADO PASOS=\"0\"/>");
  int done = 0;
  for (int step = 1; step <= options.steps && !op->Terminated(); ++step) {
    const int phase = (step - 1) * 3 / options.steps;
    if (step == 1 || phase != (step - 2) * 3 / options.steps) op->SetActualPhase(phases[phase]);
    if (options.fail && step == options.steps / 2 + 1) {
      throw Exception("fallo provocado en el paso " + std::to_string(step));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(options.stepMs));
    TOperationProgress::ReportActivity(op->GetProgress(),
                                       static_cast<short>(step * 100 / options.steps), step);
    done = step;
  }
  op->SetXMLResult("<RESULTADO PASOS=\"" + std::to_string(done) + "\"/>");
}

// One line of the bar from a snapshot of the record.
std::string Bar(const TOperationProgress& snapshot, int steps) {
  constexpr int kWidth = 24;
  const int count = snapshot.GetActualCount();
  const int filled = count * kWidth / steps;
  char elapsed[32];
  std::snprintf(elapsed, sizeof elapsed, "%.1f s", snapshot.GetElapsedTime() / 1000.0);
  return "[" + std::string(filled, '#') + std::string(kWidth - filled, '-') + "] " +
         std::to_string(snapshot.GetProgress()) + "%  " + snapshot.GetActualPhase() + "  " +
         std::to_string(count) + "/" + std::to_string(steps) + "  " + elapsed;
}

const char* FinalTypeLabel(short finalType) {
  switch (finalType) {
    case 0:
      return "ended without a mark";
    case 1:
      return "marked by the work function";
    case 2:
      return "stopped";
    case 3:
      return "failed";
    default:
      return "unknown";
  }
}

// Points the library at the environment document for the monitor switch: the
// user's (--env, already set by then), or one of the demo's own, with the
// monitor on, removed afterwards.
class DemoEnvironment {
 public:
  explicit DemoEnvironment(const std::string& path) {
    if (!path.empty()) {
      CheckEnvironmentDocument(path);
      return;
    }
    own_ = std::filesystem::temp_directory_path() /
           ("cuadrante-demo-" + std::to_string(::getpid()) + ".xml");
    _GlobalMgr.SetFileEnv(own_.string());
    if (!_GlobalMgr.SetValueEnv("GENERAL", "ZV_MON_TIMEOUT", "1")) {
      throw EFileError("cannot write '" + own_.string() + "'");
    }
  }
  DemoEnvironment(const DemoEnvironment&) = delete;
  DemoEnvironment& operator=(const DemoEnvironment&) = delete;
  ~DemoEnvironment() {
    if (own_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(own_, ignored);
  }
  std::string Describe() const {
    return own_.empty() ? "'" + _GlobalMgr.GetFileEnv() + "'" : "the demo's own document";
  }

 private:
  std::filesystem::path own_;
};

}  // namespace

void HelpDemoOperation() {
  std::printf(
      "usage: cuadrante demo-operation [--steps N] [--step-ms MS] [--fail] [--stop-at K]\n"
      "                                [--env PATH]\n\n"
      "Runs a long operation through the operation manager, as a host does: a worker\n"
      "thread counts N steps (default 40) of MS milliseconds (default 25) in three\n"
      "phases and reports each one; the command polls the manager and draws a progress\n"
      "bar (phase, count, elapsed time), then prints the final record that the manager\n"
      "keeps after the thread is gone.\n\n"
      "  --fail       the work raises an exception half way: the record ends with\n"
      "               final type 3 and the message tells why\n"
      "  --stop-at K  the command stops the operation once K steps are reported:\n"
      "               final type 2\n"
      "  --env PATH   the environment document whose GENERAL/ZV_MON_TIMEOUT switches\n"
      "               the monitor (default: a document of the demo's own, monitor on)\n\n"
      "examples:\n  cuadrante demo-operation --steps 8\n"
      "  cuadrante demo-operation --fail --step-ms 5\n");
}

namespace {

// Draws the bar until the operation ends, and stops it at --stop-at.
void Watch(TUnderOperationMgr& manager, int32_t id, const DemoOptions& options) {
  const bool live = ::isatty(STDOUT_FILENO) != 0;
  AnsiString info, shownPhase;
  TOperationProgress snapshot;
  bool stopped = false;
  for (;;) {
    const bool over = manager.IsTerminated(id, info);
    snapshot.ReadFromStr(info);
    if (live) {
      std::printf("\r%s\033[K", Bar(snapshot, options.steps).c_str());
      std::fflush(stdout);
    } else if (over || snapshot.GetActualPhase() != shownPhase) {
      // A log, not a bar, where nobody watches: one line a phase, and the last.
      std::printf("%s\n", Bar(snapshot, options.steps).c_str());
      shownPhase = snapshot.GetActualPhase();
    }
    if (over) break;
    if (options.stopAt > 0 && !stopped && snapshot.GetActualCount() >= options.stopAt) {
      stopped = manager.Stop(id);
      std::printf("%sstopped at step %d\n", live ? "\n" : "", snapshot.GetActualCount());
      continue;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  if (live) std::printf("\n");
}

// The record the manager keeps of the operation once its thread is gone,
// and the messages the operation left.
void PrintRecord(TUnderOperationMgr& manager, int32_t id) {
  TOperationProgress record;
  if (!manager.PopOperationInfo(id, record)) {
    throw Exception("the manager kept no record of operation " + std::to_string(id));
  }
  std::printf("final record (PopOperationInfo):\n");
  std::printf("  %-13s %s\n", "description", record.GetDescription().c_str());
  std::printf("  %-13s %s\n", "phase", record.GetActualPhase().c_str());
  std::printf("  %-13s %u\n", "start tick", record.GetStartTick());
  std::printf("  %-13s %u\n", "last report", record.GetLastReport());
  std::printf("  %-13s %d\n", "progress", record.GetProgress());
  std::printf("  %-13s %d\n", "actual count", record.GetActualCount());
  std::printf("  %-13s %d (%s)\n", "final type", record.GetFinalType(),
              FinalTypeLabel(record.GetFinalType()));
  std::printf("  %-13s %s\n", "result", record.GetXMLResult().c_str());
  const AnsiString messages = _MessagesMgr->PopMessages();
  if (!messages.empty()) std::printf("messages:\n%s\n", messages.c_str());
}

}  // namespace

int RunDemoOperation(const Args& args) {
  const DemoOptions options = ParseOptions(args);
  DemoEnvironment environment(EnvironmentOption());
  ManagerScope scope;
  TUnderOperationMgr& manager = *_UnderOperationMgr;
  std::printf("monitor %s (ZV_MON_TIMEOUT in %s)\n", manager.MonitorEnabled ? "on" : "off",
              environment.Describe().c_str());

  // Set when the work function is over, so that the command doesn't end
  // under a thread that still reports.
  std::promise<void> finished;
  std::future<void> workDone = finished.get_future();
  TUnderOperation* op = manager.GetNewOperation();
  const int32_t id = op->GetID();
  op->OnRunPhases = [&options, &finished](TUnderOperation* self) {
    struct Signal {
      std::promise<void>& promise;
      ~Signal() { promise.set_value(); }
    } signal{finished};
    Work(self, options);
  };
  if (!manager.Run(id)) throw Exception("operation " + std::to_string(id) + " did not start");
  std::printf("operation %d: %d steps of %d ms\n", id, options.steps, options.stepMs);
  Watch(manager, id, options);
  workDone.wait();
  PrintRecord(manager, id);
  return 0;
}

}  // namespace cuadrante::tool
