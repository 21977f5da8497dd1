// Records tags until it is killed: RecordingEndTest's other half.
// Arguments: path, tags per pass, passes (0: without end). A part takes 100 passes.
// It prints "pass <n>" behind each tenth pass, and after the last one "idle"; then it waits for the end of
// its standard input.
#include "TagRecording.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;

void record(const char* path, std::size_t tagsPerPass, std::uint64_t passes) {
    timing::StreamFileHeader stream;
    stream.mode = timing::StreamMode::External;
    stream.channel_mask = 15;
    constexpr int kRotateSeconds = 10;
    LoopClock::TimePoint now{std::chrono::hours(1)};
    const auto recording =
        TagRecording::start({QString::fromLocal8Bit(path), kRotateSeconds, 0}, stream, now);
    std::vector<timing::TimeTag> tags(tagsPerPass);
    std::int64_t number = 0;
    for (std::uint64_t pass = 1; passes == 0 || pass <= passes; ++pass) {
        for (timing::TimeTag& tag : tags) {
            tag = {static_cast<std::uint8_t>(number % 4), number * 10'000'000}; // wraps each 1.4 million
            ++number;
        }
        recording->append(tags, now);
        now += std::chrono::milliseconds(100);
        if (pass % 10 == 0) {
            std::printf("pass %llu\n", static_cast<unsigned long long>(pass));
            std::fflush(stdout);
        }
    }
    std::printf("idle\n");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    recording->close();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    try {
        record(argv[1], std::strtoull(argv[2], nullptr, 10), std::strtoull(argv[3], nullptr, 10));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
