#include "SampleBacklog.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(SampleBacklog, LetsInWhatThereIsRoomForAndCountsTheRest) {
    SampleBacklog backlog(2);
    EXPECT_TRUE(backlog.enter());
    EXPECT_TRUE(backlog.enter());
    EXPECT_EQ(backlog.leftOut(), 0U);
    EXPECT_FALSE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.leftOut(), 2U);
    backlog.leave();
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.leftOut(), 3U);
}

} // namespace
} // namespace qorn::timetagger::gui
