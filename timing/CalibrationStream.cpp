#include "CalibrationStream.h"

#include "Driver.h"
#include "Error.h"
#include "WireWords.h"

#include <utility>

namespace qorn::timing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadBytes = 65536;
constexpr int kReadTimeoutMs = 5;
constexpr std::size_t kRecordBytes = 8;
constexpr int kStopFlag = 0;

} // namespace

CalibrationStream::CalibrationStream(tt_device* opened, std::uint8_t tdl_index, std::uint8_t sweep_steps,
                                     std::uint16_t sweep_dwell)
    : device(opened) {
    try {
        if (sweep_steps < 2) {
            detail::check(driver().tt_start_calibration_stream(device, tdl_index), "start_calibration_stream",
                          device);
        } else {
            detail::check(
                driver().tt_start_calibration_sweep_stream(device, tdl_index, sweep_steps, sweep_dwell),
                "start_calibration_sweep_stream", device);
        }
    } catch (const Error&) {
        abandon();
        throw;
    }
}

CalibrationStream::~CalibrationStream() {
    abandon();
}

void CalibrationStream::stop() {
    if (running) {
        detail::check(driver().tt_stop_calibration_stream(device, kStopFlag), "stop_calibration_stream",
                      device);
        running = false;
    }
}

void CalibrationStream::abandon() {
    if (std::exchange(running, false)) {
        driver().tt_stop_calibration_stream(device, kStopFlag); // the failure on the way is the one to tell
    }
}

std::vector<CalibrationTag> CalibrationStream::read(std::size_t count, std::chrono::milliseconds timeout) {
    std::vector<CalibrationTag> tags;
    tags.reserve(count);
    std::vector<std::uint8_t> buffer(kReadBytes);
    Clock::time_point deadline = Clock::now() + timeout;
    while (tags.size() < count) {
        const std::size_t before = tags.size();
        receive(buffer);
        take_tags(tags, count);
        const Clock::time_point now = Clock::now();
        if (tags.size() > before) {
            deadline = now + timeout;
        } else if (now >= deadline) {
            throw Error(TT_TIMED_OUT, "stream_calibration_tags: raw64 tag timeout");
        }
    }
    return tags;
}

void CalibrationStream::receive(std::vector<std::uint8_t>& buffer) {
    std::size_t received = 0;
    const tt_status status =
        driver().tt_read_stream_bytes(device, buffer.data(), buffer.size(), &received, kReadTimeoutMs);
    if (status != TT_OK && status != TT_TIMED_OUT) {
        detail::throw_status(status, "read_stream_bytes", driver().tt_last_error(device));
    }
    if (received > buffer.size()) {
        detail::throw_status(TT_FAILED, "read_stream_bytes",
                             "the driver claims more bytes than it was given room for");
    }
    pending.append({buffer.data(), received});
}

void CalibrationStream::take_tags(std::vector<CalibrationTag>& tags, std::size_t count) {
    const std::span<const std::uint8_t> bytes = pending.span();
    std::size_t at = 0;
    while (tags.size() < count && bytes.size() - at >= kRecordBytes) {
        const std::uint64_t word = load_be64(bytes.data() + at);
        if (!CoarseFineWord::matches(word)) {
            ++at; // no tag begins here
            continue;
        }
        tags.push_back(
            {CoarseFineWord::channel(word), CoarseFineWord::coarse(word), CoarseFineWord::fine(word), word});
        at += kRecordBytes;
    }
    pending.drop_front(at);
}

} // namespace qorn::timing
