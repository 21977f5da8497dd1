// A capture whose every fault is drawn from a seed: what the stream brings, where it fails, how time passes,
// who is held up and when it is stopped. It keeps what can be known of the tags without the product's counts.
#pragma once

#include "BlockedFile.h"
#include "CaptureLoop.h"
#include "Device.h"
#include "Driver.h"
#include "FileSizeLimit.h"
#include "GuiHandOver.h"
#include "LoopTestSupport.h"
#include "RelayServer.h"

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace qorn::timetagger::gui::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned kSeededRuns = 200; // which take as long as a thousand otherwise
#else
constexpr unsigned kSeededRuns = 1000;
#endif

// What is drawn for one run.
struct CapturePlan {
    explicit CapturePlan(unsigned seed);

    std::mt19937 random;
    std::size_t words = 0;    // of the stream
    bool garbage = false;     // bytes between them that are no words
    std::size_t readMost = 0; // bytes that one read gives
    bool fails = false;       // the last read, instead of silence
    int readStepMs = 0;       // time that passes per read, at most
    int batchSize = 0;
    int maxUiTagsPerSecond = 0;
    quint64 guiRoom = 0;
    int guiEvery = 0;            // the GUI takes all that waits once in so many batches; 0: never
    std::size_t holdAt = 0;      // the loop waits at this batch until the stream is used up; 0: never
    std::size_t stopAtBatch = 0; // 0: when the stream is used up
    bool records = false;
    int maxDurationSeconds = 0;
    int rotateSeconds = 0;
    bool diskFull = false; // behind some thousand tags of each part
    bool hasRelay = false;

    // As the loop gets it, with a recording to `recordingPath`, if any.
    CaptureRequest request(const QString& recordingPath) const;
    // In `folder`; empty without a recording.
    QString recordingPath(const std::string& folder, unsigned seed) const;
    // The room on the disk, while the result lives.
    std::unique_ptr<qorn::testing::FileSizeLimit> limitDisk() const;
};

// How many runs came to what; a plan that never faults proves nothing.
class Coverage {
public:
    void add(const std::string& what, bool came) { runs[what] += came ? 1 : 0; }
    // What captures of all sources come to. Which stages an error cuts besides the recording depends on
    // whether the loop learns of it with tags in its hands.
    void addFlow(const UiTagFlow& flow);
    // Each of what was asked for came at least once; how often depends on what else the machine does.
    void expectAll() const;

private:
    std::map<std::string, int> runs;
};

// The places of `part` in `all`, in which each tag is there once: how many tags of `all` before the last of
// them are missing. -1 when it is no part of it in its order.
std::int64_t missingBefore(const Tags& part, const Tags& all);

// The driver's stream; hands out what the plan says, and waits for nothing.
class PlannedStream {
public:
    explicit PlannedStream(CapturePlan& plan, ManualClock& manualClock);

    tt_status read(std::span<std::uint8_t> buffer, std::size_t* count);
    bool isUsedUp() const { return usedUp; }
    // What a decoder makes of all that was handed out.
    Tags decoded() const;

private:
    std::mt19937 random; // of the reader's thread
    ManualClock& clock;
    qorn::testing::Bytes bytes;
    std::size_t readMost;
    int readStepMs;
    bool fails;
    std::atomic<std::size_t> handed{0};
    std::atomic<bool> usedUp{false}; // and the reader has come back for more
};

// What the capture reports, and the GUI thread that takes it as planned.
class PlannedEvents final : public MeasurementEvents {
public:
    PlannedEvents(CapturePlan& capturePlan, std::function<bool()> streamIsUsedUp,
                  std::atomic<bool>& stopFlag);

    void clockStatus(const timing::ReferenceClockStatus&) override {}
    void counterSample(UiCounterSample) override {}
    bool hasRoomFor(qsizetype tags) override;
    void tagsBatch(UiTimeTagBatch batch) override;
    void tagFlow(const UiTagFlow& flow) override;
    void tagsLost(quint64 count) override { lost += count; }
    // The GUI takes all that waits.
    void takeAll();

    Tags tags;           // of all batches
    quint64 refused = 0; // tags for which there was no room
    quint64 lost = 0;
    quint64 taken = 0;       // by the GUI
    quint64 mostWaiting = 0; // tags
    std::vector<UiTagFlow> flows;
    std::vector<std::string> imbalances;

private:
    CapturePlan& plan;
    std::function<bool()> isUsedUp;
    std::atomic<bool>& stop;
    GuiHandOver handOver;
    std::deque<quint64> waiting;
    quint64 waitingTags = 0;
    std::size_t batches = 0; // asked for room
};

// One run, over when run() returns.
class PlannedCapture {
public:
    PlannedCapture(unsigned seed, relay::RelayServer& server, const std::string& folder);
    void run(timing::Device& device);

    CapturePlan plan;
    ManualClock clock;
    std::atomic<bool> stop{false};
    PlannedStream stream{plan, clock};
    PlannedEvents events{plan, [this] { return stream.isUsedUp(); }, stop};
    QString recordingPath;
    std::string failure; // text
    quint64 publishedBefore = 0;
    relay::RelayServer* relay = nullptr;
};

// Lets reads of the driver in force go to the stream of the run, while it lives.
class PlannedReads {
public:
    PlannedReads();
    ~PlannedReads();
    PlannedReads(const PlannedReads&) = delete;
    PlannedReads& operator=(const PlannedReads&) = delete;
    static void use(PlannedStream* stream);

private:
    const timing::DriverTable* earlier;
    timing::DriverTable table;
};

} // namespace qorn::timetagger::gui::test
