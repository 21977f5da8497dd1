// What a window does when the disk refuses its recording, or somebody takes it away: it says so where it can,
// and the next recording is whole.
#include "StreamFileReader.h"
#include "WindowStage.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

class RecordingOnABadDisk : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(stage.connectUnit());
        tab = &stage.addTab("Time tags");
        tab->setTimeTagRecordingDirectory(folder());
        WindowStage::press(*tab, "Complete time-tag recording");
    }

    QString folder() const { return stage.folder.filePath(QStringLiteral("recordings")); }
    QFileInfoList recordings() const {
        return QDir(folder()).entryInfoList({QStringLiteral("*.qornts")}, QDir::Files);
    }

    void play() {
        WindowStage::press(*tab, "Play");
        EXPECT_TRUE(stage.waitForData(*tab));
    }
    void stop() {
        WindowStage::press(*tab, "Stop");
        EXPECT_TRUE(stage.waitForIdle());
    }

    // The box of a recording that cannot begin; nothing runs then.
    QString refusal() {
        WindowStage::press(*tab, "Play");
        EXPECT_TRUE(stage.waitForBox("Capture error"));
        EXPECT_EQ(stage.boxes().size(), 1);
        const QString text = stage.takeBox();
        EXPECT_TRUE(stage.waitForIdle());
        EXPECT_FALSE(tab->isRunning());
        return text;
    }

    // In a folder of its own.
    void expectNextRecordingIsWhole() {
        tab->setTimeTagRecordingDirectory(folder());
        const qsizetype before = recordings().size();
        play();
        stop();
        ASSERT_EQ(recordings().size(), before + 1);
        timing::StreamFileReader reader;
        reader.open(recordings().constLast().filePath().toStdString());
        std::size_t count = 0;
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            count += tags.size();
        }
        EXPECT_GT(count, 0U);
        EXPECT_TRUE(stage.boxes().isEmpty());
    }

    WindowStage stage;
    gui::ExperimentTab* tab = nullptr;
};

TEST_F(RecordingOnABadDisk, AFolderThatCannotBeMadeIsTold) {
    QFile file(stage.folder.filePath(QStringLiteral("a-file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    tab->setTimeTagRecordingDirectory(file.fileName() + QStringLiteral("/below"));
    const QString beginning = QStringLiteral("Could not create time-tag output folder: ");
    EXPECT_EQ(refusal(), beginning + file.fileName() + QStringLiteral("/below"));
    expectNextRecordingIsWhole();
}

TEST_F(RecordingOnABadDisk, AFolderThatTakesNoFilesIsTold) {
    tab->setTimeTagRecordingDirectory(QStringLiteral("/proc/self")); // refuses root as well
    EXPECT_TRUE(refusal().startsWith(QStringLiteral("StreamFileWriter: ")));
    expectNextRecordingIsWhole();
}

TEST_F(RecordingOnABadDisk, AFileThatIsRemovedUnderTheWriterIsToldAndEndsNothing) {
    play();
    ASSERT_EQ(recordings().size(), 1);
    const QString path = recordings().constFirst().filePath();
    ASSERT_TRUE(QFile::remove(path));
    const QString before = WindowStage::statusOf(*tab);
    EXPECT_TRUE(waitUntil([&] { return WindowStage::statusOf(*tab) != before; })) << "tags go on";
    EXPECT_TRUE(stage.waitForBox("Capture error")) << "while it runs still";
    EXPECT_EQ(stage.takeBox(),
              QStringLiteral("The file of the recording was removed, moved or replaced: ") + path);
    EXPECT_TRUE(tab->isRunning());
    stop();
    EXPECT_TRUE(stage.boxes().isEmpty()) << "told once";
    expectNextRecordingIsWhole();
}

TEST_F(RecordingOnABadDisk, AFolderThatWentIsMadeAgainByTheNextRecording) {
    play();
    ASSERT_TRUE(QDir(folder()).removeRecursively());
    EXPECT_TRUE(tab->isRunning());
    stop();
    EXPECT_TRUE(stage.waitForBox("Capture error"));
    EXPECT_TRUE(stage.takeBox().startsWith(
        QStringLiteral("The file of the recording was removed, moved or replaced: ")));
    EXPECT_TRUE(stage.boxes().isEmpty()) << "its companion went with it, which is not worth another box";
    expectNextRecordingIsWhole();
}

} // namespace
} // namespace qorn::testing
