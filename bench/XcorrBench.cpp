// The histogram of lags of two long lists, beside the same work done the plain ways.
#include "LagEstimators.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace qorn;
using Times = std::vector<std::int64_t>;
using Counts = std::vector<std::uint64_t>;

constexpr std::size_t kTags = 1'000'000;
constexpr double kGapPs = 62'500.0; // 16 million tags/s
constexpr double kPairsPerTag = 20.0;
constexpr auto kWindowPs = static_cast<std::int64_t>(kPairsPerTag / 2 * kGapPs);
constexpr std::int64_t kBinPs = kWindowPs / 1000;

Times poisson_times(unsigned seed) {
    std::mt19937_64 random(seed);
    std::exponential_distribution<double> gap(1.0 / kGapPs);
    Times times;
    double time = 0.0;
    while (times.size() < kTags) {
        time += gap(random);
        times.push_back(static_cast<std::int64_t>(time));
    }
    return times;
}

// Of this program, so that what else the machine does is left out.
double cpu_seconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

std::uint64_t total(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

// Arguments of a plain loop, which must not be known to the compiler either.
struct Bins {
    std::int64_t window;
    std::int64_t bin;
    std::int64_t half;
};

void count_lag(Counts& counts, const Bins& bins, std::int64_t lag) {
    const std::int64_t k = lag >= 0 ? (lag + bins.bin / 2) / bins.bin : -((bins.bin / 2 - lag) / bins.bin);
    const auto index = static_cast<std::size_t>(k + bins.half);
    if (index < counts.size()) {
        ++counts[index];
    }
}

Counts sliding_window(const Times& a, const Times& b, const Bins& bins) {
    Counts counts(static_cast<std::size_t>(2 * bins.half + 1));
    std::size_t first = 0;
    for (const std::int64_t time : a) {
        while (first < b.size() && b[first] < time - bins.window) {
            ++first;
        }
        for (std::size_t next = first; next < b.size() && b[next] <= time + bins.window; ++next) {
            count_lag(counts, bins, b[next] - time);
        }
    }
    return counts;
}

Counts search_per_tag(const Times& a, const Times& b, const Bins& bins) {
    Counts counts(static_cast<std::size_t>(2 * bins.half + 1));
    for (const std::int64_t time : a) {
        const auto first = std::lower_bound(b.begin(), b.end(), time - bins.window);
        const auto last = std::upper_bound(b.begin(), b.end(), time + bins.window);
        for (auto next = first; next != last; ++next) {
            count_lag(counts, bins, *next - time);
        }
    }
    return counts;
}

template <typename Operation>
double pairs_per_second(const Counts& expected, Operation operation) {
    constexpr int kRounds = 5;
    const double start = cpu_seconds();
    for (int round = 0; round < kRounds; ++round) {
        const Counts counts = operation();
        if (counts != expected) {
            return 0.0;
        }
    }
    const double seconds = cpu_seconds() - start;
    return kRounds * static_cast<double>(total(expected)) / seconds;
}

void sortedXcorr(benchmark::State& state) {
    const Times a = poisson_times(1);
    const Times b = poisson_times(2);
    Bins bins{kWindowPs, kBinPs, 0};
    benchmark::DoNotOptimize(bins);
    Counts counts;
    const double start = cpu_seconds();
    for ([[maybe_unused]] auto _ : state) {
        counts = timing::xcorr_histogram(a, b, bins.window, bins.bin, 0).counts;
        benchmark::DoNotOptimize(counts.data());
    }
    const double seconds = cpu_seconds() - start;
    bins.half = static_cast<std::int64_t>(counts.size() / 2);
    const double sliding = pairs_per_second(counts, [&] { return sliding_window(a, b, bins); });
    const double searching = pairs_per_second(counts, [&] { return search_per_tag(a, b, bins); });
    if (sliding == 0.0 || searching == 0.0) {
        state.SkipWithError("the counts differ from those of the plain loops");
        return;
    }
    const auto pairs = static_cast<double>(state.iterations()) * static_cast<double>(total(counts));
    state.SetItemsProcessed(static_cast<std::int64_t>(pairs));
    state.counters["pairs_per_tag"] = static_cast<double>(total(counts)) / kTags;
    state.counters["sliding_window_pairs/s"] = sliding;
    state.counters["search_per_tag_pairs/s"] = searching;
    state.counters["vs_baseline"] = pairs / seconds / sliding;
}
BENCHMARK(sortedXcorr)->Name("xcorr/sorted_1e6_x20")->Unit(benchmark::kMillisecond);

} // namespace
