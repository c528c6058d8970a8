// TMultiReadExclusiveWriteSynchronizer: a lock that many readers hold together
// or one writer holds alone.
//
// The writer may re-enter: write inside write, and read inside write, on the
// thread that holds the write side. A reader may re-enter its read side too.
// Writers come first: once a writer waits, threads that hold no side wait
// behind it, so a steady stream of readers can't starve it. Every member is
// safe from any thread; each Begin is paired with its End on the same thread.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "cuadrante/runtime/export.h"

class CUADRANTE_API TMultiReadExclusiveWriteSynchronizer {
 public:
  TMultiReadExclusiveWriteSynchronizer();
  TMultiReadExclusiveWriteSynchronizer(const TMultiReadExclusiveWriteSynchronizer&) = delete;
  TMultiReadExclusiveWriteSynchronizer& operator=(const TMultiReadExclusiveWriteSynchronizer&) =
      delete;
  // REQUIRES: no thread holds or waits for either side.
  ~TMultiReadExclusiveWriteSynchronizer();

  // Waits while another thread writes or a writer waits (unless this thread
  // already holds a side, which would otherwise deadlock against itself).
  void BeginRead();
  // Leaves one level of the read side; a thread that holds none is ignored.
  void EndRead();
  // Waits until no other thread reads or writes. A thread that holds the read
  // side may ask for the write side: it waits for the other readers only. Two
  // readers asking so at the same time wait for each other forever.
  void BeginWrite();
  // Leaves one level of the write side; a thread that does not own it is ignored.
  void EndWrite();

  // How many threads wait at this moment for each side; for diagnostics and tests.
  int WaitingReaders() const;
  int WaitingWriters() const;

 private:
  bool FreeForReader() const;
  bool FreeForWriter(std::thread::id me) const;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Read depth of each thread that holds the read side (including the writer
  // when it reads inside its write).
  std::unordered_map<std::thread::id, int> readers_;
  std::thread::id writer_;  // default id: nobody writes
  int writeDepth_ = 0;
  int waitingReaders_ = 0;
  int waitingWriters_ = 0;
};

namespace cuadrante {

// Holds the read side for a scope.
class CUADRANTE_API TReadLock {
 public:
  explicit TReadLock(TMultiReadExclusiveWriteSynchronizer& lock) : lock_(lock) {
    lock_.BeginRead();
  }
  TReadLock(const TReadLock&) = delete;
  TReadLock& operator=(const TReadLock&) = delete;
  ~TReadLock() { lock_.EndRead(); }

 private:
  TMultiReadExclusiveWriteSynchronizer& lock_;
};

// Holds the write side for a scope.
class CUADRANTE_API TWriteLock {
 public:
  explicit TWriteLock(TMultiReadExclusiveWriteSynchronizer& lock) : lock_(lock) {
    lock_.BeginWrite();
  }
  TWriteLock(const TWriteLock&) = delete;
  TWriteLock& operator=(const TWriteLock&) = delete;
  ~TWriteLock() { lock_.EndWrite(); }

 private:
  TMultiReadExclusiveWriteSynchronizer& lock_;
};

}  // namespace cuadrante
