#include "RelayCaptureLoop.h"

#include "RelayClient.h"
#include "RelayDecoder.h"
#include "TagFanOut.h"
#include "TagFlowMeter.h"

#include <exception>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

timing::StreamFileHeader recordingHeader(const CaptureRequest& request) {
    timing::StreamFileHeader header = relay::relayStreamHeader();
    header.delta_bits = 16;
    header.quantum_ps = 8;
    request.source.describeIn(header);
    return header;
}

void keepChannels(std::vector<timing::TimeTag>& tags, unsigned mask) {
    std::erase_if(tags, [mask](const timing::TimeTag& tag) {
        return tag.channel >= timing::kChannels || ((mask >> tag.channel) & 1) == 0;
    });
}

} // namespace

void relayCaptureLoop(const relay::RelayEndpoint& endpoint, const CaptureRequest& request,
                      relay::RelayServer* server, const std::atomic<bool>& stop, MeasurementEvents& events,
                      LoopClock& clock) {
    const auto start = clock.now();
    TagFanOut fanOut(
        TagRecording::start(request.recording, recordingHeader(request), start, TagRecording::Link::Network),
        server, events, request.batchSize, request.maxUiTagsPerSecond, start);
    TagFlowMeter meter(events, start);
    UiTagFlow::Source source;
    quint64 masked = 0;
    const auto flow = [&] {
        UiTagFlow counts = fanOut.flow();
        counts.source = source;
        counts.masked = masked;
        return counts;
    };
    const auto carryOn = [&](const std::vector<timing::TimeTag>& tags) {
        const auto now = clock.now();
        fanOut.record(tags, now);
        fanOut.show(tags, now);
        meter.update(flow(), now);
    };
    std::exception_ptr failure;
    try {
        relay::RelayClient().receive(
            endpoint, stop,
            [&](std::vector<timing::TimeTag>& tags) {
                source.received += tags.size();
                source.pulled += tags.size();
                fanOut.publish(tags);
                masked += tags.size();
                keepChannels(tags, request.channels());
                masked -= tags.size();
                carryOn(tags);
            },
            [&] { carryOn({}); });
    } catch (const relay::InvalidRelayRecord& invalid) {
        source.skippedBytes = invalid.unreadBytes;
        failure = std::current_exception();
    } catch (const std::exception&) {
        failure = std::current_exception();
    }
    fanOut.noteLosses(0, source.skippedBytes);
    fanOut.flush();             // what came, before a failure too, came whole
    if (fanOut.isRecording()) { // the disk may take its time
        meter.pause(flow());
    }
    failure = fanOut.closeRecording(failure);
    fanOut.end(source.pulled, masked, failure != nullptr);
    meter.finish(flow());
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace qorn::timetagger::gui
