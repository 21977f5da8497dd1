#include "InternalGenerator.h"
#include "PulseGenerator.h"
#include "SceneRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace qorn::simulator::test {

namespace {

std::vector<Pulse> play(PulseGenerator& generator, double seconds) {
    std::vector<Pulse> all;
    while (generator.positionPs() < static_cast<std::int64_t>(seconds * 1e12)) {
        const auto slice = generator.nextSlice();
        all.insert(all.end(), slice.begin(), slice.end());
    }
    return all;
}

std::vector<Pulse> play(const std::string& sources, double seconds, std::uint64_t seed = 7) {
    const Scene scene = unpacedScene(sources, seconds);
    PulseGenerator generator(scene.units[0].sources, seed, 0);
    return play(generator, seconds);
}

std::vector<std::int64_t> timesOf(const std::vector<Pulse>& pulses, int input) {
    std::vector<std::int64_t> times;
    for (const Pulse& pulse : pulses) {
        if (pulse.input == input) {
            times.push_back(pulse.timePs);
        }
    }
    return times;
}

bool sorted(const std::vector<Pulse>& pulses) {
    return std::is_sorted(pulses.begin(), pulses.end(),
                          [](const Pulse& a, const Pulse& b) { return a.timePs < b.timePs; });
}

struct Moments {
    double mean = 0;
    double sigma = 0;
};

Moments momentsOf(const std::vector<double>& values) {
    const auto n = static_cast<double>(values.size());
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / n;
    double squares = 0;
    for (const double value : values) {
        squares += (value - mean) * (value - mean);
    }
    return {mean, std::sqrt(squares / n)};
}

// The differences to the latest earlier time of the other list, where they lie between the two bounds.
std::vector<double> after(const std::vector<std::int64_t>& starts, const std::vector<std::int64_t>& stops,
                          double below, double above = 0) {
    std::vector<double> differences;
    for (const std::int64_t stop : stops) {
        const auto later = std::upper_bound(starts.begin(), starts.end(), stop);
        if (later == starts.begin()) {
            continue;
        }
        const auto difference = static_cast<double>(stop - *std::prev(later));
        if (difference >= above && difference < below) {
            differences.push_back(difference);
        }
    }
    return differences;
}

TEST(PulseGenerator, MakesTheSamePulsesFromTheSameSeedAndOthersFromAnother) {
    const std::string sources = poisson(1, 1e5) + R"(, {"kind": "pairs", "inputs": [1, 2], "rate_hz": 1e4,
                                "delay_ps": -3000, "sigma_ps": 500})";
    const auto same = [](const Pulse& a, const Pulse& b) {
        return a.timePs == b.timePs && a.input == b.input;
    };
    const std::vector<Pulse> first = play(sources, 0.1, 3);
    const std::vector<Pulse> again = play(sources, 0.1, 3);
    const std::vector<Pulse> other = play(sources, 0.1, 4);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), again.begin(), again.end(), same));
    EXPECT_FALSE(std::equal(first.begin(), first.end(), other.begin(), other.end(), same));
    EXPECT_TRUE(sorted(first));
}

TEST(PulseGenerator, LetsASourceBeWhateverElsePlays) {
    const auto alone = timesOf(play(poisson(1, 1e5), 0.1), 0);
    const auto among = timesOf(play(poisson(1, 1e5) + "," + poisson(2, 1e6), 0.1), 0);
    EXPECT_EQ(alone, among);
}

TEST(PulseGenerator, RepeatsAPreparedBlock) {
    const Scene scene = unpacedScene(poisson(1, 1e6), 1);
    PulseGenerator generator(scene.units[0].sources, 1, 5);
    const auto times = timesOf(play(generator, 0.02), 0);
    ASSERT_EQ(times.size() % 4, 0u);
    const std::size_t block = times.size() / 4;
    for (std::size_t i = block; i < times.size(); ++i) {
        ASSERT_EQ(times[i], times[i - block] + 5'000'000'000);
    }
}

TEST(PoissonSource, HasItsRateAndExponentialGaps) {
    const auto times = timesOf(play(poisson(3, 2e5), 5), 2);
    EXPECT_NEAR(static_cast<double>(times.size()), 1e6, 5e3);
    std::vector<double> gaps;
    for (std::size_t i = 1; i < times.size(); ++i) {
        gaps.push_back(static_cast<double>(times[i] - times[i - 1]));
    }
    const Moments moments = momentsOf(gaps);
    EXPECT_NEAR(moments.mean, 5e6, 5e4);
    EXPECT_NEAR(moments.sigma, 5e6, 5e4);
    EXPECT_TRUE(play(poisson(3, 0), 1).empty());
}

TEST(PeriodicSource, HasItsFrequencyJitterAndDrift) {
    const auto steady = timesOf(play(R"({"kind": "periodic", "input": 1, "frequency_hz": 3e5,
                                        "jitter_ps": 100, "offset_ppm": 50})",
                                     2),
                                0);
    EXPECT_NEAR(static_cast<double>(steady.size()), 600030, 2);
    std::vector<double> residuals;
    const double period = 1e12 / (3e5 * (1 + 50e-6));
    for (std::size_t i = 0; i < steady.size(); ++i) {
        residuals.push_back(static_cast<double>(steady[i]) - period * static_cast<double>(i));
    }
    EXPECT_NEAR(momentsOf(residuals).sigma, 100, 3);
    EXPECT_NEAR(momentsOf(residuals).mean, 0, 3);

    const auto wandering = timesOf(play(R"({"kind": "periodic", "input": 1, "frequency_hz": 1e5,
                                           "drift_ppm": 10, "drift_period_s": 4})",
                                        2),
                                   0);
    const auto frequencyAt = [&](std::size_t i) {
        return 1e15 / static_cast<double>(wandering[i + 1000] - wandering[i]);
    };
    EXPECT_NEAR(frequencyAt(0) / 1e5 - 1, 0.08e-6, 0.1e-6);
    EXPECT_NEAR(frequencyAt(99500) / 1e5 - 1, 10e-6, 0.1e-6) << "a quarter of the drift's period later";
}

TEST(PairSource, HasItsDelaySpreadAndEfficiencies) {
    const auto pulses = play(R"({"kind": "pairs", "inputs": [2, 4], "rate_hz": 20000, "delay_ps": 12400,
                                "sigma_ps": 120, "efficiencies": [1, 0.5]})",
                             5);
    const auto first = timesOf(pulses, 1);
    const auto second = timesOf(pulses, 3);
    EXPECT_NEAR(static_cast<double>(first.size()), 100000, 1500);
    EXPECT_NEAR(static_cast<double>(second.size()), 50000, 1100);
    const Moments moments = momentsOf(after(first, second, 13400, 11400));
    EXPECT_NEAR(moments.mean, 12400, 5);
    EXPECT_NEAR(moments.sigma, 120, 3);
    EXPECT_TRUE(sorted(pulses));
}

TEST(PairSource, TakesANegativeDelayToo) {
    const auto pulses =
        play(R"({"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": -50000})", 1);
    const auto differences = after(timesOf(pulses, 1), timesOf(pulses, 0), 50001);
    EXPECT_NEAR(static_cast<double>(differences.size()), 20000, 600);
    EXPECT_GT(momentsOf(differences).mean, 49900);
    EXPECT_TRUE(sorted(pulses));
}

TEST(DecaySource, HasPhotonsWithTheLifetimeBehindTheSync) {
    const auto pulses = play(R"({"kind": "decay", "sync_input": 4, "input": 3, "frequency_hz": 1e6,
                                "probability": 0.06, "lifetime_ps": 3200, "delay_ps": 8500})",
                             5);
    const auto syncs = timesOf(pulses, 3);
    const auto photons = timesOf(pulses, 2);
    EXPECT_NEAR(static_cast<double>(syncs.size()), 5e6, 2);
    EXPECT_NEAR(static_cast<double>(photons.size()), 3e5, 2500);
    const auto delays = after(syncs, photons, 1e6);
    const Moments moments = momentsOf(delays);
    EXPECT_NEAR(moments.mean, 8500 + 3200, 30);
    EXPECT_NEAR(moments.sigma, 3200, 40);
    EXPECT_GE(*std::min_element(delays.begin(), delays.end()), 8500);
}

TEST(EmitterSource, NeverSendsTwoPhotonsAtOnce) {
    const auto pulses = play(R"({"kind": "emitter", "inputs": [1, 2], "rate_hz": 2e6, "lifetime_ps": 6000,
                                "pump_rate_hz": 6e7})",
                             2);
    const auto a = timesOf(pulses, 0);
    const auto b = timesOf(pulses, 1);
    EXPECT_NEAR(static_cast<double>(a.size()), 2e6, 8000);
    EXPECT_NEAR(static_cast<double>(b.size()), 2e6, 8000);
    // coincidences of the two inputs in bins of 1 ns: few around 0, the accidental level far away
    const auto pairsAt = [&](std::int64_t lag) {
        std::size_t count = 0;
        for (const std::int64_t time : a) {
            const auto from = std::lower_bound(b.begin(), b.end(), time + lag - 500);
            const auto to = std::lower_bound(b.begin(), b.end(), time + lag + 500);
            count += static_cast<std::size_t>(to - from);
        }
        return static_cast<double>(count);
    };
    const double accidental = 1e6 * 1e6 * 1e-9 * 2;
    EXPECT_NEAR(pairsAt(200000), accidental, 0.1 * accidental);
    EXPECT_LT(pairsAt(0), 0.15 * accidental);
    // 1 - exp(-(pump + 1/lifetime) * lag)
    EXPECT_NEAR(pairsAt(5000), accidental * (1 - std::exp(-5e-9 * (6e7 + 1 / 6e-9))), 0.1 * accidental);
}

TEST(BurstSource, SendsBurstsOfEvenlySpacedPulses) {
    const auto times = timesOf(play(R"({"kind": "bursts", "input": 4, "frequency_hz": 1000, "pulses": 40,
                                       "spacing_ps": 250000, "phase_ps": 1000})",
                                    0.1),
                               3);
    ASSERT_EQ(times.size(), 4000u);
    EXPECT_EQ(times[0], 1000);
    EXPECT_EQ(times[39], 1000 + 39 * 250000);
    EXPECT_EQ(times[40], 1000 + 1'000'000'000);
}

TEST(InternalGenerator, ReachesAllInputsAtItsDividedFrequency) {
    EXPECT_EQ(InternalGenerator::dividerFor(30978260.86956522), 1u);
    EXPECT_EQ(InternalGenerator::dividerFor(100000), 310u);
    EXPECT_EQ(InternalGenerator::dividerFor(1e-300), 4294967295u);
    EXPECT_NEAR(InternalGenerator::frequencyOf(310), 99929.9, 0.1);
    PulseGenerator generator(std::make_unique<InternalGenerator>(310, 0, 1));
    const auto pulses = play(generator, 1);
    EXPECT_TRUE(sorted(pulses));
    for (int input = 0; input < kInputs; ++input) {
        EXPECT_NEAR(static_cast<double>(timesOf(pulses, input).size()), 99930, 1);
    }
}

TEST(InternalGenerator, BeginsInStepOrAnywhereInItsUndividedPeriod) {
    constexpr std::int64_t kBasePeriodPs = 32280;
    constexpr std::int64_t kInStepPs = 1000;
    const auto begin = [](bool anywhere, std::uint64_t seed) {
        auto source = std::make_unique<InternalGenerator>(310, 0, seed);
        if (anywhere) {
            source->beginAnywhere();
        }
        PulseGenerator generator(std::move(source));
        return timesOf(play(generator, 1e-4), 2).front() - kInStepPs;
    };
    std::vector<std::int64_t> begins;
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        EXPECT_NEAR(static_cast<double>(begin(false, seed)), 0, 25);
        begins.push_back(begin(true, seed));
    }
    std::sort(begins.begin(), begins.end());
    EXPECT_LT(begins.front(), kBasePeriodPs / 20);
    EXPECT_NEAR(static_cast<double>(begins[100]), kBasePeriodPs / 2.0, kBasePeriodPs / 8.0);
    EXPECT_GT(begins.back(), kBasePeriodPs * 19 / 20);
    EXPECT_LT(begins.back(), kBasePeriodPs + 50);
}

TEST(InternalGenerator, SweepsOverNeighbouringDividers) {
    auto source = std::make_unique<InternalGenerator>(100, 0, 1);
    source->sweep(3, 2);
    PulseGenerator generator(std::move(source));
    const auto times = timesOf(play(generator, 0.001), 2);
    constexpr double kBasePeriodPs = 1840000.0 / 57;
    const std::array<int, 7> dividers{100, 100, 101, 101, 102, 102, 100};
    for (std::size_t i = 0; i < dividers.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(times[i + 1] - times[i]), dividers[i] * kBasePeriodPs, 40) << i;
    }
}

} // namespace

} // namespace qorn::simulator::test
