#include "CaptureLoop.h"

#include "Device.h"
#include "Driver.h"
#include "Error.h"
#include "PackedFormat.h"
#include "TagFanOut.h"
#include "TagFlowMeter.h"
#include "TagStreamReader.h"

#include <QCoreApplication>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kIdleSleep{2};

timing::StreamFormat driverFormat(StreamChoice choice) {
    switch (choice) {
    case StreamChoice::Delta32:
        return timing::StreamFormat::Delta32;
    case StreamChoice::Raw64:
        return timing::StreamFormat::Raw64;
    case StreamChoice::PackedDelta:
        break;
    }
    return timing::StreamFormat::PackedDelta;
}

void configurePackedDelta(timing::Device& device, const StreamSettings& settings,
                          timing::StreamFileHeader& header) {
    std::uint8_t bits = 16;
    std::uint16_t quantum = 8;
    timing::detail::check(timing::driver().tt_set_packed_delta_config(device.handle, settings.packedDeltaBits,
                                                                      settings.packedQuantumPs, &bits,
                                                                      &quantum),
                          "set_packed_delta_config", device.handle);
    header.delta_bits = bits;
    header.quantum_ps = quantum;
    if (!timing::PackedFormat(header).decodable()) { // its bytes would wait for a decoder for ever
        throw std::runtime_error(
            QCoreApplication::translate(
                "Measurement",
                "The instrument cannot stream: it offers packed deltas of %1 bits, and 31 are the most.")
                .arg(bits)
                .toStdString());
    }
}

void selectSource(timing::Device& device, bool external, double rateHz, StreamChoice format) {
    const timing::DriverTable& api = timing::driver();
    if (external) {
        timing::detail::check(api.tt_disable_calibration_source(device.handle), "disable_calibration_source",
                              device.handle);
        return;
    }
    std::uint32_t divider = 0;
    timing::detail::check(api.tt_set_calibration_freq(device.handle, &divider, rateHz),
                          "set_calibration_freq", device.handle);
    if (format == StreamChoice::Raw64) { // the other formats arm the source with the stream
        timing::detail::check(api.tt_enable_calibration_source(device.handle), "enable_calibration_source",
                              device.handle);
    }
}

// Sends the settings of the stream, and describes what will come.
timing::StreamFileHeader configureStream(timing::Device& device, const CaptureRequest& request) {
    const StreamSettings& settings = request.stream;
    const bool external = request.mode != QLatin1String("internal");
    timing::StreamFileHeader header;
    header.format = driverFormat(settings.format);
    header.mode = external ? timing::StreamMode::External : timing::StreamMode::Internal;
    header.transport =
        settings.interface == StreamInterface::UartService ? timing::Transport::Uart : timing::Transport::Usb;
    header.channel_mask = request.channels();
    header.tdl_index = settings.streamTdlIndex;
    header.delta_bits = settings.packedDeltaBits;
    header.quantum_ps = settings.packedQuantumPs;
    header.raw64_tag_format = settings.format == StreamChoice::Raw64 && !external ? "raw_cf" : "ps";
    request.source.describeIn(header);
    if (settings.format == StreamChoice::PackedDelta) {
        configurePackedDelta(device, settings, header);
    }
    if (header.transport == timing::Transport::Uart && !settings.uartArmed) {
        throw std::runtime_error(
            QCoreApplication::translate(
                "Measurement",
                "UART-service streaming is a developer-only mode and is not armed. Enable it explicitly in "
                "Settings -> Developer settings, or use a USB transport.")
                .toStdString());
    }
    const timing::DriverTable& api = timing::driver();
    timing::detail::check(api.tt_set_stream_interface(device.handle, static_cast<int>(header.transport),
                                                      static_cast<int>(header.format)),
                          "set_stream_interface", device.handle);
    timing::detail::check(api.tt_set_stream_channel_mask(device.handle, header.channel_mask),
                          "set_stream_channels", device.handle);
    selectSource(device, external, request.internalRateHz, settings.format);
    return header;
}

// The tag stream, stopped on every path: by finish(), else by abandon() or the destructor with failures
// ignored. A stop that failed is tried once more, and a start that failed is followed by one: it may have
// come through with only its answer lost, and a unit that streams unnoticed takes no other command.
class StreamSession {
public:
    explicit StreamSession(timing::Device& source) : device(source) {}
    ~StreamSession() { abandon(); }
    StreamSession(const StreamSession&) = delete;
    StreamSession& operator=(const StreamSession&) = delete;

    void start(const timing::StreamFileHeader& header) {
        timing::detail::check(
            timing::driver().tt_start_stream_mode(
                device.handle, header.mode == timing::StreamMode::External ? 1 : 0, header.tdl_index),
            "start_stream(mode)", device.handle);
    }

    void finish() {
        timing::detail::check(timing::driver().tt_stop_stream_mode(device.handle, 0), "stop_stream_any",
                              device.handle);
        finished = true;
    }

    void abandon() {
        if (!std::exchange(finished, true)) {
            timing::driver().tt_stop_stream_mode(device.handle, 0);
        }
    }

private:
    timing::Device& device;
    bool finished = false;
};

std::size_t queueLimit(const QueueRule& rule, int batchSize) {
    return std::max(rule.batches * static_cast<std::size_t>(std::max(batchSize, 1)), rule.least);
}

// The failure that the work throws, unless there is an earlier one, which is the one to tell.
template <typename Work>
void keepFirstFailure(std::exception_ptr& failure, Work&& work) {
    try {
        work();
    } catch (const std::exception&) {
        failure = failure ? failure : std::current_exception();
    }
}

// Carries tags until the stop or a failure.
void carryTags(timing::TagStreamReader& reader, std::size_t limit, TagFanOut& fanOut, TagFlowMeter& meter,
               const std::atomic<bool>& stop, LoopClock& clock) {
    std::vector<timing::TimeTag> pulled;
    pulled.reserve(limit);
    while (!stop) {
        timing::TagStreamReader::Counts counts;
        std::exception_ptr failure = reader.take(pulled, limit, counts);
        const auto now = clock.now();
        fanOut.noteLosses(counts.dropped, counts.skipped_bytes);
        if (failure) {
            keepFirstFailure(failure, [&] {
                fanOut.record(pulled, now);
                fanOut.publish(pulled); // those behind will be, and a stream must have no hole
            });
            std::rethrow_exception(failure);
        }
        fanOut.record(pulled, now);
        fanOut.publish(pulled);
        fanOut.show(pulled, now);
        meter.update(fanOut.flow(), now);
        if (pulled.empty()) {
            clock.sleepFor(kIdleSleep);
        }
    }
}

// What was received before the end is the recording's, whatever the end was: takes what the reader, which has
// stopped, holds still. Whoever follows this host records the same. Nothing when nothing is recorded.
void recordRemainder(timing::TagStreamReader& reader, std::size_t limit, TagFanOut& fanOut,
                     TagFlowMeter& meter, LoopClock& clock) {
    const auto now = clock.now(); // the duration counts up to here, however slow the disk is
    std::vector<timing::TimeTag> pulled;
    const timing::TagStreamReader::Counts counts = reader.counts();
    fanOut.noteLosses(counts.dropped, counts.skipped_bytes);
    while (fanOut.isRecording()) {
        reader.take(pulled, limit);
        if (pulled.empty()) {
            return;
        }
        fanOut.record(pulled, now);
        fanOut.publish(pulled);
        meter.update(fanOut.flow(), clock.now());
    }
}

void reportLoss(const timing::TagStreamReader& reader, MeasurementEvents& events) {
    if (const quint64 lost = reader.dropped(); lost > 0) {
        events.tagsLost(lost);
    }
}

} // namespace

void SourceDescription::describeIn(timing::StreamFileHeader& header) const {
    header.application = application;
    header.device_product = product;
    header.device_serial = serial;
    header.device_port = port;
}

void captureLoop(timing::Device& device, const CaptureRequest& request, relay::RelayServer* relay,
                 const std::atomic<bool>& stop, MeasurementEvents& events, LoopClock& clock) {
    ensureReferenceClockReadyForMeasurement(device, request.clock, stop, events, clock);
    if (stop) {
        return; // perhaps before the reference was locked
    }
    const timing::StreamFileHeader header = configureStream(device, request);
    const auto start = clock.now();
    auto recording = TagRecording::start(request.recording, header, start);
    const QueueRule& queueRule = recording ? request.recordingQueue : request.queue;
    TagFanOut fanOut(std::move(recording), relay, events, request.batchSize, request.maxUiTagsPerSecond,
                     start);
    TagFlowMeter meter(events, start);
    StreamSession stream(device);
    timing::TagStreamReader reader(device);
    meter.follow(reader);
    reader.set_read_hook([&meter, &clock] { meter.watch(clock.now()); });

    const auto limit = static_cast<std::size_t>(std::max(request.batchSize, 1));
    std::exception_ptr failure;
    keepFirstFailure(failure, [&] {
        stream.start(header);
        reader.start(header, timing::TagStreamReader::kReadBytes, queueLimit(queueRule, request.batchSize));
        carryTags(reader, limit, fanOut, meter, stop, clock);
    });
    keepFirstFailure(failure, [&] { reader.stop(); });
    if (!failure) {
        keepFirstFailure(failure, [&] { stream.finish(); });
    }
    stream.abandon();           // unless it has finished
    if (fanOut.isRecording()) { // the disk may take its time
        meter.pause(fanOut.flow());
    }
    reportLoss(reader, events);
    keepFirstFailure(failure, [&] { recordRemainder(reader, limit, fanOut, meter, clock); });
    failure = fanOut.closeRecording(failure);
    fanOut.end(reader.counts().taken, 0, failure != nullptr);
    meter.finish(fanOut.flow());
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace qorn::timetagger::gui
