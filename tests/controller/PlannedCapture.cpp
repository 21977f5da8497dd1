#include "PlannedCapture.h"

#include "StreamDecoder.h"
#include "StreamHeaders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace qorn::timetagger::gui::test {
namespace {

std::atomic<PlannedStream*> streamInUse{nullptr};

tt_status readPlanned(tt_device*, void* buffer, std::size_t capacity, std::size_t* count, int) {
    return streamInUse.load()->read({static_cast<std::uint8_t*>(buffer), capacity}, count);
}

template <typename Value>
Value oneOf(std::mt19937& random, std::initializer_list<Value> values) {
    return values.begin()[random() % values.size()];
}

qorn::testing::Bytes streamOf(CapturePlan& plan) {
    static const qorn::testing::Bytes kWords = wordsOf(tagsFrom(0, 400000));
    qorn::testing::Bytes bytes(kWords.begin(), kWords.begin() + static_cast<std::ptrdiff_t>(plan.words * 8));
    if (plan.garbage) {
        for (int piece = 0; piece < 3; ++piece) {
            const std::size_t at = plan.random() % (plan.words + 1) * 8;
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), 1 + plan.random() % 20, 0xFF);
        }
    }
    return bytes;
}

} // namespace

CapturePlan::CapturePlan(unsigned seed) : random(seed) {
    const auto oneIn = [this](unsigned number) { return random() % number == 0; };
    const bool floods = oneIn(6); // more than the reader's queue holds
    words = floods ? 131072 + random() % 268928 : random() % 5000;
    batchSize = floods ? oneOf(random, {1000, 8192}) : oneOf(random, {1, 10, 100, 1000, 65536});
    holdAt = floods || oneIn(4) ? 1 + random() % 3 : 0;
    garbage = oneIn(4);
    readMost = floods ? 200000 + random() % 800000 : 1 + random() % 20000;
    fails = oneIn(5);
    readStepMs = oneOf(random, {0, 1, 60, 400});
    maxUiTagsPerSecond = oneOf(random, {0, 10, 1000, 100000, 16000000});
    guiRoom = oneOf<quint64>(random, {600, 5000, 60000, 16000000});
    guiEvery = oneOf(random, {0, 1, 2, 7, 40});
    stopAtBatch = oneIn(3) ? 1 + random() % 20 : 0;
    records = oneIn(3);
    maxDurationSeconds = oneIn(2) ? 1 : 0;
    diskFull = oneIn(8);
    hasRelay = oneIn(3);
    rotateSeconds = oneIn(2) ? 1 : 0;
}

CaptureRequest CapturePlan::request(const QString& recordingPath) const {
    CaptureRequest request;
    request.mode = QStringLiteral("external");
    request.stream.format = StreamChoice::Raw64;
    request.batchSize = batchSize;
    request.maxUiTagsPerSecond = maxUiTagsPerSecond;
    request.recordingQueue = request.queue; // else tags are dropped only where a test has no time to get
    request.recording = {recordingPath, rotateSeconds, maxDurationSeconds};
    return request;
}

QString CapturePlan::recordingPath(const std::string& folder, unsigned seed) const {
    return records || diskFull ? QString::fromStdString(folder + "/run" + std::to_string(seed) + ".qornts")
                               : QString();
}

std::unique_ptr<qorn::testing::FileSizeLimit> CapturePlan::limitDisk() const {
    constexpr rlim_t kSmallDisk = 16384; // bytes, with room for a companion
    return diskFull ? std::make_unique<qorn::testing::FileSizeLimit>(kSmallDisk) : nullptr;
}

void Coverage::addFlow(const UiTagFlow& flow) {
    add("thinned", flow.gui.thinned > 0);
    add("backlog", flow.gui.backlog > 0);
    add("recorded", flow.recording.recorded > 0);
    add("after end", flow.recording.afterEnd > 0);
    add("recording cut", flow.recording.cut > 0);
    add("published", flow.relay.published > 0);
    add("unwanted", flow.relay.unwanted > 0);
}

void Coverage::expectAll() const {
    for (const auto& [what, came] : runs) {
        EXPECT_GT(came, 0) << what;
    }
}

std::int64_t missingBefore(const Tags& part, const Tags& all) {
    std::size_t at = 0;
    for (const timing::TimeTag& tag : part) {
        while (at < all.size() && !(all[at] == tag)) {
            ++at;
        }
        if (at++ == all.size()) {
            return -1;
        }
    }
    return static_cast<std::int64_t>(at - part.size());
}

PlannedStream::PlannedStream(CapturePlan& plan, ManualClock& manualClock)
    : random(plan.random()), clock(manualClock), bytes(streamOf(plan)), readMost(plan.readMost),
      readStepMs(plan.readStepMs), fails(plan.fails) {}

tt_status PlannedStream::read(std::span<std::uint8_t> buffer, std::size_t* count) {
    clock.advance(std::chrono::milliseconds(random() % static_cast<unsigned>(readStepMs + 1)));
    const std::size_t left = bytes.size() - handed;
    if (left == 0) {
        usedUp = true;
        std::this_thread::yield();
        return fails ? TT_FAILED : TT_TIMED_OUT;
    }
    *count = std::min({left, buffer.size(), 1 + random() % readMost});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(handed), *count, buffer.begin());
    handed += *count;
    return TT_OK;
}

Tags PlannedStream::decoded() const {
    timing::StreamDecoder decoder(qorn::testing::raw64Header("ps"));
    const auto tags = decoder.feed(std::span(bytes).first(handed));
    return {tags.begin(), tags.end()};
}

PlannedEvents::PlannedEvents(CapturePlan& capturePlan, std::function<bool()> streamIsUsedUp,
                             std::atomic<bool>& stopFlag)
    : plan(capturePlan), isUsedUp(std::move(streamIsUsedUp)), stop(stopFlag), handOver(plan.guiRoom) {}

bool PlannedEvents::hasRoomFor(qsizetype asked) {
    ++batches;
    if (batches == plan.holdAt) {
        while (!isUsedUp()) {
            std::this_thread::yield();
        }
    }
    if (plan.guiEvery > 0 && batches % static_cast<std::size_t>(plan.guiEvery) == 0) {
        takeAll();
    }
    if (batches == plan.stopAtBatch) {
        stop = true;
    }
    const bool room = handOver.hasRoomFor(static_cast<quint64>(asked));
    refused += room ? 0 : static_cast<quint64>(asked);
    return room;
}

void PlannedEvents::tagsBatch(UiTimeTagBatch batch) {
    const auto size = static_cast<quint64>(batch.size());
    handOver.send(size);
    waiting.push_back(size);
    waitingTags += size;
    if (waiting.size() > 1) {
        mostWaiting = std::max(mostWaiting, waitingTags);
    }
    const Tags more = fromUi(batch);
    tags.insert(tags.end(), more.begin(), more.end());
}

void PlannedEvents::takeAll() {
    for (const quint64 size : waiting) {
        handOver.arrive(size, plan.random() % 10 != 0);
        taken += size;
    }
    waiting.clear();
    waitingTags = 0;
}

void PlannedEvents::tagFlow(const UiTagFlow& counts) {
    UiTagFlow flow = counts;
    flow.window = handOver.counts();
    if (!flow.balances()) {
        imbalances.push_back("report " + std::to_string(flows.size()));
    }
    flows.push_back(flow);
}

PlannedCapture::PlannedCapture(unsigned seed, relay::RelayServer& server, const std::string& folder)
    : plan(seed), recordingPath(plan.recordingPath(folder, seed)) {
    relay = plan.hasRelay ? &server : nullptr;
}

void PlannedCapture::run(timing::Device& device) {
    clock.onSleep = [this](std::size_t) {
        if (stream.isUsedUp() && !plan.fails && plan.random() % 4 == 0) {
            stop = true; // what the reader still holds is left to it
        }
    };
    publishedBefore = relay != nullptr ? relay->stats().tags_published : 0;
    PlannedReads::use(&stream);
    const auto disk = plan.limitDisk();
    failure =
        failureOf([&] { captureLoop(device, plan.request(recordingPath), relay, stop, events, clock); });
    PlannedReads::use(nullptr);
}

PlannedReads::PlannedReads() : earlier(timing::exchange_driver(nullptr)), table(*earlier) {
    table.tt_read_stream_bytes = readPlanned;
    timing::exchange_driver(&table);
}

PlannedReads::~PlannedReads() {
    timing::exchange_driver(earlier);
}

void PlannedReads::use(PlannedStream* stream) {
    streamInUse = stream;
}

} // namespace qorn::timetagger::gui::test
