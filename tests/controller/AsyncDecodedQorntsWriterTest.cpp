#include "AsyncDecodedQorntsWriter.h"

#include "BlockedFile.h"
#include "Error.h"
#include "FileSizeLimit.h"
#include "LoopTestSupport.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using qorn::testing::FileSizeLimit;
using qorn::testing::TemporaryFolder;
using test::readRecording;
using test::Tags;
using test::tagsFrom;
using test::wordsOf;
using Entry = AsyncDecodedQorntsWriter::Entry;
using Payload = std::vector<unsigned char>;

timing::StreamFileHeader headerOf(const std::string& application) {
    timing::StreamFileHeader header;
    header.mode = timing::StreamMode::External;
    header.raw64_tag_format = "ps";
    header.application = application;
    return header;
}

Entry dataOf(const Tags& tags) {
    Entry entry;
    entry.payload = wordsOf(tags);
    return entry;
}

Entry dataOfSize(std::size_t bytes) {
    Entry entry;
    entry.payload.resize(bytes);
    return entry;
}

Entry rotateTo(const QString& path, const std::string& application) {
    Entry entry;
    entry.kind = Entry::Kind::Rotate;
    entry.path = path;
    entry.header = headerOf(application);
    return entry;
}

std::optional<timing::Error> errorOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const timing::Error& error) {
        return error;
    }
    return std::nullopt;
}

// Enqueues on a thread of its own, for entries that block.
class Producer {
public:
    Producer(AsyncDecodedQorntsWriter& target, std::vector<Entry> entries)
        : thread([this, &target, work = std::move(entries)]() mutable {
              try {
                  for (Entry& entry : work) {
                      target.enqueue(std::move(entry));
                      ++accepted;
                  }
              } catch (const std::exception& error) {
                  text = error.what();
              }
              ended = true;
          }) {}
    ~Producer() { join(); }

    std::string join() {
        if (thread.joinable()) {
            thread.join();
        }
        return text;
    }
    // True when it stands after exactly `count` entries: a wrong one would have gone on by then.
    bool isBlockedAfter(int count) const {
        const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
        while (accepted < count && !ended && std::chrono::steady_clock::now() < limit) {
            std::this_thread::yield();
        }
        const auto watched = std::chrono::steady_clock::now() + 50ms;
        while (std::chrono::steady_clock::now() < watched) {
            std::this_thread::yield();
        }
        return accepted == count && !ended;
    }

    std::atomic<int> accepted{0};
    std::atomic<bool> ended{false};

private:
    std::string text;
    std::thread thread;
};

class RecordingWriter : public ::testing::Test {
protected:
    TemporaryFolder folder;
    QString path = QString::fromStdString(folder.file("a.qornts"));
    QString second = QString::fromStdString(folder.file("b.qornts"));
};

TEST_F(RecordingWriter, WritesWhatWasQueuedInOrder) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    for (int pass = 0; pass < 300; ++pass) {
        writer.enqueue(dataOf(tagsFrom(pass * 100, 100)));
    }
    writer.close();
    const auto recording = readRecording(path);
    EXPECT_EQ(recording.header.value(QLatin1String("application")).toString(), QStringLiteral("first"));
    EXPECT_TRUE(recording.tags == tagsFrom(0, 30000));
}

TEST_F(RecordingWriter, TheFirstFileIsOpenedOnTheCallersSide) {
    const QString missing = QString::fromStdString(folder.file("no folder/a.qornts"));
    const auto error = errorOf([&] { AsyncDecodedQorntsWriter writer(missing, headerOf("x")); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->status(), -2);
    EXPECT_EQ(std::string(error->what()), "StreamFileWriter: cannot open " + missing.toStdString());
}

TEST_F(RecordingWriter, NoFileTakesThePlaceOfAnother) {
    qorn::testing::writeBytes(path.toStdString(), qorn::testing::Bytes{1, 2, 3});
    const auto error = errorOf([&] { AsyncDecodedQorntsWriter writer(path, headerOf("x")); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(std::string(error->what()),
              "StreamFileWriter: there is such a file already: " + path.toStdString());
    AsyncDecodedQorntsWriter writer(second, headerOf("first"));
    writer.enqueue(rotateTo(path, "second"));
    EXPECT_EQ(test::failureOf([&] { writer.close(); }), error->what());
    EXPECT_EQ(qorn::testing::readBytes(path.toStdString()), (qorn::testing::Bytes{1, 2, 3}));
}

TEST_F(RecordingWriter, ClosingIsIdempotent) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.close();
    EXPECT_NO_THROW(writer.close());
    EXPECT_TRUE(readRecording(path).tags.empty());
}

TEST_F(RecordingWriter, TheDestructorFinishesTheWork) {
    {
        AsyncDecodedQorntsWriter writer(path, headerOf("first"));
        writer.enqueue(dataOf(tagsFrom(0, 100)));
    }
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 100));
}

TEST_F(RecordingWriter, AClosedWriterTakesNothing) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.close();
    EXPECT_EQ(test::failureOf([&] { writer.enqueue(dataOf(tagsFrom(0, 1))); }),
              "time-tag file writer is closed");
}

TEST_F(RecordingWriter, RotatingGoesOnInAFreshFile) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    writer.enqueue(rotateTo(second, "second"));
    writer.enqueue(dataOf(tagsFrom(10, 5)));
    writer.close();
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
    EXPECT_EQ(readRecording(second).tags, tagsFrom(10, 5));
    EXPECT_EQ(readRecording(second).header.value(QLatin1String("application")).toString(),
              QStringLiteral("second"));
}

TEST_F(RecordingWriter, AfterAFinishDataVanishesWithoutFailure) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    writer.finishRecording();
    for (int pass = 0; pass < 2000; ++pass) {
        writer.enqueue(dataOf(tagsFrom(10, 10)));
    }
    EXPECT_NO_THROW(writer.close());
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10));
}

TEST_F(RecordingWriter, TwoFinishesAreOne) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.finishRecording();
    writer.finishRecording();
    EXPECT_NO_THROW(writer.close());
}

TEST_F(RecordingWriter, RotatingAfterAFinishRecordsAgain) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.finishRecording();
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    writer.enqueue(rotateTo(second, "second"));
    writer.enqueue(dataOf(tagsFrom(10, 5)));
    writer.close();
    EXPECT_TRUE(readRecording(path).tags.empty());
    EXPECT_EQ(readRecording(second).tags, tagsFrom(10, 5));
}

TEST_F(RecordingWriter, ARotationThatCannotOpenEndsItAndIsToldAtTheNextEntryAndAtClose) {
    const QString missing = QString::fromStdString(folder.file("no folder/b.qornts"));
    const std::string text = "StreamFileWriter: cannot open " + missing.toStdString();
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    writer.enqueue(rotateTo(missing, "second"));
    std::string told;
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (told.empty() && std::chrono::steady_clock::now() < limit) {
        told = test::failureOf([&] { writer.enqueue(dataOf(tagsFrom(10, 1))); });
    }
    EXPECT_EQ(told, text);
    EXPECT_EQ(test::failureOf([&] { writer.close(); }), text);
    EXPECT_EQ(test::failureOf([&] { writer.close(); }), text); // also later calls
    EXPECT_EQ(test::failureOf([&] { writer.enqueue(dataOf(tagsFrom(10, 1))); }), text);
    EXPECT_EQ(readRecording(path).tags, tagsFrom(0, 10)); // what came before is safe
    EXPECT_EQ(writer.takeNotice(),
              QStringLiteral("The recording cannot go on in %1: No such file or directory.").arg(missing));
    EXPECT_EQ(writer.takeNotice(), std::nullopt);
}

TEST_F(RecordingWriter, AFullDiskIsToldAtTheNextEntry) {
    AsyncDecodedQorntsWriter writer(QStringLiteral("/dev/full"), headerOf("first"));
    std::string told;
    const auto limit = std::chrono::steady_clock::now() + qorn::testing::kEventLimit;
    while (told.empty() && std::chrono::steady_clock::now() < limit) {
        told = test::failureOf([&] { writer.enqueue(dataOfSize(1 << 20)); });
    }
    EXPECT_EQ(told, "StreamFileWriter: payload write failed");
    const auto error = errorOf([&] { writer.close(); });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->status(), -2);
}

TEST_F(RecordingWriter, AFullDiskIsToldAlsoWhenNothingFollowsWithTheFileAndTheReason) {
    AsyncDecodedQorntsWriter writer(QStringLiteral("/dev/full"), headerOf("first"));
    EXPECT_TRUE(test::eventually([&] {
        return test::failureOf([&] { writer.check(); }) == "StreamFileWriter: payload write failed";
    }));
    EXPECT_EQ(writer.takeNotice(),
              QStringLiteral("The recording /dev/full has ended: No space left on device."));
    EXPECT_EQ(writer.takeNotice(), std::nullopt);
}

TEST_F(RecordingWriter, NothingIsWrongWithAHealthyOne) {
    AsyncDecodedQorntsWriter writer(path, headerOf("first"));
    writer.enqueue(dataOf(tagsFrom(0, 10)));
    EXPECT_NO_THROW(writer.check());
    writer.close();
    EXPECT_NO_THROW(writer.check());
    EXPECT_EQ(writer.takeNotice(), std::nullopt);
}

TEST_F(RecordingWriter, AFullDiskIsToldAtTheLatestByClose) {
    AsyncDecodedQorntsWriter writer(QStringLiteral("/dev/full"), headerOf("first"));
    const auto error = errorOf([&] {
        writer.enqueue(dataOf(tagsFrom(0, 10))); // told here when the header has failed by now
        writer.close();
    });
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->status(), -2);
}

TEST_F(RecordingWriter, ADiskThatFillsUpKeepsWhatFitted) {
    constexpr std::size_t kRoom = 8 << 20;
    std::string told;
    {
        const FileSizeLimit limit(kRoom);
        AsyncDecodedQorntsWriter writer(path, headerOf("first"));
        for (int pass = 0; pass < 100 && told.empty(); ++pass) {
            told = test::failureOf([&] { writer.enqueue(dataOf(tagsFrom(pass * 65536, 65536))); });
        }
        const std::string closing = test::failureOf([&] { writer.close(); });
        EXPECT_EQ(closing, "StreamFileWriter: payload write failed");
        EXPECT_TRUE(told.empty() || told == closing);
    }
    EXPECT_LE(std::filesystem::file_size(path.toStdString()), kRoom);
    EXPECT_GE(std::filesystem::file_size(path.toStdString()), kRoom / 2);
}

// The queue behind a worker that stands in a write.
class BlockedWriter : public ::testing::Test {
protected:
    BlockedWriter() : writer(std::make_unique<AsyncDecodedQorntsWriter>(file.path(), headerOf("pipe"))) {
        writer->enqueue(dataOfSize(4 << 20)); // goes past the file's own buffer
        standsInWrite = file.waitUntilWritten();
    }
    ~BlockedWriter() override {
        if (!drained) {
            file.breakOff();
        }
        writer.reset();
    }

    void SetUp() override { ASSERT_TRUE(standsInWrite); }

    std::size_t drainAndCountPayload() {
        file.drain();
        drained = true;
        writer->close();
        const qorn::testing::Bytes bytes = file.finish();
        return bytes.size() < 12 ? 0 : bytes.size() - 12 - (bytes[8] | bytes[9] << 8);
    }

    test::BlockedFile file;
    std::unique_ptr<AsyncDecodedQorntsWriter> writer;
    bool standsInWrite = false;
    bool drained = false;
};

TEST_F(BlockedWriter, TheQueueTakes512EntriesAndThenBlocks) {
    Producer producer(*writer, std::vector<Entry>(514, dataOfSize(8)));
    EXPECT_TRUE(producer.isBlockedAfter(512));
    file.drain();
    drained = true;
    EXPECT_EQ(producer.join(), "");
    EXPECT_EQ(producer.accepted, 514);
    writer->close();
    const qorn::testing::Bytes bytes = file.finish();
    ASSERT_GT(bytes.size(), 12U);
    EXPECT_EQ(bytes.size() - 12 - (bytes[8] | bytes[9] << 8), std::size_t{4 << 20} + 514 * 8);
}

TEST_F(BlockedWriter, TheQueueTakes256MebibytesAndThenBlocks) {
    std::vector<Entry> entries;
    entries.push_back(dataOfSize(268435456 - 16));
    entries.push_back(dataOfSize(16)); // fills it exactly
    entries.push_back(dataOfSize(8));
    Producer producer(*writer, std::move(entries));
    EXPECT_TRUE(producer.isBlockedAfter(2));
    file.breakOff();
    drained = true;
    EXPECT_EQ(producer.join(), "StreamFileWriter: payload write failed"); // a blocked producer learns of it
}

TEST_F(BlockedWriter, AnEmptyQueueTakesEvenAHugePayload) {
    std::vector<Entry> entries;
    entries.push_back(dataOfSize(268435456 + 8));
    entries.push_back(dataOfSize(0)); // now there is something in it, and nothing more fits
    Producer producer(*writer, std::move(entries));
    EXPECT_TRUE(producer.isBlockedAfter(1));
    file.breakOff();
    drained = true;
    EXPECT_EQ(producer.join(), "StreamFileWriter: payload write failed");
}

TEST_F(BlockedWriter, ClosingDrainsTheQueueFirst) {
    for (int number = 0; number < 100; ++number) {
        writer->enqueue(dataOfSize(800));
    }
    EXPECT_EQ(drainAndCountPayload(), std::size_t{4 << 20} + 100 * 800);
}

} // namespace
} // namespace qorn::timetagger::gui
