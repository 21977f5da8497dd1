#include "InputStage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace qorn::simulator::test {

namespace {

std::uint16_t dacCode(double volts) {
    const int steps = volts < 0 ? 0 : static_cast<int>(std::min(volts * 0.25, 1.0) * 65535 + 0.5);
    return static_cast<std::uint16_t>((steps + 32768) % 65536);
}

std::vector<Pulse> train(int count, std::int64_t stepPs, float amplitude = 1, std::uint8_t input = 0) {
    std::vector<Pulse> pulses;
    for (int i = 0; i < count; ++i) {
        pulses.push_back({1000000 + i * stepPs, amplitude, input});
    }
    return pulses;
}

std::vector<Tag> pass(const InputSettings& settings, const std::vector<Pulse>& pulses,
                      Timing timing = Timing::None, std::uint8_t mask = 15) {
    const DelayLines lines("SIM00001");
    InputStage stage(timing, 0, 22, 0, 1);
    stage.apply(settings, lines);
    std::vector<Tag> tags;
    stage.process(pulses, mask, tags);
    return tags;
}

TEST(Threshold, IsTheVoltageOfTheOffsetBinaryCode) {
    EXPECT_EQ(thresholdVolts(32768), 0);
    EXPECT_EQ(thresholdVolts(32767), 4);
    for (const double volts : {0.0, 0.1, 0.35, 1.5, 2.0, 3.99, 4.0}) {
        EXPECT_NEAR(thresholdVolts(dacCode(volts)), volts, 4.0 / 65535) << volts;
    }
    EXPECT_EQ(thresholdVolts(dacCode(-1)), 0);
}

TEST(InputStage, SilencesPulsesBelowTheThresholdOfTheirInput) {
    InputSettings settings;
    settings.thresholdsV = {0.35, 1.5, 0.35, 0.35};
    EXPECT_EQ(pass(settings, train(100, 1000, 1, 0)).size(), 100u);
    EXPECT_EQ(pass(settings, train(100, 1000, 1, 1)).size(), 0u);
    EXPECT_EQ(pass(settings, train(100, 1000, 0.3f, 0)).size(), 0u);
    EXPECT_EQ(pass(settings, train(100, 1000, 2, 1)).size(), 100u);
}

TEST(InputStage, PassesOnlyTheInputsOfTheMask) {
    EXPECT_EQ(pass({}, train(100, 1000, 1, 2), Timing::None, 0b1011).size(), 0u);
    EXPECT_EQ(pass({}, train(100, 1000, 1, 2), Timing::None, 0b0100).size(), 100u);
}

TEST(InputStage, IsDeadForItsTimeAfterEachPulseThatItTook) {
    InputSettings settings;
    settings.deadTimesPs = {2500, 0, 0, 0};
    const std::vector<Tag> tags = pass(settings, train(100, 1000));
    ASSERT_EQ(tags.size(), 34u);
    for (std::size_t i = 1; i < tags.size(); ++i) {
        EXPECT_EQ(tags[i].timePs - tags[i - 1].timePs, 3000);
    }
    EXPECT_EQ(pass(settings, train(100, 1000, 1, 1)).size(), 100u)
        << "other inputs have a dead time of their own";
    settings.deadTimesPs = {3000, 0, 0, 0};
    EXPECT_EQ(pass(settings, train(100, 1000)).size(), 34u) << "a pulse at the end of the dead time counts";
}

double timingSigma(std::uint8_t tdlMask) {
    InputSettings settings;
    settings.tdlMasks.fill(tdlMask);
    const std::vector<Pulse> pulses = train(200000, 10007017);
    const std::vector<Tag> tags = pass(settings, pulses, Timing::Calibrated);
    double squares = 0;
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const auto error = static_cast<double>(tags[i].timePs - pulses[i].timePs);
        squares += error * error;
    }
    return std::sqrt(squares / static_cast<double>(tags.size()));
}

TEST(InputStage, JittersMoreWithFewerDelayLines) {
    const double all = timingSigma(7);
    const double two = timingSigma(3);
    const double one = timingSigma(1);
    EXPECT_LT(all, two);
    EXPECT_LT(two, one);
    EXPECT_GT(all, 22 / std::sqrt(3.0));
    EXPECT_LT(one, 100);
    EXPECT_EQ(timingSigma(0), one) << "without any line the first one serves";
}

TEST(InputStage, NeverStepsBackOnAnInput) {
    for (const Timing timing : {Timing::Calibrated, Timing::SingleLine}) {
        const std::vector<Tag> tags = pass({}, train(100000, 20), timing);
        for (std::size_t i = 1; i < tags.size(); ++i) {
            ASSERT_GE(tags[i].timePs, tags[i - 1].timePs);
        }
    }
}

TEST(DelayLines, CoverATickWithUnevenTapsThatAreFixedForAUnit) {
    const DelayLines lines("SIM00001");
    const DelayLines again("SIM00001");
    const DelayLines other("SIM00002");
    std::size_t differing = 0;
    for (int input = 0; input < kInputs; ++input) {
        for (int line = 0; line < kDelayLines; ++line) {
            std::vector<int> widths(kFineCodes);
            for (std::int64_t phase = 0; phase < kTickPs; ++phase) {
                const std::uint16_t code = lines.fineCode(input, line, phase);
                ++widths[code];
                ASSERT_EQ(code, again.fineCode(input, line, phase));
                differing += code != other.fineCode(input, line, phase) ? 1 : 0;
                ASSERT_GE(code, lines.fineCode(input, line, std::max<std::int64_t>(phase - 1, 0)));
            }
            const int widest = *std::max_element(widths.begin(), widths.end());
            EXPECT_GT(widest, 25);
            EXPECT_LT(widest, 80);
            EXPECT_EQ(lines.fineCode(input, line, 0), 0);
            EXPECT_GT(lines.fineCode(input, line, kTickPs - 1), 150);
        }
    }
    EXPECT_GT(differing, 10000u);
    EXPECT_EQ(lines.offsetPs(0, 0), 0);
    EXPECT_NE(lines.offsetPs(0, 1), lines.offsetPs(0, 2));
}

double errorSigma(const DelayLines& lines, std::uint8_t mask) {
    const PhaseTable error = lines.timingError(2, mask);
    double squares = 0;
    for (const std::int16_t ps : error) {
        squares += static_cast<double>(ps) * ps;
    }
    return std::sqrt(squares / kTickPs);
}

TEST(DelayLines, TimeBetterWithTheirOwnTable) {
    DelayLines lines("SIM00001");
    const double before = errorSigma(lines, 2);
    // the middle of each code's phases, which is what a calibration finds
    std::vector<std::int64_t> table(kFineCodes, kTickPs - 1);
    std::vector<std::int64_t> sums(kFineCodes);
    std::vector<std::int64_t> counts(kFineCodes);
    for (std::int64_t phase = 0; phase < kTickPs; ++phase) {
        sums[lines.fineCode(2, 1, phase)] += phase;
        ++counts[lines.fineCode(2, 1, phase)];
    }
    for (std::size_t code = 0; code < kFineCodes && counts[code] > 0; ++code) {
        table[code] = sums[code] / counts[code];
    }
    lines.upload(2, 1, table);
    EXPECT_LT(errorSigma(lines, 2), before);
    EXPECT_LT(errorSigma(lines, 2), 10);
}

} // namespace

} // namespace qorn::simulator::test
