#include "cuadrante/services/callbacksmgr.h"

#include <cxxabi.h>

// One Call in progress. `next` is the entry the walk reaches after the method
// that is running; Add and Free move it so that it never names a removed entry.
struct TCallBacksMgr::TWalk {
  short Key;
  std::multimap<short, TCallbackMethod>::iterator Next;
  // Set by the destructor: the registry is gone and must not be touched.
  bool Gone;
  TWalk* Outer;
};

TCallBacksMgr::TCallBacksMgr() { Enabled = true; }

TCallBacksMgr::~TCallBacksMgr() {
  for (TWalk* walk = walks_; walk != nullptr; walk = walk->Outer) walk->Gone = true;
  CallBacks.clear();
  Enabled = false;
}

bool TCallBacksMgr::Add(short key, TCallbackMethod method) {
  const auto [first, last] = CallBacks.equal_range(key);
  for (auto it = first; it != last; ++it) {
    if (it->second == method) return false;
  }
  const auto added = CallBacks.emplace_hint(last, key, method);
  // A walk that was about to leave this key now reaches the new entry, as it
  // would any other entry standing behind it.
  for (TWalk* walk = walks_; walk != nullptr; walk = walk->Outer) {
    if (walk->Key == key && walk->Next == std::next(added)) walk->Next = added;
  }
  return true;
}

bool TCallBacksMgr::Free(TCallbackMethod method) {
  for (auto it = CallBacks.begin(); it != CallBacks.end(); ++it) {
    if (it->second != method) continue;
    for (TWalk* walk = walks_; walk != nullptr; walk = walk->Outer) {
      if (walk->Next == it) ++walk->Next;
    }
    CallBacks.erase(it);
    return true;
  }
  return false;
}

void TCallBacksMgr::Call(TObject* sender, TCallbackType type, short key, int64_t value) {
  if (!Enabled) return;
  TWalk walk{key, CallBacks.lower_bound(key), false, walks_};
  walks_ = &walk;
  try {
    while (walk.Next != CallBacks.end() && walk.Next->first == key) {
      // A copy: the method may free its own entry while it runs.
      const TCallbackMethod method = walk.Next->second;
      ++walk.Next;
      method(sender, type, key, value);
      if (walk.Gone) return;  // a method deleted the registry
    }
  } catch (const abi::__forced_unwind&) {
    // A cancelled thread must keep unwinding; swallowing it would abort.
    if (!walk.Gone) walks_ = walk.Outer;
    throw;
  } catch (...) {
    // A listener's failure is its own: the event ends here, the caller goes on.
    if (walk.Gone) return;
  }
  walks_ = walk.Outer;
}
