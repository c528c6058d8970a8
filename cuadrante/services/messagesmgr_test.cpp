#include "cuadrante/services/messagesmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cuadrante/port/application.h"
#include "cuadrante/port/files.h"
#include "cuadrante/testing/testsupport.h"

namespace {

using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;

TEST(TMessagesMgr, TwoStacksReadAndPopNewestLastAndEmptyTogether) {
  TMessagesMgr mgr("/tmp/");
  EXPECT_EQ(mgr.GetLastMessage() + mgr.PopLastMessage() + mgr.PopMessages() + mgr.PopLastLog(), "");
  EXPECT_EQ(mgr.PopAllMessages(), "");
  mgr.PushMessage("a");
  mgr.PushMessage("");
  mgr.PushMessage("c");
  mgr.PushLog("x");
  mgr.PushLog("y");
  EXPECT_EQ(mgr.GetMessages(), "a\r\n\r\nc");  // reading leaves the stack as it was
  EXPECT_EQ(mgr.GetLastMessage(), "c");
  EXPECT_EQ(mgr.PopLastMessage(), "c");
  EXPECT_EQ(mgr.PopMessages(), "a\r\n");
  EXPECT_EQ(mgr.GetMessages(), "");
  EXPECT_EQ(mgr.GetLogs(), "x\r\ny");
  EXPECT_EQ(mgr.GetLastLog(), "y");
  EXPECT_EQ(mgr.PopLastLog(), "y");
  EXPECT_EQ(mgr.PopLogs(), "x");
  EXPECT_EQ(mgr.GetLogs(), "");

  // PopAllMessages puts the logs first and names only the stacks that hold texts.
  mgr.PushLog("log uno");
  EXPECT_EQ(mgr.PopAllMessages(), "Mensajes:\r\nlog uno");
  mgr.PushMessage("fallo");
  EXPECT_EQ(mgr.PopAllMessages(), "\r\nErrores:\r\nfallo");
  mgr.PushLog("l1");
  mgr.PushLog("l2");
  mgr.PushMessage("m1");
  mgr.PushException("e1");
  EXPECT_EQ(mgr.PopAllMessages(), "Mensajes:\r\nl1\r\nl2\r\nErrores:\r\nm1\r\ne1");
  EXPECT_TRUE(mgr.Messages.empty() && mgr.Logs.empty());
}

TEST(TMessagesMgr, ExceptionTextsGoToMessagesAndTheFile) {
  TempFolder folder;
  TMessagesMgr mgr(folder.Path() + "/");
  mgr.PushException("antes");  // without a file, PushException only pushes
  // The name is appended to the base path as it is, with no separator added.
  mgr.SetFileExceptions("exc.txt");
  ASSERT_TRUE(FileExists(folder / "exc.txt"));
  mgr.PushException("EXP - uno\r\ndetalle");
  mgr.PushException("");
  mgr.PushException("dos ñ");
  // Bare texts one after the other, in the file the moment they are pushed.
  EXPECT_EQ(ReadText(folder / "exc.txt"), "EXP - uno\r\ndetalledos ñ");
  EXPECT_EQ(mgr.PopMessages(), "antes\r\nEXP - uno\r\ndetalle\r\n\r\ndos ñ");
  EXPECT_EQ(mgr.GetLogs(), "");

  // A second call with the same name starts the file from nothing.
  mgr.SetFileExceptions("exc.txt");
  mgr.PushException("tres");
  EXPECT_EQ(ReadText(folder / "exc.txt"), "tres");

  // A name that cannot be created (its folder is a regular file) leaves no
  // file in force, and the old file receives nothing more.
  cuadrante::testing::WriteText(folder / "plain", "x");
  mgr.SetFileExceptions("plain/exc.txt");
  EXPECT_EQ(mgr.FileExceptions, nullptr);
  mgr.PushException("cuatro");
  EXPECT_EQ(ReadText(folder / "exc.txt"), "tres");
}

std::vector<int> hookCalls;
void RecordHook(int flag) { hookCalls.push_back(flag); }

TEST(TMessagesMgr, TheProgramsFolderAndTheHostsHook) {
  // An empty path means the program's folder.
  EXPECT_EQ(TMessagesMgr("").BasePath, ExtractFilePath(Application->ExeName()));
  EXPECT_EQ(TMessagesMgr("").BasePath.back(), '/');
  EXPECT_EQ(TMessagesMgr("/data/x").BasePath, "/data/x");

  hookCalls.clear();
  TMessagesMgr mgr("/tmp/");
  mgr.ShowMessages(true);  // no hook: nothing happens
  TMessagesMgr::OnGetMessages = &RecordHook;
  mgr.ShowMessages(true);
  mgr.ShowMessages(false);
  EXPECT_EQ(hookCalls, (std::vector<int>{0, 0}));
  TMessagesMgr other("/tmp/");  // a new instance drops the hook
  EXPECT_EQ(TMessagesMgr::OnGetMessages, nullptr);
}

TEST(TMessagesMgr, ShowWritesOnlyThePanelsTheBarHas) {
  // A bar that records what was written to each panel and how often it refreshed.
  struct TFakeStatusBar : TStatusBar {
    explicit TFakeStatusBar(int panels) : Panels(panels, "<untouched>") {}
    int PanelCount() const override { return static_cast<int>(Panels.size()); }
    void SetPanelText(int index, const AnsiString& text) override { Panels.at(index) = text; }
    void Refresh() override { ++Refreshes; }
    std::vector<std::string> Panels;
    int Refreshes = 0;
  };
  TMessagesMgr mgr("/tmp/");
  mgr.ShowMessage("sin barra");  // no bar: nothing to touch
  const std::vector<std::string> expected[] = {{" "}, {" ", " estado"}, {" ", " estado", " aux"}};
  for (int panels = 1; panels <= 3; ++panels) {
    TFakeStatusBar bar(panels);
    mgr.SetStatusBar(&bar);
    mgr.ShowMessage("");
    mgr.ShowStatusMessage("estado");
    mgr.ShowAuxMessage("aux");
    EXPECT_EQ(bar.Panels, expected[panels - 1]);
    EXPECT_EQ(bar.Refreshes, panels);  // one per text written, none for a missing panel
  }
}

TEST(TMessagesMgr, ConcurrentPushesAndPopsLoseNothing) {
  TempFolder folder;
  TMessagesMgr mgr(folder.Path() + "/");
  mgr.SetFileExceptions("exc");
  constexpr int kThreads = 4, kPerThread = 2000;
  std::atomic<int> running{kThreads};
  std::vector<int> popped;
  std::vector<std::thread> pushers;
  for (int t = 0; t < kThreads; ++t) {
    pushers.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        const std::string text = "<" + std::to_string(t * kPerThread + i) + ">";
        i % 2 == 0 ? mgr.PushException(text) : mgr.PushMessage(text);
      }
      running.fetch_sub(1);
    });
  }
  // Pops until every pusher is done, then once more for what is left.
  for (bool last = false; !last;) {
    last = running.load() == 0;
    for (std::string text; !(text = mgr.PopLastMessage()).empty();) {
      popped.push_back(std::stoi(text.substr(1)));
    }
  }
  for (auto& pusher : pushers) pusher.join();
  std::sort(popped.begin(), popped.end());
  ASSERT_EQ(popped.size(), static_cast<size_t>(kThreads * kPerThread));
  for (int i = 0; i < kThreads * kPerThread; ++i) ASSERT_EQ(popped[i], i);

  // Every exception text reached the file whole, none interleaved.
  const std::string file = ReadText(folder / "exc");
  std::set<int> inFile;
  for (size_t at = 0; at < file.size();) {
    const size_t close = file.find('>', at);
    ASSERT_TRUE(file[at] == '<' && close != std::string::npos) << at;
    const int number = std::stoi(file.substr(at + 1, close - at - 1));
    ASSERT_EQ(number % kPerThread % 2, 0) << number;
    ASSERT_TRUE(inFile.insert(number).second) << number;
    at = close + 1;
  }
  EXPECT_EQ(inFile.size(), static_cast<size_t>(kThreads * kPerThread / 2));
}

}  // namespace
