#include "cuadrante/services/messagesmgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cuadrante/internal/testsupport.h"
#include "cuadrante/runtime/application.h"
#include "cuadrante/runtime/files.h"

namespace {

using cuadrante::testing::ReadText;
using cuadrante::testing::TempFolder;
using cuadrante::testing::WriteText;

// A bar that records what was written to each panel and how often it refreshed.
class TFakeStatusBar : public TStatusBar {
 public:
  explicit TFakeStatusBar(int panels) : Panels(panels, "<untouched>") {}
  int PanelCount() const override { return static_cast<int>(Panels.size()); }
  void SetPanelText(int index, const AnsiString& text) override { Panels.at(index) = text; }
  void Refresh() override { ++Refreshes; }
  std::vector<std::string> Panels;
  int Refreshes = 0;
};

TEST(TMessagesMgr, PopAllMessagesPutsLogsFirstAndEmptiesBoth) {
  TMessagesMgr mgr("/tmp/");
  EXPECT_EQ(mgr.PopAllMessages(), "");

  mgr.PushLog("log uno");
  EXPECT_EQ(mgr.PopAllMessages(), "Mensajes:\r\nlog uno");
  EXPECT_EQ(mgr.GetLogs(), "");

  mgr.PushMessage("fallo");
  EXPECT_EQ(mgr.PopAllMessages(), "\r\nErrores:\r\nfallo");
  EXPECT_EQ(mgr.GetMessages(), "");

  mgr.PushLog("l1");
  mgr.PushLog("l2");
  mgr.PushMessage("m1");
  mgr.PushException("e1");
  EXPECT_EQ(mgr.PopAllMessages(), "Mensajes:\r\nl1\r\nl2\r\nErrores:\r\nm1\r\ne1");
  EXPECT_TRUE(mgr.Messages.empty());
  EXPECT_TRUE(mgr.Logs.empty());
  EXPECT_EQ(mgr.PopAllMessages(), "");
}

TEST(TMessagesMgr, StacksReadAndPopNewestLast) {
  TMessagesMgr mgr("/tmp/");
  EXPECT_EQ(mgr.GetLastMessage(), "");
  EXPECT_EQ(mgr.PopLastMessage(), "");
  EXPECT_EQ(mgr.PopMessages(), "");

  mgr.PushMessage("a");
  mgr.PushMessage("");
  mgr.PushMessage("c");
  EXPECT_EQ(mgr.GetMessages(), "a\r\n\r\nc");
  EXPECT_EQ(mgr.GetMessages(), "a\r\n\r\nc");
  EXPECT_EQ(mgr.GetLastMessage(), "c");
  EXPECT_EQ(mgr.Messages.size(), 3u);
  EXPECT_EQ(mgr.PopMessages(), "a\r\n\r\nc");
  EXPECT_EQ(mgr.GetMessages(), "");

  mgr.PushMessage("a");
  mgr.PushMessage("b");
  EXPECT_EQ(mgr.PopLastMessage(), "b");
  EXPECT_EQ(mgr.PopLastMessage(), "a");
  EXPECT_EQ(mgr.PopLastMessage(), "");

  // The log stack is separate and behaves the same.
  mgr.PushLog("x");
  mgr.PushLog("y");
  mgr.PushMessage("m");
  EXPECT_EQ(mgr.GetLogs(), "x\r\ny");
  EXPECT_EQ(mgr.GetLastLog(), "y");
  EXPECT_EQ(mgr.PopLastLog(), "y");
  EXPECT_EQ(mgr.PopLogs(), "x");
  EXPECT_EQ(mgr.PopLastLog(), "");
  EXPECT_EQ(mgr.PopMessages(), "m");
}

TEST(TMessagesMgr, ExceptionTextsGoToMessagesAndTheFile) {
  TempFolder folder;
  TMessagesMgr mgr(folder.Path() + "/");
  // Without a file, PushException only pushes.
  mgr.PushException("antes");
  EXPECT_EQ(mgr.GetLastMessage(), "antes");
  EXPECT_EQ(mgr.GetLogs(), "");

  // The name is appended to the base path as it is, with no separator added.
  mgr.SetFileExceptions("exc.txt");
  ASSERT_TRUE(FileExists(folder / "exc.txt"));
  EXPECT_EQ(ReadText(folder / "exc.txt"), "");
  mgr.PushException("EXP - uno\r\ndetalle");
  mgr.PushException("");
  mgr.PushException("dos ñ");
  // Bare texts one after the other, in the file the moment they are pushed.
  EXPECT_EQ(ReadText(folder / "exc.txt"), "EXP - uno\r\ndetalledos ñ");
  EXPECT_EQ(mgr.PopMessages(), "antes\r\nEXP - uno\r\ndetalle\r\n\r\ndos ñ");

  // A second call with the same name starts the file from nothing.
  mgr.SetFileExceptions("exc.txt");
  mgr.PushException("tres");
  EXPECT_EQ(ReadText(folder / "exc.txt"), "tres");

  // A name that cannot be created (its folder is a regular file) leaves no
  // file in force, and the old file receives nothing more.
  WriteText(folder / "plain", "x");
  mgr.SetFileExceptions("plain/exc.txt");
  EXPECT_EQ(mgr.FileExceptions, nullptr);
  mgr.PushException("cuatro");
  EXPECT_EQ(mgr.GetLastMessage(), "cuatro");
  EXPECT_EQ(ReadText(folder / "exc.txt"), "tres");
  EXPECT_EQ(ReadText(folder / "plain"), "x");
}

TEST(TMessagesMgr, AnEmptyPathMeansTheProgramsFolder) {
  TMessagesMgr mgr("");
  const AnsiString exe = Application->ExeName();
  ASSERT_FALSE(exe.empty());
  EXPECT_TRUE(FileExists(exe));
  EXPECT_EQ(mgr.BasePath, ExtractFilePath(exe));
  EXPECT_EQ(mgr.BasePath.back(), '/');
  EXPECT_EQ(TMessagesMgr("/data/x").BasePath, "/data/x");
}

std::vector<int> hookCalls;
void RecordHook(int flag) { hookCalls.push_back(flag); }

TEST(TMessagesMgr, ShowMessagesCallsTheHostsHookWithZero) {
  hookCalls.clear();
  TMessagesMgr mgr("/tmp/");
  mgr.ShowMessages(true);  // no hook: nothing happens
  TMessagesMgr::OnGetMessages = &RecordHook;
  mgr.ShowMessages(true);
  mgr.ShowMessages(false);
  EXPECT_EQ(hookCalls, (std::vector<int>{0, 0}));
  // A new instance drops the hook.
  TMessagesMgr other("/tmp/");
  EXPECT_EQ(TMessagesMgr::OnGetMessages, nullptr);
  mgr.ShowMessages(true);
  EXPECT_EQ(hookCalls.size(), 2u);
}

TEST(TMessagesMgr, ShowWritesOnlyThePanelsTheBarHas) {
  TMessagesMgr mgr("/tmp/");
  mgr.ShowMessage("sin barra");  // no bar: nothing to touch

  for (int panels = 1; panels <= 3; ++panels) {
    SCOPED_TRACE(panels);
    TFakeStatusBar bar(panels);
    mgr.SetStatusBar(&bar);
    mgr.ShowMessage("");
    mgr.ShowStatusMessage("estado");
    mgr.ShowAuxMessage("aux");
    const std::vector<std::string> expected[] = {{" "}, {" ", " estado"}, {" ", " estado", " aux"}};
    EXPECT_EQ(bar.Panels, expected[panels - 1]);
    // One refresh per text written, none for a panel the bar lacks.
    EXPECT_EQ(bar.Refreshes, panels);
  }
  TFakeStatusBar bar(3);
  mgr.SetStatusBar(&bar);
  mgr.SetStatusBar(nullptr);
  mgr.ShowMessage("x");
  mgr.ShowAuxMessage("y");
  EXPECT_EQ(bar.Panels, (std::vector<std::string>(3, "<untouched>")));
}

TEST(TMessagesMgr, ConcurrentPushesAndPopsLoseNothing) {
  TempFolder folder;
  TMessagesMgr mgr(folder.Path() + "/");
  mgr.SetFileExceptions("exc");
  constexpr int kThreads = 4;
  constexpr int kPerThread = 2000;
  std::atomic<int> running{kThreads};
  std::vector<std::string> popped;

  std::vector<std::thread> pushers;
  for (int t = 0; t < kThreads; ++t) {
    pushers.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        const std::string text = "<" + std::to_string(t * kPerThread + i) + ">";
        if (i % 2 == 0) {
          mgr.PushException(text);
        } else {
          mgr.PushMessage(text);
        }
      }
      running.fetch_sub(1);
    });
  }
  std::thread popper([&] {
    // Pops until every pusher is done, then once more for what is left.
    for (;;) {
      const bool last = running.load() == 0;
      std::string text = mgr.PopLastMessage();
      if (!text.empty()) {
        popped.push_back(std::move(text));
      } else if (last) {
        break;
      }
    }
  });
  for (auto& pusher : pushers) pusher.join();
  popper.join();

  ASSERT_EQ(popped.size(), static_cast<size_t>(kThreads * kPerThread));
  std::vector<int> numbers;
  for (const auto& text : popped) numbers.push_back(std::stoi(text.substr(1)));
  std::sort(numbers.begin(), numbers.end());
  for (int i = 0; i < kThreads * kPerThread; ++i) ASSERT_EQ(numbers[i], i);

  // Every exception text reached the file whole, none interleaved.
  const std::string file = ReadText(folder / "exc");
  std::set<int> inFile;
  for (size_t at = 0; at < file.size();) {
    ASSERT_EQ(file[at], '<');
    const size_t close = file.find('>', at);
    ASSERT_NE(close, std::string::npos);
    const int number = std::stoi(file.substr(at + 1, close - at - 1));
    ASSERT_EQ(number % kPerThread % 2, 0) << number;
    ASSERT_TRUE(inFile.insert(number).second) << number;
    at = close + 1;
  }
  EXPECT_EQ(inFile.size(), static_cast<size_t>(kThreads * kPerThread / 2));
}

}  // namespace
