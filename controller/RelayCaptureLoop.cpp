#include "RelayCaptureLoop.h"

#include "RelayClient.h"
#include "TagFanOut.h"

#include <vector>

namespace qorn::timetagger::gui {
namespace {

timing::StreamFileHeader relayHeader(const CaptureRequest& request) {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Raw64;
    header.mode = timing::StreamMode::External;
    header.transport = timing::Transport::Usb;
    header.channel_mask = 15;
    header.delta_bits = 16;
    header.quantum_ps = 8;
    header.raw64_tag_format = "ps";
    header.application = request.source.application;
    header.device_product = request.source.product;
    header.device_serial = request.source.serial;
    header.device_port = request.source.port;
    return header;
}

} // namespace

void relayCaptureLoop(const relay::RelayEndpoint& endpoint, const CaptureRequest& request,
                      relay::RelayServer* server, const std::atomic<bool>& stop, MeasurementEvents& events,
                      LoopClock& clock) {
    const auto start = clock.now();
    TagFanOut fanOut(TagRecording::start(request.recording, relayHeader(request), start), server, events,
                     request.batchSize, request.maxUiTagsPerSecond, start);
    const unsigned mask = request.channelMask == 0 ? 15U : request.channelMask;
    relay::RelayClient().receive(endpoint, stop, [&](std::vector<timing::TimeTag>& tags) {
        const auto now = clock.now();
        fanOut.publish(tags);
        std::erase_if(tags, [mask](const timing::TimeTag& tag) {
            return tag.channel >= timing::kChannels || ((mask >> tag.channel) & 1) == 0;
        });
        fanOut.record(tags, now);
        fanOut.show(tags, now);
    });
    fanOut.flush();
    fanOut.closeRecording();
}

} // namespace qorn::timetagger::gui
