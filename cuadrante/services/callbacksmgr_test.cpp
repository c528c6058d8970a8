#include "cuadrante/services/callbacksmgr.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cuadrante/runtime/exception.h"

namespace {

constexpr TCallbackType kChanged{7};

// A listener that logs each call as "<name>:<key>" and then runs its action.
class TListener : public TObject {
 public:
  TListener(std::vector<std::string>& log, std::string name) : log_(log), name_(std::move(name)) {}
  void evEvent(TObject* sender, TCallbackType type, short key, int64_t value) {
    log_.push_back(name_ + ":" + std::to_string(key));
    Sender = sender;
    Type = type;
    Value = value;
    if (Action) Action();
  }
  void evOther(TObject*, TCallbackType, short key, int64_t) {
    log_.push_back(name_ + ".other:" + std::to_string(key));
  }
  TCallbackMethod Method() { return MakeCallback<&TListener::evEvent>(this); }

  std::function<void()> Action;
  TObject* Sender = nullptr;
  TCallbackType Type{};
  int64_t Value = 0;

 private:
  std::vector<std::string>& log_;
  std::string name_;
};

TEST(TCallbackMethod, EqualByObjectAndFunction) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b");
  EXPECT_EQ(a.Method(), a.Method());
  EXPECT_NE(a.Method(), b.Method());
  EXPECT_NE(a.Method(), MakeCallback<&TListener::evOther>(&a));
  EXPECT_TRUE(TCallbackMethod().IsEmpty());
  EXPECT_EQ(MakeCallback<&TListener::evEvent>(static_cast<TListener*>(nullptr)), TCallbackMethod());
  EXPECT_EQ(TCallbackMethod(&a, nullptr), TCallbackMethod());
  TCallbackMethod().operator()(nullptr, kChanged, 1, 2);  // the empty method calls nothing
  MakeCallback<&TListener::evOther> (&b)(nullptr, kChanged, 3, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"b.other:3"}));
}

TEST(TCallBacksMgr, AddKeepsPairsUniqueAndCallRunsThemInOrder) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b"), c(log, "c");
  TCallBacksMgr mgr;
  EXPECT_TRUE(mgr.Enabled);
  mgr.Call(nullptr, kChanged, 1, 0);  // nothing registered
  EXPECT_TRUE(mgr.Add(1, a.Method()));
  EXPECT_TRUE(mgr.Add(1, b.Method()));
  EXPECT_FALSE(mgr.Add(1, a.Method()));
  EXPECT_TRUE(mgr.Add(1, TCallbackMethod()));  // the empty method may stand, and is passed over
  EXPECT_TRUE(mgr.Add(1, c.Method()));
  EXPECT_TRUE(mgr.Add(0, c.Method()));
  EXPECT_TRUE(mgr.Add(-1, a.Method()));
  EXPECT_TRUE(mgr.Add(2, MakeCallback<&TListener::evOther>(&a)));
  EXPECT_EQ(mgr.CallBacks.size(), 7u);
  // Signed keys: -1 sorts before 0.
  EXPECT_EQ(mgr.CallBacks.begin()->first, -1);

  TObject sender;
  mgr.Call(&sender, kChanged, 1, -5000000000LL);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "b:1", "c:1"}));
  EXPECT_EQ(c.Sender, &sender);
  EXPECT_EQ(c.Type, kChanged);
  EXPECT_EQ(c.Value, -5000000000LL);

  log.clear();
  mgr.Call(nullptr, kChanged, -1, 0);
  mgr.Call(nullptr, kChanged, 0, 0);
  mgr.Call(nullptr, kChanged, 2, 0);
  mgr.Call(nullptr, kChanged, 3, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"a:-1", "c:0", "a.other:2"}));

  // Disabled, Call does nothing.
  log.clear();
  mgr.Enabled = false;
  mgr.Call(nullptr, kChanged, 1, 0);
  EXPECT_TRUE(log.empty());
}

TEST(TCallBacksMgr, FreeRemovesTheLowestKeyFirst) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b");
  TCallBacksMgr mgr;
  EXPECT_FALSE(mgr.Free(a.Method()));
  mgr.Add(2, a.Method());
  mgr.Add(1, b.Method());
  mgr.Add(1, a.Method());
  mgr.Add(-3, a.Method());
  EXPECT_TRUE(mgr.Free(a.Method()));
  mgr.Call(nullptr, kChanged, -3, 0);
  mgr.Call(nullptr, kChanged, 1, 0);
  mgr.Call(nullptr, kChanged, 2, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"b:1", "a:1", "a:2"}));
  EXPECT_TRUE(mgr.Free(a.Method()));
  EXPECT_TRUE(mgr.Free(a.Method()));
  EXPECT_FALSE(mgr.Free(a.Method()));
  ASSERT_EQ(mgr.CallBacks.size(), 1u);
  EXPECT_EQ(mgr.CallBacks.begin()->second, b.Method());
  // Once freed, the pair can be added again.
  EXPECT_TRUE(mgr.Add(1, a.Method()));
}

TEST(TCallBacksMgr, AThrowingListenerEndsOnlyThatEvent) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b"), c(log, "c");
  TCallBacksMgr mgr;
  mgr.Add(4, a.Method());
  mgr.Add(4, b.Method());
  mgr.Add(4, c.Method());
  b.Action = [] { throw EConvertError("no"); };
  EXPECT_NO_THROW(mgr.Call(nullptr, kChanged, 4, 0));
  b.Action = [] { throw 42; };  // not even an exception class gets out
  EXPECT_NO_THROW(mgr.Call(nullptr, kChanged, 4, 0));
  EXPECT_EQ(log, (std::vector<std::string>{"a:4", "b:4", "a:4", "b:4"}));
  b.Action = nullptr;
  log.clear();
  mgr.Call(nullptr, kChanged, 4, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"a:4", "b:4", "c:4"}));
}

TEST(TCallBacksMgr, ListenersMayChangeTheRegistryDuringCall) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b"), c(log, "c"), d(log, "d");
  TCallBacksMgr mgr;
  mgr.Add(1, a.Method());
  mgr.Add(1, b.Method());
  mgr.Add(1, c.Method());
  mgr.Add(2, d.Method());

  // b frees itself and the entry behind it: the walk ends cleanly at b.
  b.Action = [&] {
    EXPECT_TRUE(mgr.Free(b.Method()));
    EXPECT_TRUE(mgr.Free(c.Method()));
  };
  mgr.Call(nullptr, kChanged, 1, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "b:1"}));
  EXPECT_EQ(mgr.CallBacks.size(), 2u);

  // a, the last of its key, adds c behind itself: c runs in the same walk;
  // the listener of the next key does not.
  log.clear();
  a.Action = [&] { mgr.Add(1, c.Method()); };
  mgr.Call(nullptr, kChanged, 1, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "c:1"}));

  // a frees itself, c frees a second time (nothing left of a), and a nested
  // Call on another key runs inside the walk.
  log.clear();
  a.Action = [&] { mgr.Free(a.Method()); };
  c.Action = [&] {
    EXPECT_FALSE(mgr.Free(a.Method()));
    mgr.Call(nullptr, kChanged, 2, 0);
  };
  mgr.Call(nullptr, kChanged, 1, 0);
  EXPECT_EQ(log, (std::vector<std::string>{"a:1", "c:1", "d:2"}));
  ASSERT_EQ(mgr.CallBacks.size(), 2u);
  EXPECT_EQ(mgr.CallBacks.begin()->second, c.Method());
}

TEST(TCallBacksMgr, AListenerMayDeleteTheRegistry) {
  std::vector<std::string> log;
  TListener a(log, "a"), b(log, "b");
  auto* mgr = new TCallBacksMgr;
  mgr->Add(1, a.Method());
  mgr->Add(1, b.Method());
  a.Action = [&] { delete mgr; };
  mgr->Call(nullptr, kChanged, 1, 0);  // ASan would report any touch after the delete
  EXPECT_EQ(log, (std::vector<std::string>{"a:1"}));
}

}  // namespace
