// What happens to a capture when the GUI thread does not follow.
#include "ControllerTest.h"
#include "FileSizeLimit.h"
#include "PlannedCapture.h"
#include "ResidentMemory.h"

#include <QFile>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::tagsFrom;
using test::wordsOf;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr int kBudget = 5'000'000; // tags/s, whose second is what may wait for the GUI
constexpr double kTagMebibytes = sizeof(UiTimeTag) / 1048576.0;

// A driver whose stream comes at a rate, up to a number of tags that a test may raise.
class PacedReads {
public:
    explicit PacedReads(double tagsPerSecond) : earlier(timing::exchange_driver(nullptr)), table(*earlier) {
        rate = tagsPerSecond;
        given = 0;
        allowed = 0;
        table.tt_read_stream_bytes = read;
        timing::exchange_driver(&table);
    }
    ~PacedReads() { timing::exchange_driver(earlier); }
    PacedReads(const PacedReads&) = delete;
    PacedReads& operator=(const PacedReads&) = delete;

    static void allow(std::uint64_t tags) { allowed += tags; }
    static bool isUsedUp() { return given == allowed; }

private:
    static tt_status read(tt_device*, void* buffer, std::size_t capacity, std::size_t* count, int) {
        static const qorn::testing::Bytes kWords = wordsOf(tagsFrom(0, 131072));
        std::this_thread::sleep_for(2ms); // what an instrument does that has nothing to give
        const auto due = static_cast<std::uint64_t>(rate * 0.002);
        const std::uint64_t tags =
            std::min({allowed - given, due, std::uint64_t{capacity / 8}, std::uint64_t{kWords.size() / 8}});
        if (tags == 0) {
            return TT_TIMED_OUT;
        }
        *count = tags * 8;
        std::copy_n(kWords.begin(), *count, static_cast<std::uint8_t*>(buffer));
        given += tags;
        return TT_OK;
    }

    static inline std::atomic<double> rate{0.0};
    static inline std::atomic<std::uint64_t> given{0};
    static inline std::atomic<std::uint64_t> allowed{0};
    const timing::DriverTable* earlier;
    timing::DriverTable table;
};

class BlockedGui : public test::ControllerTest {
protected:
    void SetUp() override {
        openDevice();
        StreamSettings stream;
        stream.format = StreamChoice::Raw64;
        controller->setStreamSettings(stream);
        QObject::connect(controller.get(), &DeviceController::tagFlowChanged, signalled.get(),
                         [this](const UiTagFlow& flow) {
                             EXPECT_TRUE(flow.balances());
                             flows.push_back(flow);
                         });
        QObject::disconnect(controller.get(), &DeviceController::tagsBatch, nullptr, nullptr);
        QObject::connect(
            controller.get(), &DeviceController::tagsBatch, signalled.get(),
            [this](const QList<UiTimeTag>& batch) { shown += static_cast<quint64>(batch.size()); });
    }
    void TearDown() override { controller->close(); }

    void start(const UiTimeTagRecordingConfig& recording = {}) {
        controller->startCapture(QStringLiteral("external"), 0.0, 65536, 15, kBudget, recording);
    }
    // So many tags come while the GUI thread stands. Gives the most memory held meanwhile, in MiB.
    double blockFor(std::uint64_t tags) {
        double most = 0.0;
        PacedReads::allow(tags);
        while (!PacedReads::isUsedUp()) {
            std::this_thread::sleep_for(5ms);
            most = std::max(most, bench::residentMebibytes());
        }
        return most;
    }
    bool showAll() { // until what was sent is there
        return test::runUntil([this] {
            return PacedReads::isUsedUp() && !flows.empty() && flows.back().gui.offered == offered &&
                   flows.back().gui.waiting == 0 && flows.back().gui.sent == shown;
        });
    }

    std::vector<UiTagFlow> flows;
    quint64 shown = 0;
    quint64 offered = 0; // once all of it is through
};

TEST_F(BlockedGui, MemoryIsBoundedAndItRecoversByItself) {
    constexpr std::uint64_t kTags = 25'000'000; // five seconds
    PacedReads reads(kBudget);
    start();
    PacedReads::allow(offered = 1'000'000);
    ASSERT_TRUE(showAll());
    EXPECT_EQ(flows.back().gui.backlog, 0U) << "it followed so far";
    const double before = bench::residentMebibytes();
    const double most = blockFor(kTags);
    if (!kSanitized) {
        // A second of the budget, and the reader's ring of two million tags twice over.
        EXPECT_LT(most - before, (kBudget + 4'194'304) * kTagMebibytes);
    }
    offered += kTags;
    ASSERT_TRUE(showAll());
    const quint64 backlog = flows.back().gui.backlog;
    EXPECT_GT(backlog, 0U);
    EXPECT_EQ(flows.back().source.dropped, 0U);

    PacedReads::allow(500'000);
    offered += 500'000;
    ASSERT_TRUE(showAll());
    EXPECT_EQ(flows.back().gui.backlog, backlog) << "all is shown again";
    stopAndWait();
    EXPECT_TRUE(flows.back().ended);
    EXPECT_EQ(flows.back().window.shown, shown);
    EXPECT_EQ(flows.back().source.received, kTags + 1'500'000);
}

TEST_F(BlockedGui, ARecordingStaysComplete) {
    constexpr std::uint64_t kTags = 12'000'000;
    const QString path = QString::fromStdString(folder.file("run.qornts"));
    PacedReads reads(kBudget);
    start({path, 0, 0});
    blockFor(kTags);
    offered = kTags;
    ASSERT_TRUE(showAll());
    stopAndWait();
    const UiTagFlow flow = flows.back();
    EXPECT_GT(flow.gui.backlog, 0U);
    EXPECT_EQ(flow.source.dropped, 0U);
    EXPECT_EQ(flow.recording, (UiTagFlow::Recording{kTags, kTags, 0, 0}));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray start = file.read(12);
    const auto byte = [&start](qsizetype index) { return static_cast<quint8>(start.at(index)); };
    const qint64 header = 12 + (byte(8) | byte(9) << 8 | byte(10) << 16 | qint64{byte(11)} << 24);
    EXPECT_EQ(file.size() - header, static_cast<qint64>(kTags * 8));
}

TEST_F(BlockedGui, ALargerBudgetIsInForceAtOnceAndASmallerOneNever) {
    const auto thinned = [this] { return flows.back().gui.thinned; };
    PacedReads reads(kBudget);
    controller->startCapture(QStringLiteral("external"), 0.0, 65536, 15, kBudget / 50, {});
    PacedReads::allow(offered = 1'000'000);
    ASSERT_TRUE(test::runUntil([&] { return !flows.empty() && flows.back().gui.offered == offered; }));
    const quint64 before = thinned();
    EXPECT_GT(before, 0U);
    controller->raiseTagBudget(kBudget * 3);
    controller->raiseTagBudget(1);
    PacedReads::allow(1'000'000);
    offered += 1'000'000;
    ASSERT_TRUE(test::runUntil([&] { return flows.back().gui.offered == offered; }));
    EXPECT_EQ(thinned(), before);
    stopAndWait();

    controller->startCapture(QStringLiteral("external"), 0.0, 65536, 15, kBudget / 50, {});
    PacedReads::allow(offered = 1'000'000);
    ASSERT_TRUE(test::runUntil([&] { return flows.back().gui.offered == offered; }));
    EXPECT_GT(thinned(), 0U) << "the next capture has its own";
    stopAndWait();
}

// The longest time between two ticks.
class LongestPause {
public:
    void tick() {
        const auto now = std::chrono::steady_clock::now();
        pause = std::max(pause, now - last);
        last = now;
    }
    std::chrono::duration<double> longest() const { return pause; }

private:
    std::chrono::steady_clock::time_point last = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration pause{};
};

// It takes a fifth of what comes, so that all that may wait for it does, which is five seconds' work.
TEST_F(BlockedGui, ASlowOneLearnsOfLossesWithinASecondAndDoesOtherThings) {
    constexpr std::uint64_t kTags = 30'000'000;
    LongestPause reports;
    LongestPause turns;
    QObject::connect(controller.get(), &DeviceController::tagFlowChanged, signalled.get(),
                     [&] { reports.tick(); });
    QObject::connect(
        controller.get(), &DeviceController::tagsBatch, signalled.get(), [](const QList<UiTimeTag>& batch) {
            std::this_thread::sleep_for(
                std::chrono::duration<double>(static_cast<double>(batch.size()) / (kBudget / 5.0)));
        });
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, signalled.get(), [&] { turns.tick(); });
    turn.start(10ms);
    PacedReads reads(kBudget);
    start();
    PacedReads::allow(offered = kTags);
    ASSERT_TRUE(test::runUntil([] { return PacedReads::isUsedUp(); }));
    ASSERT_FALSE(flows.empty());
    EXPECT_GT(flows.back().gui.backlog, 0U);
    EXPECT_LT(reports.longest(), kSanitized ? 3s : 1s);
    EXPECT_LT(turns.longest(), kSanitized ? 3s : 1s);
    ASSERT_TRUE(showAll());
    stopAndWait();
}

// But for the batch that it is at, each of which takes it longer than a slice.
TEST_F(BlockedGui, WhyARecordingEndedIsToldAheadOfWhatWaits) {
    const qorn::testing::FileSizeLimit disk(4 << 20);
    int batches = 0;
    std::optional<int> batchesBefore;
    QObject::connect(controller.get(), &DeviceController::tagsBatch, signalled.get(), [&] {
        ++batches;
        std::this_thread::sleep_for(50ms);
    });
    QObject::connect(controller.get(), &DeviceController::captureError, signalled.get(),
                     [&](const QString& text) {
                         if (text.contains(QLatin1String("has ended: File too large"))) {
                             batchesBefore = batches;
                         }
                     });
    PacedReads reads(kBudget);
    start({QString::fromStdString(folder.file("run.qornts")), 0, 0});
    PacedReads::allow(10'000'000);
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (controller->isCapturing() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(5ms);
    }
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_GT(batches, 3);
    ASSERT_TRUE(batchesBefore.has_value());
    EXPECT_LE(*batchesBefore, 1);
}

TEST_F(BlockedGui, CountsWaitOnceHoweverLongItStands) {
    constexpr std::uint64_t kTags = 10'000'000; // two seconds, eight reports
    PacedReads reads(kBudget);
    start();
    blockFor(kTags);
    offered = kTags;
    EXPECT_TRUE(flows.empty());
    ASSERT_TRUE(showAll());
    EXPECT_GT(flows.front().source.received, kTags / 2) << "the last report, those before are not told";
    stopAndWait();
}

} // namespace
} // namespace qorn::timetagger::gui
