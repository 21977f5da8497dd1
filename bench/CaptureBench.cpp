// The capture loop from driver bytes to GUI batches, and the engines behind them.
#include "BenchStreams.h"

#include "CaptureLoop.h"
#include "Device.h"
#include "TimeTagEngine.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <random>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;

// Counts what arrives, and ends the capture when there is enough.
class CountingEvents final : public MeasurementEvents {
public:
    CountingEvents(std::uint64_t enoughTags, std::atomic<bool>& stopFlag)
        : enough(enoughTags), stop(stopFlag) {}

    void clockStatus(const timing::ReferenceClockStatus&) override {}
    void counterSample(UiCounterSample) override {}
    void tagsBatch(UiTimeTagBatch batch) override {
        benchmark::DoNotOptimize(batch.constData());
        tags += static_cast<std::uint64_t>(batch.size());
        if (tags >= enough) {
            stop = true;
        }
    }

    std::uint64_t tags = 0;

private:
    std::uint64_t enough;
    std::atomic<bool>& stop;
};

void captureLoopRate(benchmark::State& state) {
    const bench::EndlessDriver driver;
    timing::Device device(driver.handle(), false);
    CaptureRequest request;
    request.mode = QStringLiteral("external");
    request.stream.format = StreamChoice::Raw64;
    std::uint64_t tags = 0;
    for ([[maybe_unused]] auto _ : state) {
        std::atomic<bool> stop{false};
        CountingEvents events(100'000'000, stop);
        SystemLoopClock clock;
        const auto start = std::chrono::steady_clock::now();
        captureLoop(device, request, nullptr, stop, events, clock);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        tags += events.tags;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(tags));
}
BENCHMARK(captureLoopRate)->Name("capture/loop")->UseManualTime();

// Batches as the capture makes them, at 16 million tags/s, into bins of 0.1 s.
void timeTagEngine(benchmark::State& state) {
    constexpr int kBatchTags = 65536;
    constexpr int kBatches = 64;
    std::mt19937_64 random(7);
    QList<UiTimeTagBatch> batches;
    qint64 time = 0;
    for (int number = 0; number < kBatches; ++number) {
        UiTimeTagBatch batch;
        for (int tag = 0; tag < kBatchTags; ++tag) {
            time += static_cast<qint64>(random() % 125000);
            batch.append({static_cast<quint8>(random() % 4), time});
        }
        batches.append(batch);
    }
    TimeTagEngine engine;
    engine.apply(TimeTagSettings());
    qsizetype next = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (next == batches.size()) {
            state.PauseTiming();
            engine.reset();
            next = 0;
            state.ResumeTiming();
        }
        engine.addBatch(batches.at(next++));
    }
    if (engine.totalTags() == 0) {
        state.SkipWithError("no tags were counted");
    }
    state.SetItemsProcessed(state.iterations() * kBatchTags);
}
BENCHMARK(timeTagEngine)->Name("tab/timetags");

} // namespace
