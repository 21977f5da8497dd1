// That no tag gets lost uncounted on its way through a capture.
#include "CheckedRecording.h"
#include "FileSizeLimit.h"
#include "PlannedCapture.h"
#include "RelaySupport.h"
#include "ScriptedDriver.h"
#include "TagStreamReader.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <thread>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::missingBefore;
using test::PlannedCapture;
using test::Tags;

// As a file has them: garbage in the stream can make far times.
Tags wrapped(Tags tags) {
    for (timing::TimeTag& tag : tags) {
        tag.timestamp_ps %= timing::kCoarseWrapPs;
    }
    return tags;
}

class StreamLosses : public ::testing::Test {
protected:
    void check(PlannedCapture& run) {
        ASSERT_FALSE(run.events.flows.empty());
        const UiTagFlow flow = run.events.flows.back();
        EXPECT_EQ(run.events.imbalances, std::vector<std::string>());
        EXPECT_EQ(std::ranges::count_if(run.events.flows, &UiTagFlow::ended), 1);
        EXPECT_TRUE(flow.ended);
        checkSource(run, flow);
        checkGui(run, flow);
        checkRecording(run, flow);
        checkRelay(run, flow);
        if (run.failure.empty()) {
            EXPECT_EQ(flow.gui.cut + flow.recording.cut + flow.relay.cut, 0U);
        }
        coverage.addFlow(flow);
        coverage.add("dropped", flow.source.dropped > 0);
        coverage.add("skipped", flow.source.skippedBytes > 0);
        coverage.add("discarded", flow.source.discarded > 0);
        coverage.add("GUI discarded", flow.gui.discarded > 0);
        coverage.add("failed", !run.failure.empty());
        reports += run.events.flows.size();
    }

    static void checkSource(const PlannedCapture& run, const UiTagFlow& flow) {
        EXPECT_EQ(flow.source.received, run.stream.decoded().size());
        EXPECT_EQ(flow.source.waiting, 0U);
        if (!run.plan.garbage) {
            EXPECT_EQ(flow.source.skippedBytes, 0U);
        }
        EXPECT_EQ(flow.source.dropped, run.events.lost);
        EXPECT_EQ(flow.gui.offered, flow.source.pulled);
        EXPECT_TRUE(run.failure.empty() ||
                    (run.plan.fails && run.failure == "read_stream_bytes: general failure") ||
                    (run.plan.diskFull && run.failure.starts_with("StreamFileWriter: ")))
            << run.failure;
    }

    static void checkGui(PlannedCapture& run, const UiTagFlow& flow) {
        EXPECT_EQ(flow.gui.sent, run.events.tags.size());
        EXPECT_EQ(flow.gui.backlog, run.events.refused);
        EXPECT_EQ(flow.window.sent, flow.gui.sent);
        EXPECT_EQ(flow.window.shown + flow.window.outdated, run.events.taken);
        EXPECT_LE(run.events.mostWaiting, run.plan.guiRoom);
        const std::int64_t missing = missingBefore(run.events.tags, run.stream.decoded());
        ASSERT_GE(missing, 0);
        EXPECT_LE(static_cast<quint64>(missing), flow.source.dropped + flow.gui.thinned + flow.gui.backlog);
        if (run.plan.maxUiTagsPerSecond == 0) {
            EXPECT_EQ(flow.gui.thinned, 0U);
        }
        if (flow.gui.thinned + flow.gui.backlog + flow.gui.cut == 0 && !run.events.tags.empty()) {
            EXPECT_EQ(run.events.tags.size() + flow.gui.discarded, flow.source.pulled);
        }
    }

    void checkRecording(const PlannedCapture& run, const UiTagFlow& flow) {
        if (run.recordingPath.isEmpty()) {
            EXPECT_EQ(flow.recording, UiTagFlow::Recording());
            return;
        }
        EXPECT_EQ(flow.recording.offered, flow.source.pulled);
        EXPECT_EQ(flow.recording.waiting, 0U);
        coverage.add("dropped ahead of a record", flow.source.dropped > 0);
        coverage.add("rotated", test::partsOf(run.recordingPath).size() > 1);
        const Tags all = wrapped(run.stream.decoded());
        const Tags recorded = test::checkedRecording(
            run.recordingPath, {flow, run.failure, run.plan.maxDurationSeconds > 0, all});
        EXPECT_EQ(flow.recording.recorded, recorded.size());
        const std::int64_t missing = missingBefore(recorded, all);
        ASSERT_GE(missing, 0);
        if (run.plan.diskFull) {
            test::removeRecording(run.recordingPath);
            return;
        }
        EXPECT_EQ(flow.recording.cut, 0U);
        EXPECT_LE(static_cast<quint64>(missing), flow.source.dropped);
        if (run.plan.maxDurationSeconds == 0) { // else it may be over before what is left at the stop
            EXPECT_EQ(flow.source.discarded, 0U) << "what was received before the end is recorded";
        }
        if (flow.recording.afterEnd == 0) {
            EXPECT_TRUE(recorded.empty() || static_cast<quint64>(missing) == flow.source.dropped);
        }
        test::removeRecording(run.recordingPath);
    }

    static void checkRelay(const PlannedCapture& run, const UiTagFlow& flow) {
        if (run.relay == nullptr) {
            EXPECT_EQ(flow.relay, UiTagFlow::Relay());
            return;
        }
        EXPECT_EQ(flow.relay.offered, flow.source.pulled);
        EXPECT_EQ(flow.relay.published, run.relay->stats().tags_published - run.publishedBefore);
    }

    qorn::testing::ScopedDriver driver;
    timing::Device device = timing::Device::open_serial("A");
    test::PlannedReads reads;
    test::LoopbackServer server;
    qorn::testing::TemporaryFolder folder;
    test::Coverage coverage;
    std::size_t reports = 0;
};

TEST_F(StreamLosses, EveryStageAccountsForEveryTagInAllFaultyRuns) {
    test::PassingListener listener(server);
    for (unsigned seed = 0; seed < test::kSeededRuns; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ASSERT_TRUE(listener.follow(seed));
        PlannedCapture run(seed, *server.get(), folder.path().string());
        run.run(device);
        check(run);
        driver->clearLog();
        if (HasFailure()) {
            return; // the first seed is enough
        }
    }
    coverage.expectAll();
    EXPECT_GT(reports, test::kSeededRuns) << "also while it runs, not only at the end";
}

TEST_F(StreamLosses, OfARecordingThatTakesNothingAllIsCutOff) {
    for (unsigned seed = 0; seed < test::kSeededRuns / 5; ++seed) {
        PlannedCapture run(seed, *server.get(), folder.path().string());
        run.recordingPath = QStringLiteral("/dev/full"); // from the first byte
        run.run(device);
        ASSERT_FALSE(run.events.flows.empty());
        const UiTagFlow flow = run.events.flows.back();
        ASSERT_TRUE(flow.balances()) << seed;
        EXPECT_EQ(flow.recording.offered, flow.source.pulled) << seed;
        EXPECT_EQ(flow.gui.offered, flow.source.pulled) << seed;
        EXPECT_EQ(flow.recording.recorded, 0U) << seed;
        EXPECT_EQ(flow.recording.cut + flow.recording.afterEnd, flow.source.pulled) << seed;
        driver->clearLog();
    }
}

TEST_F(StreamLosses, AFileThatTakesNoMoreHoldsWhatIsCountedAsRecorded) {
    unsigned cut = 0;
    for (unsigned seed = 0; seed < test::kSeededRuns / 5; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        PlannedCapture run(seed, *server.get(), folder.path().string());
        run.recordingPath =
            QString::fromStdString(folder.file(("full" + std::to_string(seed) + ".qornts").c_str()));
        {
            const qorn::testing::FileSizeLimit limit(16384 + run.plan.random() % 2'000'000);
            run.run(device);
        }
        const UiTagFlow flow = run.events.flows.back();
        ASSERT_TRUE(flow.balances());
        const Tags recorded =
            test::checkedRecording(run.recordingPath, {flow, run.failure, run.plan.maxDurationSeconds > 0,
                                                       wrapped(run.stream.decoded())});
        EXPECT_EQ(flow.recording.recorded, recorded.size());
        cut += flow.recording.cut > 0;
        driver->clearLog();
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_GT(cut, 0U);
}

TEST_F(StreamLosses, TheReadersCountsAgreeAtEveryMoment) {
    driver->clearLog();
    test::CapturePlan plan(1);
    plan.words = 400000;
    plan.fails = false;
    plan.readMost = 20000;
    test::ManualClock clock;
    test::PlannedStream stream(plan, clock);
    test::PlannedReads::use(&stream);
    timing::TagStreamReader reader(device);
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::atomic<int> looks{0};
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Raw64;
    header.raw64_tag_format = "ps";
    reader.start(header, 65536, 2048);
    std::thread watcher([&] {
        while (!done) {
            const auto counts = reader.counts();
            wrong += counts.decoded != counts.taken + counts.dropped + counts.queued;
            ++looks;
            std::this_thread::yield();
        }
    });
    while (looks == 0) {
        std::this_thread::yield();
    }
    std::size_t taken = 0;
    Tags tags;
    while (!stream.isUsedUp()) {
        timing::TagStreamReader::Counts counts;
        EXPECT_EQ(reader.take(tags, 777, counts), nullptr);
        taken += tags.size();
        EXPECT_EQ(counts.taken, taken);
        wrong += counts.decoded != counts.taken + counts.dropped + counts.queued;
    }
    reader.stop();
    done = true;
    watcher.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(reader.counts().decoded, stream.decoded().size());
    EXPECT_EQ(reader.counts().dropped, reader.dropped());
    test::PlannedReads::use(nullptr);
}

} // namespace
} // namespace qorn::timetagger::gui
