// The store of texts that the library and its hosts leave for later: a stack
// of messages, a stack of logs (both oldest first, newest last, unbounded), an
// exception file that receives every text given to PushException, and the
// host's status bar for one-line notices.
//
// Threads: background operations push while a host pops on another thread, so
// every operation on the stacks and the exception file takes one internal
// mutex; concurrent pushes and pops lose nothing, and PopAllMessages empties
// both stacks as one step. The public fields are there for inspection by a
// host that knows no other thread is using the instance. The Show family and
// SetStatusBar touch the host's display and belong on the thread that owns it.
#pragma once

#include <cstdio>
#include <mutex>

#include "cuadrante/runtime/export.h"
#include "cuadrante/runtime/statusbar.h"
#include "cuadrante/runtime/sysutils.h"

class CUADRANTE_API TMessagesMgr {
 public:
  // The host's hook for ShowMessages. The argument is a flag, always 0.
  using TOnGetMessages = void (*)(int);

  // `path` is the folder for the exception file, used as a plain prefix of its
  // name; empty means the program's folder. Resets OnGetMessages to null.
  explicit TMessagesMgr(const AnsiString& path);
  TMessagesMgr(const TMessagesMgr&) = delete;
  TMessagesMgr& operator=(const TMessagesMgr&) = delete;
  // Closes the exception file; the status bar is left alone.
  ~TMessagesMgr();

  // Opens BasePath + fileName as the exception file, created or emptied,
  // closing any file opened before. A file that cannot be created leaves no
  // exception file, silently.
  void SetFileExceptions(const AnsiString& fileName);
  // Logs are kept in memory only: the name is not used.
  void SetFileLogs(const AnsiString& fileName);
  // Borrows the host's bar; null detaches it.
  void SetStatusBar(TStatusBar* statusBar);

  void PushMessage(const AnsiString& text);
  // The newest message, or "" when there is none; the stack is unchanged.
  AnsiString GetLastMessage();
  // All messages, oldest first, joined by "\r\n"; the stack is unchanged.
  AnsiString GetMessages();
  // Removes and returns the newest message, or "" when there is none.
  AnsiString PopLastMessage();
  // As GetMessages, and empties the stack.
  AnsiString PopMessages();

  // The same five on the log stack.
  void PushLog(const AnsiString& text);
  AnsiString GetLastLog();
  AnsiString GetLogs();
  AnsiString PopLastLog();
  AnsiString PopLogs();

  // Pushes the text as a message and writes its bytes, nothing added, to the
  // exception file if one is open. A failed write is ignored.
  void PushException(const AnsiString& text);
  // Empties both stacks into one text: "Mensajes:\r\n" and the logs when there
  // are any, then "\r\nErrores:\r\n" and the messages when there are any.
  AnsiString PopAllMessages();

  // Calls OnGetMessages(0) when the host has set it; the flag is not used.
  void ShowMessages(bool reserved);
  // Writes " " + text to panel 0 of the status bar and refreshes it.
  void ShowMessage(const AnsiString& text);
  // Panel 1, when the bar has more than one panel.
  void ShowStatusMessage(const AnsiString& text);
  // Panel 2, when the bar has more than two panels.
  void ShowAuxMessage(const AnsiString& text);

  AnsiString BasePath;
  // The open exception file, owned; null when there is none. Unbuffered, so
  // each text is in the file when PushException returns.
  std::FILE* FileExceptions = nullptr;
  TVectorStrings Messages;
  TVectorStrings Logs;
  // Borrowed from the host; null when there is none.
  TStatusBar* StatusBar = nullptr;

  // Set by the host after the instance exists; null until then.
  static TOnGetMessages OnGetMessages;

 private:
  void ShowOnPanel(int index, const AnsiString& text);

  std::mutex guard_;
};

// The one instance, made and deleted by the global manager; null outside its life.
extern CUADRANTE_API TMessagesMgr* _MessagesMgr;
