#include "RecordScan.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <span>
#include <vector>

namespace qorn::timing {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000'000;

std::vector<std::int64_t> times(RecordTimeline line, std::span<const std::int64_t> wrapped) {
    std::vector<std::int64_t> all;
    for (std::uint64_t record = 0; record < wrapped.size(); ++record) {
        all.push_back(record == line.next_place() ? line.at(record, wrapped[record]).time_ps
                                                  : line.axis().unwrap(wrapped[record]));
    }
    return all;
}

// Record 1 steps back; seen from there, record 2 would be more than half a period ahead.
constexpr std::array<std::int64_t, 4> kWrapped{9 * kSecond, 3 * kSecond, 11 * kSecond, 1 * kSecond};
const std::vector<std::int64_t> kTimes{9 * kSecond, 3 * kSecond, 11 * kSecond, kSecond + kCoarseWrapPs};

TEST(RecordTimeline, GivesTimesNearTheLatestOneWithoutPlaces) {
    EXPECT_EQ(times({}, kWrapped), kTimes);
}

TEST(RecordTimeline, GoesOnFromASilenceAlsoWhereItStepsBack) {
    RecordTimeline line;
    line.expect(RecordSilence{1, 2});
    const std::int64_t later = 2 * kCoarseWrapPs;
    EXPECT_EQ(times(line, kWrapped),
              (std::vector<std::int64_t>{9 * kSecond, 3 * kSecond + later, 11 * kSecond + kCoarseWrapPs,
                                         kSecond + later}));
}

TEST(RecordTimeline, ASilenceBeyond64BitsIsAMisfitAndChangesNothing) {
    RecordTimeline line;
    line.expect(RecordSilence{1, std::numeric_limits<std::int64_t>::max() / kCoarseWrapPs + 1});
    EXPECT_EQ(times(line, kWrapped), kTimes);
    line.at(0, kWrapped[0]);
    EXPECT_EQ(line.misfits(), 0U);
    EXPECT_FALSE(line.at(1, kWrapped[1]).moved);
    EXPECT_EQ(line.misfits(), 1U);
    EXPECT_EQ(line.first_misfit(), 1U);
}

TEST(RecordTimeline, ATimeThatIsNotThatOfTheWordIsAMisfitAndChangesNothing) {
    for (const std::int64_t wrong : {std::int64_t{1}, -kSecond, kCoarseWrapPs - 1}) {
        RecordTimeline line;
        line.expect(RecordTime{1, kTimes[1] + wrong});
        EXPECT_EQ(times(line, kWrapped), kTimes);
        line.at(1, kWrapped[1]);
        EXPECT_EQ(line.first_misfit(), 1U);
    }
}

TEST(RecordTimeline, AWordWithoutATimeTakesItsPlaceAlong) {
    RecordTimeline line;
    line.expect(RecordSilence{1, 2});
    line.expect(RecordSilence{2, 3});
    line.at(0, kWrapped[0]);
    line.pass(1);
    EXPECT_EQ(line.next_place(), 2U);
    EXPECT_EQ(line.misfits(), 0U);
}

} // namespace
} // namespace qorn::timing
