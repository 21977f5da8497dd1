#include "SettingsStore.h"
#include "StoredSettings.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using testing::storedSettings;

constexpr qint64 kAtOnceMs = 500; // far below the time for which the tests hold a file up

// The settings' file as a hanging disk or another program holds it: who writes it waits.
class HeldFile {
public:
    explicit HeldFile(const QString& file = storedSettings().fileName())
        : lock(file + QStringLiteral(".lock")) {
        QDir().mkpath(QFileInfo(file).path());
        lock.setStaleLockTime(0);
        EXPECT_TRUE(lock.tryLock(0)) << lock.fileName().toStdString();
    }

    // By a thread, as somebody may be waiting in this one.
    void letGoAfter(std::chrono::milliseconds time) {
        helper = std::jthread([this, time] {
            std::this_thread::sleep_for(time);
            lock.unlock();
        });
    }

private:
    QLockFile lock;
    std::jthread helper;
};

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class SettingsStoreTest : public ::testing::Test {
protected:
    SettingsStore& store = SettingsStore::instance();
};

TEST_F(SettingsStoreTest, KeepsTextsNumbersAndFlagsInTheApplicationsFile) {
    store.set({{QStringLiteral("a/text"), QStringLiteral("words, \"quoted\" and ü")},
               {QStringLiteral("a/number"), 7355},
               {QStringLiteral("a/flag"), false}});
    const QSettings settings = storedSettings();
    EXPECT_EQ(settings.value(QStringLiteral("a/text")), QStringLiteral("words, \"quoted\" and ü"));
    EXPECT_EQ(settings.value(QStringLiteral("a/number")).toInt(), 7355);
    EXPECT_FALSE(settings.value(QStringLiteral("a/flag"), true).toBool());
    EXPECT_EQ(settings.allKeys().size(), 3);
    EXPECT_EQ(store.value(QStringLiteral("a/number")).toInt(), 7355);
    EXPECT_EQ(store.value(QStringLiteral("a/other"), 12).toInt(), 12);
    EXPECT_TRUE(store.contains(QStringLiteral("a/flag")));
    EXPECT_FALSE(store.contains(QStringLiteral("a/other")));
}

TEST_F(SettingsStoreTest, ForgetsWhatIsRemoved) {
    store.set(QStringLiteral("a/text"), QStringLiteral("words"));
    store.remove(QStringLiteral("a/text"));
    store.remove(QStringLiteral("a/never"));
    EXPECT_FALSE(store.contains(QStringLiteral("a/text")));
    EXPECT_TRUE(storedSettings().allKeys().isEmpty());
    EXPECT_FALSE(store.contains(QStringLiteral("a/text")));
}

TEST_F(SettingsStoreTest, GivesAGroupAndNothingOfItsNeighbours) {
    const QVariantMap expected{{QStringLiteral("one"), QStringLiteral("1")},
                               {QStringLiteral("deep/two"), QStringLiteral("2")}};
    storedSettings().setValue(QStringLiteral("a/one"), QStringLiteral("1"));
    storedSettings().setValue(QStringLiteral("a/deep/two"), QStringLiteral("2"));
    storedSettings().setValue(QStringLiteral("ab/one"), QStringLiteral("3"));
    storedSettings().setValue(QStringLiteral("A/one"), QStringLiteral("4"));
    EXPECT_EQ(store.group(QStringLiteral("a")), expected);
    HeldFile held;
    store.set(QStringLiteral("a-/one"), QStringLiteral("5"));
    EXPECT_EQ(store.group(QStringLiteral("a")), expected) << "while it is written";
    EXPECT_EQ(store.group(QStringLiteral("none")), QVariantMap());
    held.letGoAfter(0ms);
    store.finish();
}

TEST_F(SettingsStoreTest, KeepsNobodyWaitingForAFileThatHangs) {
    const QString file = storedSettings().fileName();
    storedSettings().setValue(QStringLiteral("a/old"), QStringLiteral("kept"));
    storedSettings().setValue(QStringLiteral("a/gone"), QStringLiteral("removed"));
    HeldFile held;
    held.letGoAfter(2s); // what waited would wait for good
    QElapsedTimer timer;
    timer.start();
    store.set(QStringLiteral("a/first"), 1);
    store.set(QStringLiteral("a/first"), 2);
    store.set(QStringLiteral("a/second"), 3);
    store.remove(QStringLiteral("a/gone"));
    EXPECT_EQ(store.value(QStringLiteral("a/first")).toInt(), 2);
    EXPECT_EQ(store.value(QStringLiteral("a/second")).toInt(), 3);
    EXPECT_EQ(store.value(QStringLiteral("a/old")).toString(), QStringLiteral("kept"));
    EXPECT_FALSE(store.contains(QStringLiteral("a/gone")));
    EXPECT_EQ(store.group(QStringLiteral("a")).size(), 3);
    EXPECT_LT(timer.elapsed(), kAtOnceMs);
    EXPECT_FALSE(contentsOf(file).contains("first")) << "the test holds nothing up";
    store.finish();
    EXPECT_TRUE(contentsOf(file).contains("first=2")) << contentsOf(file).toStdString();
    EXPECT_TRUE(contentsOf(file).contains("second=3"));
    EXPECT_TRUE(contentsOf(file).contains("old=kept"));
    EXPECT_FALSE(contentsOf(file).contains("gone"));
}

TEST_F(SettingsStoreTest, SeesWhatAnotherProgramHasStored) {
    store.set(QStringLiteral("a/text"), QStringLiteral("mine"));
    store.finish();
    QFile file(storedSettings().fileName());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[a]\ntext=longer than mine\n");
    file.close();
    EXPECT_EQ(store.value(QStringLiteral("a/text")).toString(), QStringLiteral("longer than mine"));
}

TEST_F(SettingsStoreTest, WritesEverythingBeforeTheProgramEnds) {
    const QString file = QSettings(QStringLiteral("QORN"), QStringLiteral("Settings Child")).fileName();
    HeldFile held(file);
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QStringLiteral(QORN_SETTINGS_CHILD), {});
    ASSERT_TRUE(child.waitForReadyRead());
    EXPECT_EQ(child.readLine(), "stored\n");
    held.letGoAfter(200ms);
    ASSERT_TRUE(child.waitForFinished());
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit);
    EXPECT_TRUE(contentsOf(file).contains("last=words")) << contentsOf(file).toStdString();
    QFile::remove(file);
}

} // namespace
} // namespace qorn::timetagger::gui
