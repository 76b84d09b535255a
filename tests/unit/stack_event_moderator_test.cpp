// Moderation of evented variables, driven by an explicit clock.
#include <gtest/gtest.h>

#include "event_moderator.h"

using dmsstack::EventModerator;
using std::chrono::milliseconds;

namespace {

EventModerator::TimePoint at(int ms) { return EventModerator::TimePoint(milliseconds(ms)); }

}  // namespace

TEST(EventModerator, FirstChangeGoesOutAtOnce) {
  EventModerator moderator(milliseconds(2000));
  EXPECT_TRUE(moderator.changed("SystemUpdateID", at(1000)));
  EXPECT_FALSE(moderator.nextDue());
}

TEST(EventModerator, ChangesInsideTheIntervalAreHeldAndSentOnceAtItsEnd) {
  EventModerator moderator(milliseconds(2000));
  ASSERT_TRUE(moderator.changed("SystemUpdateID", at(1000)));
  EXPECT_FALSE(moderator.changed("SystemUpdateID", at(1200)));
  EXPECT_FALSE(moderator.changed("SystemUpdateID", at(1500)));
  EXPECT_FALSE(moderator.changed("SystemUpdateID", at(2999)));
  ASSERT_TRUE(moderator.nextDue());
  EXPECT_EQ(*moderator.nextDue(), at(3000));
  EXPECT_TRUE(moderator.takeDue(at(2999)).empty());
  EXPECT_EQ(moderator.takeDue(at(3000)), std::vector<std::string>{"SystemUpdateID"});
  EXPECT_TRUE(moderator.takeDue(at(3500)).empty());
  EXPECT_FALSE(moderator.nextDue());
}

TEST(EventModerator, IntervalCountsFromTheLastEventSent) {
  EventModerator moderator(milliseconds(2000));
  ASSERT_TRUE(moderator.changed("v", at(0)));
  EXPECT_FALSE(moderator.changed("v", at(100)));
  ASSERT_EQ(moderator.takeDue(at(2050)).size(), 1u);
  // Sent at 2050: the next change at 3000 waits until 4050.
  EXPECT_FALSE(moderator.changed("v", at(3000)));
  EXPECT_EQ(*moderator.nextDue(), at(4050));
  EXPECT_TRUE(moderator.changed("w", at(3000)));
  EXPECT_TRUE(moderator.changed("v", at(4050)) == false);
  EXPECT_EQ(moderator.takeDue(at(4050)), std::vector<std::string>{"v"});
  EXPECT_TRUE(moderator.changed("v", at(6050)));
}

TEST(EventModerator, VariablesAreModeratedEachOnItsOwn) {
  EventModerator moderator(milliseconds(2000));
  EXPECT_TRUE(moderator.changed("SystemUpdateID", at(0)));
  EXPECT_TRUE(moderator.changed("ContainerUpdateIDs", at(500)));
  EXPECT_FALSE(moderator.changed("SystemUpdateID", at(600)));
  EXPECT_FALSE(moderator.changed("ContainerUpdateIDs", at(700)));
  EXPECT_EQ(*moderator.nextDue(), at(2000));
  EXPECT_EQ(moderator.takeDue(at(2000)), std::vector<std::string>{"SystemUpdateID"});
  EXPECT_EQ(*moderator.nextDue(), at(2500));
  EXPECT_EQ(moderator.takeDue(at(2600)), std::vector<std::string>{"ContainerUpdateIDs"});
}

TEST(EventModerator, ClearForgetsHistory) {
  EventModerator moderator(milliseconds(2000));
  moderator.changed("v", at(0));
  moderator.changed("v", at(10));
  moderator.clear();
  EXPECT_FALSE(moderator.nextDue());
  EXPECT_TRUE(moderator.changed("v", at(20)));
}
