#include "RelayCaptureLoop.h"

#include "RelayClient.h"
#include "RelayDecoder.h"
#include "TagFanOut.h"

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
    TagFanOut fanOut(TagRecording::start(request.recording, recordingHeader(request), start), server, events,
                     request.batchSize, request.maxUiTagsPerSecond, start);
    const auto carryOn = [&](const std::vector<timing::TimeTag>& tags) {
        const auto now = clock.now();
        fanOut.record(tags, now);
        fanOut.show(tags, now);
    };
    try {
        relay::RelayClient().receive(
            endpoint, stop,
            [&](std::vector<timing::TimeTag>& tags) {
                fanOut.publish(tags);
                keepChannels(tags, request.channels());
                carryOn(tags);
            },
            [&] { carryOn({}); });
    } catch (...) {
        fanOut.flush(); // what came before the failure came whole
        throw;
    }
    fanOut.flush();
    fanOut.closeRecording();
}

} // namespace qorn::timetagger::gui
