#include "TagGate.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace qorn::timetagger::gui {
namespace {

constexpr qint64 kEarliest = std::numeric_limits<qint64>::min();
constexpr qint64 kLatest = std::numeric_limits<qint64>::max();

TagGate gateOf(qint64 length) {
    TagGate gate;
    gate.setLength(length);
    return gate;
}

// The gates that an event ends, with no restart on the way.
qint64 endedBy(TagGate& gate, qint64 timePs) {
    const TagGate::Step step = gate.advanceTo(timePs);
    EXPECT_FALSE(step.restarted) << timePs;
    return step.endedGates;
}

TEST(TagGate, OpensAtTheFirstEvent) {
    TagGate gate = gateOf(100);
    EXPECT_FALSE(gate.isOpen());
    EXPECT_EQ(endedBy(gate, 30), 0);
    EXPECT_TRUE(gate.isOpen());
    EXPECT_EQ(endedBy(gate, 129), 0);
    EXPECT_EQ(endedBy(gate, 130), 1) << "its own begin counts, not a grid";
}

TEST(TagGate, AnEventExactlyOnTheEndBelongsToTheNextGate) {
    TagGate gate = gateOf(100);
    endedBy(gate, 0);
    EXPECT_EQ(endedBy(gate, 99), 0);
    EXPECT_EQ(endedBy(gate, 100), 1);
    EXPECT_EQ(endedBy(gate, 100), 0);
    EXPECT_EQ(endedBy(gate, 199), 0);
    EXPECT_EQ(endedBy(gate, 200), 1);
}

TEST(TagGate, AGapOfThreeAndAHalfGatesEndsThree) {
    TagGate gate = gateOf(100);
    endedBy(gate, 0);
    EXPECT_EQ(endedBy(gate, 350), 3);
    EXPECT_EQ(endedBy(gate, 399), 0);
    EXPECT_EQ(endedBy(gate, 400), 1) << "the gates stay on the clock of the first";
}

TEST(TagGate, TheNextGateBeginsWhereTheOneBeforeEndedNotAtTheEvent) {
    TagGate gate = gateOf(100);
    endedBy(gate, 7);
    EXPECT_EQ(endedBy(gate, 180), 1);
    EXPECT_EQ(endedBy(gate, 206), 0);
    EXPECT_EQ(endedBy(gate, 207), 1);
}

TEST(TagGate, AnOlderEventStaysInTheOpenGate) {
    TagGate gate = gateOf(100);
    endedBy(gate, 1000);
    EXPECT_EQ(endedBy(gate, 999), 0);
    EXPECT_EQ(endedBy(gate, -5'000'000), 0);
    EXPECT_EQ(endedBy(gate, 1099), 0) << "and does not move it";
    EXPECT_EQ(endedBy(gate, 1100), 1);
}

TEST(TagGate, ClosedItOpensAtTheNextEventWhateverItsTime) {
    TagGate gate = gateOf(100);
    for (const qint64 next : {50, 100000, -100000, 60}) {
        endedBy(gate, 10);
        gate.close();
        EXPECT_FALSE(gate.isOpen());
        EXPECT_EQ(endedBy(gate, next), 0) << next;
        EXPECT_TRUE(gate.isOpen());
        EXPECT_EQ(endedBy(gate, next + 99), 0) << next;
        EXPECT_EQ(endedBy(gate, next + 100), 1) << next;
        gate.close();
    }
}

TEST(TagGate, AnotherLengthGivesUpTheOpenGateAndTheSameDoesNot) {
    TagGate gate = gateOf(100);
    endedBy(gate, 0);
    gate.setLength(100);
    EXPECT_TRUE(gate.isOpen());
    EXPECT_EQ(endedBy(gate, 100), 1);
    gate.setLength(30);
    EXPECT_FALSE(gate.isOpen());
    EXPECT_EQ(gate.lengthPs(), 30);
    EXPECT_EQ(endedBy(gate, 1000), 0);
    EXPECT_EQ(endedBy(gate, 1030), 1);
}

TEST(TagGate, ALengthIsAtLeastOnePicosecond) {
    for (const qint64 poor : {qint64{0}, qint64{-1}, kEarliest}) {
        TagGate gate = gateOf(poor);
        EXPECT_EQ(gate.lengthPs(), 1);
        endedBy(gate, 5);
        EXPECT_EQ(endedBy(gate, 9), 4);
    }
}

TEST(TagGate, ASilenceIsARunOfEmptyGatesUpToALimitAndAJumpBeyondIt) {
    constexpr qint64 kLength = 1'000'000'000; // the shortest gate of any tab
    TagGate gate = gateOf(kLength);
    endedBy(gate, 0);
    EXPECT_EQ(endedBy(gate, kLength * TagGate::kMostGatesInARow), TagGate::kMostGatesInARow);
    TagGate other = gateOf(kLength);
    endedBy(other, 0);
    const qint64 jump = kLength * (TagGate::kMostGatesInARow + 1);
    const TagGate::Step step = other.advanceTo(jump + 17);
    EXPECT_TRUE(step.restarted);
    EXPECT_EQ(step.endedGates, 1) << "the gate that was open has ended; the silence is no gates";
    EXPECT_TRUE(other.isOpen());
    EXPECT_EQ(endedBy(other, jump + 16 + kLength), 0) << "the new gate begins at the event";
    EXPECT_EQ(endedBy(other, jump + 17 + kLength), 1);
}

TEST(TagGate, AStepFarBackIsAJumpToo) {
    constexpr qint64 kLength = 1'000'000'000'000;
    TagGate gate = gateOf(kLength);
    endedBy(gate, 0);
    EXPECT_EQ(endedBy(gate, -TagGate::kLongestStepBackPs + 1), 0);
    const qint64 jump = -TagGate::kLongestStepBackPs - 1;
    const TagGate::Step step = gate.advanceTo(jump);
    EXPECT_TRUE(step.restarted);
    EXPECT_EQ(step.endedGates, 0) << "what was counted is in no gate";
    EXPECT_TRUE(gate.isOpen());
    EXPECT_EQ(endedBy(gate, jump + kLength - 1), 0);
    EXPECT_EQ(endedBy(gate, jump + kLength), 1);
}

TEST(TagGate, OffsetsOfASecondEitherWayAreNoJump) {
    constexpr qint64 kSecond = 1'000'000'000'000;
    TagGate gate = gateOf(kSecond / 1000);
    endedBy(gate, 0);
    EXPECT_EQ(endedBy(gate, kSecond), 1000);
    EXPECT_EQ(endedBy(gate, -kSecond), 0);
}

TEST(TagGate, TheEndsOfTheTimeAxisDoNoHarm) {
    for (const qint64 length : {qint64{1}, qint64{1'000'000'000}, kLatest}) {
        TagGate gate = gateOf(length);
        for (const qint64 time : {kLatest, kLatest, kEarliest, kEarliest, qint64{0}, kLatest - 1, kLatest}) {
            const TagGate::Step step = gate.advanceTo(time);
            EXPECT_TRUE(gate.isOpen());
            EXPECT_GE(step.endedGates, 0);
            EXPECT_LE(step.endedGates, TagGate::kMostGatesInARow);
        }
    }
    TagGate atTheEnd = gateOf(1000);
    endedBy(atTheEnd, kLatest);
    EXPECT_EQ(endedBy(atTheEnd, kLatest), 0) << "the gate holds the event at which it began";
}

// Walks gate by gate.
class WalkingGate {
public:
    explicit WalkingGate(qint64 ps) : length(ps) {}
    qint64 advanceTo(qint64 time) {
        if (!open) {
            open = true;
            end = time + length;
        }
        qint64 ended = 0;
        for (; end <= time; end += length) {
            ++ended;
        }
        return ended;
    }

private:
    qint64 length;
    bool open = false;
    qint64 end = 0;
};

TEST(TagGate, AgreesWithAWalkGateByGate) {
    std::mt19937_64 random(7);
    for (const qint64 length : {1, 10, 97, 1000, 5000}) {
        TagGate gate = gateOf(length);
        WalkingGate walking(length);
        qint64 time = -10'000;
        qint64 gates = 0;
        for (int number = 0; number < 20000; ++number) {
            time += static_cast<qint64>(random() % 100);
            if (random() % 10 == 0) {
                time -= static_cast<qint64>(random() % 200);
            } else if (random() % 500 == 0) {
                time += static_cast<qint64>(random() % 50000);
            }
            const qint64 expected = walking.advanceTo(time);
            ASSERT_EQ(endedBy(gate, time), expected) << "event " << number << " of gates of " << length;
            gates += expected;
        }
        EXPECT_GT(gates, 50);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
