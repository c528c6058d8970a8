#include "cuadrante/port/rwlock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace {

using Lock = TMultiReadExclusiveWriteSynchronizer;
constexpr auto kPatience = std::chrono::seconds(20);

// True once `condition` holds; false if it still fails after kPatience, which
// only a broken lock causes. Spins on yields: nothing here sleeps.
bool Eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

bool Finishes(std::future<void>& done) {
  return done.wait_for(kPatience) == std::future_status::ready;
}

TEST(TMultiReadExclusiveWriteSynchronizer, ReentersFromEitherSide) {
  Lock lock;
  lock.BeginWrite();
  lock.BeginWrite();  // write inside write
  lock.BeginRead();   // read inside write
  lock.BeginRead();
  lock.EndRead();
  lock.EndRead();
  lock.EndWrite();

  // One level of write is still held: a reader from another thread waits.
  std::atomic<bool> readerIn{false};
  std::future<void> reader = std::async(std::launch::async, [&] {
    lock.BeginRead();
    readerIn = true;
    lock.EndRead();
  });
  ASSERT_TRUE(Eventually([&] { return lock.WaitingReaders() == 1; }));
  EXPECT_FALSE(readerIn);

  // Ends from a thread that owns nothing are ignored.
  std::async(std::launch::async, [&] {
    lock.EndWrite();
    lock.EndRead();
  }).get();
  EXPECT_FALSE(readerIn);
  EXPECT_EQ(lock.WaitingReaders(), 1);

  lock.EndWrite();
  ASSERT_TRUE(Finishes(reader));
  EXPECT_TRUE(readerIn);

  // Everything was released: another thread writes at once.
  std::future<void> writer = std::async(std::launch::async, [&] {
    lock.BeginWrite();
    lock.EndWrite();
  });
  EXPECT_TRUE(Finishes(writer));

  // A reader takes the write side too, and still reads once it gives it up.
  lock.BeginRead();
  lock.BeginWrite();  // the only reader: no wait
  lock.EndWrite();

  // Still a reader: a writer elsewhere waits until the read ends.
  std::atomic<bool> writerIn{false};
  writer = std::async(std::launch::async, [&] {
    cuadrante::TWriteLock hold(lock);
    writerIn = true;
  });
  ASSERT_TRUE(Eventually([&] { return lock.WaitingWriters() == 1; }));
  EXPECT_FALSE(writerIn);
  lock.EndRead();
  ASSERT_TRUE(Finishes(writer));
  EXPECT_TRUE(writerIn);
}

TEST(TMultiReadExclusiveWriteSynchronizer, ReadersShareItAndAWriterGoesBeforeNewOnes) {
  Lock lock;
  std::atomic<int> order{0}, writerTurn{0}, readerTurn{0};
  lock.BeginRead();
  // Another reader gets in while this one holds it.
  std::future<void> early =
      std::async(std::launch::async, [&] { cuadrante::TReadLock hold(lock); });
  EXPECT_TRUE(Finishes(early));

  // A writer waits for the readers...
  std::future<void> writer = std::async(std::launch::async, [&] {
    cuadrante::TWriteLock hold(lock);
    writerTurn = ++order;
  });
  ASSERT_TRUE(Eventually([&] { return lock.WaitingWriters() == 1; }));
  EXPECT_EQ(writerTurn, 0);

  // ...and a newcomer waits behind the writer...
  std::future<void> reader = std::async(std::launch::async, [&] {
    cuadrante::TReadLock hold(lock);
    readerTurn = ++order;
  });
  ASSERT_TRUE(Eventually([&] { return lock.WaitingReaders() == 1; }));
  // ...but a thread that already reads re-enters without deadlock.
  lock.BeginRead();
  lock.EndRead();
  EXPECT_EQ(writerTurn, 0);

  lock.EndRead();
  ASSERT_TRUE(Finishes(writer));
  ASSERT_TRUE(Finishes(reader));
  EXPECT_EQ(writerTurn, 1);
  EXPECT_EQ(readerTurn, 2);
}

TEST(TMultiReadExclusiveWriteSynchronizer, KeepsCountsUnderContention) {
  Lock lock;
  long shared = 0;  // guarded by the write side
  std::atomic<int> readersInside{0};
  std::atomic<bool> overlap{false};
  auto work = [&](int rounds) {
    for (int i = 0; i < rounds; ++i) {
      if (i % 3 == 0) {
        cuadrante::TWriteLock hold(lock);
        if (readersInside != 0) overlap = true;
        cuadrante::TWriteLock again(lock);
        ++shared;
      } else {
        cuadrante::TReadLock hold(lock);
        ++readersInside;
        --readersInside;
      }
    }
  };
  std::thread a(work, 3000), b(work, 3000), c(work, 3000);
  a.join();
  b.join();
  c.join();
  EXPECT_EQ(shared, 3000);
  EXPECT_FALSE(overlap);
}

}  // namespace
