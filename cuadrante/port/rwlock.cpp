#include "cuadrante/port/rwlock.h"

TMultiReadExclusiveWriteSynchronizer::TMultiReadExclusiveWriteSynchronizer() = default;
TMultiReadExclusiveWriteSynchronizer::~TMultiReadExclusiveWriteSynchronizer() = default;

bool TMultiReadExclusiveWriteSynchronizer::FreeForReader() const {
  // Waiting writers block newcomers, so readers that keep arriving can't hold
  // a writer off for ever.
  return writer_ == std::thread::id() && waitingWriters_ == 0;
}

bool TMultiReadExclusiveWriteSynchronizer::FreeForWriter(std::thread::id me) const {
  if (writer_ != std::thread::id()) return false;
  // The caller's own read side doesn't count against it.
  for (const auto& [thread, depth] : readers_) {
    if (thread != me && depth > 0) return false;
  }
  return true;
}

void TMultiReadExclusiveWriteSynchronizer::BeginRead() {
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(mutex_);
  const auto held = readers_.find(me);
  if (held != readers_.end()) {
    ++held->second;
    return;
  }
  if (writer_ != me) {
    ++waitingReaders_;
    changed_.wait(guard, [&] { return FreeForReader(); });
    --waitingReaders_;
  }
  readers_.emplace(me, 1);
}

void TMultiReadExclusiveWriteSynchronizer::EndRead() {
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(mutex_);
  const auto held = readers_.find(me);
  if (held == readers_.end()) return;
  if (--held->second > 0) return;
  readers_.erase(held);
  // Only a writer can be waiting for readers to leave.
  if (waitingWriters_ > 0) {
    guard.unlock();
    changed_.notify_all();
  }
}

void TMultiReadExclusiveWriteSynchronizer::BeginWrite() {
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(mutex_);
  if (writer_ == me) {
    ++writeDepth_;
    return;
  }
  ++waitingWriters_;
  changed_.wait(guard, [&] { return FreeForWriter(me); });
  --waitingWriters_;
  writer_ = me;
  writeDepth_ = 1;
}

void TMultiReadExclusiveWriteSynchronizer::EndWrite() {
  const std::thread::id me = std::this_thread::get_id();
  std::unique_lock<std::mutex> guard(mutex_);
  if (writer_ != me) return;
  if (--writeDepth_ > 0) return;
  writer_ = std::thread::id();
  if (waitingReaders_ > 0 || waitingWriters_ > 0) {
    guard.unlock();
    changed_.notify_all();
  }
}

int TMultiReadExclusiveWriteSynchronizer::WaitingReaders() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return waitingReaders_;
}

int TMultiReadExclusiveWriteSynchronizer::WaitingWriters() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return waitingWriters_;
}
