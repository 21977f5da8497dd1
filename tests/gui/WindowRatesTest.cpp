// What the window shows of a scene whose rates are known.
#include "ExperimentTab.h"
#include "QtPrinting.h"
#include "WindowStage.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace qorn::testing {
namespace {

constexpr double kDeviations = 6.0;

// Of each input: events per second, and whether they come at random.
struct Source {
    double rateHz;
    bool random;
};
constexpr std::array<Source, 4> kSources{{{60000, true}, {25000, false}, {8000, true}, {1500, true}}};

void expectRate(double count, double seconds, const Source& source, int input) {
    const double expected = source.rateHz * seconds;
    const double deviation = source.random ? kDeviations * std::sqrt(expected) : 2.0;
    EXPECT_NEAR(count, expected, deviation + 1.0) << "input " << input + 1 << " in " << seconds << " s";
}

TEST(WindowRates, TheTimeTagsTabGetsEveryTagOfTheScene) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tab = stage.addTab("Time tags");
    std::array<quint64, 4> counts{};
    std::array<qint64, 4> last{};
    qint64 first = 0;
    quint64 total = 0;
    bool ordered = true;
    QObject::connect(
        &stage.controller(), &gui::DeviceController::tagsBatch, [&](const QList<gui::UiTimeTag>& batch) {
            for (const gui::UiTimeTag& tag : batch) {
                first = total == 0 ? tag.timePs : first;
                ordered = ordered && (counts[tag.channel] == 0 || tag.timePs >= last[tag.channel]);
                last[tag.channel] = tag.timePs;
                ++counts[tag.channel];
                ++total;
            }
        });
    WindowStage::press(tab, "Play");
    const auto seconds = [&] {
        return static_cast<double>(*std::max_element(last.begin(), last.end()) - first) / 1e12;
    };
    ASSERT_TRUE(waitUntil([&] { return total > 0 && seconds() > 1.5; }));
    WindowStage::press(tab, "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_TRUE(ordered);
    for (std::size_t input = 0; input < counts.size(); ++input) {
        expectRate(static_cast<double>(counts[input]), seconds(), kSources[input], static_cast<int>(input));
    }
    EXPECT_EQ(WindowStage::statusOf(tab), QStringLiteral("stopped after %1 plotted tag(s)").arg(total));
}

TEST(WindowRates, TheCounterShowsTheRatesOfTheScene) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    std::array<double, 4> counts{};
    double seconds = 0.0;
    int samples = 0;
    QObject::connect(
        &stage.controller(), &gui::DeviceController::counterSample, [&](const gui::UiCounterSample& sample) {
            for (int input = 0; input < 4; ++input) {
                counts[static_cast<std::size_t>(input)] += static_cast<double>(sample.counts.value(input));
            }
            seconds += sample.gateSeconds;
            ++samples;
        });
    WindowStage::press(stage.tab(0), "Play");
    ASSERT_TRUE(waitUntil([&] { return samples >= 10; }));
    WindowStage::press(stage.tab(0), "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    for (std::size_t input = 0; input < counts.size(); ++input) {
        Source source = kSources[input];
        // a gate may cut the clock anywhere
        expectRate(counts[input], seconds, source, static_cast<int>(input));
    }
    EXPECT_EQ(WindowStage::statusOf(stage.tab(0)), QStringLiteral("stopped after %1 sample(s)").arg(samples));
}

} // namespace
} // namespace qorn::testing
