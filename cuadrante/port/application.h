// The host's application object: the path of the running program and one pass
// of the host's event pump. The library has no event loop of its own; a host
// with a display installs the pump hook once at start, before other threads
// call ProcessMessages, and the library calls it where a long task on the
// owning thread should let the display catch up. `Application` points to the
// one instance for the life of the process; ExeName is safe from any thread.
#pragma once

#include <functional>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TApplication {
 public:
  using TProcessMessagesHook = std::function<void()>;

  TApplication();
  TApplication(const TApplication&) = delete;
  TApplication& operator=(const TApplication&) = delete;
  ~TApplication();

  // The absolute path of the program file, read from /proc/self/exe; the empty
  // text if it cannot be read.
  AnsiString ExeName() const;

  // Runs the installed hook once, on the calling thread; without a hook it does
  // nothing.
  void ProcessMessages();

  // Installs the host's event pump (an empty function removes it). Set it
  // before any thread may call ProcessMessages: the hook itself is not guarded.
  void SetProcessMessagesHook(TProcessMessagesHook hook);

 private:
  TProcessMessagesHook processMessages_;
};

// The one application object; never null.
extern CUADRANTE_API TApplication* Application;
