// The coincidence engine of the simulated hardware and the one that counts tags are fed by the same pulses.
//
// Both compare an event with the latest event of each other input, each two by the window of their pair,
// its end included. So of the same times in one gate they count the same, to the last event. On a real
// stream they differ, by their definitions, in three ways:
// - Tags carry the errors of the delay lines and of the stream's quantum. Two events whose distance is nearer
//   to the window than two such errors may be a pair for the one and none for the other.
// - The hardware begins each gate without events, so it misses pairs over a border between two gates. The
//   tags are one stream, and such a pair is counted with its later event.
// - The hardware takes events into a gate by their own time and delays them then. The tags' gates go by the
//   delayed time, and they begin at the first tag.
#include "CoincidenceCounter.h"
#include "CoincidenceEngine.h"
#include "CoincidenceGrid.h"
#include "DelayLines.h"
#include "Instrument.h"
#include "SceneRun.h"
#include "StreamDecoder.h"
#include "TagEventSorter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>

namespace qorn::testing {
namespace {

using simulator::Instrument;
using simulator::Scene;
using simulator::Tag;
using timetagger::gui::CoincidenceCounter;
using timetagger::gui::CoincidenceEngine;
using timetagger::gui::CoincidenceSettings;
using timetagger::gui::kPairs;
using timetagger::gui::TagEventSorter;
using timetagger::gui::UiCoincidenceConfig;
using timetagger::gui::UiTimeTag;
using Counts = CoincidenceCounter::Counts;

Counts toCounts(const simulator::CoincidenceCounts& counts) {
    Counts result;
    std::copy(counts.singles.begin(), counts.singles.end(), result.singles.begin());
    std::copy(counts.pairs.begin(), counts.pairs.end(), result.pairs.begin());
    std::copy(counts.triples.begin(), counts.triples.end(), result.triples.begin());
    result.quadruple = counts.quadruple;
    result.pairSum = std::accumulate(result.pairs.begin(), result.pairs.end(), quint64{0});
    return result;
}

// Settings that the hardware can count with, so that both engines are told the same.
CoincidenceSettings settingsOf(double windowNs, const std::array<double, 4>& offsetsNs) {
    CoincidenceSettings settings;
    settings.gateSec = 0.02;
    settings.pairWindowsNs.fill(windowNs);
    settings.offsetsEnabled = true;
    settings.offsetsNs = offsetsNs;
    EXPECT_TRUE(settings.hardwareSettingsSupported());
    return settings;
}

// --- the same times, gate by gate --------------------------------------------------------------------------

// Crowded inputs: most windows hold several events.
const std::string kCrowd = simulator::test::poisson(1, 2e6) + "," + simulator::test::poisson(2, 1e6) + "," +
                           simulator::test::poisson(3, 3e6) + "," + simulator::test::poisson(4, 5e5);

struct Row {
    const char* name;
    double windowNs;
    std::array<double, 4> offsetsNs;
};

class SameTimes : public ::testing::TestWithParam<Row> {
protected:
    static constexpr std::uint32_t kGateCycles = 1'500'000; // 5 ms
    static constexpr std::int64_t kGatePs = 5'000'000'000;

    simulator::InputStage exactInputs(const simulator::PulseGenerator& pulses) const {
        simulator::InputStage stage(simulator::Timing::None, -pulses.positionPs(), 0, 0, 1);
        stage.apply(simulator::InputSettings{}, lines);
        return stage;
    }
    simulator::CoincidenceCounts countedByHardware(simulator::PulseGenerator& pulses,
                                                   const UiCoincidenceConfig& config) const {
        simulator::CoincidenceSettings wanted;
        wanted.periodCycles = kGateCycles;
        wanted.windowCycles = timetagger::gui::windowCycles(config.pairWindowsPs[0]).value();
        wanted.mask = config.channelMask;
        std::copy(config.offsetsPs.begin(), config.offsetsPs.end(), wanted.offsetsPs.begin());
        simulator::CoincidenceGate gate(pulses, exactInputs(pulses), wanted);
        while (!gate.done()) {
            gate.makeSlice();
        }
        return gate.result();
    }
    QList<UiTimeTag> tagsOfGate(simulator::PulseGenerator& pulses) const {
        simulator::InputStage stage = exactInputs(pulses);
        std::vector<Tag> events;
        for (std::int64_t slice = 0; slice < kGatePs / simulator::kSlicePs; ++slice) {
            stage.process(pulses.nextSlice(), 15, events);
        }
        QList<UiTimeTag> tags;
        for (const Tag& event : events) {
            tags.append({event.input, event.timePs});
        }
        return tags;
    }

private:
    simulator::DelayLines lines{"SIM00001"};
};

TEST_P(SameTimes, InOneGateAreCountedTheSame) {
    const CoincidenceSettings settings = settingsOf(GetParam().windowNs, GetParam().offsetsNs);
    const UiCoincidenceConfig config = settings.hardwareConfig();
    const Scene scene = simulator::test::unpacedScene(kCrowd, 0);
    simulator::PulseGenerator forHardware(scene.units[0].sources, scene.units[0].seed, 0);
    simulator::PulseGenerator forTags(scene.units[0].sources, scene.units[0].seed, 0);
    TagEventSorter sorter(TagEventSorter::Ties::Arrival);
    sorter.setOffsets(settings.offsetPs());
    CoincidenceCounter counter;
    std::array<quint64, kPairs> windows{};
    windows.fill(static_cast<quint64>(config.pairWindowsPs[0]));
    counter.setPairWindows(windows);
    Counts all;
    for (int gate = 0; gate < 5; ++gate) {
        SCOPED_TRACE(gate);
        counter.reset();
        for (const auto& event : sorter.sort(tagsOfGate(forTags))) {
            counter.add(event.timePs, event.channel);
        }
        EXPECT_EQ(counter.counts(), toCounts(countedByHardware(forHardware, config)));
        all += counter.counts();
    }
    EXPECT_GT(all.singles[3], 10'000U);
    EXPECT_GT(all.pairs[1], 100U);
}

// The window in ps is that of the cycles but for a rounding, so no two events lie between the two.
INSTANTIATE_TEST_SUITE_P(Settings, SameTimes,
                         ::testing::Values(Row{"OneCycle", 3.333, {}}, Row{"ThreeCycles", 10.0, {}},
                                           Row{"Offsets", 10.0, {0.0, -33.333, 6.667, 100.0}},
                                           Row{"Wide", 1000.0, {}},
                                           Row{"WideWithOffsets", 1000.0, {-3.333, 500.0, 0.0, -1000.0}}),
                         [](const auto& row) { return std::string(row.param.name); });

// --- the hardware and a stream -----------------------------------------------------------------------------

constexpr int kGates = 10;
constexpr std::int64_t kGatePs = 20'000'000'000;
constexpr std::uint32_t kWindowCycles = 30; // 100 ns
constexpr std::int64_t kWindowPs = 100'000;
// Of each input, and more than two windows: so no event is near two of another input, and a wider window can
// only add coincidences.
constexpr std::int64_t kDeadTimePs = 1'000'000;
constexpr std::int64_t kOffsetPs = 6667;     // of the third input
constexpr std::int64_t kMostErrorPs = 1'600; // of a tag; twice that is less than a cycle

// Noise on all inputs, pairs that lie well inside the window and others that the offset
// moves right to its end, and clocks that make quadruples.
const std::string kScene = simulator::test::poisson(1, 2e5) + "," + simulator::test::poisson(2, 2e5) + "," +
                           simulator::test::poisson(3, 2e5) + "," + simulator::test::poisson(4, 2e5) + R"(,
    {"kind": "pairs", "inputs": [1, 2], "rate_hz": 50000, "delay_ps": 12400, "sigma_ps": 120},
    {"kind": "pairs", "inputs": [2, 3], "rate_hz": 50000, "delay_ps": 93333, "sigma_ps": 2000},
    {"kind": "periodic", "input": 1, "frequency_hz": 20000},
    {"kind": "periodic", "input": 2, "frequency_hz": 20000, "phase_ps": 15000},
    {"kind": "periodic", "input": 3, "frequency_hz": 20000, "phase_ps": 40000},
    {"kind": "periodic", "input": 4, "frequency_hz": 20000, "phase_ps": 60000})";

void setDeadTimes(Instrument& instrument) {
    instrument.setDeadTimes(std::array{kDeadTimePs, kDeadTimePs, kDeadTimePs, kDeadTimePs});
}

Counts countedByHardware(std::uint32_t windowCycles) {
    const Scene scene = simulator::test::unpacedScene(kScene, 0);
    Instrument instrument(scene.units.front(), scene);
    setDeadTimes(instrument);
    instrument.setPeriodCycles(static_cast<std::uint32_t>(kGatePs / 10'000 * 3));
    instrument.setWindowCycles(windowCycles);
    instrument.setCoincidenceOffset(2, static_cast<int>(kOffsetPs));
    Counts sum;
    for (int gate = 0; gate < kGates; ++gate) {
        const auto result = instrument.runCoincidence(std::chrono::milliseconds(0), [] {});
        if (!result) {
            ADD_FAILURE() << "no gate";
            break;
        }
        sum += toCounts(result->counts);
    }
    return sum;
}

// The tags of the same pulses, as the application decodes them.
QList<UiTimeTag> decodedTags() {
    const Scene scene = simulator::test::unpacedScene(kScene, kGates * kGatePs / 1e12 + 0.005);
    Instrument instrument(scene.units.front(), scene);
    setDeadTimes(instrument);
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::PackedDelta;
    header.mode = timing::StreamMode::External;
    header.channel_mask = 15;
    header.delta_bits = 16;
    header.quantum_ps = 8;
    timing::StreamDecoder decoder(header);
    QList<UiTimeTag> tags;
    for (const timing::TimeTag& tag : decoder.feed(simulator::test::readAll(instrument, {}))) {
        tags.append({tag.channel, tag.timestamp_ps});
    }
    return tags;
}

Counts countedFrom(const QList<UiTimeTag>& tags) {
    CoincidenceEngine engine;
    engine.apply(settingsOf(100.0, {0.0, 0.0, 6.667, 0.0}));
    constexpr qsizetype kBatch = 4096;
    Counts sum;
    int gates = 0;
    for (qsizetype at = 0; at < tags.size() && gates < kGates; at += kBatch) {
        const auto batch = std::span(tags).subspan(
            static_cast<std::size_t>(at), static_cast<std::size_t>(std::min(kBatch, tags.size() - at)));
        for (const CoincidenceEngine::Gate& gate : engine.addTags(batch)) {
            if (gates++ < kGates) {
                sum += gate.counts;
            }
        }
    }
    EXPECT_GE(gates, kGates);
    return sum;
}

// Tags so near to a border between gates that it may make a difference.
quint64 tagsNearBorders(const QList<UiTimeTag>& tags) {
    constexpr std::int64_t kReach = kWindowPs + kOffsetPs + 2 * kMostErrorPs;
    quint64 count = 0;
    for (const UiTimeTag& tag : tags) {
        const std::int64_t behind = tag.timePs % kGatePs;
        count += behind <= kReach || kGatePs - behind <= kReach ? 1 : 0;
    }
    return count;
}

std::vector<quint64> coincidencesOf(const Counts& counts) {
    std::vector<quint64> all(counts.pairs.begin(), counts.pairs.end());
    all.insert(all.end(), counts.triples.begin(), counts.triples.end());
    all.push_back(counts.quadruple);
    return all;
}

TEST(CoincidenceAgreement, OfAStreamIsAsGoodAsTimesAndBordersAllow) {
    const QList<UiTimeTag> tags = decodedTags();
    const Counts software = countedFrom(tags);
    const Counts hardware = countedByHardware(kWindowCycles);
    const quint64 borderTags = tagsNearBorders(tags);
    ASSERT_LT(borderTags, 200U) << "else the comparison means little";

    for (std::size_t input = 0; input < 4; ++input) {
        EXPECT_GT(hardware.singles[input], 30'000U) << input;
        EXPECT_LE(std::llabs(static_cast<qint64>(software.singles[input] - hardware.singles[input])),
                  static_cast<qint64>(borderTags))
            << input;
    }
    // A cycle more or less of the hardware's window is more than the tags' errors.
    static_assert(2 * kMostErrorPs < 10'000 / 3);
    const std::vector<quint64> counted = coincidencesOf(software);
    const std::vector<quint64> fewer = coincidencesOf(countedByHardware(kWindowCycles - 1));
    const std::vector<quint64> more = coincidencesOf(countedByHardware(kWindowCycles + 1));
    for (std::size_t kind = 0; kind < counted.size(); ++kind) {
        EXPECT_GT(fewer[kind], 1'000U) << kind;
        EXPECT_GE(counted[kind] + borderTags, fewer[kind]) << kind;
        EXPECT_LE(counted[kind], more[kind] + borderTags) << kind;
    }
    EXPECT_GT(more[3], fewer[3] + 1'000) << "there are pairs right at the window's end";
}

TEST(CoincidenceAgreement, TheTagsErrorsAreWithinWhatIsAllowedForThem) {
    const QList<UiTimeTag> tags = decodedTags();
    const Scene scene = simulator::test::unpacedScene(kScene, 0);
    simulator::PulseGenerator pulses(scene.units[0].sources, scene.units[0].seed, 0);
    simulator::InputStage stage(simulator::Timing::None, 0, 0, 0, 1);
    simulator::InputSettings settings;
    settings.deadTimesPs.fill(kDeadTimePs);
    stage.apply(settings, simulator::DelayLines("SIM00001"));
    std::vector<Tag> exact;
    while (pulses.positionPs() < kGates * kGatePs) {
        stage.process(pulses.nextSlice(), 15, exact);
    }
    std::array<std::vector<std::int64_t>, 4> timesOfInput;
    for (const Tag& event : exact) {
        timesOfInput[event.input].push_back(event.timePs);
    }
    std::array<std::size_t, 4> next{};
    for (const UiTimeTag& tag : tags) {
        const auto& times = timesOfInput[tag.channel];
        if (const std::size_t number = next[tag.channel]++; number < times.size()) {
            ASSERT_LE(std::llabs(tag.timePs - times[number]), kMostErrorPs)
                << "tag of input " << tag.channel + 1;
        }
    }
    EXPECT_GE(next[0], timesOfInput[0].size());
}

} // namespace
} // namespace qorn::testing
