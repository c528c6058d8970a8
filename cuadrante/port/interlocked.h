// InterlockedIncrement: the one atomic read-modify-write the library needs, on a
// plain 32-bit field that other code reads under its own lock. Safe from any
// thread; the field must be aligned, as every int32_t member is.
#pragma once

#include <atomic>
#include <cstdint>

// Adds 1 to `*addend` as one indivisible step and answers the new value. Past
// the largest value it wraps to the smallest.
inline int32_t InterlockedIncrement(int32_t* addend) noexcept {
  const int32_t before = std::atomic_ref<int32_t>(*addend).fetch_add(1, std::memory_order_seq_cst);
  // The same wrap for the answer, without a signed overflow.
  return static_cast<int32_t>(static_cast<uint32_t>(before) + 1u);
}
