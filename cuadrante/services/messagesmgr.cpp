#include "cuadrante/services/messagesmgr.h"

#include "cuadrante/port/application.h"
#include "cuadrante/port/files.h"

namespace cuadrante::detail {
namespace {

AnsiString Join(const TVectorStrings& lines) {
  AnsiString text;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += "\r\n";
    text += lines[i];
  }
  return text;
}

AnsiString Last(const TVectorStrings& lines) { return lines.empty() ? AnsiString() : lines.back(); }

AnsiString PopLast(TVectorStrings& lines) {
  if (lines.empty()) return AnsiString();
  AnsiString text = std::move(lines.back());
  lines.pop_back();
  return text;
}

AnsiString PopAll(TVectorStrings& lines) {
  AnsiString text = Join(lines);
  lines.clear();
  return text;
}

}  // namespace
}  // namespace cuadrante::detail

using cuadrante::detail::Join;
using cuadrante::detail::Last;
using cuadrante::detail::PopAll;
using cuadrante::detail::PopLast;

TMessagesMgr::TMessagesMgr(const AnsiString& path)
    : BasePath(path.empty() ? ExtractFilePath(Application->ExeName()) : path) {
  // A new instance starts without the host's hook, so a hook set for an
  // earlier instance never fires on this one.
  OnGetMessages = nullptr;
}

TMessagesMgr::~TMessagesMgr() {
  if (FileExceptions != nullptr) std::fclose(FileExceptions);
}

void TMessagesMgr::SetFileExceptions(const AnsiString& fileName) {
  std::lock_guard lock(guard_);
  if (FileExceptions != nullptr) {
    std::fclose(FileExceptions);
    FileExceptions = nullptr;
  }
  // "e": the file is not inherited by programs the host starts.
  std::FILE* file = std::fopen((BasePath + fileName).c_str(), "wbe");
  if (file == nullptr) return;  // no exception file; the texts stay on the stack
  // Unbuffered like a plain file handle: a crash loses no text already pushed.
  std::setvbuf(file, nullptr, _IONBF, 0);
  FileExceptions = file;
}

void TMessagesMgr::SetFileLogs(const AnsiString&) {
  // Logs live in memory only, until a host asks for a log file.
}

void TMessagesMgr::SetStatusBar(TStatusBar* statusBar) { StatusBar = statusBar; }

void TMessagesMgr::PushMessage(const AnsiString& text) {
  std::lock_guard lock(guard_);
  Messages.push_back(text);
}

AnsiString TMessagesMgr::GetLastMessage() {
  std::lock_guard lock(guard_);
  return Last(Messages);
}

AnsiString TMessagesMgr::GetMessages() {
  std::lock_guard lock(guard_);
  return Join(Messages);
}

AnsiString TMessagesMgr::PopLastMessage() {
  std::lock_guard lock(guard_);
  return PopLast(Messages);
}

AnsiString TMessagesMgr::PopMessages() {
  std::lock_guard lock(guard_);
  return PopAll(Messages);
}

void TMessagesMgr::PushLog(const AnsiString& text) {
  std::lock_guard lock(guard_);
  Logs.push_back(text);
}

AnsiString TMessagesMgr::GetLastLog() {
  std::lock_guard lock(guard_);
  return Last(Logs);
}

AnsiString TMessagesMgr::GetLogs() {
  std::lock_guard lock(guard_);
  return Join(Logs);
}

AnsiString TMessagesMgr::PopLastLog() {
  std::lock_guard lock(guard_);
  return PopLast(Logs);
}

AnsiString TMessagesMgr::PopLogs() {
  std::lock_guard lock(guard_);
  return PopAll(Logs);
}

void TMessagesMgr::PushException(const AnsiString& text) {
  // One lock for both, so the file holds the texts in the order of the stack.
  std::lock_guard lock(guard_);
  Messages.push_back(text);
  if (FileExceptions != nullptr && !text.empty()) {
    // A short or failed write is dropped: the text is on the stack all the same.
    (void)std::fwrite(text.data(), 1, text.size(), FileExceptions);
  }
}

AnsiString TMessagesMgr::PopAllMessages() {
  std::lock_guard lock(guard_);
  AnsiString answer;
  const AnsiString logs = PopAll(Logs);
  if (!logs.empty()) answer = "Mensajes:\r\n" + logs;
  const AnsiString messages = PopAll(Messages);
  if (!messages.empty()) answer += "\r\nErrores:\r\n" + messages;
  return answer;
}

void TMessagesMgr::ShowMessages(bool) {
  // The flag is accepted for hosts that pass one; the hook always gets 0, so it
  // cannot tell callers apart by it.
  if (OnGetMessages != nullptr) OnGetMessages(0);
}

void TMessagesMgr::ShowOnPanel(int index, const AnsiString& text) {
  if (StatusBar == nullptr) return;
  // Panel 0 is not counted: a bar handed to SetStatusBar has at least one.
  if (index > 0 && StatusBar->PanelCount() <= index) return;
  StatusBar->SetPanelText(index, " " + text);
  StatusBar->Refresh();
}

void TMessagesMgr::ShowMessage(const AnsiString& text) { ShowOnPanel(0, text); }
void TMessagesMgr::ShowStatusMessage(const AnsiString& text) { ShowOnPanel(1, text); }
void TMessagesMgr::ShowAuxMessage(const AnsiString& text) { ShowOnPanel(2, text); }
