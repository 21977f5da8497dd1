#include "TagFanOut.h"

#include "RelayServer.h"
#include "TagWords.h"

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kBatchInterval{50};
constexpr const char* kReaderStage = "reader"; // in a recording's companion

UiTimeTag toUi(const timing::TimeTag& tag) {
    return {tag.channel, tag.timestamp_ps};
}

quint64 accountedFor(const UiTagFlow::Recording& stage) {
    return stage.recorded + stage.afterEnd; // nothing is on its way at the end
}

quint64 accountedFor(const UiTagFlow::Relay& stage) {
    return stage.published + stage.refused + stage.unwanted;
}

quint64 accountedFor(const UiTagFlow::Gui& stage) {
    return stage.sent + stage.thinned + stage.backlog + stage.discarded;
}

std::string textOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
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
    if (!recording) {
        return;
    }
    std::exception_ptr failure;
    try {
        recording->append(tags, now);
    } catch (const std::exception&) {
        failure = std::current_exception();
    }
    counts.recording.offered += tags.size();
    (recording->isActive() ? handed : counts.recording.afterEnd) += tags.size();
    countWritten();
    passOnNotices();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void TagFanOut::publish(std::span<const timing::TimeTag> tags) {
    if (relay == nullptr || tags.empty()) {
        return;
    }
    counts.relay.offered += tags.size();
    if (relay->stats().stream_clients == 0) {
        counts.relay.unwanted += tags.size();
        return;
    }
    std::vector<std::uint8_t> words = relay->takeBuffer();
    timing::appendDecodedQorntsTags(words, tags);
    const bool taken = relay->publishRaw64(std::move(words), tags.size());
    (taken ? counts.relay.published : counts.relay.refused) += tags.size();
}

void TagFanOut::show(std::span<const timing::TimeTag> tags, LoopClock::TimePoint now) {
    if (const std::optional<int> limit = events.newTagLimit()) {
        thinner.setLimit(*limit);
    }
    const TagThinner::Selection selection = thinner.select(tags.size(), now);
    counts.gui.offered += tags.size();
    counts.gui.thinned += tags.size() - selection.picked;
    counts.gui.waiting += selection.picked;
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

void TagFanOut::noteLosses(quint64 dropped, quint64 unreadableBytes) {
    if (recording) {
        recording->noteLoss(kReaderStage, dropped - std::exchange(notedDropped, dropped));
        recording->noteLoss(timing::kUnreadableStage,
                            unreadableBytes - std::exchange(notedUnreadable, unreadableBytes));
    }
}

std::exception_ptr TagFanOut::closeRecording(const std::exception_ptr& failure) {
    if (!recording) {
        return failure;
    }
    std::exception_ptr told = failure;
    if (failure) {
        recording->closeAfter(textOf(failure));
    } else {
        try {
            recording->close();
        } catch (const std::exception&) {
            told = std::current_exception();
        }
    }
    countWritten();
    passOnNotices();
    return told;
}

// What was handed over is in the file or on its way.
void TagFanOut::countWritten() {
    counts.recording.recorded = recording->written();
    counts.recording.waiting = handed - counts.recording.recorded;
}

void TagFanOut::passOnNotices() {
    while (const auto notice = recording->takeNotice()) {
        events.recordingNotice(*notice);
    }
}

void TagFanOut::end(quint64 pulled, quint64 masked, bool failed) {
    counts.ended = true;
    batch.clear();
    counts.gui.discarded += std::exchange(counts.gui.waiting, 0);
    const quint64 kept = pulled - masked;
    const auto settle = [](auto& stage, quint64 reached, quint64& restOfIt) {
        stage.offered = reached;
        restOfIt += reached - accountedFor(stage);
    };
    if (recording) {
        countWritten();
        counts.recording.waiting = 0;
        settle(counts.recording, kept, counts.recording.cut);
    }
    if (relay != nullptr) {
        settle(counts.relay, pulled, counts.relay.cut);
    }
    settle(counts.gui, kept, failed ? counts.gui.cut : counts.gui.discarded);
}

void TagFanOut::emitBatch() {
    const qsizetype size = batch.size();
    counts.gui.waiting = 0;
    if (!events.hasRoomFor(size)) {
        counts.gui.backlog += static_cast<quint64>(size);
        batch.clear();
        return;
    }
    counts.gui.sent += static_cast<quint64>(size);
    if (size <= batchTags / 2) { // what waits to be shown holds no more memory than it needs
        UiTimeTagBatch part(batch.cbegin(), batch.cend());
        batch.clear();
        events.tagsBatch(std::move(part));
        return;
    }
    UiTimeTagBatch full;
    full.reserve(batchTags);
    full.swap(batch);
    events.tagsBatch(std::move(full));
}

} // namespace qorn::timetagger::gui
