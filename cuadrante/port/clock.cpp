#include "cuadrante/port/clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>

namespace cuadrante::detail {
namespace {

// Null stands for the system clock, so the default needs no dynamic
// initialisation and works from the first moment of the load.
constinit std::atomic<TClockSource> clockSource{nullptr};
constinit std::atomic<double> manualNow{0.0};

TDateTime SystemNow() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  // A leap second (tm_sec 60) shows as the last second of its minute.
  return EncodeDateTime(
      static_cast<uint16_t>(local.tm_year + 1900), static_cast<uint16_t>(local.tm_mon + 1),
      static_cast<uint16_t>(local.tm_mday), static_cast<uint16_t>(local.tm_hour),
      static_cast<uint16_t>(local.tm_min), static_cast<uint16_t>(std::min(local.tm_sec, 59)),
      static_cast<uint16_t>(ms < 0 ? 0 : ms));
}

TDateTime ManualNow() { return TDateTime(manualNow.load(std::memory_order_relaxed)); }

}  // namespace
}  // namespace cuadrante::detail

TDateTime Now() {
  const cuadrante::TClockSource source =
      cuadrante::detail::clockSource.load(std::memory_order_acquire);
  return source != nullptr ? source() : cuadrante::detail::SystemNow();
}

namespace cuadrante {

TClockSource SetClockSource(TClockSource source) {
  return detail::clockSource.exchange(source, std::memory_order_acq_rel);
}

TManualClock::TManualClock(TDateTime start) {
  Set(start);
  previous_ = SetClockSource(&detail::ManualNow);
}

TManualClock::~TManualClock() { SetClockSource(previous_); }

void TManualClock::Set(TDateTime now) {
  detail::manualNow.store(static_cast<double>(now), std::memory_order_relaxed);
}

// The manual clock runs after 30/12/1899, where a day is the plain fraction
// of a value and seconds add as they do on the real one.
void TManualClock::AdvanceSeconds(int64_t seconds) {
  detail::manualNow.fetch_add(static_cast<double>(seconds) / 86400.0, std::memory_order_relaxed);
}

}  // namespace cuadrante
