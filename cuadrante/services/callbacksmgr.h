// The callback registry: parts of a host that do not know each other listen
// for numbered events. A listener adds a bound method under a signed key;
// whoever raises the event calls the registry with that key and every method
// under it runs, in the order added, on the calling thread.
//
// For one thread at a time: the registry takes no lock, and hosts that share
// it guard it themselves. A method may Add, Free or even delete the registry
// while Call runs it: the walk keeps a cursor that Add and Free move past the
// entries they touch, so it never stands on a removed entry, and entries added
// behind the cursor under the running key are called in the same walk. Hosts
// must make such changes through Add and Free, not on the CallBacks map itself.
#pragma once

#include <cstdint>
#include <map>

#include "cuadrante/runtime/boundmethod.h"
#include "cuadrante/runtime/component.h"
#include "cuadrante/runtime/export.h"

class CUADRANTE_API TCallBacksMgr {
 public:
  TCallBacksMgr();
  TCallBacksMgr(const TCallBacksMgr&) = delete;
  TCallBacksMgr& operator=(const TCallBacksMgr&) = delete;
  // Empties the store and disables Call; a walk in progress ends after the
  // method that is running.
  virtual ~TCallBacksMgr();

  // Adds `method` behind the entries of `key`; false, changing nothing, when
  // that pair is already there. The empty method may be added.
  bool Add(short key, TCallbackMethod method);
  // Removes the first entry, in key order, whose method equals `method`; false
  // when there is none. A method under several keys needs one call per key.
  bool Free(TCallbackMethod method);
  // Runs every non-empty method under `key` with these four arguments. The
  // first exception that a method lets out, of any type, is swallowed and ends
  // the walk; Call itself never throws. Does nothing while Enabled is false.
  void Call(TObject* sender, TCallbackType type, short key, int64_t value);

  // Keys ascend by signed value; entries of one key keep the order of Add.
  std::multimap<short, TCallbackMethod> CallBacks;
  // True from construction until the destructor.
  bool Enabled = false;

 private:
  struct TWalk;
  // The walks in progress, innermost first; a method may call Call again.
  TWalk* walks_ = nullptr;
};

// The one instance, made and deleted by the global manager; null outside its life.
extern CUADRANTE_API TCallBacksMgr* _CallBacksMgr;
