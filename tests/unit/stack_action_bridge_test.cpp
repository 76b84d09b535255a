// Hand-over of action answers between a waiting libupnp thread and the
// thread that answers.
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

#include "action_bridge.h"

using dmsstack::ActionBridge;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

TEST(ActionBridge, ClosedBridgeRefusesActions) {
  ActionBridge bridge;
  EXPECT_EQ(bridge.begin(), -1);
  bridge.open();
  EXPECT_GT(bridge.begin(), 0);
  bridge.close();
  EXPECT_EQ(bridge.begin(), -1);
}

TEST(ActionBridge, AnswerGivenBeforeWaitingIsKept) {
  ActionBridge bridge;
  bridge.open();
  int id = bridge.begin();
  ASSERT_EQ(bridge.answer(id, "<u:R/>"), 0);
  std::string body;
  EXPECT_EQ(bridge.wait(id, milliseconds(0), &body), ActionBridge::Outcome::Answered);
  EXPECT_EQ(body, "<u:R/>");
  EXPECT_EQ(bridge.pending(), 0u);
}

TEST(ActionBridge, AnswerFromAnotherThreadWakesTheWaiter) {
  ActionBridge bridge;
  bridge.open();
  int id = bridge.begin();
  std::thread answering([&] {
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(bridge.answer(id, "late but in time"), 0);
  });
  std::string body;
  auto began = Clock::now();
  EXPECT_EQ(bridge.wait(id, milliseconds(5000), &body), ActionBridge::Outcome::Answered);
  EXPECT_LT(Clock::now() - began, milliseconds(4000));
  EXPECT_EQ(body, "late but in time");
  answering.join();
}

TEST(ActionBridge, UnansweredActionTimesOutAndRefusesALateAnswer) {
  ActionBridge bridge;
  bridge.open();
  int id = bridge.begin();
  std::string body = "untouched";
  auto began = Clock::now();
  EXPECT_EQ(bridge.wait(id, milliseconds(100), &body), ActionBridge::Outcome::TimedOut);
  EXPECT_GE(Clock::now() - began, milliseconds(100));
  EXPECT_EQ(body, "untouched");
  EXPECT_EQ(bridge.answer(id, "too late"), 1);
  EXPECT_EQ(bridge.pending(), 0u);
}

TEST(ActionBridge, SecondAnswerAndUnknownIdsAreRefused) {
  ActionBridge bridge;
  bridge.open();
  int id = bridge.begin();
  EXPECT_EQ(bridge.answer(id, "first"), 0);
  EXPECT_EQ(bridge.answer(id, "second"), 1);
  EXPECT_EQ(bridge.answer(id + 1, "x"), 1);
  EXPECT_EQ(bridge.answer(-1, "x"), 1);
  std::string body;
  EXPECT_EQ(bridge.wait(id, milliseconds(0), &body), ActionBridge::Outcome::Answered);
  EXPECT_EQ(body, "first");
}

TEST(ActionBridge, CloseWakesEveryWaiterAtOnce) {
  ActionBridge bridge;
  bridge.open();
  std::vector<std::thread> waiters;
  std::vector<ActionBridge::Outcome> outcomes(4, ActionBridge::Outcome::Answered);
  for (int i = 0; i < 4; ++i) {
    int id = bridge.begin();
    waiters.emplace_back([&, id, i] {
      std::string body;
      outcomes[i] = bridge.wait(id, milliseconds(30000), &body);
    });
  }
  while (bridge.pending() != 4) std::this_thread::sleep_for(milliseconds(1));
  std::this_thread::sleep_for(milliseconds(20));
  auto began = Clock::now();
  bridge.close();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_LT(Clock::now() - began, milliseconds(5000));
  for (ActionBridge::Outcome outcome : outcomes)
    EXPECT_EQ(outcome, ActionBridge::Outcome::Cancelled);
  EXPECT_EQ(bridge.pending(), 0u);
}

TEST(ActionBridge, IdsAreDistinctWhileWaiting) {
  ActionBridge bridge;
  bridge.open();
  std::set<int> ids;
  for (int i = 0; i < 100; ++i) ids.insert(bridge.begin());
  EXPECT_EQ(ids.size(), 100u);
  EXPECT_EQ(bridge.pending(), 100u);
}

TEST(ActionBridge, ConcurrentActionsGetTheirOwnAnswers) {
  ActionBridge bridge;
  bridge.open();
  std::vector<std::thread> threads;
  std::vector<std::string> bodies(16);
  for (int i = 0; i < 16; ++i) {
    threads.emplace_back([&, i] {
      int id = bridge.begin();
      std::thread answering([&bridge, id] { bridge.answer(id, "answer " + std::to_string(id)); });
      std::string body;
      EXPECT_EQ(bridge.wait(id, milliseconds(5000), &body), ActionBridge::Outcome::Answered);
      EXPECT_EQ(body, "answer " + std::to_string(id));
      answering.join();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(bridge.pending(), 0u);
}
