#include "cuadrante/operations/underoperation.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

namespace {

// An operation stopped directly, with no manager: the stop raises the flag
// that a work function waits on, and marks the record stopped before it does.
TEST(TUnderOperation, AStopReleasesWorkThatWaitsOnTerminatedAndMarksItStopped) {
  // Shared with the worker, which may still be returning when the test ends.
  const auto finalType = std::make_shared<std::promise<int>>();
  const auto started = std::make_shared<std::atomic<bool>>(false);
  std::future<int> seen = finalType->get_future();
  auto* operation = new TUnderOperation(true);  // frees itself when its thread ends
  operation->OnRunPhases = [finalType, started](TUnderOperation* self) {
    *started = true;
    while (!self->Terminated()) std::this_thread::yield();
    finalType->set_value(self->GetProgress()->GetFinalType());
  };
  operation->Resume();
  while (!*started) std::this_thread::yield();
  operation->Stop();
  // A guard against a stop that never reaches the work, not a wait for time to pass.
  ASSERT_EQ(seen.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  EXPECT_EQ(seen.get(), cuadrante::ftStopped);
}

}  // namespace
