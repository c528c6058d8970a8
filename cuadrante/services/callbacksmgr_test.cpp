#include "cuadrante/services/callbacksmgr.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

constexpr TCallbackType kChanged{7};

// A listener that logs each call as "<name>:<key> " and then runs its action.
class TListener : public TObject {
 public:
  TListener(std::string& log, std::string name) : log_(log), name_(std::move(name)) {}
  void evEvent(TObject* sender, TCallbackType type, short key, int64_t value) {
    log_ += name_ + ":" + std::to_string(key) + " ";
    Sender = sender;
    Type = type;
    Value = value;
    if (Action) Action();
  }
  void evOther(TObject*, TCallbackType, short key, int64_t) {
    log_ += name_ + ".other:" + std::to_string(key) + " ";
  }
  TCallbackMethod Method() { return MakeCallback<&TListener::evEvent>(this); }

  std::function<void()> Action;
  TObject* Sender = nullptr;
  TCallbackType Type{};
  int64_t Value = 0;

 private:
  std::string& log_;
  std::string name_;
};

// What calling each key logs.
std::string Calls(TCallBacksMgr& mgr, std::string& log, std::initializer_list<short> keys) {
  log.clear();
  for (short key : keys) mgr.Call(nullptr, kChanged, key, 0);
  return log;
}

TEST(TCallbackMethod, EqualByObjectAndFunction) {
  std::string log;
  TListener a(log, "a"), b(log, "b");
  EXPECT_EQ(a.Method(), a.Method());
  EXPECT_NE(a.Method(), b.Method());
  EXPECT_NE(a.Method(), MakeCallback<&TListener::evOther>(&a));
  EXPECT_EQ(MakeCallback<&TListener::evEvent>(static_cast<TListener*>(nullptr)), TCallbackMethod());
  EXPECT_EQ(TCallbackMethod(&a, nullptr), TCallbackMethod());
  TCallbackMethod()(nullptr, kChanged, 1, 2);  // the empty method calls nothing
  MakeCallback<&TListener::evOther> (&b)(nullptr, kChanged, 3, 0);
  EXPECT_EQ(log, "b.other:3 ");
}

TEST(TCallBacksMgr, AddKeepsPairsUniqueCallRunsThemInOrderAndFreeTakesTheLowestKey) {
  std::string log;
  TListener a(log, "a"), b(log, "b"), c(log, "c");
  TCallBacksMgr mgr;
  mgr.Call(nullptr, kChanged, 1, 0);  // nothing registered
  EXPECT_TRUE(mgr.Add(1, a.Method()));
  EXPECT_TRUE(mgr.Add(1, b.Method()));
  EXPECT_FALSE(mgr.Add(1, a.Method()));
  EXPECT_TRUE(mgr.Add(1, TCallbackMethod()));  // the empty method may stand, and is passed over
  EXPECT_TRUE(mgr.Add(1, c.Method()));
  EXPECT_TRUE(mgr.Add(-1, a.Method()));
  EXPECT_TRUE(mgr.Add(2, MakeCallback<&TListener::evOther>(&a)));
  EXPECT_EQ(mgr.CallBacks.size(), 6u);
  EXPECT_EQ(mgr.CallBacks.begin()->first, -1);  // signed keys: -1 sorts before 0

  TObject sender;
  mgr.Call(&sender, kChanged, 1, -5000000000LL);
  EXPECT_EQ(log, "a:1 b:1 c:1 ");
  EXPECT_EQ(c.Sender, &sender);
  EXPECT_EQ(c.Type, kChanged);
  EXPECT_EQ(c.Value, -5000000000LL);
  EXPECT_EQ(Calls(mgr, log, {-1, 0, 2, 3}), "a:-1 a.other:2 ");

  // Free removes the first entry in key order, one key a call.
  EXPECT_FALSE(mgr.Free(MakeCallback<&TListener::evOther>(&b)));
  EXPECT_TRUE(mgr.Free(a.Method()));
  EXPECT_EQ(Calls(mgr, log, {-1, 1}), "a:1 b:1 c:1 ");
  EXPECT_TRUE(mgr.Free(a.Method()));
  EXPECT_FALSE(mgr.Free(a.Method()));
  EXPECT_TRUE(mgr.Add(1, a.Method()));  // once freed, the pair can be added again
  EXPECT_EQ(Calls(mgr, log, {1}), "b:1 c:1 a:1 ");

  mgr.Enabled = false;
  EXPECT_EQ(Calls(mgr, log, {1}), "");
}

TEST(TCallBacksMgr, ListenersMayThrowOrChangeOrDeleteTheRegistryDuringCall) {
  std::string log;
  TListener a(log, "a"), b(log, "b"), c(log, "c"), d(log, "d");
  TCallBacksMgr mgr;
  for (TListener* listener : {&a, &b, &c}) mgr.Add(1, listener->Method());
  mgr.Add(2, d.Method());

  // A listener's failure is its own: the event ends there, and nothing is
  // lost (b and c are freed below). Any thrown value, not only an exception.
  b.Action = [] { throw 42; };
  EXPECT_EQ(Calls(mgr, log, {1}), "a:1 b:1 ");

  // b frees itself and the entry behind it: the walk ends cleanly at b.
  b.Action = [&] {
    EXPECT_TRUE(mgr.Free(b.Method()));
    EXPECT_TRUE(mgr.Free(c.Method()));
  };
  EXPECT_EQ(Calls(mgr, log, {1}), "a:1 b:1 ");
  EXPECT_EQ(mgr.CallBacks.size(), 2u);

  // a, the last of its key, adds c behind itself: c runs in the same walk;
  // the listener of the next key does not.
  a.Action = [&] { mgr.Add(1, c.Method()); };
  EXPECT_EQ(Calls(mgr, log, {1}), "a:1 c:1 ");

  // a frees itself, c frees a second time (nothing left of a), and a nested
  // Call on another key runs inside the walk.
  a.Action = [&] { mgr.Free(a.Method()); };
  c.Action = [&] {
    EXPECT_FALSE(mgr.Free(a.Method()));
    mgr.Call(nullptr, kChanged, 2, 0);
  };
  EXPECT_EQ(Calls(mgr, log, {1}), "a:1 c:1 d:2 ");
  ASSERT_EQ(mgr.CallBacks.size(), 2u);
  EXPECT_EQ(mgr.CallBacks.begin()->second, c.Method());

  // A listener deletes the registry: the walk touches nothing after it (ASan
  // would report it).
  auto* owned = new TCallBacksMgr;
  owned->Add(1, a.Method());
  owned->Add(1, b.Method());
  a.Action = [&] { delete owned; };
  EXPECT_EQ(Calls(*owned, log, {1}), "a:1 ");
}

}  // namespace
