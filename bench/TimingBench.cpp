// Decoding, and the queue between reader and consumer.
#include "BenchStreams.h"

#include "Device.h"
#include "StreamDecoder.h"
#include "TagStreamReader.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

using namespace qorn;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPieceBytes = 1048576;
constexpr std::size_t kPieces = 48;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Seconds per tag to copy decoded tags, over as many as a piece gives.
double copy_seconds_per_tag(std::size_t tags) {
    std::vector<timing::TimeTag> from(tags);
    std::vector<timing::TimeTag> to(tags);
    constexpr int kRounds = 50;
    std::memcpy(static_cast<void*>(to.data()), from.data(), tags * sizeof(timing::TimeTag));
    const auto start = Clock::now();
    for (int round = 0; round < kRounds; ++round) {
        std::memcpy(static_cast<void*>(to.data()), from.data(), tags * sizeof(timing::TimeTag));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    return seconds_since(start) / kRounds / static_cast<double>(tags);
}

// Decodes a whole stream piece by piece; the first piece, in which the decoder locks and its buffers grow,
// does not count.
void decode(benchmark::State& state, timing::StreamFormat format,
            std::vector<std::uint8_t> (*make)(std::size_t)) {
    const std::vector<std::uint8_t> stream = make(kPieces * kPieceBytes);
    std::uint64_t tags = 0;
    std::size_t largest = 0;
    double seconds = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        timing::StreamDecoder decoder(bench::stream_header(format));
        decoder.feed({stream.data(), kPieceBytes});
        const auto start = Clock::now();
        for (std::size_t piece = 1; piece < kPieces; ++piece) {
            const auto decoded = decoder.feed({stream.data() + piece * kPieceBytes, kPieceBytes});
            benchmark::DoNotOptimize(decoded.data());
            tags += decoded.size();
            largest = std::max(largest, decoded.size());
        }
        const double took = seconds_since(start);
        seconds += took;
        state.SetIterationTime(took);
    }
    if (tags == 0) {
        state.SkipWithError("the stream did not decode");
        return;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(tags));
    state.counters["vs_baseline"] = copy_seconds_per_tag(largest) / (seconds / static_cast<double>(tags));
}

void decodePacked(benchmark::State& state) {
    decode(state, timing::StreamFormat::PackedDelta, bench::packed_stream);
}
void decodeRaw64(benchmark::State& state) {
    decode(state, timing::StreamFormat::Raw64, bench::raw64_stream);
}
void decodeDelta32(benchmark::State& state) {
    decode(state, timing::StreamFormat::Delta32, bench::delta32_stream);
}
BENCHMARK(decodePacked)->Name("decode/packed19")->UseManualTime();
BENCHMARK(decodeRaw64)->Name("decode/raw64_ps")->UseManualTime();
BENCHMARK(decodeDelta32)->Name("decode/delta32")->UseManualTime();

// How long a sync search takes from the middle of a record, which is how long a capture stands still for it.
void probe(benchmark::State& state) {
    const std::vector<std::uint8_t> stream = bench::packed_stream(2 * kPieceBytes);
    const timing::StreamDecoder decoder(bench::stream_header(timing::StreamFormat::PackedDelta));
    for ([[maybe_unused]] auto _ : state) {
        const auto found =
            decoder.packed()->probe_packed_alignment({stream.data() + 777, kPieceBytes}, 16, 19);
        benchmark::DoNotOptimize(found.drop_bytes);
    }
}
BENCHMARK(probe)->Name("decode/packed19_lock")->Unit(benchmark::kMillisecond);

// Tags that reach a consumer of 65536, which waits 2 ms when there are none as the capture does, while the
// driver always has more.
void readerQueue(benchmark::State& state) {
    const bench::EndlessDriver driver;
    timing::Device device(driver.handle(), false);
    timing::TagStreamReader reader(device);
    constexpr std::size_t kTake = 65536;
    reader.start(bench::stream_header(timing::StreamFormat::Raw64), timing::TagStreamReader::kReadBytes,
                 16 * kTake);
    std::vector<timing::TimeTag> tags;
    std::uint64_t taken = 0;
    for ([[maybe_unused]] auto _ : state) {
        for (reader.take(tags, kTake); tags.empty(); reader.take(tags, kTake)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        benchmark::DoNotOptimize(tags.data());
        taken += tags.size();
    }
    const std::uint64_t dropped = reader.dropped();
    reader.stop();
    state.SetItemsProcessed(static_cast<std::int64_t>(taken));
    state.counters["dropped_share"] =
        static_cast<double>(dropped) / static_cast<double>(std::max<std::uint64_t>(taken + dropped, 1));
}
BENCHMARK(readerQueue)->Name("reader/queue")->UseRealTime()->MinTime(1.0);

} // namespace
