#include "SampleBacklog.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(SampleBacklog, LetsInWhatThereIsRoomFor) {
    SampleBacklog backlog(2);
    EXPECT_TRUE(backlog.enter());
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    backlog.leave();
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
}

TEST(SampleBacklog, TellsOfTheFirstGapAndOfAllAtTheEnd) {
    SampleBacklog backlog(1);
    EXPECT_EQ(backlog.leftOutToTell(false), 0U);
    EXPECT_EQ(backlog.leftOutToTell(true), 0U);
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.leftOutToTell(false), 2U);
    for (int gap = 0; gap < 3; ++gap) {
        EXPECT_FALSE(backlog.enter());
        EXPECT_EQ(backlog.leftOutToTell(false), 0U) << "boxes would come as fast as samples";
    }
    EXPECT_EQ(backlog.leftOutToTell(true), 5U);
    EXPECT_EQ(backlog.leftOutToTell(true), 0U);
}

TEST(SampleBacklog, TellsAtTheEndOfAGapThatNoSampleFollowed) {
    SampleBacklog backlog(1);
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.leftOutToTell(true), 1U);
}

} // namespace
} // namespace qorn::timetagger::gui
