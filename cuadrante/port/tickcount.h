// GetTickCount: a millisecond counter of 32 bits that wraps every 49.7 days.
// Readings are compared only by unsigned subtraction, which stays right across
// the wrap. The counter reads a replaceable source, so a test or a simulation
// can move time by hand and wrap the counter without waiting. Safe from any
// thread, the source swap included.
#pragma once

#include <cstdint>

#include "cuadrante/runtime/export.h"

// Milliseconds of the installed source: by default the monotonic clock, which
// counts from an arbitrary point and never steps back.
CUADRANTE_API uint32_t GetTickCount();

namespace cuadrante {

// A source of tick readings. It must be safe to call from any thread.
using TTickSource = uint32_t (*)();

// Installs `source` (null: the monotonic clock again) and answers the source it
// replaces, null for the monotonic clock. Readings in flight may still come
// from the old source.
CUADRANTE_API TTickSource SetTickSource(TTickSource source);

// A tick counter moved by hand, installed as the source for the life of the
// object and replaced by the previous source at its end. There is one manual
// counter in the process: two of these alive at once share it.
//
// Example:
//   cuadrante::TManualTicks ticks(0xFFFFFF00);
//   ticks.Advance(0x200);
//   GetTickCount() == 0x100;
class CUADRANTE_API TManualTicks {
 public:
  explicit TManualTicks(uint32_t start = 0);
  TManualTicks(const TManualTicks&) = delete;
  TManualTicks& operator=(const TManualTicks&) = delete;
  ~TManualTicks();

  void Set(uint32_t ticks);
  // Moves the counter forward; past 0xFFFFFFFF it wraps to 0 as the real one does.
  void Advance(uint32_t milliseconds);
  uint32_t Now() const;

 private:
  TTickSource previous_;
};

}  // namespace cuadrante
