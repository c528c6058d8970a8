#include "cuadrante/operations/underoperationmgr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/tickcount.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/text/rutinastext.h"

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<AnsiString>;

constexpr uint32_t kTwoMinutes = 120000;
const AnsiString kAbort =
    "EXP - La operación fue abortada porque lleva más de dos minutos si reportar actividad.";

// A gate that a work function waits at until the test opens it, and a count
// of the operations that have freed themselves. The waits end when the
// operations' threads get there; the time limit only stops a broken build.
struct TTrack {
  std::mutex mutex;
  std::condition_variable changed;
  int entered = 0, freed = 0;
  bool open = false;

  void Enter() {
    std::unique_lock lock(mutex);
    ++entered;
    changed.notify_all();
    changed.wait(lock, [&] { return open; });
  }
  void Open(bool value = true) {
    std::lock_guard lock(mutex);
    open = value;
    changed.notify_all();
  }
  bool Await(int TTrack::*count, int n) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 60s, [&] { return this->*count >= n; });
  }
};

class TWatched : public TUnderOperation {
 public:
  TWatched(TTrack& track, TRunPhases work) : TUnderOperation(true), track_(track) {
    OnRunPhases = std::move(work);
  }
  ~TWatched() override {
    std::lock_guard lock(track_.mutex);
    ++track_.freed;
    track_.changed.notify_all();
  }

 private:
  TTrack& track_;
};

Texts PopAll() {
  Texts texts;
  for (AnsiString t = _MessagesMgr->PopLastMessage(); !t.empty();
       t = _MessagesMgr->PopLastMessage())
    texts.insert(texts.begin(), t);
  return texts;
}

// A launcher that refuses every thread, as a system out of threads does.
std::thread Refuse(std::function<void()>) {
  throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}
const AnsiString kRefused = "Thread creation error: Resource temporarily unavailable";

// Each test has an environment document of its own, a tick counter that only
// it moves, and a manager; at its end every operation it made has freed itself.
class ManagerTest : public ::testing::Test {
 protected:
  ManagerTest() {
    _GlobalMgr.SetFileEnv(folder_ / "Enviroment.xml");
    PopAll();
  }
  ~ManagerTest() override {
    track_.Open();
    mgr_.reset();
    EXPECT_TRUE(track_.Await(&TTrack::freed, made_));
    _GlobalMgr.SetFileEnv(saved_);
  }

  // A manager that reads "ZV_MON_TIMEOUT" = `monitor`, or no such key if null.
  TUnderOperationMgr& Make(const char* monitor = nullptr) {
    if (monitor != nullptr) _GlobalMgr.SetValueEnv("GENERAL", "ZV_MON_TIMEOUT", monitor);
    mgr_.reset();
    mgr_ = std::make_unique<TUnderOperationMgr>();
    return *mgr_;
  }
  // A new operation added to the manager, whose work waits at the gate.
  TWatched* Add() {
    return Add([this](TUnderOperation* op) {
      op->SetXMLResult("<r/>");  // so that a snapshot reads back
      track_.Enter();
    });
  }
  // The same with `work`, which may be null.
  TWatched* Add(TUnderOperation::TRunPhases work) {
    auto* op = new TWatched(track_, std::move(work));
    ++made_;
    EXPECT_NE(mgr_->AddOperation(op, "s"), 0);
    return op;
  }
  // Runs a work function to its end and answers its id.
  int32_t RunToEnd(TUnderOperation::TRunPhases work) {
    const int32_t id = Add(std::move(work))->GetID();
    EXPECT_TRUE(mgr_->Run(id));
    EXPECT_TRUE(track_.Await(&TTrack::freed, made_));
    return id;
  }
  AnsiString Info(int32_t id) {
    AnsiString info = "untouched";
    mgr_->IsTerminated(id, info);
    return info;
  }
  // The FinalType of the kept text (read from the text itself, since a
  // record can't read a text without a result).
  AnsiString KeptFinalType(int32_t id) {
    TVectorStrings fields;
    RutinasText::GetStrings(Info(id), ";", fields);
    return fields.size() >= 8 ? fields[7] : "none";
  }

  cuadrante::testing::TempFolder folder_;
  const AnsiString saved_ = _GlobalMgr.GetFileEnv();
  cuadrante::TManualTicks ticks_{1000};
  TTrack track_;
  int made_ = 0;
  std::unique_ptr<TUnderOperationMgr> mgr_;
};

TEST_F(ManagerTest, NumbersFromOneAndNeverReusesANumber) {
  TUnderOperationMgr& mgr = Make();
  TUnderOperation* first = mgr.GetNewOperation();  // a plain one: not tracked
  EXPECT_EQ(first->GetID(), 1);
  EXPECT_EQ(first->GetSessionID(), "");
  EXPECT_EQ(Add()->GetID(), 2);
  EXPECT_EQ(mgr.AddOperation(nullptr, "s"), 0);
  EXPECT_EQ(mgr.AddOperation(first, "s"), 0);  // listed twice it would outlive an entry
  EXPECT_EQ(PopAll(), (Texts{"EXP - Excepción al añadir la operación\r\nno operation was given",
                             "EXP - Excepción al añadir la operación\r\noperation 1 has a number "
                             "already"}));
  EXPECT_EQ(mgr.GetOperation(2)->GetSessionID(), "s");
  EXPECT_TRUE(mgr.Stop(1));
  EXPECT_TRUE(mgr.Stop(2));
  EXPECT_EQ(Add()->GetID(), 3);
  EXPECT_TRUE(mgr.Stop(3));
  _GlobalMgr.BeginRead();
  EXPECT_EQ(mgr.LastID, 3);
  _GlobalMgr.EndRead();
}

TEST_F(ManagerTest, AnUnknownIdIsOverAndHasNothing) {
  TUnderOperationMgr& mgr = Make();
  for (const int32_t id : {0, -1, 99}) {
    EXPECT_EQ(mgr.GetOperation(id), nullptr);
    EXPECT_FALSE(mgr.Run(id));
    EXPECT_FALSE(mgr.Stop(id));
    TOperationProgress record;
    const AnsiString before = record.WriteToStr();
    EXPECT_FALSE(mgr.PopOperationInfo(id, record));
    EXPECT_EQ(record.WriteToStr(), before);
    AnsiString info = "untouched";
    EXPECT_TRUE(mgr.IsTerminated(id, info));
    EXPECT_EQ(info, "untouched");
  }
  EXPECT_TRUE(PopAll().empty());
}

TEST_F(ManagerTest, KeepsTheLastTextOfAnEndedOperation) {
  TUnderOperationMgr& mgr = Make("1");
  const int32_t id = RunToEnd([](TUnderOperation* op) {
    op->SetDescription("Cálculo");
    op->SetActualPhase("Fin");
    TOperationProgress::ReportActivity(op->GetProgress(), 100, 10);
    op->SetXMLResult("<r n=\"10\"/>");
  });
  const AnsiString final = "Cálculo;Fin;1000;1000;100;0;10;0;<r n=\"10\"/>";
  ticks_.Advance(10 * kTwoMinutes);  // the monitor watches only active operations
  for (int repeat = 0; repeat < 2; ++repeat) {
    EXPECT_EQ(Info(id), final);
    TOperationProgress record;
    EXPECT_TRUE(mgr.PopOperationInfo(id, record));
    EXPECT_EQ(record.WriteToStr(), final);
  }
  EXPECT_EQ(mgr.GetOperation(id), nullptr);
  EXPECT_FALSE(mgr.Run(id));
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(Info(id), final);  // Stop came too late to change it

  // No work function: a close with FinalType 0 and no result, whose text
  // (eight fields) leaves the caller's record as it was.
  const int32_t empty = RunToEnd(nullptr);
  EXPECT_EQ(Info(empty), "<N/A>;<N/A>;1201000;1201000;0;0;0;0;");
  TOperationProgress record;
  record.SetDescription("mío");
  EXPECT_TRUE(mgr.PopOperationInfo(empty, record));
  EXPECT_EQ(record.GetDescription(), "mío");
  EXPECT_TRUE(PopAll().empty());
}

TEST_F(ManagerTest, PollsAndStopsALiveOperation) {
  TUnderOperationMgr& mgr = Make();
  TWatched* op = Add();
  const int32_t id = op->GetID();
  TOperationProgress record;
  EXPECT_FALSE(mgr.PopOperationInfo(id, record));  // never polled: nothing kept yet
  ASSERT_TRUE(mgr.Run(id));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 1));
  EXPECT_EQ(mgr.GetOperation(id), op);

  AnsiString info;
  EXPECT_FALSE(mgr.IsTerminated(id, info));
  EXPECT_EQ(info, "<N/A>;<N/A>;1000;1000;0;0;0;0;<r/>");
  EXPECT_TRUE(mgr.PopOperationInfo(id, record));  // the snapshot of that poll
  EXPECT_EQ(record.WriteToStr(), info);

  // A mark from the work function ends it for the poller, not for the store.
  op->GetProgress()->SetFinalType(1);
  EXPECT_TRUE(mgr.IsTerminated(id, info));
  EXPECT_EQ(mgr.GetOperation(id), op);
  ticks_.Advance(500);
  EXPECT_TRUE(mgr.Run(id));  // already running: only LastReport moves
  EXPECT_EQ(op->GetProgress()->GetLastReport(), 1500u);

  EXPECT_TRUE(mgr.Stop(id));
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(mgr.GetOperation(id), nullptr);
  EXPECT_EQ(Info(id), "<N/A>;<N/A>;1000;1500;0;0;0;2;<r/>");
  track_.Open();  // the work ends, and sends no close notification
  ASSERT_TRUE(track_.Await(&TTrack::freed, 1));
  EXPECT_EQ(Info(id), "<N/A>;<N/A>;1000;1500;0;0;0;2;<r/>");
}

TEST_F(ManagerTest, StopBeforeRunReleasesTheOperationUnrun) {
  TUnderOperationMgr& mgr = Make();
  std::atomic<bool> ran{false};
  const int32_t id = Add([&](TUnderOperation*) { ran = true; })->GetID();
  EXPECT_TRUE(mgr.Stop(id));
  ASSERT_TRUE(track_.Await(&TTrack::freed, 1));  // its thread did not wait for ever
  EXPECT_FALSE(ran);
  EXPECT_FALSE(mgr.Run(id));
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(KeptFinalType(id), "2");
}

TEST_F(ManagerTest, TheMonitorIsASwitchOfTheEnvironment) {
  struct Case {
    const char* value;  // null: no key at all
    bool on;
  };
  for (const Case& c : {Case{"1", true}, Case{"600", true}, Case{"0", false}, Case{"", false},
                        Case{"abc", false}, Case{nullptr, false}}) {
    const AnsiString name = c.value != nullptr ? c.value : "(missing)";
    if (c.value == nullptr) {
      // A document of its own, where only another section has the key.
      _GlobalMgr.SetFileEnv(folder_ / "other.xml");
      _GlobalMgr.SetValueEnv("OTHER", "ZV_MON_TIMEOUT", "1");
    }
    TUnderOperationMgr& mgr = Make(c.value);
    EXPECT_EQ(mgr.MonitorEnabled, c.on) << name;
    // Counted from Run, across the wrap of the counter.
    ticks_.Set(0xFFFFFFFFu - 50000);
    const int32_t id = Add()->GetID();
    ticks_.Advance(20000);
    ASSERT_TRUE(mgr.Run(id));
    ASSERT_TRUE(track_.Await(&TTrack::entered, made_));
    AnsiString info;
    ticks_.Advance(kTwoMinutes - 1);  // 119.999 s of silence: 119 whole seconds
    EXPECT_FALSE(mgr.IsTerminated(id, info)) << name;
    ticks_.Advance(1);
    EXPECT_EQ(mgr.IsTerminated(id, info), c.on) << name;
    if (c.on) {
      EXPECT_EQ(PopAll(), Texts{kAbort}) << name;
      EXPECT_EQ(info.substr(info.size() - 7), ";0;<r/>") << name;  // the poll's own text
      EXPECT_EQ(KeptFinalType(id), "2") << name;
      EXPECT_EQ(mgr.GetOperation(id), nullptr) << name;
    } else {
      ticks_.Advance(100 * kTwoMinutes);
      EXPECT_FALSE(mgr.IsTerminated(id, info)) << name;
    }
    track_.Open();
    ASSERT_TRUE(track_.Await(&TTrack::freed, made_));
    track_.Open(false);
  }
}

TEST_F(ManagerTest, EachReportRestartsTheTwoMinutes) {
  TUnderOperationMgr& mgr = Make("1");
  const int32_t id = Add()->GetID();
  ASSERT_TRUE(mgr.Run(id));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 1));
  AnsiString info;
  for (int report = 0; report < 3; ++report) {
    ticks_.Advance(kTwoMinutes - 1);
    TOperationProgress::ReportActivity(mgr.GetOperation(id)->GetProgress(), 1, report);
    EXPECT_FALSE(mgr.IsTerminated(id, info));
  }
  ticks_.Advance(kTwoMinutes - 1);
  EXPECT_FALSE(mgr.IsTerminated(id, info));
  ticks_.Advance(1);
  EXPECT_TRUE(mgr.IsTerminated(id, info));
  EXPECT_EQ(PopAll(), Texts{kAbort});

  // Added and never run: silent since its construction, and aborted by a poll.
  const int32_t idle = Add()->GetID();
  ticks_.Advance(kTwoMinutes);
  EXPECT_TRUE(mgr.IsTerminated(idle, info));
  EXPECT_EQ(KeptFinalType(idle), "2");
  EXPECT_EQ(PopAll(), Texts{kAbort});
}

TEST_F(ManagerTest, AnExceptionThatIsNoExceptionStillRetiresTheEntry) {
  TUnderOperationMgr& mgr = Make();
  const int32_t id = RunToEnd([](TUnderOperation* op) {
    op->SetXMLResult("<mitad/>");
    throw std::runtime_error("roto");
  });
  EXPECT_EQ(mgr.GetOperation(id), nullptr);
  EXPECT_EQ(Info(id), "<N/A>;<N/A>;1000;1000;0;0;0;3;<mitad/>");
  EXPECT_EQ(KeptFinalType(id), "3");
  EXPECT_EQ(PopAll(),
            Texts{"EXP - Excepción inesperada ejecutando la operación '<N/A>' [<N/A>]\r\nroto"});
}

uint32_t BrokenClock() { throw Exception("reloj roto"); }

TEST_F(ManagerTest, FailuresBecomeMessagesAndFailureValues) {
  TUnderOperationMgr& mgr = Make("1");

  // A kept text that does not read: the record is half overwritten.
  const int32_t bad = RunToEnd([](TUnderOperation* op) { op->SetDescription("a;b"); });
  TOperationProgress record;
  EXPECT_FALSE(mgr.PopOperationInfo(bad, record));
  EXPECT_EQ(record.GetActualPhase(), "b");
  EXPECT_EQ(PopAll(), Texts{"EXP - Excepción al buscar la operación\r\n'<N/A>' is not a valid "
                            "integer value"});

  // A thread the system refuses: Run fails and marks the record; Stop can't
  // release it, so it stays active and can be stopped again; ResetList names
  // its last text.
  const cuadrante::TThreadLauncher previous = cuadrante::SetThreadLauncher(&Refuse);
  TWatched* op = Add();
  const int32_t id = op->GetID();
  EXPECT_FALSE(mgr.Run(id));
  AnsiString info;
  EXPECT_TRUE(mgr.IsTerminated(id, info));
  EXPECT_EQ(info, "<N/A>;<N/A>;1000;1000;0;0;0;3;");
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(mgr.GetOperation(id), op);
  mgr.ResetList();
  EXPECT_EQ(mgr.GetOperation(id), nullptr);
  EXPECT_EQ(PopAll(),
            (Texts{"EXP - Excepción al ejecutar la operación en el servidor\r\n" + kRefused,
                   "EXP - Excepción al detener la operación en el servidor\r\n" + kRefused,
                   "EXP - Excepción al finalizar la operación [<N/A>;<N/A>;1000;1000;0;0;0;2;]"}));
  cuadrante::SetThreadLauncher(previous);
  op->Stop();  // nobody lists it now: release it by hand

  // The monitor's clock fails inside IsTerminated: over, and said so.
  const int32_t live = Add()->GetID();
  ASSERT_TRUE(mgr.Run(live));
  const cuadrante::TTickSource clock = cuadrante::SetTickSource(&BrokenClock);
  EXPECT_TRUE(mgr.IsTerminated(live, info));
  cuadrante::SetTickSource(clock);
  EXPECT_EQ(PopAll(),
            Texts{"EXP - Excepción al detener la operación en el servidor\r\nreloj roto"});
}

TEST_F(ManagerTest, ResetListStopsEveryEntryWithoutKeepingTexts) {
  TUnderOperationMgr& mgr = Make();
  const int32_t polled = Add()->GetID(), silent = Add()->GetID();
  ASSERT_TRUE(mgr.Run(polled));
  ASSERT_TRUE(mgr.Run(silent));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 2));
  const AnsiString snapshot = Info(polled);
  mgr.ResetList();
  EXPECT_EQ(mgr.GetOperation(polled), nullptr);
  EXPECT_EQ(mgr.GetOperation(silent), nullptr);
  EXPECT_EQ(Info(polled), snapshot);  // FinalType 0: no stop was written down
  EXPECT_EQ(Info(silent), "untouched");
  TOperationProgress record;
  EXPECT_FALSE(mgr.PopOperationInfo(silent, record));
  EXPECT_TRUE(PopAll().empty());
}

TEST_F(ManagerTest, NoThreadReachesADeletedManager) {
  // Operations still at work when the manager goes end on their own.
  Make();
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(mgr_->Run(Add()->GetID()));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 3));
  mgr_.reset();
  track_.Open();
  ASSERT_TRUE(track_.Await(&TTrack::freed, made_));

  // An operation that took its close handler just before the manager stopped
  // it: the notification is on its way, and the destructor waits for it.
  for (int round = 0; round < 20; ++round) {
    Make();
    TWatched* op = Add([](TUnderOperation*) {});
    _GlobalMgr.BeginWrite();
    ASSERT_TRUE(mgr_->Run(op->GetID()));
    while (!op->IsNotifying()) std::this_thread::yield();  // blocked on the lock we hold
    mgr_->ResetList();
    _GlobalMgr.EndWrite();
    mgr_.reset();
    ASSERT_TRUE(track_.Await(&TTrack::freed, made_));
  }
}

TEST_F(ManagerTest, HostThreadsPollStopAndPopWhileOperationsComeAndGo) {
  constexpr int kOperations = 300, kHosts = 3;
  TUnderOperationMgr& mgr = Make("1");
  std::vector<std::atomic<int>> stops(kOperations + 1);
  std::atomic<int32_t> added{0};
  std::atomic<bool> adding{true};
  std::vector<bool> unrun(kOperations + 1, false);
  std::vector<std::thread> hosts;
  for (int h = 0; h < kHosts; ++h) {
    hosts.emplace_back([&, h] {
      std::minstd_rand random(h + 1);
      for (int i = 0; adding || i < 2000; ++i) {
        const int32_t id = static_cast<int32_t>(random() % (added + 2));
        AnsiString info;
        TOperationProgress record;
        switch (random() % 8) {
          case 0:
            if (id <= kOperations && mgr.Stop(id)) ++stops[id];
            break;
          case 1:
            mgr.PopOperationInfo(id, record);
            break;
          case 2:
            (void)mgr.GetOperation(id);  // borrowed only, never followed
            break;
          default:
            mgr.IsTerminated(id, info);
        }
      }
    });
  }
  for (int i = 1; i <= kOperations; ++i) {
    auto* op = new TWatched(track_, [](TUnderOperation* self) {
      for (short step = 1; step <= 3; ++step) {
        TOperationProgress::ReportActivity(self->GetProgress(), step, step);
        std::this_thread::yield();
      }
      self->SetXMLResult("<ok/>");
    });
    ++made_;
    const int32_t id = mgr.AddOperation(op, "s");
    EXPECT_EQ(id, i);
    added = id;
    unrun[id] = i % 10 == 0;  // a few wait for a poller's Stop or for the end
    if (!unrun[id]) mgr.Run(id);
  }
  adding = false;
  for (auto& host : hosts) host.join();

  int waiting = 0;
  for (int id = 1; id <= kOperations; ++id) {
    ASSERT_LE(stops[id], 1) << id;
    if (unrun[id] && stops[id] == 0) ++waiting;
  }
  ASSERT_TRUE(track_.Await(&TTrack::freed, made_ - waiting));
  for (int id = 1; id <= kOperations; ++id) {
    AnsiString info;
    EXPECT_EQ(mgr.IsTerminated(id, info), !(unrun[id] && stops[id] == 0)) << id;
    if (stops[id] == 1) {
      EXPECT_EQ(KeptFinalType(id), "2") << id;
    } else if (!unrun[id]) {
      EXPECT_EQ(info.substr(info.size() - 8), ";0;<ok/>") << id;
    }
  }
  EXPECT_TRUE(PopAll().empty());
}

}  // namespace
