// The small parts of the simulated instrument, each by itself.
#include "ByteFaults.h"
#include "CoincidenceUnit.h"
#include "FaultScript.h"
#include "OutputBuffer.h"
#include "Pacer.h"
#include "Random.h"
#include "ReferenceLock.h"
#include "TimeBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>

namespace qorn::simulator::test {

namespace {

using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;
constexpr std::chrono::steady_clock::time_point kStart{std::chrono::hours(100)};

TEST(TimeBase, RoundsTimesUpToWholeCyclesAndBackAgain) {
    EXPECT_EQ(cyclesCovering(0), 0);
    EXPECT_EQ(cyclesCovering(1), 1);
    EXPECT_EQ(cyclesCovering(10000), 3);
    EXPECT_EQ(cyclesCovering(10001), 4);
    EXPECT_EQ(cyclesToPs(3), 10000);
    EXPECT_EQ(cyclesToPs(300'000'000), kPsPerSecond);
    for (std::int64_t cycles = 0; cycles < 1000; ++cycles) {
        ASSERT_EQ(cyclesCovering(cyclesToPs(cycles)), cycles);
    }
    EXPECT_EQ(wrapExcessPs(kAbsoluteFieldSpan), 1078036791296);
    EXPECT_EQ(wrapExcessPs(kCounterWrapPs), 0);
}

TEST(OutputBuffer, HandsBytesOutInOrderAndIsFullAtItsLimit) {
    OutputBuffer buffer(100);
    Bytes expected;
    Bytes got;
    std::uint8_t next = 0;
    for (int round = 0; round < 50; ++round) {
        Bytes piece(30);
        std::generate(piece.begin(), piece.end(), [&] { return next++; });
        buffer.append(piece);
        expected.insert(expected.end(), piece.begin(), piece.end());
        Bytes out(round % 2 == 0 ? 7 : 53);
        out.resize(buffer.take(out));
        got.insert(got.end(), out.begin(), out.end());
        EXPECT_FALSE(buffer.full());
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(buffer.size(), 0u);
    buffer.append(Bytes(99));
    EXPECT_FALSE(buffer.full());
    buffer.append(Bytes(30));
    EXPECT_TRUE(buffer.full());
    EXPECT_EQ(buffer.size(), 129u);
}

Bytes passed(const FaultsSpec& faults, std::size_t count, std::size_t piece) {
    ByteFaults damage(faults, 5);
    Bytes all(count, 0);
    std::iota(all.begin(), all.end(), std::uint8_t{0});
    ByteBuffer out;
    for (std::size_t at = 0; at < count; at += piece) {
        damage.pass(std::span(all).subspan(at, std::min(piece, count - at)), out);
    }
    return {out.bytes().begin(), out.bytes().end()};
}

TEST(ByteFaults, DamageTheSameBytesHoweverTheyAreCut) {
    FaultsSpec faults;
    EXPECT_EQ(passed(faults, 100000, 100000).size(), 100000u);
    faults.lostBytesPerByte = 0.01;
    faults.garbageBytesPerByte = 0.02;
    const Bytes whole = passed(faults, 100000, 100000);
    EXPECT_EQ(passed(faults, 100000, 7), whole);
    EXPECT_NEAR(static_cast<double>(whole.size()), 101000, 300);
    faults.garbageBytesPerByte = 0;
    EXPECT_NEAR(static_cast<double>(passed(faults, 100000, 7).size()), 99000, 200);
    faults.lostBytesPerByte = 0;
    faults.lostBytesAt = {0, 3, 4};
    EXPECT_EQ(passed(faults, 7, 2), (Bytes{1, 2, 5, 6}));
}

TEST(Pacer, FollowsTheWallClockUpToTheEnd) {
    const Pacer pacer(Pace::RealTime, 2, kStart);
    EXPECT_EQ(pacer.reachedPs(kStart), 0);
    EXPECT_EQ(pacer.reachedPs(kStart + milliseconds(1500)), 1500 * kPsPerMillisecond);
    EXPECT_EQ(pacer.reachedPs(kStart + milliseconds(9000)), 2 * kPsPerSecond);
    EXPECT_EQ(pacer.reachedAt(3 * kPsPerMillisecond), kStart + milliseconds(3));
    EXPECT_GT(pacer.reachedAt(3 * kPsPerSecond), kStart + std::chrono::hours(1));
}

TEST(Pacer, SlipsOnlyWhenFarBehind) {
    Pacer pacer(Pace::RealTime, 0, kStart);
    pacer.slip(kStart + milliseconds(4000), 0);
    EXPECT_EQ(pacer.reachedPs(kStart + milliseconds(4000)), 4 * kPsPerSecond);
    pacer.slip(kStart + milliseconds(8000), kPsPerSecond);
    EXPECT_EQ(pacer.reachedPs(kStart + milliseconds(8000)), kPsPerSecond);
}

TEST(Pacer, AllowsEverythingWhenNobodyPaces) {
    EXPECT_EQ(Pacer(Pace::Unpaced, 3, kStart).reachedPs(kStart), 3 * kPsPerSecond);
}

struct ClockRow {
    const char* name;
    ReferenceSpec spec;
    ClockSource chosen;
    int afterMs; // since the choice
    ClockState expected;
};

class ReferenceStates : public testing::TestWithParam<ClockRow> {};

TEST_P(ReferenceStates, FollowTheSignalAndTheChoice) {
    const ClockRow& row = GetParam();
    ReferenceLock clock(row.spec, kStart);
    clock.select(row.chosen, 1, kStart + milliseconds(1000));
    const ClockState state = clock.state(kStart + milliseconds(1000 + row.afterMs));
    EXPECT_EQ(state.requested, row.chosen);
    EXPECT_EQ(state.active, row.expected.active);
    EXPECT_EQ(state.outputSignal, 1);
    EXPECT_EQ(state.present, row.expected.present);
    EXPECT_EQ(state.locked, row.expected.locked);
    EXPECT_EQ(state.fallback, row.expected.fallback);
    EXPECT_EQ(state.lockFault, row.expected.lockFault);
}

constexpr auto kInternal = ClockSource::Internal;
constexpr auto kExternal = ClockSource::External;
constexpr auto kAutomatic = ClockSource::Automatic;

ClockState clockState(ClockSource active, bool present, bool locked, bool fallback, bool lockFault) {
    ClockState state;
    state.active = active;
    state.present = present;
    state.locked = locked;
    state.fallback = fallback;
    state.lockFault = lockFault;
    return state;
}

INSTANTIATE_TEST_SUITE_P(
    Table, ReferenceStates,
    testing::Values(
        ClockRow{"Internal", {}, kInternal, 5000, clockState(kInternal, true, false, false, false)},
        ClockRow{"ExternalLocking", {}, kExternal, 399, clockState(kInternal, true, false, false, true)},
        ClockRow{"ExternalLocked", {}, kExternal, 400, clockState(kExternal, true, true, false, false)},
        ClockRow{"ExternalWithoutSignal",
                 {.present = false},
                 kExternal,
                 5000,
                 clockState(kInternal, false, false, true, true)},
        ClockRow{"ExternalThatNothingLocksTo",
                 {.lockFault = true},
                 kExternal,
                 5000,
                 clockState(kInternal, true, false, true, true)},
        ClockRow{"AutomaticLocked", {}, kAutomatic, 400, clockState(kExternal, true, true, false, false)},
        ClockRow{"AutomaticWithoutSignal",
                 {.present = false},
                 kAutomatic,
                 5000,
                 clockState(kInternal, false, false, false, false)},
        ClockRow{"AutomaticThatNothingLocksTo",
                 {.lockFault = true},
                 kAutomatic,
                 5000,
                 clockState(kInternal, true, false, false, true)},
        ClockRow{"ExternalLost",
                 {.lostAfterS = 3},
                 kExternal,
                 2000,
                 clockState(kInternal, false, false, true, true)},
        ClockRow{"ExternalBackAndLocking",
                 {.lostAfterS = 3, .backAfterS = 2},
                 kExternal,
                 4399,
                 clockState(kInternal, true, false, false, true)},
        ClockRow{"ExternalBackAndLocked",
                 {.lostAfterS = 3, .backAfterS = 2},
                 kExternal,
                 4400,
                 clockState(kExternal, true, true, false, false)}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReferenceLock, IsNotLostByChoosingTheSameSourceAgain) {
    ReferenceLock clock({}, kStart);
    clock.select(kExternal, 0, kStart);
    clock.select(kExternal, 1, kStart + milliseconds(1000));
    EXPECT_TRUE(clock.state(kStart + milliseconds(1000)).locked);
    clock.select(kInternal, 1, kStart + milliseconds(1000));
    clock.select(kExternal, 1, kStart + milliseconds(1000));
    EXPECT_FALSE(clock.state(kStart + milliseconds(1000)).locked);
}

TEST(FaultScript, CountsTheUsesOfACall) {
    FaultsSpec faults;
    faults.calls = {{"tt_set_dac_codes", 2, 2, -7, 0}, {"tt_identify", 1, 0, 0, 0.25}, {"*", 6, 1, -1, 0}};
    FaultScript script(faults);
    const auto status = [&](const char* call) { return script.onCall(call, kStart).status; };
    EXPECT_EQ(status("tt_set_dac_codes"), 0);
    EXPECT_EQ(status("tt_set_dac_codes"), -7);
    EXPECT_EQ(status("tt_set_dac_codes"), -7);
    EXPECT_EQ(status("tt_set_dac_codes"), 0);
    EXPECT_EQ(script.onCall("tt_identify", kStart).delay, milliseconds(250));
    EXPECT_EQ(status("tt_identify"), -1) << "the sixth call of all";
    EXPECT_EQ(status("tt_identify"), 0);
}

TEST(FaultScript, UnplugsOnceAndBreaksTheHandlesFromBefore) {
    FaultsSpec faults;
    faults.unplugAfterS = 2;
    faults.replugAfterS = 3;
    FaultScript script(faults);
    const auto at = [](int seconds) { return kStart + std::chrono::seconds(seconds); };
    EXPECT_TRUE(script.plugged(at(100))) << "never opened";
    script.onOpened(at(0));
    script.onOpened(at(1));
    EXPECT_TRUE(script.plugged(at(1)));
    EXPECT_TRUE(script.pluggedSince(at(0), at(1)));
    EXPECT_FALSE(script.plugged(at(2)));
    EXPECT_FALSE(script.pluggedSince(at(0), at(2)));
    EXPECT_TRUE(script.plugged(at(5)));
    EXPECT_FALSE(script.pluggedSince(at(0), at(5)));
    EXPECT_TRUE(script.pluggedSince(at(5), at(60)));
}

TEST(FaultScript, UnplugsAtARead) {
    FaultsSpec faults;
    faults.unplugAtRead = 3;
    FaultScript script(faults);
    for (int i = 0; i < 2; ++i) {
        script.onCall("tt_read_stream_bytes", kStart);
    }
    EXPECT_TRUE(script.plugged(kStart));
    script.onCall("tt_read_stream_bytes", kStart);
    EXPECT_FALSE(script.plugged(kStart + std::chrono::hours(1)));
}

std::size_t pairIndexOf(std::size_t a, std::size_t b) {
    constexpr std::size_t kFirst[] = {0, 3, 5};
    return kFirst[std::min(a, b)] + std::max(a, b) - std::min(a, b) - 1;
}

// Each event is compared with the latest one of each other input, looked up anew.
CoincidenceCounts slowCoincidences(const std::vector<Tag>& events, std::uint8_t mask, std::int64_t windowPs) {
    CoincidenceCounts counts;
    for (std::size_t i = 0; i < events.size(); ++i) {
        ++counts.singles[events[i].input];
        if ((mask >> events[i].input & 1) == 0) {
            continue;
        }
        std::vector<Tag> partners;
        for (std::uint8_t input = 0; input < kInputs; ++input) {
            for (std::size_t k = i; input != events[i].input && (mask >> input & 1) != 0 && k-- > 0;) {
                if (events[k].input == input) {
                    if (events[i].timePs - events[k].timePs <= windowPs) {
                        partners.push_back(events[k]);
                    }
                    break;
                }
            }
        }
        const auto together = [&](const Tag& a, const Tag& b) {
            return std::abs(a.timePs - b.timePs) <= windowPs;
        };
        for (std::size_t a = 0; a < partners.size(); ++a) {
            ++counts.pairs[pairIndexOf(events[i].input, partners[a].input)];
            for (std::size_t b = a + 1; b < partners.size(); ++b) {
                const int missing = 6 - events[i].input - partners[a].input - partners[b].input;
                counts.triples[static_cast<std::size_t>(3 - missing)] +=
                    together(partners[a], partners[b]) ? 1 : 0;
            }
        }
        counts.quadruple += partners.size() == 3 && together(partners[0], partners[1]) &&
                                    together(partners[0], partners[2]) && together(partners[1], partners[2])
                                ? 1
                                : 0;
    }
    return counts;
}

TEST(CoincidenceUnit, CountsWhatALookAtAllEventsFinds) {
    Random random(11);
    std::vector<Tag> events;
    std::int64_t time = 0;
    for (int i = 0; i < 20000; ++i) {
        time += static_cast<std::int64_t>(random.exponential(4000));
        events.push_back({time, static_cast<std::uint8_t>(random.bits() >> 62)});
    }
    for (const std::uint8_t mask : std::array<std::uint8_t, 3>{15, 7, 12}) {
        for (const std::uint32_t cycles : {1u, 3u, 30u}) {
            CoincidenceUnit unit(mask, cycles);
            unit.add(std::span(events).first(7000));
            unit.add(std::span(events).subspan(7000));
            const CoincidenceCounts expected = slowCoincidences(events, mask, cyclesToPs(cycles));
            EXPECT_EQ(unit.result().singles, expected.singles);
            EXPECT_EQ(unit.result().pairs, expected.pairs);
            EXPECT_EQ(unit.result().triples, expected.triples);
            EXPECT_EQ(unit.result().quadruple, expected.quadruple);
            EXPECT_EQ(expected.quadruple > 0, mask == 15);
        }
    }
}

} // namespace

} // namespace qorn::simulator::test
