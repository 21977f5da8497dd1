#include "TagFanOut.h"

#include "RelayServer.h"
#include "TagWords.h"

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kBatchInterval{50};

UiTimeTag toUi(const timing::TimeTag& tag) {
    return {tag.channel, tag.timestamp_ps};
}

} // namespace

TagFanOut::TagFanOut(std::unique_ptr<TagRecording> tagRecording, relay::RelayServer* relayServer,
                     MeasurementEvents& receiver, int batchSize, int maxUiTagsPerSecond,
                     LoopClock::TimePoint start)
    : recording(std::move(tagRecording)), relay(relayServer), events(receiver),
      batchTags(std::max(batchSize, 1)), thinner(maxUiTagsPerSecond, start), lastEmission(start) {
    batch.reserve(batchTags);
}

void TagFanOut::record(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now) {
    if (recording) {
        recording->append(tags, now);
    }
}

void TagFanOut::publish(std::span<const timing::TimeTag> tags) {
    if (relay == nullptr || tags.empty() || relay->stats().stream_clients == 0) {
        return;
    }
    std::vector<std::uint8_t> words = relay->takeBuffer();
    timing::appendDecodedQorntsTags(words, tags);
    relay->publishRaw64(std::move(words), tags.size());
}

void TagFanOut::show(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now) {
    const TagThinner::Selection selection = thinner.select(tags.size(), now);
    const qsizetype before = batch.size();
    batch.resize(before + static_cast<qsizetype>(selection.picked));
    UiTimeTag* next = batch.data() + before;
    if (selection.picked == tags.size()) {
        std::transform(tags.begin(), tags.end(), next, toUi);
    } else {
        for (std::size_t number = 0; number < selection.picked; ++number) {
            *next++ = toUi(tags[selection.index(number)]);
        }
    }
    if (!batch.isEmpty() && (batch.size() >= batchTags || now - lastEmission >= kBatchInterval)) {
        emitBatch();
        lastEmission = now;
    }
}

void TagFanOut::flush() {
    if (!batch.isEmpty()) {
        emitBatch();
    }
}

void TagFanOut::closeRecording() {
    if (recording) {
        recording->close();
    }
}

void TagFanOut::emitBatch() {
    UiTimeTagBatch full;
    full.reserve(batchTags);
    full.swap(batch);
    events.tagsBatch(std::move(full));
}

} // namespace qorn::timetagger::gui
