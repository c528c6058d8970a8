#include "cuadrante/port/tickcount.h"

#include <atomic>
#include <chrono>

namespace cuadrante::detail {
namespace {

// Null stands for the monotonic clock, so the default needs no dynamic
// initialisation and works from the first moment of the load.
constinit std::atomic<TTickSource> tickSource{nullptr};
constinit std::atomic<uint32_t> manualTicks{0};

uint32_t MonotonicTicks() {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  // Only the low 32 bits are kept: the counter wraps like the one it stands for.
  return static_cast<uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

uint32_t ManualTicks() { return manualTicks.load(std::memory_order_relaxed); }

}  // namespace
}  // namespace cuadrante::detail

using cuadrante::detail::manualTicks;
using cuadrante::detail::tickSource;

uint32_t GetTickCount() {
  const cuadrante::TTickSource source = tickSource.load(std::memory_order_acquire);
  return source != nullptr ? source() : cuadrante::detail::MonotonicTicks();
}

namespace cuadrante {

TTickSource SetTickSource(TTickSource source) {
  return tickSource.exchange(source, std::memory_order_acq_rel);
}

TManualTicks::TManualTicks(uint32_t start) {
  manualTicks.store(start, std::memory_order_relaxed);
  previous_ = SetTickSource(&detail::ManualTicks);
}

TManualTicks::~TManualTicks() { SetTickSource(previous_); }

void TManualTicks::Set(uint32_t ticks) { manualTicks.store(ticks, std::memory_order_relaxed); }

void TManualTicks::Advance(uint32_t milliseconds) {
  manualTicks.fetch_add(milliseconds, std::memory_order_relaxed);
}

uint32_t TManualTicks::Now() const { return manualTicks.load(std::memory_order_relaxed); }

}  // namespace cuadrante
