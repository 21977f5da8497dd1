#include "TagRing.h"
#include "ResidentMemory.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

namespace qorn::timing {
namespace {

std::vector<TimeTag> tagsFrom(std::int64_t first, std::size_t count) {
    std::vector<TimeTag> tags(count);
    for (std::size_t index = 0; index < count; ++index) {
        const std::int64_t number = first + static_cast<std::int64_t>(index);
        tags[index] = {static_cast<std::uint8_t>(number % 4), number};
    }
    return tags;
}

TEST(TagRing, GivesTagsBackInOrder) {
    TagRing ring;
    ring.push_back(tagsFrom(0, 5));
    ring.push_back(tagsFrom(5, 3));
    EXPECT_EQ(ring.size(), 8U);
    std::vector<TimeTag> out = tagsFrom(100, 2);
    ring.pop_front(out, 6);
    EXPECT_EQ(out, tagsFrom(0, 6));
    ring.pop_front(out, 100);
    EXPECT_EQ(out, tagsFrom(6, 2));
    ring.pop_front(out, 100);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(ring.size(), 0U);
}

TEST(TagRing, AnEmptyRingTakesAndGivesNothing) {
    TagRing ring;
    std::vector<TimeTag> out = tagsFrom(0, 1);
    ring.push_back({});
    ring.drop_front(0);
    ring.clear();
    ring.pop_front(out, 0);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(ring.size(), 0U);
}

TEST(TagRing, DroppingTakesTheOldest) {
    TagRing ring;
    ring.push_back(tagsFrom(0, 5000));
    ring.drop_front(3976);
    EXPECT_EQ(ring.size(), 1024U);
    std::vector<TimeTag> out;
    ring.pop_front(out, 5000);
    EXPECT_EQ(out, tagsFrom(3976, 1024));
}

TEST(TagRing, ClearingForgetsAll) {
    TagRing ring;
    ring.push_back(tagsFrom(0, 10));
    ring.clear();
    EXPECT_EQ(ring.size(), 0U);
    ring.push_back(tagsFrom(20, 3));
    std::vector<TimeTag> out;
    ring.pop_front(out, 10);
    EXPECT_EQ(out, tagsFrom(20, 3));
}

TEST(TagRing, TouchesNoMoreMemoryThanTagsWaitInIt) {
    constexpr std::size_t kRoom = 1U << 24; // 256 MiB
    constexpr std::size_t kPass = 4096;
    // MiB: what a consumer who keeps up may cost, and four times that for the thread sanitizer's own notes.
    constexpr double kMostGrowth = 32.0;
    TagRing ring;
    ring.reserve(kRoom);
    const auto tags = tagsFrom(0, kPass);
    std::vector<TimeTag> out;
    const double before = bench::residentMebibytes();
    for (std::size_t passed = 0; passed < kRoom; passed += kPass) {
        ring.push_back(tags);
        ring.pop_front(out, kPass);
    }
    EXPECT_LT(bench::residentMebibytes() - before, kMostGrowth);
    EXPECT_EQ(out, tags);
}

TEST(TagRing, BehavesAsADequeUnderRandomUse) {
    std::mt19937 random(7);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    TagRing ring;
    std::deque<TimeTag> model;
    std::vector<TimeTag> out;
    std::int64_t next = 0;
    for (int step = 0; step < 20000; ++step) {
        switch (below(4)) {
        case 0:
        case 1: {
            const auto tags = tagsFrom(next, below(below(10) == 0 ? 3000 : 40));
            next += static_cast<std::int64_t>(tags.size());
            ring.push_back(tags);
            model.insert(model.end(), tags.begin(), tags.end());
            break;
        }
        case 2: {
            const std::size_t limit = below(400);
            ring.pop_front(out, limit);
            const std::size_t taken = std::min(limit, model.size());
            const auto end = model.begin() + static_cast<std::ptrdiff_t>(taken);
            ASSERT_EQ(out, std::vector<TimeTag>(model.begin(), end));
            model.erase(model.begin(), end);
            break;
        }
        default: {
            const std::size_t number = below(model.size() + 1) / 4;
            ring.drop_front(number);
            model.erase(model.begin(), model.begin() + static_cast<std::ptrdiff_t>(number));
        }
        }
        ASSERT_EQ(ring.size(), model.size());
    }
    ring.pop_front(out, model.size());
    EXPECT_EQ(out, std::vector<TimeTag>(model.begin(), model.end()));
}

} // namespace
} // namespace qorn::timing
