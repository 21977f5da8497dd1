// How a packed channel's time goes on from a given time: steps, syncs, wraps of the counter and the limits of
// what is believed.
#include "PackedSession.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>

namespace qorn {
namespace {

using testing::packedHeader;
using testing::PackedSession;
using testing::sameTags;
using timing::StreamMode;
using timing::TimeTag;
using Tags = std::vector<TimeTag>;

constexpr std::int64_t kWrap = 14315125997568; // of the coarse counter
constexpr std::int64_t kSecond = 1000000000000;
constexpr std::int64_t kPlausible = 10000000000;
constexpr std::int64_t kBackstep = 1000000;
constexpr std::int64_t kFails = INT64_MIN;
constexpr std::int64_t kNear = 20000014336; // before a wrap; above kPlausible and a multiple of every quantum

// Modulus of the 41-bit fields in ps, and the excess of a step over a wrap of the coarse counter.
struct QuantumRule {
    int quantum;
    std::int64_t wrap;
    std::int64_t excess;
};
constexpr QuantumRule kRules[] = {
    {1, 2199023255552, 1078036791296},
    {2, 4398046511104, 3277060046848},
    {4, 8796093022208, 3277060046848},
    {8, 17592186044416, 3277060046848},
    {16, 35184372088832, 20869246091264},
    {64, 140737488355328, 126422362357760},
    {32768, 72057594037927936, 72043278911930368},
};
constexpr QuantumRule kDefault = kRules[3];

// A channel at time `p` whose next record steps by `step`, or, with a sync, says `absolute` and then `step`.
// The time it ends at is given for both modes.
struct Case {
    QuantumRule rule = kDefault;
    std::int64_t p = 0;
    std::int64_t absolute = -1; // without sync
    std::int64_t step = 0;
    std::int64_t internal = 0;
    std::int64_t external = 0;
};

void bringTo(PackedSession& session, std::int64_t p, std::int64_t quantum) {
    const std::int64_t most = kSecond / quantum * quantum;
    const std::int64_t first = std::min(p, most);
    session.lock(static_cast<std::uint64_t>(first / quantum));
    for (std::int64_t time = first; time < p;) {
        const std::int64_t step = std::min(p - time, most);
        session.next().delta(0, static_cast<std::uint64_t>(step / quantum));
        time += step;
    }
    session.send();
}

void check(const Case& test, StreamMode mode) {
    const std::int64_t quantum = test.rule.quantum;
    const std::int64_t expected = mode == StreamMode::Internal ? test.internal : test.external;
    const std::string name = (mode == StreamMode::Internal ? "internal, quantum " : "external, quantum ") +
                             std::to_string(quantum) + ", from " + std::to_string(test.p) + " sync " +
                             std::to_string(test.absolute) + " step " + std::to_string(test.step);
    PackedSession session(packedHeader(mode, 1, 31, static_cast<int>(quantum)));
    bringTo(session, test.p, quantum);
    // Proof of where the channel is.
    session.next().data(0, 0);
    ASSERT_TRUE(sameTags(Tags{{0, test.p}}, session.send())) << name;

    if (test.absolute >= 0)
        session.next().sync(0, static_cast<std::uint64_t>(test.absolute / quantum) & 0x1FFFFFFFFFF);
    session.next().delta(0, static_cast<std::uint64_t>(test.step / quantum));
    const Tags tags = session.send();
    EXPECT_EQ(session.isLocked(), expected != kFails) << name;
    if (expected == kFails) {
        EXPECT_TRUE(tags.empty()) << name;
        return;
    }
    EXPECT_TRUE(sameTags(Tags{{0, expected}}, tags)) << name;
    session.next().data(0, 1);
    EXPECT_TRUE(sameTags(Tags{{0, expected + quantum}}, session.send()))
        << name << ": the time goes on from there";
}

void checkBoth(const Case& test) {
    check(test, StreamMode::Internal);
    check(test, StreamMode::External);
}

TEST(PackedWrap, StepsUpToASecondAreBelievedInBothModesAndMoreOnlyInExternalMode) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t q = rule.quantum;
        const std::int64_t limit = kSecond / q * q;
        checkBoth({.rule = rule, .p = 0, .step = q, .internal = q, .external = q});
        checkBoth({.rule = rule, .p = 0, .step = limit, .internal = limit, .external = limit});
        checkBoth({.rule = rule, .p = 0, .step = limit + q, .internal = kFails, .external = limit + q});
    }
    checkBoth({.p = 0, .step = 3 * kSecond, .internal = kFails, .external = 3 * kSecond});
    checkBoth({.p = 0, .step = 5 * kSecond, .internal = kFails, .external = 5 * kSecond});
}

TEST(PackedWrap, AStepOfNothingRepeatsTheTime) {
    checkBoth({.p = 8000, .step = 0, .internal = 8000, .external = 8000});
}

TEST(PackedWrap, StepsJustBelowTheFieldsModulusAreSmallStepsBack) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t q = rule.quantum;
        const std::int64_t p = 40 * 65536;
        const std::int64_t most = kBackstep / q * q;
        checkBoth({.rule = rule, .p = p, .step = rule.wrap - q, .internal = p - q, .external = p - q});
        checkBoth(
            {.rule = rule, .p = p, .step = rule.wrap - most, .internal = p - most, .external = p - most});
        checkBoth({.rule = rule, .p = p, .step = rule.wrap, .internal = p, .external = p});
        // One more is no step back any longer. Less the excess it is one counter period less the step, and as
        // the channel's time is above the step, that reaches the next period.
        const std::int64_t beyond = rule.wrap - most - q;
        const std::int64_t period = beyond - rule.excess; // what is left without the excess
        const bool corrected = p + period >= kWrap;
        EXPECT_EQ(corrected, q >= 8);
        const std::int64_t time = p + (corrected ? period : beyond);
        checkBoth({.rule = rule, .p = p, .step = beyond, .internal = kFails, .external = time});
    }
}

TEST(PackedWrap, StepsAboveTheFieldsModulusAreNoStepsBack) {
    for (const QuantumRule& rule : {kRules[3], kRules[4]}) {
        const std::int64_t q = rule.quantum;
        // Without the excess this is more than a counter period.
        const std::int64_t time = rule.wrap + q - rule.excess;
        EXPECT_EQ(time, kWrap + q);
        checkBoth({.rule = rule, .p = 0, .step = rule.wrap + q, .internal = kFails, .external = time});
    }
}

TEST(PackedWrap, AStepBackBelowZeroIsAllowedAndCountsAsZeroForTheNextWrap) {
    const QuantumRule& rule = kRules[0];
    const auto below = static_cast<std::uint64_t>(rule.wrap - 8);
    const auto reach = static_cast<std::uint64_t>(rule.excess + kWrap); // a counter period and the excess
    for (const bool reaches : {false, true}) {
        PackedSession session(packedHeader(StreamMode::External, 1, 31, 1));
        session.lock();
        session.next().delta(0, below).delta(0, reaches ? reach : reach - 1);
        EXPECT_TRUE(
            sameTags(Tags{{0, -8}, {0, reaches ? kWrap - 8 : rule.excess + kWrap - 9}}, session.send()));
    }
}

TEST(PackedWrap, StepsUpToTheExcessAreTakenAsTheyStand) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t e = rule.excess;
        checkBoth({.rule = rule, .p = 0, .step = e, .internal = kFails, .external = e});
    }
}

TEST(PackedWrap, StepsALittleAboveTheExcessLoseIt) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t q = rule.quantum;
        const std::int64_t most = kPlausible / q * q;
        checkBoth({.rule = rule, .p = 0, .step = rule.excess + q, .internal = q, .external = q});
        checkBoth({.rule = rule, .p = 0, .step = rule.excess + most, .internal = most, .external = most});
        const std::int64_t more = rule.excess + most + q;
        checkBoth({.rule = rule, .p = 0, .step = more, .internal = kFails, .external = more});
    }
}

TEST(PackedWrap, LongerStepsLoseTheExcessOnlyWhenTheyReachTheCountersEnd) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t q = rule.quantum;
        for (const std::int64_t end : {kWrap, 2 * kWrap}) {
            const std::int64_t p = end - kNear;
            checkBoth({.rule = rule, .p = p, .step = rule.excess + kNear, .internal = end, .external = end});
            checkBoth({.rule = rule,
                       .p = p,
                       .step = rule.excess + kNear + q,
                       .internal = end + q,
                       .external = end + q});
            const std::int64_t less = rule.excess + kNear - q;
            checkBoth({.rule = rule, .p = p, .step = less, .internal = kFails, .external = p + less});
        }
    }
}

TEST(PackedWrap, CorrectedStepsOfMoreThanASecondAreNotBelievedInInternalMode) {
    const std::int64_t e = kDefault.excess;
    const std::int64_t p = kWrap - kSecond;
    checkBoth({.p = p, .step = e + kSecond, .internal = kWrap, .external = kWrap});
    checkBoth({.p = p, .step = e + kSecond + 8, .internal = kFails, .external = kWrap + 8});
}

TEST(PackedWrap, LargestDeltasKeepTo64Bits) {
    // Overflows of 2^80 ps: the sum is taken modulo 2^64, as the reference does.
    PackedSession session(packedHeader(StreamMode::External, 1, 31, 32768));
    session.lock();
    for (int i = 0; i < 8; ++i)
        session.next().overflow(0, session.next().allOnes() - 1);
    session.next().data(0, 5);
    EXPECT_EQ(session.send().size(), 1u);
    session.next().overflow(0, 0x20000).overflow(0, 0x20000).data(0, 5).data(0, 1).data(0, 0);
    EXPECT_EQ(session.send().size(), 3u);
}

// --- syncs -------------------------------------------------------------------------------------------------

TEST(PackedWrap, SyncedTimeIsTheAbsoluteTimeAndTheStep) {
    for (const QuantumRule& rule : kRules) {
        const std::int64_t p = 40 * 65536;
        checkBoth({.rule = rule,
                   .p = p,
                   .absolute = p + 65536,
                   .step = 32768,
                   .internal = p + 98304,
                   .external = p + 98304});
        checkBoth({.rule = rule,
                   .p = p,
                   .absolute = p - 65536,
                   .step = 98304,
                   .internal = p + 32768,
                   .external = p + 32768});
    }
}

TEST(PackedWrap, SyncMustNotRepeatTheTime) {
    const std::int64_t p = 10000000;
    checkBoth({.p = p, .absolute = p, .step = 0, .internal = kFails, .external = kFails});
    checkBoth({.p = p, .absolute = p - 80, .step = 80, .internal = kFails, .external = kFails});
    checkBoth({.p = p, .absolute = p - 80, .step = 88, .internal = p + 8, .external = p + 8});
    checkBoth({.p = p, .absolute = p, .step = 8, .internal = p + 8, .external = p + 8});
}

TEST(PackedWrap, SyncMayStepBackByAMicrosecondInExternalModeOnly) {
    const std::int64_t p = 10000000;
    checkBoth({.p = p, .absolute = p - 8, .step = 0, .internal = kFails, .external = p - 8});
    checkBoth({.p = p, .absolute = p - 2000, .step = 1000, .internal = kFails, .external = p - 1000});
    checkBoth({.p = p, .absolute = p - kBackstep, .step = 0, .internal = kFails, .external = p - kBackstep});
    checkBoth({.p = p, .absolute = p - kBackstep - 8, .step = 0, .internal = kFails, .external = kFails});
}

TEST(PackedWrap, SyncMayGoASecondOnInInternalModeAndAnyTimeInExternalMode) {
    const std::int64_t p = 10000000;
    const std::int64_t e = kDefault.excess;
    checkBoth({.p = p, .absolute = p + kSecond, .step = 0, .internal = p + kSecond, .external = p + kSecond});
    checkBoth({.p = p, .absolute = p, .step = kSecond, .internal = p + kSecond, .external = p + kSecond});
    checkBoth({.p = p, .absolute = p + kSecond, .step = 8, .internal = kFails, .external = p + kSecond + 8});
    checkBoth(
        {.p = p, .absolute = p + 6 * kSecond, .step = 0, .internal = kFails, .external = p + 6 * kSecond});
    // The step behind a sync is taken as it stands, also above the excess.
    checkBoth({.p = p, .absolute = p, .step = e + 8, .internal = kFails, .external = p + e + 8});
}

TEST(PackedWrap, SyncIsTakenInTheCounterPeriodOfTheChannelOrTheNext) {
    const std::int64_t half = kWrap / 2;
    // Half a period below stays below; more is the next period.
    checkBoth({.p = half + 800, .absolute = 800, .step = 0, .internal = kFails, .external = kFails});
    checkBoth({.p = half + 800, .absolute = 792, .step = 0, .internal = kFails, .external = kWrap + 792});
    checkBoth({.p = kWrap - 80, .absolute = 16, .step = 0, .internal = kWrap + 16, .external = kWrap + 16});
    checkBoth(
        {.p = kWrap + 80, .absolute = 160, .step = 0, .internal = kWrap + 160, .external = kWrap + 160});
    checkBoth({.p = 3 * kWrap - 80,
               .absolute = 16,
               .step = 0,
               .internal = 3 * kWrap + 16,
               .external = 3 * kWrap + 16});
    // A time of the period before is taken for one at this period's end.
    checkBoth(
        {.p = kWrap + 16, .absolute = kWrap - 80, .step = 0, .internal = kFails, .external = 2 * kWrap - 80});
}

TEST(PackedWrap, SyncOfAFineQuantumIsTakenModuloItsField) {
    const QuantumRule& rule = kRules[0];
    const std::int64_t turn = rule.wrap;
    const std::int64_t half = turn / 2;
    checkBoth({.rule = rule, .p = half + 500, .absolute = 500, .internal = kFails, .external = kFails});
    checkBoth({.rule = rule, .p = half + 500, .absolute = 499, .internal = kFails, .external = turn + 499});
    checkBoth({.rule = rule, .p = turn - 10, .absolute = 5, .internal = turn + 5, .external = turn + 5});
    checkBoth({.rule = rule,
               .p = 3 * turn + 10,
               .absolute = 50,
               .internal = 3 * turn + 50,
               .external = 3 * turn + 50});
}

TEST(PackedWrap, SyncOfAFineQuantumLosesTheExcessAsAStepDoes) {
    for (const QuantumRule& rule : {kRules[0], kRules[1], kRules[2]}) {
        const std::int64_t q = rule.quantum;
        const std::int64_t e = rule.excess;
        const auto sync = [&rule](std::int64_t p, std::int64_t distance, std::int64_t internal,
                                  std::int64_t external) {
            checkBoth({.rule = rule,
                       .p = p,
                       .absolute = (p + distance) % rule.wrap,
                       .step = 0,
                       .internal = internal,
                       .external = external});
        };
        sync(0, e, kFails, e);
        sync(0, e + q, q, q);
        sync(0, e + kPlausible, kPlausible, kPlausible);
        sync(0, e + kPlausible + q, kFails, e + kPlausible + q);
        // Two picoseconds' field is too short to tell the time behind most of the counter's wraps.
        const std::int64_t end = q == 2 ? 4 * kWrap : kWrap;
        const std::int64_t near = end - kNear;
        sync(near, e + kNear, end, end);
        sync(near, e + kNear + q, end + q, end + q);
        sync(near, e + kNear - q, kFails, near + e + kNear - q);
    }
}

TEST(PackedWrap, SyncOfTheDefaultQuantumKeepsStepsAboveTheExcess) {
    const std::int64_t e = kDefault.excess;
    checkBoth({.p = 0, .absolute = e + 8, .internal = kFails, .external = e + 8});
    checkBoth({.p = 0, .absolute = e + kPlausible, .internal = kFails, .external = e + kPlausible});
}

TEST(PackedWrap, SyncBehindANegativeTimeTakesZeroForReference) {
    for (const StreamMode mode : {StreamMode::Internal, StreamMode::External}) {
        PackedSession session(packedHeader(mode, 1, 31));
        session.lock();
        session.next().delta(0, static_cast<std::uint64_t>(kDefault.wrap / 8 - 1)).sync(0, 0).data(0, 0);
        EXPECT_TRUE(sameTags(Tags{{0, -8}, {0, 0}}, session.send()));
    }
}

TEST(PackedWrap, TimeGoesOnFromASyncThatSteppedBack) {
    PackedSession session(packedHeader(StreamMode::External, 1));
    session.lock(1000);
    session.next().sync(0, 900).data(0, 1).data(0, 2).sync(0, 902).data(0, 0).sync(0, 904).data(0, 0);
    EXPECT_TRUE(sameTags(Tags{{0, 7208}, {0, 7224}, {0, 7216}, {0, 7232}}, session.send()));
}

} // namespace
} // namespace qorn
