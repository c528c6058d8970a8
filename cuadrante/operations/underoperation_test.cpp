#include "cuadrante/operations/underoperation.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/services/messagesmgr.h"

namespace {

using namespace std::chrono_literals;

// Everything a test learns from its operation, kept apart from it since the
// operation frees itself; the waits end when the operation's thread gets there.
struct TWitness : TObject {
  std::mutex mutex;
  std::condition_variable changed;
  bool entered = false, open = false, ran = false, freed = false;
  std::vector<int32_t> closes;      // ids given to the close handler
  std::vector<AnsiString> atClose;  // the record's text inside the handler
  TUnderOperation* operation = nullptr;

  void evClose(TObject* sender) {
    std::lock_guard lock(mutex);
    closes.push_back(TUnderOperation::IdOfSender(sender));
    atClose.push_back(operation->GetProgress()->WriteToStr());
  }
  // The work function's side of a gate: says it is in, then waits to go on.
  void Enter() {
    std::unique_lock lock(mutex);
    entered = ran = true;
    changed.notify_all();
    changed.wait(lock, [&] { return open; });
  }
  void Open() {
    std::lock_guard lock(mutex);
    open = true;
    changed.notify_all();
  }
  bool Await(bool TWitness::*flag) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, 30s, [&] { return this->*flag; });
  }
};

class TWatched : public TUnderOperation {
 public:
  explicit TWatched(TWitness& witness) : TUnderOperation(true), witness_(witness) {
    witness.operation = this;
  }
  ~TWatched() override {
    std::lock_guard lock(witness_.mutex);
    witness_.freed = true;
    witness_.changed.notify_all();
  }

 private:
  TWitness& witness_;
};

std::vector<AnsiString> PopAll() {
  std::vector<AnsiString> texts;
  for (AnsiString t = _MessagesMgr->PopLastMessage(); !t.empty();
       t = _MessagesMgr->PopLastMessage())
    texts.insert(texts.begin(), t);
  return texts;
}

TEST(TUnderOperation, ClosesOnceWithItsIdWhileTheRecordLives) {
  const AnsiString prefix = "EXP - Excepción inesperada ejecutando la operación ";
  struct Case {
    const char* name;
    TUnderOperation::TRunPhases work;
    const char* atClose;
    std::vector<AnsiString> messages;
  };
  const Case cases[] = {
      {"no work function", nullptr, "<N/A>;<N/A>;", {}},
      {"a normal end",
       [](TUnderOperation* op) {
         op->SetDescription("Cálculo");
         op->SetActualPhase("Fase 1");
         TOperationProgress::ReportActivity(op->GetProgress(), 50, 5);
         op->SetXMLResult("<ok/>");
       },
       "Cálculo;Fase 1;",
       {}},
      {"an Exception",
       [](TUnderOperation* op) {
         op->SetDescription("Cálculo");
         op->SetActualPhase("Fase 1");
         throw EConvertError("'x' is not a valid integer value");
       },
       "Cálculo;Fase 1;",
       {prefix + "'Cálculo' [Fase 1]\r\n'x' is not a valid integer value"}},
      // Not an Exception: it leaves the thread and the termination event reports it.
      {"a standard exception",
       [](TUnderOperation*) { throw std::runtime_error("roto"); },
       "<N/A>;<N/A>;",
       {prefix + "'<N/A>' [<N/A>]\r\nroto"}},
      {"a bare value",
       [](TUnderOperation*) { throw 42; },
       "<N/A>;<N/A>;",
       {prefix + "'<N/A>' [<N/A>]\r\nExcepción desconocida"}},
  };
  PopAll();
  for (const Case& c : cases) {
    TWitness witness;
    auto* op = new TWatched(witness);
    EXPECT_TRUE(op->FreeOnTerminate);
    EXPECT_EQ(op->GetPriority(), tpLowest);
    op->SetID(7);
    op->OnRunPhases = c.work;
    op->CaptureTerminate(MakeNotifyEvent<&TWitness::evClose>(&witness));
    op->Resume();
    ASSERT_TRUE(witness.Await(&TWitness::freed)) << c.name;
    ASSERT_EQ(witness.closes, std::vector<int32_t>{7}) << c.name;
    EXPECT_EQ(witness.atClose[0].rfind(c.atClose, 0), 0u) << c.name << ": " << witness.atClose[0];
    const char* finalType = c.messages.empty() ? ";0;" : ";3;";
    EXPECT_NE(witness.atClose[0].find(finalType), AnsiString::npos) << c.name;
    EXPECT_EQ(PopAll(), c.messages) << c.name;
  }
}

TEST(TUnderOperation, StopMarksItAtOnceAndSilencesTheCloseButNotTheWork) {
  PopAll();
  TWitness witness;
  auto* op = new TWatched(witness);
  op->OnRunPhases = [&](TUnderOperation*) {
    witness.Enter();
    throw Exception("después");  // still reported, though no close follows
  };
  op->CaptureTerminate(MakeNotifyEvent<&TWitness::evClose>(&witness));
  op->Resume();
  ASSERT_TRUE(witness.Await(&TWitness::entered));
  EXPECT_FALSE(op->IsNotifying());
  op->Stop();  // the work is held at the gate, so the object lives on
  EXPECT_EQ(op->GetProgress()->GetFinalType(), 2);
  EXPECT_TRUE(op->Terminated());
  witness.Open();
  ASSERT_TRUE(witness.Await(&TWitness::freed));
  EXPECT_TRUE(witness.closes.empty());
  EXPECT_EQ(PopAll(), std::vector<AnsiString>{"EXP - Excepción inesperada ejecutando la "
                                              "operación '<N/A>' [<N/A>]\r\ndespués"});
}

TEST(TUnderOperation, StopBeforeItRanReleasesItsThreadWithoutTheWork) {
  TWitness witness;
  auto* op = new TWatched(witness);
  op->OnRunPhases = [&](TUnderOperation*) { witness.Enter(); };
  op->CaptureTerminate(MakeNotifyEvent<&TWitness::evClose>(&witness));

  // A system that refuses the thread: Stop says so and can be tried again.
  const cuadrante::TThreadLauncher previous =
      cuadrante::SetThreadLauncher([](std::function<void()>) -> std::thread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
      });
  EXPECT_THROW(op->Stop(), EThread);
  EXPECT_TRUE(op->Suspended());
  cuadrante::SetThreadLauncher(previous);

  op->Stop();
  ASSERT_TRUE(witness.Await(&TWitness::freed));
  EXPECT_FALSE(witness.ran);
  EXPECT_TRUE(witness.closes.empty());
}

}  // namespace
