// Eventing of state-variable changes through a recording notifier, with a
// short moderation interval so the tests stay quick.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "eventing.h"

using dmsstack::Eventing;
using dmsstack::NameValueList;
using dmsstack::StateTable;
using Clock = std::chrono::steady_clock;

namespace {

const char* const kCds = "urn:schemas-upnp-org:service:ContentDirectory";

struct Sent {
  Clock::time_point when;
  std::string service;
  NameValueList changes;
};

class Recorder {
 public:
  Eventing::Notifier notifier() {
    return [this](const std::string& service, const NameValueList& changes) {
      std::lock_guard<std::mutex> lock(mutex_);
      sent_.push_back({Clock::now(), service, changes});
      cv_.notify_all();
    };
  }
  std::vector<Sent> waitFor(size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait_for(lock, timeout, [&] { return sent_.size() >= count; });
    return sent_;
  }
  // Waits until `done(sent so far)` holds; what was sent by then.
  template <typename Done>
  std::vector<Sent> waitUntil(Done done, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait_for(lock, timeout, [&] { return done(sent_); });
    return sent_;
  }
  std::vector<Sent> all() {
    std::lock_guard<std::mutex> lock(mutex_);
    return sent_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable cv_;
  std::vector<Sent> sent_;
};

void set(StateTable& table, Eventing& eventing, const std::string& name, const std::string& value) {
  bool evented = false;
  bool moderated = false;
  ASSERT_TRUE(table.set(kCds, name, value, &evented, &moderated));
  if (evented) eventing.changed(kCds, name, moderated);
}

}  // namespace

TEST(Eventing, UnmoderatedChangesGoOutAtOnceInOrder) {
  StateTable table;
  Eventing eventing(table, std::chrono::milliseconds(300));
  Recorder recorder;
  eventing.start(recorder.notifier());
  set(table, eventing, "TransferIDs", "1");
  set(table, eventing, "TransferIDs", "1,2");
  std::vector<Sent> sent = recorder.waitFor(2, std::chrono::milliseconds(1000));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[0].service, kCds);
  EXPECT_EQ(sent[0].changes, (NameValueList{{"TransferIDs", "1"}}));
  EXPECT_EQ(sent[1].changes, (NameValueList{{"TransferIDs", "1,2"}}));
  eventing.stop();
}

TEST(Eventing, QuickModeratedChangesGiveOneLaterEventWithTheLatestValue) {
  StateTable table;
  Eventing eventing(table, std::chrono::milliseconds(300));
  Recorder recorder;
  eventing.start(recorder.notifier());
  const auto began = Clock::now();
  set(table, eventing, "SystemUpdateID", "1");
  set(table, eventing, "SystemUpdateID", "2");
  set(table, eventing, "ContainerUpdateIDs", "0,1");
  set(table, eventing, "SystemUpdateID", "3");
  set(table, eventing, "ContainerUpdateIDs", "0,2");
  // Wait for both latest values, then stop: stop() returns after the last
  // notifier call, so what was sent by then is all that ever will be.
  auto carries = [](const std::vector<Sent>& sent, const std::string& name,
                    const std::string& value) {
    for (const Sent& event : sent)
      for (const auto& change : event.changes)
        if (change.first == name && change.second == value) return true;
    return false;
  };
  recorder.waitUntil(
      [&](const std::vector<Sent>& sent) {
        return carries(sent, "SystemUpdateID", "3") && carries(sent, "ContainerUpdateIDs", "0,2");
      },
      std::chrono::milliseconds(10000));
  eventing.stop();
  std::vector<Sent> sent = recorder.all();
  // Each variable: its first change at once, then one event with its latest
  // value when its interval ends (the two may share one event).
  std::map<std::string, std::vector<std::string>> values;
  std::map<std::string, std::vector<Clock::duration>> times;
  for (const Sent& event : sent) {
    EXPECT_EQ(event.service, kCds);
    for (const auto& change : event.changes) {
      values[change.first].push_back(change.second);
      times[change.first].push_back(event.when - began);
    }
  }
  EXPECT_EQ(values["SystemUpdateID"], (std::vector<std::string>{"1", "3"}));
  EXPECT_EQ(values["ContainerUpdateIDs"], (std::vector<std::string>{"0,1", "0,2"}));
  ASSERT_EQ(times["SystemUpdateID"].size(), 2u);
  ASSERT_EQ(times["ContainerUpdateIDs"].size(), 2u);
  EXPECT_GE(times["SystemUpdateID"][1] - times["SystemUpdateID"][0],
            std::chrono::milliseconds(250));
  EXPECT_GE(times["ContainerUpdateIDs"][1] - times["ContainerUpdateIDs"][0],
            std::chrono::milliseconds(250));
  EXPECT_LE(sent.size(), 4u);
}

TEST(Eventing, NothingIsSentWhileStoppedAndHeldChangesDieWithStop) {
  StateTable table;
  Eventing eventing(table, std::chrono::milliseconds(300));
  Recorder recorder;
  set(table, eventing, "TransferIDs", "early");
  eventing.start(recorder.notifier());
  set(table, eventing, "SystemUpdateID", "1");
  set(table, eventing, "SystemUpdateID", "2");
  // stop() returns after the last notifier call and ends the thread that
  // sends held-back changes: what was sent by then is all that ever will be.
  eventing.stop();
  std::vector<Sent> sent = recorder.all();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].changes, (NameValueList{{"SystemUpdateID", "1"}}));
}

TEST(Eventing, RestartBeginsModerationAfresh) {
  StateTable table;
  Eventing eventing(table, std::chrono::milliseconds(5000));
  Recorder recorder;
  eventing.start(recorder.notifier());
  set(table, eventing, "SystemUpdateID", "1");
  eventing.start(recorder.notifier());
  set(table, eventing, "SystemUpdateID", "2");
  std::vector<Sent> sent = recorder.waitFor(2, std::chrono::milliseconds(1000));
  ASSERT_EQ(sent.size(), 2u);
  EXPECT_EQ(sent[1].changes, (NameValueList{{"SystemUpdateID", "2"}}));
  eventing.stop();
}

TEST(Eventing, ManyThreadsNeverLoseTheLastValue) {
  StateTable table;
  Eventing eventing(table, std::chrono::milliseconds(100));
  Recorder recorder;
  eventing.start(recorder.notifier());
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) set(table, eventing, "TransferIDs", std::to_string(t * 100 + i));
    });
  }
  for (std::thread& writer : writers) writer.join();
  set(table, eventing, "TransferIDs", "last");
  std::vector<Sent> sent = recorder.waitFor(201, std::chrono::milliseconds(3000));
  ASSERT_EQ(sent.size(), 201u);
  EXPECT_EQ(sent.back().changes, (NameValueList{{"TransferIDs", "last"}}));
  eventing.stop();
}
