// Hand-over of action answers between the GLib thread that delivered an
// action and the thread that answers it.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "action_bridge.h"

using dmsstack::ActionBridge;
using Outcome = ActionBridge::Outcome;

namespace {

struct Opened {
  ActionBridge bridge;
  std::atomic<int> wakes{0};
  Opened() {
    bridge.open([this] { ++wakes; });
  }
};

}  // namespace

TEST(ActionBridge, ClosedBridgeRefusesActions) {
  ActionBridge bridge;
  EXPECT_EQ(bridge.begin(), -1);
  bridge.open(nullptr);
  EXPECT_GT(bridge.begin(), 0);
  bridge.close();
  EXPECT_EQ(bridge.begin(), -1);
}

TEST(ActionBridge, AnswerFinishesTheActionAndWakes) {
  Opened o;
  const int id = o.bridge.begin();
  EXPECT_TRUE(o.bridge.takeFinished().empty());
  EXPECT_EQ(o.bridge.answer(id, "<u:R/>"), 0);
  EXPECT_EQ(o.wakes, 1);
  std::vector<ActionBridge::Finished> done = o.bridge.takeFinished();
  ASSERT_EQ(done.size(), 1u);
  EXPECT_EQ(done[0].id, id);
  EXPECT_EQ(done[0].outcome, Outcome::Answered);
  EXPECT_EQ(done[0].body, "<u:R/>");
  EXPECT_EQ(o.bridge.pending(), 0u);
  EXPECT_TRUE(o.bridge.takeFinished().empty());
}

TEST(ActionBridge, ExpiredActionRefusesALateAnswer) {
  Opened o;
  const int id = o.bridge.begin();
  o.bridge.expire(id);
  EXPECT_EQ(o.bridge.answer(id, "late"), 1);
  std::vector<ActionBridge::Finished> done = o.bridge.takeFinished();
  ASSERT_EQ(done.size(), 1u);
  EXPECT_EQ(done[0].outcome, Outcome::TimedOut);
  EXPECT_EQ(done[0].body, "");
  // Still refused once the loop has taken it.
  EXPECT_EQ(o.bridge.answer(id, "later"), 1);
}

TEST(ActionBridge, AnswerBeforeExpiryWins) {
  Opened o;
  const int id = o.bridge.begin();
  EXPECT_EQ(o.bridge.answer(id, "first"), 0);
  o.bridge.expire(id);
  std::vector<ActionBridge::Finished> done = o.bridge.takeFinished();
  ASSERT_EQ(done.size(), 1u);
  EXPECT_EQ(done[0].outcome, Outcome::Answered);
  EXPECT_EQ(o.wakes, 1);
}

TEST(ActionBridge, SecondAnswerAndUnknownIdsAreRefused) {
  Opened o;
  const int id = o.bridge.begin();
  EXPECT_EQ(o.bridge.answer(id, "one"), 0);
  EXPECT_EQ(o.bridge.answer(id, "two"), 1);
  EXPECT_EQ(o.bridge.answer(id + 1000, "x"), 1);
  EXPECT_EQ(o.bridge.answer(-1, "x"), 1);
  std::vector<ActionBridge::Finished> done = o.bridge.takeFinished();
  ASSERT_EQ(done.size(), 1u);
  EXPECT_EQ(done[0].body, "one");
}

TEST(ActionBridge, CloseCancelsEveryPendingActionInOneWake) {
  Opened o;
  const int a = o.bridge.begin();
  const int b = o.bridge.begin();
  const int c = o.bridge.begin();
  EXPECT_EQ(o.bridge.answer(b, "b"), 0);
  o.bridge.close();
  EXPECT_EQ(o.wakes, 2);
  EXPECT_EQ(o.bridge.answer(a, "too late"), 1);
  std::vector<ActionBridge::Finished> done = o.bridge.takeFinished();
  ASSERT_EQ(done.size(), 3u);
  EXPECT_EQ(done[0].id, b);
  EXPECT_EQ(done[0].outcome, Outcome::Answered);
  std::set<int> cancelled;
  for (size_t i = 1; i < done.size(); ++i) {
    EXPECT_EQ(done[i].outcome, Outcome::Cancelled);
    cancelled.insert(done[i].id);
  }
  EXPECT_EQ(cancelled, (std::set<int>{a, c}));
  EXPECT_EQ(o.bridge.pending(), 0u);
}

TEST(ActionBridge, IdsAreDistinctWhilePending) {
  Opened o;
  std::set<int> ids;
  for (int i = 0; i < 1000; ++i) ids.insert(o.bridge.begin());
  EXPECT_EQ(ids.size(), 1000u);
  EXPECT_EQ(o.bridge.pending(), 1000u);
}

TEST(ActionBridge, ConcurrentAnswersEachFinishTheirOwnAction) {
  Opened o;
  constexpr int kActions = 64;
  std::vector<int> ids;
  for (int i = 0; i < kActions; ++i) ids.push_back(o.bridge.begin());
  std::vector<std::thread> threads;
  for (int i = 0; i < kActions; ++i)
    threads.emplace_back([&, i] { EXPECT_EQ(o.bridge.answer(ids[i], std::to_string(i)), 0); });
  std::vector<ActionBridge::Finished> done;
  while (done.size() < static_cast<size_t>(kActions)) {
    for (ActionBridge::Finished& item : o.bridge.takeFinished()) done.push_back(std::move(item));
    std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();
  for (const ActionBridge::Finished& item : done) {
    size_t index = 0;
    while (ids[index] != item.id) ++index;
    EXPECT_EQ(item.body, std::to_string(index));
  }
  EXPECT_EQ(o.wakes, kActions);
}
