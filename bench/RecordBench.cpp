// Recording to a file, and exporting the recording, each beside a plain write of the same bytes. The two take
// turns in being first, as the second finds the system's caches full of the first's bytes.
#include "BenchStreams.h"
#include "Export.h"
#include "FileDescriptor.h"
#include "StreamDecoder.h"
#include "TagRecording.h"
#include "TagWords.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>

namespace {

using namespace qorn;
using timetagger::gui::TagRecording;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPassTags = 65536;
constexpr std::size_t kPasses = 384;
constexpr std::size_t kTags = kPassTags * kPasses;
constexpr std::size_t kNpyRecordBytes = 9;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The tags of one pass, decoded from a stream.
std::vector<timing::TimeTag> passTags() {
    const std::vector<std::uint8_t> stream = bench::raw64_stream(kPassTags * timing::kTagWordBytes);
    timing::StreamDecoder decoder(bench::stream_header(timing::StreamFormat::Raw64));
    const auto tags = decoder.feed(stream);
    return {tags.begin(), tags.begin() + kPassTags};
}

// Seconds that bare writes of `bytes` to a new file take, a megabyte or so at a time.
double plainWriteSeconds(const std::filesystem::path& path, std::uint64_t bytes) {
    const std::vector<std::uint8_t> piece(kPassTags * timing::kTagWordBytes, 0x55);
    std::filesystem::remove(path);
    const auto start = Clock::now();
    timing::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
    for (std::uint64_t written = 0; written < bytes; written += piece.size()) {
        file.write(std::span(piece).first(std::min<std::uint64_t>(piece.size(), bytes - written)));
    }
    file.close();
    const double took = secondsSince(start);
    std::filesystem::remove(path);
    return took;
}

// Records kPasses times the tags as the program does, each pass behind the one before in time, from decoded
// tags to the closed file with its companion; returns the seconds it took.
double record(const std::filesystem::path& path, std::vector<timing::TimeTag> tags) {
    std::filesystem::remove(path);
    std::filesystem::remove(path.string() + ".json"); // else the name is taken
    const std::int64_t pass_ps = tags.back().timestamp_ps - tags.front().timestamp_ps + 1;
    const auto start = Clock::now();
    const auto recording = TagRecording::start({QString::fromStdString(path.string()), 0, 0},
                                               bench::stream_header(timing::StreamFormat::Raw64), start);
    for (std::size_t pass = 0; pass < kPasses; ++pass) {
        recording->append(tags, Clock::now());
        for (timing::TimeTag& tag : tags) {
            tag.timestamp_ps += pass_ps;
        }
    }
    recording->close();
    return secondsSince(start);
}

// Times `measured`, which gives its seconds, or nothing when its file is not complete, in turn with a plain
// write of as many bytes to a file in `folder`. The first of each does not count.
template <typename Measured>
void besidePlainWrite(benchmark::State& state, const QTemporaryDir& folder, std::uint64_t bytes,
                      Measured measured) {
    const std::filesystem::path path = folder.filePath(QStringLiteral("plain")).toStdString();
    plainWriteSeconds(path, bytes);
    double plain = 0.0;
    double total = 0.0;
    bool plainFirst = true;
    for ([[maybe_unused]] auto _ : state) {
        if (plainFirst) {
            plain += plainWriteSeconds(path, bytes);
        }
        const std::optional<double> took = measured();
        if (!took) {
            state.SkipWithError("the file is not complete");
            return;
        }
        if (!plainFirst) {
            plain += plainWriteSeconds(path, bytes);
        }
        plainFirst = !plainFirst;
        total += *took;
        state.SetIterationTime(*took);
    }
    const double rounds = static_cast<double>(state.iterations());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kTags));
    state.counters["plain_write_tags/s"] = static_cast<double>(kTags) * rounds / plain;
    state.counters["of_plain_write"] = plain / total;
}

void recordWrite(benchmark::State& state) {
    constexpr std::uint64_t kBytes = kTags * timing::kTagWordBytes;
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(QStringLiteral("run.qornts")).toStdString();
    const std::vector<timing::TimeTag> tags = passTags();
    record(path, tags);
    besidePlainWrite(state, folder, kBytes, [&]() -> std::optional<double> {
        const double took = record(path, tags);
        return std::filesystem::file_size(path) > kBytes ? std::optional(took) : std::nullopt;
    });
}
BENCHMARK(recordWrite)->Name("record/write")->UseManualTime()->Unit(benchmark::kMillisecond);

void exportRecording(benchmark::State& state, qornts::ExportFormat format) {
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(QStringLiteral("run.qornts")).toStdString();
    record(path, passTags());
    qornts::Command command;
    command.action = qornts::Action::Export;
    command.files = {path};
    command.format = format;
    command.output = folder.filePath(QStringLiteral("out")).toStdString();
    const auto exportOnce = [&] {
        std::filesystem::remove(command.output);
        const auto start = Clock::now();
        qornts::exportRecording(command);
        return secondsSince(start);
    };
    exportOnce();
    const std::uint64_t written = std::filesystem::file_size(command.output);
    if (written < kTags * kNpyRecordBytes) {
        state.SkipWithError("the export is not complete");
        return;
    }
    besidePlainWrite(state, folder, written, [&]() -> std::optional<double> {
        const double took = exportOnce();
        return std::filesystem::file_size(command.output) == written ? std::optional(took) : std::nullopt;
    });
}
BENCHMARK_CAPTURE(exportRecording, npy, qornts::ExportFormat::Npy)
    ->Name("qornts/export_npy")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(exportRecording, csv, qornts::ExportFormat::Csv)
    ->Name("qornts/export_csv")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
