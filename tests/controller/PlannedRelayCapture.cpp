#include "PlannedRelayCapture.h"

#include "RelayCaptureLoop.h"

#include <algorithm>
#include <thread>

namespace qorn::timetagger::gui::test {

PlannedRelayCapture::PlannedRelayCapture(unsigned seed, relay::RelayServer& server, const std::string& folder)
    : plan(seed), end(static_cast<End>(plan.random() % 4)), mask(static_cast<quint8>(plan.random() % 16)),
      sent(tagsFrom(0, plan.words)), recordingPath(plan.recordingPath(folder, seed)),
      onward(plan.hasRelay ? &server : nullptr), random(plan.random()) {
    if (plan.words > 5000) {
        plan.holdAt = 0; // the other host would be held up as well, and never be done
    }
}

void PlannedRelayCapture::run(RawPublisher& publisher) {
    CaptureRequest request = plan.request(recordingPath);
    request.channelMask = mask;
    publishedBefore = onward != nullptr ? onward->stats().tags_published : 0;
    const auto disk = plan.limitDisk();
    std::thread otherHost([&] { send(publisher); });
    failure =
        failureOf([&] { relayCaptureLoop(publisher.endpoint(), request, onward, stop, events, clock); });
    otherHost.join();
}

Tags PlannedRelayCapture::masked(std::size_t count) const {
    Tags kept;
    std::copy_if(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(count), std::back_inserter(kept),
                 [this](const timing::TimeTag& tag) { return mask == 0 || (mask >> tag.channel & 1U) != 0; });
    return kept;
}

void PlannedRelayCapture::send(RawPublisher& publisher) {
    if (!publisher.accept()) {
        stop = true;
        return;
    }
    const qorn::testing::Bytes bytes = wordsOf(sent);
    // Sometimes the duration of the recording is over before the first tag comes.
    clock.advance(std::chrono::seconds(random() % 4 == 0 ? plan.maxDurationSeconds : 0));
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t size = std::min(bytes.size() - at, 1 + random() % plan.readMost);
        clock.advance(std::chrono::milliseconds(random() % static_cast<unsigned>(plan.readStepMs + 1)));
        const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        if (!publisher.send({from, from + static_cast<std::ptrdiff_t>(size)})) {
            break; // the capture has ended
        }
        at += size;
    }
    switch (end) {
    case End::Silent:
        break;
    case End::Closed:
        publisher.closeClient();
        break;
    case End::Reset:
        publisher.resetClient();
        break;
    case End::InvalidRecord: // one that begins amid a record is invalid too
        publisher.send(qorn::testing::bytesFromHex("FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF FF"));
        break;
    }
    allSent = true;
    stop = stop || end == End::Silent;
}

} // namespace qorn::timetagger::gui::test
