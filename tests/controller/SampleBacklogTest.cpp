#include "SampleBacklog.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(SampleBacklog, LetsInWhatThereIsRoomForAndCountsTheRest) {
    SampleBacklog backlog(2);
    EXPECT_TRUE(backlog.enter());
    EXPECT_TRUE(backlog.enter());
    EXPECT_EQ(backlog.takeLeftOut(), 0U);
    EXPECT_FALSE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.takeLeftOut(), 2U);
    EXPECT_EQ(backlog.takeLeftOut(), 0U) << "told once";
    backlog.leave();
    EXPECT_TRUE(backlog.enter());
    EXPECT_FALSE(backlog.enter());
    EXPECT_EQ(backlog.takeLeftOut(), 1U);
}

} // namespace
} // namespace qorn::timetagger::gui
