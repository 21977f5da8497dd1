// Tables from captured fine codes.
#include "FineLut.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using namespace qorn;

// Codes of a line whose taps differ in width, in the order of pulses that are spread over the period.
std::vector<std::uint16_t> codes_of_a_line(std::size_t count) {
    constexpr std::size_t kTaps = 180;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> width(0.2, 1.8);
    std::vector<double> ends;
    double end = 0.0;
    for (std::size_t tap = 0; tap < kTaps; ++tap) {
        end += width(random);
        ends.push_back(end);
    }
    std::uniform_real_distribution<double> phase(0.0, end);
    std::vector<std::uint16_t> codes(count);
    for (std::uint16_t& code : codes) {
        code = static_cast<std::uint16_t>(std::upper_bound(ends.begin(), ends.end() - 1, phase(random)) -
                                          ends.begin());
    }
    return codes;
}

void table_of_a_million_codes(benchmark::State& state) {
    const std::vector<std::uint16_t> codes = codes_of_a_line(1'000'000);
    for ([[maybe_unused]] auto _ : state) {
        const timing::FineLut lut = timing::FineLut::from_code_density(codes, timing::kCoarsePeriodPs);
        benchmark::DoNotOptimize(lut.entries.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(codes.size()) * state.iterations());
}

// What each way to a table has to do at least.
void count_of_a_million_codes(benchmark::State& state) {
    const std::vector<std::uint16_t> codes = codes_of_a_line(1'000'000);
    std::vector<std::uint32_t> counts(1U << 13);
    for ([[maybe_unused]] auto _ : state) {
        for (const std::uint16_t code : codes) {
            ++counts[code & 0x1FFFU];
        }
        benchmark::DoNotOptimize(counts.data());
        benchmark::ClobberMemory();
    }
}

} // namespace

BENCHMARK(count_of_a_million_codes)->Name("limit/count_codes")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(table_of_a_million_codes)->Name("calibration/lut")->Unit(benchmark::kMillisecond)->UseRealTime();
