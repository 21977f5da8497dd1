#include "Instrument.h"

#include "DeviceError.h"
#include "SceneRun.h"
#include "SlowReader.h"
#include "TimeBase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <thread>

namespace qorn::simulator::test {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNoWait{0};
constexpr milliseconds kGenerous{20000};
const Instrument::StillThere kThere = [] {};

Instrument unpaced(const std::string& sources, double durationS = 5, const std::string& more = "") {
    const Scene scene = unpacedScene(sources, durationS, more);
    return Instrument(scene.units.front(), scene);
}

Counts frameOf(Instrument& instrument) {
    const auto frame = instrument.readFrame(kNoWait, kThere);
    EXPECT_TRUE(frame.has_value());
    return frame.value_or(Instrument::Frame{}).counts;
}

TEST(CountStream, CountsEachInputsPulsesInFramesOfThePeriod) {
    Instrument instrument = unpaced(
        R"({"kind": "periodic", "input": 2, "frequency_hz": 1e6, "phase_ps": 1000},)" + poisson(4, 1e5));
    EXPECT_EQ(instrument.setPeriodCycles(0), 1u);
    EXPECT_EQ(instrument.setPeriodCycles(30'000'000), 30'000'000u);
    instrument.startCounting();
    for (int i = 0; i < 5; ++i) {
        const auto frame = instrument.readFrame(kNoWait, kThere);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->periodCycles, 30'000'000u);
        EXPECT_EQ(frame->counts[0], 0u);
        EXPECT_EQ(frame->counts[1], 100'000u);
        EXPECT_NEAR(frame->counts[3], 10'000, 500);
    }
    instrument.stopCounting();
    EXPECT_EQ(refusedWith([&] { instrument.readFrame(kNoWait, kThere); }), TT_FAILED);
}

TEST(CountStream, CountsWhatATagStreamOfTheSameSceneHolds) {
    const std::string sources = poisson(1, 3e5) + "," + poisson(3, 2e4);
    Instrument counter = unpaced(sources);
    counter.setPeriodCycles(30'000'000);
    counter.startCounting();
    const Counts counts = frameOf(counter);
    const StreamResult stream = runStream(sources, 0.1, {.format = StreamFormat::Raw64});
    for (const int input : {0, 2}) {
        const auto tags = std::count_if(stream.truth.begin(), stream.truth.end(),
                                        [&](const Tag& tag) { return tag.input == input; });
        EXPECT_NEAR(counts[static_cast<std::size_t>(input)], static_cast<double>(tags), 1);
    }
}

TEST(CountStream, EndsWithATimeOutBehindTheScenesDuration) {
    Instrument instrument = unpaced(poisson(1, 1e4), 0.25);
    instrument.setPeriodCycles(30'000'000);
    instrument.startCounting();
    EXPECT_TRUE(instrument.readFrame(kNoWait, kThere));
    EXPECT_TRUE(instrument.readFrame(kNoWait, kThere));
    EXPECT_FALSE(instrument.readFrame(milliseconds(5), kThere));
}

TEST(CountStream, HasFramesAsShortAsACycle) {
    Instrument instrument =
        unpaced(R"({"kind": "periodic", "input": 1, "frequency_hz": 1e8, "phase_ps": 1000})");
    instrument.setPeriodCycles(1);
    instrument.startCounting();
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(frameOf(instrument)[0], i % 3 == 0 ? 1u : 0u) << i;
    }
}

TEST(CountStream, LosesTheOldestFramesWhenNobodyReads) {
    const Scene scene = [] {
        Scene made = unpacedScene(poisson(1, 1000), 0);
        made.pace = Pace::RealTime;
        return made;
    }();
    Instrument instrument(scene.units.front(), scene);
    instrument.setPeriodCycles(300'000); // 1 ms
    instrument.startCounting();
    std::this_thread::sleep_for(milliseconds(300));
    // of some 300 frames 64 are held: after them a read has to wait for a new one
    int held = 0;
    while (instrument.readFrame(kNoWait, kThere)) {
        ++held;
    }
    EXPECT_GE(held, 64);
    EXPECT_LT(held, 250);
    EXPECT_TRUE(instrument.readFrame(kGenerous, kThere));
}

TEST(Inputs, AreSilencedByAThresholdAboveTheirSource) {
    Instrument instrument = unpaced(poisson(1, 1e5) + R"(,{"kind": "poisson", "input": 2, "rate_hz": 1e5,
                                                           "amplitude_v": 2})");
    instrument.setPeriodCycles(30'000'000);
    setThresholds(instrument, 0.35);
    instrument.startCounting();
    Counts counts = frameOf(instrument);
    EXPECT_GT(counts[0], 9000u);
    EXPECT_GT(counts[1], 9000u);
    setThresholds(instrument, 1.5);
    counts = frameOf(instrument);
    EXPECT_EQ(counts[0], 0u);
    EXPECT_GT(counts[1], 9000u);
}

TEST(Inputs, ReportTheDeadTimesThatTheyApply) {
    Instrument instrument = unpaced(R"({"kind": "periodic", "input": 1, "frequency_hz": 1e6})");
    const auto applied = instrument.setDeadTimes(std::array<std::int64_t, 4>{0, 1, 10000, 1'500'000});
    EXPECT_EQ(applied, (std::array<std::int64_t, 4>{0, 3333, 10000, 1'500'000}));
    EXPECT_EQ(instrument.setDeadTimes(applied), applied);
    instrument.setDeadTimes(std::array<std::int64_t, 4>{1'500'001, 0, 0, 0});
    instrument.setPeriodCycles(30'000'000);
    instrument.startCounting();
    EXPECT_EQ(frameOf(instrument)[0], 50'000u);
    EXPECT_EQ(refusedWith([&] {
                  instrument.setDeadTimes(std::array<std::int64_t, 4>{0, -1, 0, 0});
              }),
              TT_REJECTED);
}

TEST(Generator, FeedsTheCountersWhileTheTestSignalIsArmed) {
    Instrument instrument = unpaced(poisson(1, 1e3));
    EXPECT_NEAR(instrument.setTestSignal(true, 100000), 99929.9, 0.1);
    instrument.setPeriodCycles(300'000'000);
    instrument.startCounting();
    for (const std::uint32_t count : frameOf(instrument)) {
        EXPECT_NEAR(count, 99930, 1);
    }
    instrument.stopCounting();
    instrument.setTestSignal(false, 1);
    instrument.startCounting();
    EXPECT_NEAR(frameOf(instrument)[0], 1000, 150);
    for (const double bad : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(refusedWith([&] { instrument.setGeneratorFrequency(bad); }), TT_REJECTED);
        EXPECT_EQ(refusedWith([&] { instrument.setTestSignal(true, bad); }), TT_REJECTED);
    }
}

TEST(Coincidences, AreThePairsOfTheSceneInTheWindowAroundTheOffset) {
    Instrument instrument =
        unpaced(R"({"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": 100000,
                                        "sigma_ps": 100}, )" +
                poisson(3, 5000));
    instrument.setPeriodCycles(300'000'000);
    EXPECT_EQ(instrument.setWindowCycles(3), 3u);
    auto gate = instrument.runCoincidence(kNoWait, kThere);
    ASSERT_TRUE(gate);
    EXPECT_EQ(gate->periodCycles, 300'000'000u);
    EXPECT_EQ(gate->windowCycles, 3u);
    EXPECT_NEAR(static_cast<double>(gate->counts.singles[0]), 20000, 600);
    EXPECT_NEAR(static_cast<double>(gate->counts.singles[2]), 5000, 300);
    EXPECT_LT(gate->counts.pairs[0], 30u) << "the pairs lie 100 ns apart";
    instrument.setCoincidenceOffset(0, 100000);
    gate = instrument.runCoincidence(kNoWait, kThere);
    ASSERT_TRUE(gate);
    EXPECT_NEAR(static_cast<double>(gate->counts.pairs[0]), static_cast<double>(gate->counts.singles[0]), 30);
    instrument.setCoincidenceMask(0b1110);
    gate = instrument.runCoincidence(kNoWait, kThere);
    ASSERT_TRUE(gate);
    EXPECT_EQ(gate->counts.pairs[0], 0u);
    EXPECT_GT(gate->counts.singles[0], 10000u);
    EXPECT_EQ(refusedWith([&] { instrument.setCoincidenceOffset(4, 0); }), TT_REJECTED);
}

TEST(Coincidences, TimeOutWhenTheGateIsLongerThanTheWait) {
    Scene scene = unpacedScene(poisson(1, 1000), 0);
    scene.pace = Pace::RealTime;
    Instrument instrument(scene.units.front(), scene);
    instrument.setPeriodCycles(std::numeric_limits<std::uint32_t>::max());
    EXPECT_FALSE(instrument.runCoincidence(milliseconds(20), kThere));
    instrument.setPeriodCycles(3'000'000);
    EXPECT_TRUE(instrument.runCoincidence(kGenerous, kThere));
}

TEST(TagStream, IsTheSameEachTimeAndHoweverItIsRead) {
    const std::string sources = poisson(1, 2e5) + "," + poisson(2, 1e5);
    const StreamResult first = runStream(sources, 0.2, {});
    const StreamResult again = runStream(sources, 0.2, {.readBytes = 777});
    EXPECT_EQ(first.bytes, again.bytes);
    const StreamResult other = runStream(sources, 0.2, {}, R"("seed": 99)");
    EXPECT_NE(first.bytes, other.bytes);
}

TEST(TagStream, IsTheSameInRealTime) {
    const std::string sources = poisson(1, 2e5) + "," + poisson(2, 1e5);
    const StreamResult reference = runStream(sources, 0.1, {});
    Scene scene = unpacedScene(sources, 0.1);
    scene.pace = Pace::RealTime;
    Instrument instrument(scene.units.front(), scene);
    startStream(instrument, {});
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> piece(4096);
    while (bytes.size() < reference.bytes.size()) {
        const std::size_t count = instrument.readStream(piece, kGenerous, kThere);
        ASSERT_GT(count, 0u);
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_EQ(bytes, reference.bytes);
    EXPECT_EQ(instrument.readStream(piece, milliseconds(1), kThere), 0u);
}

TEST(TagStream, GoesOnInTheSceneWhereTheLastOneEnded) {
    const std::string sources = poisson(1, 1e5);
    Instrument instrument = unpaced(sources, 0.05);
    const StreamSetup setup{.format = StreamFormat::Raw64};
    const std::vector<Tag> first = readRaw64Ps(readAll(instrument, setup));
    const std::vector<Tag> second = readRaw64Ps(readAll(instrument, setup));
    EXPECT_NE(first.front().timePs, second.front().timePs);
    EXPECT_LT(second.front().timePs, kPsPerMillisecond) << "but its time begins anew";
}

TEST(TagStream, LosesTagsThatNobodyReadsInTime) {
    Scene scene = unpacedScene(poisson(1, 2e4) + "," + poisson(2, 2e4), 0, R"("buffer_bytes": 4000)");
    scene.pace = Pace::RealTime;
    Instrument instrument(scene.units.front(), scene);
    startStream(instrument, {.format = StreamFormat::Raw64});
    std::this_thread::sleep_for(milliseconds(200));
    std::vector<std::uint8_t> bytes(1 << 20);
    const std::size_t count = instrument.readStream(bytes, kGenerous, kThere);
    EXPECT_GE(count, 4000u);
    EXPECT_LT(count, 4000u + 256 * 8);
    EXPECT_GT(instrument.lostTags(), 5000u);
    // what comes next is whole and of now
    const std::size_t more = instrument.readStream(bytes, kGenerous, kThere);
    bytes.resize(more);
    const std::vector<Tag> tags = readRaw64Ps(bytes);
    ASSERT_FALSE(tags.empty());
    EXPECT_GT(tags.front().timePs, 150 * kPsPerMillisecond);
}

TEST(TagStream, RepeatsAPreparedBlockWithoutASeam) {
    const std::string sources = poisson(1, 2e6) + "," + poisson(2, 1e6) + "," + poisson(3, 1e6);
    const Scene scene = unpacedScene(sources, 0.05, R"("repeat_block_ms": 4)");
    Instrument instrument(scene.units.front(), scene);
    constexpr std::int64_t kDeadPs = 400000;
    instrument.setDeadTimes(std::array<std::int64_t, 4>{kDeadPs, 0, 0, 0});
    const std::vector<Tag> tags = readPacked(readAll(instrument, {}), 16, 8);
    std::array<std::vector<std::int64_t>, kInputs> times;
    for (const Tag& tag : tags) {
        times[tag.input].push_back(tag.timePs);
    }
    for (std::size_t input = 0; input < 3; ++input) {
        const std::vector<std::int64_t>& own = times[input];
        for (std::size_t i = 1; i < own.size(); ++i) {
            // dead time counts between pulses; their timing adds some ten ps
            ASSERT_GE(own[i] - own[i - 1], input == 0 ? kDeadPs - 500 : 0);
        }
        EXPECT_NEAR(static_cast<double>(own.size()), input == 0 ? 0.05 / (0.5e-6 + 0.4e-6) : 50000, 3000);
    }
    const auto block =
        std::find_if(times[1].begin(), times[1].end(), [](std::int64_t t) { return t >= 8'000'000'000; });
    const auto next =
        std::find_if(times[1].begin(), times[1].end(), [](std::int64_t t) { return t >= 12'000'000'000; });
    for (int i = 100; i < 2000; ++i) {
        ASSERT_EQ(*(next + i) - *(block + i), 4'000'000'000) << i;
    }
}

TEST(TagStream, HoldsOnlyTheInputsOfItsMask) {
    const StreamResult result = runStream(poisson(1, 1e5) + "," + poisson(2, 1e5) + "," + poisson(4, 1e5),
                                          0.1, {.format = StreamFormat::Raw64, .mask = 0b1010});
    std::set<int> inputs;
    for (const Tag& tag : result.truth) {
        inputs.insert(tag.input);
    }
    EXPECT_EQ(inputs, (std::set<int>{1, 3}));
}

TEST(TagStream, OfTheGeneratorNeedsItConnectedInRaw64Alone) {
    Instrument instrument = unpaced(poisson(1, 1e5), 0.1);
    instrument.setStreamInterface(1, 0);
    instrument.startStream(false, 0);
    std::vector<std::uint8_t> bytes(1 << 16);
    EXPECT_EQ(instrument.readStream(bytes, kNoWait, kThere), 0u);
    instrument.stopStream();
    instrument.setStreamInterface(1, 2);
    instrument.startStream(false, 0);
    EXPECT_GT(instrument.readStream(bytes, kNoWait, kThere), 10000u);
}

TEST(TagStream, AppliesThePackedSettingsThatTheUnitCanDo) {
    Instrument instrument = unpaced("");
    const auto applied = [&](int bits, int quantum) {
        const auto config = instrument.setPackedConfig(
            {static_cast<std::uint8_t>(bits), static_cast<std::uint16_t>(quantum)});
        return std::pair<int, int>(config.deltaBits, config.quantumPs);
    };
    EXPECT_EQ(applied(16, 8), std::pair(16, 8));
    EXPECT_EQ(applied(0, 0), std::pair(16, 8));
    EXPECT_EQ(applied(1, 1), std::pair(1, 1));
    EXPECT_EQ(applied(200, 65535), std::pair(31, 32768));
    EXPECT_EQ(applied(12, 6), std::pair(12, 4));
}

TEST(Instrument, RunsOneMeasurementAtATime) {
    Instrument instrument = unpaced(poisson(1, 1e5));
    instrument.startCounting();
    EXPECT_EQ(refusedWith([&] { instrument.startStream(true, 0); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { instrument.runCoincidence(kNoWait, kThere); }), TT_REJECTED);
    instrument.stopCounting();
    instrument.startStream(true, 0);
    EXPECT_EQ(refusedWith([&] { instrument.startCounting(); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { instrument.startCalibrationStream(0, 1, 1); }), TT_REJECTED);
    instrument.stopStream();
    instrument.stopStream();
    EXPECT_EQ(refusedWith([&] { instrument.startStream(true, 3); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { instrument.setStreamInterface(3, 0); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { instrument.setStreamInterface(0, 3); }), TT_REJECTED);
}

TEST(Instrument, TakesSettingsWhileAnotherThreadReadsItsStream) {
    Scene scene = unpacedScene(poisson(1, 1e6) + "," + poisson(2, 1e6), 0);
    scene.pace = Pace::RealTime;
    Instrument instrument(scene.units.front(), scene);
    startStream(instrument, {});
    std::size_t total = 0;
    std::thread reader([&] {
        std::vector<std::uint8_t> bytes(65536);
        for (int i = 0; i < 20; ++i) {
            total += instrument.readStream(bytes, milliseconds(20), kThere);
        }
    });
    for (int i = 0; i < 50; ++i) {
        setThresholds(instrument, 0.3);
        instrument.referenceClock();
        instrument.setTdlMasks(std::array<std::uint8_t, 4>{1, 2, 3, 4});
    }
    reader.join();
    EXPECT_GT(total, 1000u);
}

std::vector<RawWord> calibrationWords(Instrument& instrument, int line, std::uint32_t steps,
                                      std::uint32_t dwell) {
    instrument.startCalibrationStream(static_cast<std::uint8_t>(line), steps, dwell);
    std::vector<std::uint8_t> all;
    std::vector<std::uint8_t> piece(65536);
    while (const std::size_t count = instrument.readStream(piece, kNoWait, kThere)) {
        all.insert(all.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    instrument.stopStream();
    return readRaw64Codes(all);
}

TEST(CalibrationStream, HitsEachCodeInProportionToItsTapsWidth) {
    Instrument instrument = unpaced("", 5);
    const DelayLines lines("SIM00001");
    const std::vector<RawWord> words = calibrationWords(instrument, 1, 30, 100);
    ASSERT_GT(words.size(), 1'500'000u);
    for (int input = 0; input < kInputs; ++input) {
        std::vector<double> widths(kFineCodes);
        for (std::int64_t phase = 0; phase < kTickPs; ++phase) {
            ++widths[lines.fineCode(input, 1, phase)];
        }
        std::vector<double> hits(kFineCodes);
        double total = 0;
        for (const RawWord& word : words) {
            if (word.input == input) {
                ++hits[static_cast<std::size_t>(word.fine)];
                ++total;
            }
        }
        for (std::size_t code = 0; code < 180; ++code) {
            const double expected = total * widths[code] / kTickPs;
            ASSERT_NEAR(hits[code], expected, 8 * std::sqrt(expected) + 20)
                << "input " << input << " code " << code;
        }
    }
}

TEST(CalibrationStream, DiffersBetweenTheDelayLinesByTheirPhase) {
    Instrument instrument = unpaced("", 0.1);
    const DelayLines lines("SIM00001");
    // the same edges seen by two lines: the middle of each tick shows their offset
    const auto firstTicks = calibrationWords(instrument, 0, 1, 1);
    const auto laterTicks = calibrationWords(instrument, 2, 1, 1);
    ASSERT_EQ(firstTicks.size(), laterTicks.size());
    double later = 0;
    for (std::size_t i = 0; i < firstTicks.size(); ++i) {
        later += static_cast<double>(laterTicks[i].coarse) - static_cast<double>(firstTicks[i].coarse);
    }
    const double meanOffset = static_cast<double>(lines.offsetPs(0, 2) + lines.offsetPs(1, 2) +
                                                  lines.offsetPs(2, 2) + lines.offsetPs(3, 2)) /
                              4;
    EXPECT_NEAR(later / static_cast<double>(firstTicks.size()) * kTickPs, meanOffset, 60);
}

TEST(ReferenceClock, IsNotThereOnAnImageWithoutControl) {
    Instrument instrument = unpaced("", 1, R"("reference": {"control": false})");
    EXPECT_EQ(refusedWith([&] { instrument.setReferenceClock(1, 0); }), TT_NOT_SUPPORTED);
    EXPECT_EQ(refusedWith([&] { instrument.referenceClock(); }), TT_NOT_SUPPORTED);
    Instrument other = unpaced("", 1, R"("reference": {"lock_delay_s": 0})");
    EXPECT_TRUE(other.setReferenceClock(2, 1).locked);
    EXPECT_EQ(other.referenceClock().outputSignal, 1);
    EXPECT_EQ(refusedWith([&] { other.setReferenceClock(3, 0); }), TT_REJECTED);
    EXPECT_EQ(refusedWith([&] { other.setReferenceClock(1, 2); }), TT_REJECTED);
}

} // namespace

} // namespace qorn::simulator::test
