// The wall clock behind Now(), Date() and IsToday(): local time by default,
// replaceable so that a test or a simulation can set the day and hour by hand
// instead of waiting for them. Safe from any thread, the swap included.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/datetime.h"
#include "cuadrante/runtime/export.h"

namespace cuadrante {

// A source of wall-clock readings. It must be safe to call from any thread.
using TClockSource = TDateTime (*)();

// Installs `source` (null: the system's local time again) and answers the
// source it replaces, null for the system's clock.
CUADRANTE_API TClockSource SetClockSource(TClockSource source);

// A wall clock set by hand, installed for the life of the object and replaced
// by the previous source at its end. There is one manual clock in the process:
// two of these alive at once share it.
//
// Example:
//   cuadrante::TManualClock clock(EncodeDateTime(2026, 12, 31, 23, 59, 0, 0));
//   clock.AdvanceSeconds(120);
//   Date() == EncodeDate(2027, 1, 1);
class CUADRANTE_API TManualClock {
 public:
  explicit TManualClock(TDateTime start);
  TManualClock(const TManualClock&) = delete;
  TManualClock& operator=(const TManualClock&) = delete;
  ~TManualClock();

  void Set(TDateTime now);
  void AdvanceSeconds(int64_t seconds);

 private:
  TClockSource previous_;
};

}  // namespace cuadrante
