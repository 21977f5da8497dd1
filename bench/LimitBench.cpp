// What the machine itself can do, for the benchmarks that have no plain loop of their own beside them: copies
// in memory, and pixels by Qt's rasterizer.
#include "TimeTag.h"

#include <benchmark/benchmark.h>

#include <QColor>
#include <QImage>
#include <QPainter>

#include <cstring>
#include <vector>

namespace {

using qorn::timing::TimeTag;

constexpr std::size_t kBatchTags = 65536;
constexpr std::size_t kBatches = 64; // more than any cache holds
constexpr QSize kPicture{1000, 600};

// Batches of tags from one place in memory to another.
void memoryCopy(benchmark::State& state) {
    const std::vector<TimeTag> from(kBatchTags * kBatches, TimeTag{1, 12345});
    std::vector<TimeTag> to(from.size());
    std::size_t batch = 0;
    for ([[maybe_unused]] auto _ : state) {
        std::memcpy(&to[batch * kBatchTags], &from[batch * kBatchTags], kBatchTags * sizeof(TimeTag));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        batch = (batch + 1) % kBatches;
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatchTags));
}

// One picture of a plot's size, painted over once with a colour that shines through.
void fillPicture(benchmark::State& state) {
    QImage image(kPicture, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    for ([[maybe_unused]] auto _ : state) {
        QPainter painter(&image);
        painter.fillRect(image.rect(), QColor(20, 60, 90, 128));
        painter.end();
        benchmark::DoNotOptimize(image.constBits());
    }
}

BENCHMARK(memoryCopy)->Name("limit/memory_copy");
BENCHMARK(fillPicture)->Name("limit/fill_picture")->Unit(benchmark::kMillisecond);

} // namespace
