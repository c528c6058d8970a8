#include "cuadrante/operations/underoperationmgr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "cuadrante/port/tickcount.h"
#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/globalmgr.h"
#include "cuadrante/services/messagesmgr.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using Texts = std::vector<AnsiString>;
constexpr uint32_t kTwoMinutes = 120000;
const AnsiString kAbort =
    "EXP - La operación fue abortada porque lleva más de dos minutos si reportar actividad.";
const AnsiString kFailed = "EXP - Excepción inesperada ejecutando la operación ";
const AnsiString kRefused = "Thread creation error: Resource temporarily unavailable";

// A gate that work functions wait at until the test opens it, and counts of
// the operations that reached it and that freed themselves. Waits end when
// the threads get there; the time limit only stops a broken build.
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
    return changed.wait_for(lock, std::chrono::seconds(60), [&] { return this->*count >= n; });
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

std::thread Refuse(std::function<void()>) {
  throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}
uint32_t BrokenClock() { throw Exception("reloj roto"); }

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
  // An operation added to the manager; by default its work sets a result and
  // waits at the gate.
  TWatched* Add(const TUnderOperation::TRunPhases& work) {
    auto* op = new TWatched(track_, work);
    ++made_;
    EXPECT_NE(mgr_->AddOperation(op, "s"), 0);
    return op;
  }
  TWatched* Add() {
    return Add([this](TUnderOperation* op) {
      op->SetXMLResult("<r/>");
      track_.Enter();
    });
  }
  int32_t RunToEnd(const TUnderOperation::TRunPhases& work) {
    const int32_t id = Add(work)->GetID();
    EXPECT_TRUE(mgr_->Run(id));
    EXPECT_TRUE(track_.Await(&TTrack::freed, made_));
    return id;
  }
  AnsiString Info(int32_t id) {
    AnsiString info = "untouched";
    mgr_->IsTerminated(id, info);
    return info;
  }

  cuadrante::testing::TempFolder folder_;
  const AnsiString saved_ = _GlobalMgr.GetFileEnv();
  cuadrante::TManualTicks ticks_{1000};
  TTrack track_;
  int made_ = 0;
  std::unique_ptr<TUnderOperationMgr> mgr_;
};

TEST_F(ManagerTest, KeepsTheLastTextOfEveryEnding) {
  const struct {
    TUnderOperation::TRunPhases work;
    const char* info;
    Texts messages;
  } cases[] = {
      {nullptr, "<N/A>;<N/A>;1000;1000;0;0;0;0;", {}},
      {[](TUnderOperation* op) {
         op->SetDescription("Cálculo");
         op->SetActualPhase("Fin");
         TOperationProgress::ReportActivity(op->GetProgress(), 100, 10);
         op->SetXMLResult("<r n=\"10\"/>");
       },
       "Cálculo;Fin;1000;1000;100;0;10;0;<r n=\"10\"/>",
       {}},
      {[](TUnderOperation* op) {
         op->SetDescription("Cálculo");
         op->SetActualPhase("Fase 1");
         op->SetXMLResult("<mitad/>");
         throw EConvertError("'x' is not a valid integer value");
       },
       "Cálculo;Fase 1;1000;1000;0;0;0;3;<mitad/>",
       {kFailed + "'Cálculo' [Fase 1]\r\n'x' is not a valid integer value"}},
      // No Exception: it leaves the thread, and the termination event reports
      // it and retires the entry.
      {[](TUnderOperation*) { throw std::runtime_error("roto"); },
       "<N/A>;<N/A>;1000;1000;0;0;0;3;",
       {kFailed + "'<N/A>' [<N/A>]\r\nroto"}},
      {[](TUnderOperation*) { throw 42; },
       "<N/A>;<N/A>;1000;1000;0;0;0;3;",
       {kFailed + "'<N/A>' [<N/A>]\r\nExcepción desconocida"}},
  };
  TUnderOperationMgr& mgr = Make("1");
  for (const auto& c : cases) {
    const int32_t id = RunToEnd(c.work);
    ticks_.Advance(10 * kTwoMinutes);  // the monitor watches active operations only
    EXPECT_EQ(PopAll(), c.messages) << c.info;
    EXPECT_EQ(Info(id), c.info);
    TOperationProgress record;
    EXPECT_TRUE(mgr.PopOperationInfo(id, record));  // which reads the text, and keeps it
    EXPECT_EQ(mgr.GetOperation(id), nullptr);
    EXPECT_FALSE(mgr.Stop(id));  // too late: the kept text stays as it was
    EXPECT_EQ(Info(id), c.info);
    ticks_.Set(1000);
  }
}

TEST_F(ManagerTest, NumbersFromOneAndRefusesWhatItCantKeep) {
  TUnderOperationMgr& mgr = Make();
  TUnderOperation* first = mgr.GetNewOperation();  // a plain one, not tracked
  EXPECT_EQ(first->GetID(), 1);
  EXPECT_EQ(Add()->GetID(), 2);
  EXPECT_EQ(mgr.AddOperation(nullptr, "s"), 0);
  EXPECT_EQ(mgr.AddOperation(first, "s"), 0);  // listed twice it would outlive an entry
  EXPECT_EQ(PopAll(), (Texts{"EXP - Excepción al añadir la operación\r\nno operation was given",
                             "EXP - Excepción al añadir la operación\r\noperation 1 has a number "
                             "already"}));
  EXPECT_EQ(mgr.GetOperation(2)->GetSessionID(), "s");
  EXPECT_TRUE(mgr.Stop(1));
  EXPECT_TRUE(mgr.Stop(2));
  EXPECT_EQ(Add()->GetID(), 3);  // no number comes back

  for (const int32_t id : {0, -1, 99}) {
    EXPECT_EQ(mgr.GetOperation(id), nullptr);
    EXPECT_FALSE(mgr.Run(id));
    EXPECT_FALSE(mgr.Stop(id));
    TOperationProgress record;
    EXPECT_FALSE(mgr.PopOperationInfo(id, record));
    EXPECT_EQ(Info(id), "untouched");  // over, with nothing to tell
  }
  EXPECT_TRUE(PopAll().empty());
}

TEST_F(ManagerTest, PollsAndStopsALiveOperation) {
  TUnderOperationMgr& mgr = Make();
  TWatched* op = Add([this](TUnderOperation* self) {
    self->SetXMLResult("<r/>");
    track_.Enter();
    throw Exception("después");  // reported, though the stop silenced the close
  });
  const int32_t id = op->GetID();
  TOperationProgress record;
  EXPECT_FALSE(mgr.PopOperationInfo(id, record));  // never polled: nothing kept yet
  ASSERT_TRUE(mgr.Run(id));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 1));
  AnsiString info;
  EXPECT_FALSE(mgr.IsTerminated(id, info));
  EXPECT_EQ(info, "<N/A>;<N/A>;1000;1000;0;0;0;0;<r/>");
  EXPECT_TRUE(mgr.PopOperationInfo(id, record));  // the snapshot of that poll
  EXPECT_EQ(record.WriteToStr(), info);

  op->GetProgress()->SetFinalType(1);  // over for the poller, still in the store
  EXPECT_TRUE(mgr.IsTerminated(id, info));
  ticks_.Advance(500);
  EXPECT_TRUE(mgr.Run(id));  // running already: only LastReport moves
  EXPECT_EQ(op->GetProgress()->GetLastReport(), 1500u);
  EXPECT_TRUE(mgr.Stop(id));
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(mgr.GetOperation(id), nullptr);
  const AnsiString stopped = "<N/A>;<N/A>;1000;1500;0;0;0;2;<r/>";
  EXPECT_EQ(Info(id), stopped);
  track_.Open();
  ASSERT_TRUE(track_.Await(&TTrack::freed, 1));
  EXPECT_EQ(Info(id), stopped);
  EXPECT_EQ(PopAll(), Texts{kFailed + "'<N/A>' [<N/A>]\r\ndespués"});

  // Stopped before it ran: its thread ends at once, the work unrun.
  std::atomic<bool> ran{false};
  const int32_t idle = Add([&](TUnderOperation*) { ran = true; })->GetID();
  EXPECT_TRUE(mgr.Stop(idle));
  ASSERT_TRUE(track_.Await(&TTrack::freed, 2));
  EXPECT_FALSE(ran);
  EXPECT_FALSE(mgr.Run(idle));
  EXPECT_EQ(Info(idle), "<N/A>;<N/A>;1500;1500;0;0;0;2;");
}

TEST_F(ManagerTest, TheMonitorIsASwitchAndCountsWholeSecondsOfSilence) {
  using Case = std::pair<const char*, bool>;  // the value (null: no key) and the switch
  int runs = 0;
  for (const auto& [value, on] : {Case{"1", true}, Case{"600", true}, Case{"0", false},
                                  Case{"abc", false}, Case{nullptr, false}}) {
    const AnsiString name = value != nullptr ? value : "(missing)";
    if (value == nullptr) {  // a document where only another section has the key
      _GlobalMgr.SetFileEnv(folder_ / "other.xml");
      _GlobalMgr.SetValueEnv("OTHER", "ZV_MON_TIMEOUT", "1");
    }
    TUnderOperationMgr& mgr = Make(value);
    EXPECT_EQ(mgr.MonitorEnabled, on) << name;
    ticks_.Set(0xFFFFFFFFu - 50000);
    const int32_t idle = Add()->GetID();  // never run: silent since it was made
    const int32_t id = Add()->GetID();
    ticks_.Advance(20000);
    ASSERT_TRUE(mgr.Run(id));  // its two minutes count from here
    ASSERT_TRUE(track_.Await(&TTrack::entered, ++runs));
    AnsiString info;
    ticks_.Advance(kTwoMinutes - 20000 - 1);  // 119.999 s across the wrap: 119 whole seconds
    EXPECT_FALSE(mgr.IsTerminated(idle, info)) << name;
    ticks_.Advance(1);
    EXPECT_EQ(mgr.IsTerminated(idle, info), on) << name;
    EXPECT_FALSE(mgr.IsTerminated(id, info)) << name;
    // A report starts the two minutes again.
    TOperationProgress::ReportActivity(mgr.GetOperation(id)->GetProgress(), 1, 1);
    ticks_.Advance(kTwoMinutes - 1);
    EXPECT_FALSE(mgr.IsTerminated(id, info)) << name;
    ticks_.Advance(1);
    EXPECT_EQ(mgr.IsTerminated(id, info), on) << name;
    if (on) {
      EXPECT_EQ(PopAll(), (Texts{kAbort, kAbort}));
      EXPECT_TRUE(info.ends_with(";0;<r/>")) << info;      // the poll's own text
      EXPECT_TRUE(Info(id).ends_with(";2;<r/>")) << name;  // the kept one
      EXPECT_TRUE(Info(idle).ends_with(";2;")) << name;
    } else {
      ticks_.Advance(100 * kTwoMinutes);
      EXPECT_FALSE(mgr.IsTerminated(id, info) || mgr.IsTerminated(idle, info)) << name;
      mgr.Stop(idle);
    }
    track_.Open();
    ASSERT_TRUE(track_.Await(&TTrack::freed, made_));
    track_.Open(false);
  }
}

TEST_F(ManagerTest, FailuresBecomeMessagesAndFailureValues) {
  TUnderOperationMgr& mgr = Make("1");
  // A kept text that doesn't read: the record is half overwritten.
  const int32_t bad = RunToEnd([](TUnderOperation* op) { op->SetDescription("a;b"); });
  TOperationProgress record;
  EXPECT_FALSE(mgr.PopOperationInfo(bad, record));
  EXPECT_EQ(record.GetActualPhase(), "b");

  // A thread the system refuses: Run fails and marks the record; Stop can't
  // release it, so it stays and can be stopped again; ResetList names it.
  const cuadrante::TThreadLauncher previous = cuadrante::SetThreadLauncher(&Refuse);
  TWatched* op = Add();
  const int32_t id = op->GetID();
  EXPECT_FALSE(mgr.Run(id));
  EXPECT_EQ(Info(id), "<N/A>;<N/A>;1000;1000;0;0;0;3;");
  EXPECT_FALSE(mgr.Stop(id));
  EXPECT_EQ(mgr.GetOperation(id), op);
  mgr.ResetList();
  cuadrante::SetThreadLauncher(previous);
  op->Stop();  // listed nowhere now: released by hand

  // The monitor's clock fails inside a poll: over, and said so.
  const int32_t live = Add()->GetID();
  ASSERT_TRUE(mgr.Run(live));
  const cuadrante::TTickSource clock = cuadrante::SetTickSource(&BrokenClock);
  AnsiString info;
  EXPECT_TRUE(mgr.IsTerminated(live, info));
  cuadrante::SetTickSource(clock);
  EXPECT_EQ(PopAll(),
            (Texts{"EXP - Excepción al buscar la operación\r\n'<N/A>' is not a valid integer value",
                   "EXP - Excepción al ejecutar la operación en el servidor\r\n" + kRefused,
                   "EXP - Excepción al detener la operación en el servidor\r\n" + kRefused,
                   "EXP - Excepción al finalizar la operación [<N/A>;<N/A>;1000;1000;0;0;0;2;]",
                   "EXP - Excepción al detener la operación en el servidor\r\nreloj roto"}));
}

TEST_F(ManagerTest, ResetListAndTheDestructorLeaveNoWayBack) {
  // ResetList stops every entry and keeps no text: at most a poll's snapshot.
  TUnderOperationMgr& mgr = Make();
  const int32_t polled = Add()->GetID(), silent = Add()->GetID();
  ASSERT_TRUE(mgr.Run(polled) && mgr.Run(silent));
  ASSERT_TRUE(track_.Await(&TTrack::entered, 2));
  const AnsiString snapshot = Info(polled);
  mgr.ResetList();
  EXPECT_EQ(mgr.GetOperation(polled), nullptr);
  EXPECT_EQ(Info(polled), snapshot);  // FinalType 0: no stop was written down
  EXPECT_EQ(Info(silent), "untouched");
  // Operations still at work when the manager goes are stopped, and end on
  // their own: this one waits for nothing but its stop.
  EXPECT_TRUE(mgr.Run(Add([this](TUnderOperation* op) {
                        track_.Enter();
                        while (!op->Terminated()) std::this_thread::yield();
                      })->GetID()));
  track_.Open();
  ASSERT_TRUE(track_.Await(&TTrack::entered, 3));
  mgr_.reset();
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
  constexpr int kOperations = 300;
  TUnderOperationMgr& mgr = Make("1");
  std::vector<std::atomic<int>> stops(kOperations + 1);
  std::atomic<int32_t> added{0};
  std::atomic<bool> adding{true};
  std::vector<std::thread> hosts;
  for (int h = 0; h < 3; ++h) {
    hosts.emplace_back([&, h] {
      std::minstd_rand random(h + 1);
      for (int i = 0; adding || i < 2000; ++i) {
        const int32_t id = static_cast<int32_t>(random() % (added + 2));
        AnsiString info;
        TOperationProgress record;
        if (random() % 8 == 0) {
          if (mgr.Stop(id)) ++stops[id];
        } else if (random() % 2 == 0) {
          mgr.PopOperationInfo(id, record);
          (void)mgr.GetOperation(id);  // borrowed only, never followed
        } else {
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
    // The number from the answer: a host may stop the operation, and so free
    // it, as soon as it is listed.
    EXPECT_EQ(mgr.AddOperation(op, "s"), i);
    added = i;
    if (i % 10 != 0) mgr.Run(i);  // a few wait for a host's Stop or for the end
  }
  adding = false;
  for (auto& host : hosts) host.join();

  int waiting = 0;
  for (int id = 1; id <= kOperations; ++id) {
    ASSERT_LE(stops[id], 1) << id;
    waiting += id % 10 == 0 && stops[id] == 0;
  }
  ASSERT_TRUE(track_.Await(&TTrack::freed, made_ - waiting));
  for (int id = 1; id <= kOperations; ++id) {
    AnsiString info;
    EXPECT_EQ(mgr.IsTerminated(id, info), id % 10 != 0 || stops[id] == 1) << id;
    if (stops[id] == 1) {
      EXPECT_NE(info.find(";2;"), AnsiString::npos) << info;
    } else if (id % 10 != 0) {
      EXPECT_TRUE(info.ends_with(";0;<ok/>")) << id << ": " << info;
    }
  }
  EXPECT_TRUE(PopAll().empty());
}

}  // namespace
