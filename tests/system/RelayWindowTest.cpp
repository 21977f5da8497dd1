// Windows in processes of their own that share one instrument: what the one measures, the others get by the
// relay, tag for tag.
#include "QtPrinting.h"
#include "StreamFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <vector>

namespace qorn::testing {
namespace {

constexpr int kWaitLimitMs = 60000;
constexpr quint64 kEnoughTags = 200'000;

// Pairs on inputs 1 and 2 over singles on all inputs.
const QByteArray kScene = R"({"units": [{"serial": "SIM00001", "sources": [
    {"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": 12400, "sigma_ps": 120},
    {"kind": "poisson", "input": 1, "rate_hz": 30000}, {"kind": "poisson", "input": 2, "rate_hz": 30000},
    {"kind": "poisson", "input": 3, "rate_hz": 5000},
    {"kind": "periodic", "input": 4, "frequency_hz": 1000}]}]})";

// More than a client that does not read can keep waiting for long.
const QByteArray kFastScene = R"({"units": [{"serial": "SIM00001", "sources": [
    {"kind": "poisson", "input": 1, "rate_hz": 1500000}, {"kind": "poisson", "input": 2, "rate_hz": 1500000},
    {"kind": "poisson", "input": 3, "rate_hz": 1500000}]}]})";

// A run of the window program in a home of its own, without a display.
class RelayWindow {
public:
    // On the simulated instrument, or on the relay that another window shares.
    explicit RelayWindow(const QStringList& source = {}, const QByteArray& scene = kScene) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
            environment.remove(QString::fromUtf8(name));
        }
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QFile file(home.filePath(QStringLiteral("scene.json")));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(scene);
        file.close();
        process.start(QStringLiteral(QORN_RELAY_WINDOW), QStringList{home.path(), file.fileName()} + source);
        ports = waitFor(QStringLiteral("shares")).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    }
    ~RelayWindow() {
        if (process.state() != QProcess::NotRunning) {
            send(SIGCONT);
            process.kill();
            process.waitForFinished(kWaitLimitMs);
        }
    }

    bool isOpen() const { return ports.size() == 2; }
    const QStringList& shared() const { return ports; } // stream port, status port

    // Waits for a line that begins so, from the next one on, and gives its rest; null when the program ends
    // or the limit comes first.
    QString waitFor(const QString& beginning) {
        heard.remove(beginning);
        return waitUntilHeard(beginning, [](const QString&) { return true; });
    }
    // Waits until a number that it tells has been told to be so large.
    bool waitForNumber(const QString& name, quint64 least) {
        return !waitUntilHeard(name, [least](const QString& rest) {
                    return rest.toULongLong() >= least;
                }).isNull();
    }
    QString ask(const char* command, const QString& answer) {
        process.write(QByteArray(command) + '\n');
        return waitFor(answer);
    }
    void send(int signal) const {
        if (const auto number = static_cast<pid_t>(process.processId()); number > 0) { // 0 means this program
            ::kill(number, signal);
        }
    }

    // Closes its input, which ends it, and gives the exit code; -1 for a crash.
    int end() {
        process.closeWriteChannel();
        EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    // The words of its one recording.
    Bytes recorded() const {
        const QFileInfoList files = QDir(home.path()).entryInfoList({QStringLiteral("*.qornts")});
        EXPECT_EQ(files.size(), 1);
        return files.isEmpty() ? Bytes() : payloadOf(files[0].filePath().toStdString());
    }

private:
    template <typename Accept>
    QString waitUntilHeard(const QString& beginning, Accept accept) {
        QElapsedTimer timer;
        timer.start();
        while (!heard.contains(beginning) || !accept(heard[beginning])) {
            if (process.canReadLine()) {
                hear(QString::fromUtf8(process.readLine()).trimmed());
            } else if (timer.elapsed() > kWaitLimitMs || !process.waitForReadyRead(kWaitLimitMs)) {
                ADD_FAILURE() << "no word of " << beginning.toStdString();
                return {};
            }
        }
        return heard[beginning];
    }

    void hear(const QString& line) {
        const qsizetype space = line.indexOf(QLatin1Char(' '));
        heard[line.left(space)] = space < 0 ? QStringLiteral("") : line.mid(space + 1);
    }

    QTemporaryDir home;
    QProcess process;
    QStringList ports;
    QHash<QString, QString> heard; // the last line of each first word
};

// What it measures is shown at the delay of the scene; the delay lines are not calibrated: some ten ps.
void expectPeak(RelayWindow& window) {
    const QString offset = window.ask("offset", QStringLiteral("offset"));
    EXPECT_NEAR(offset.section(QLatin1Char(' '), 0, 0).toDouble(), 12.4, 0.06) << offset.toStdString();
}

// Each but the first is a window on the relay of the one before.
void measureThrough(std::size_t windows) {
    std::vector<std::unique_ptr<RelayWindow>> chain;
    chain.push_back(std::make_unique<RelayWindow>());
    ASSERT_TRUE(chain.front()->isOpen());
    while (chain.size() < windows) {
        chain.push_back(std::make_unique<RelayWindow>(chain.back()->shared()));
        ASSERT_TRUE(chain.back()->isOpen());
    }
    // From the end: each is there for the first tag of the one before.
    for (std::size_t i = windows; i-- > 0;) {
        ASSERT_FALSE(chain[i]->ask("play", QStringLiteral("plays")).isNull());
        if (i > 0) {
            ASSERT_TRUE(chain[i - 1]->waitForNumber(QStringLiteral("clients"), 1));
        }
    }
    ASSERT_TRUE(chain.back()->waitForNumber(QStringLiteral("tags"), kEnoughTags));
    ASSERT_FALSE(chain.front()->ask("stop", QStringLiteral("stopped")).isNull());
    const Bytes all = chain.front()->recorded();
    ASSERT_GE(all.size(), 8 * kEnoughTags);
    // Nothing more comes, and still the last ones are shown.
    for (std::size_t i = 1; i < windows; ++i) {
        ASSERT_TRUE(chain[i]->waitForNumber(QStringLiteral("tags"), all.size() / 8)) << i;
        ASSERT_FALSE(chain[i]->ask("stop", QStringLiteral("stopped")).isNull());
        EXPECT_TRUE(chain[i]->recorded() == all) << i;
    }
    for (const auto& window : chain) {
        expectPeak(*window);
    }
    for (std::size_t i = windows; i-- > 0;) {
        EXPECT_EQ(chain[i]->end(), 0) << i;
    }
}

TEST(RelayWindows, TheOneThatReceivesHasEveryTagOfTheOneThatPublishes) {
    measureThrough(2);
}

TEST(RelayWindows, AChainOfThreePassesEveryTagOn) {
    measureThrough(3);
}

TEST(RelayWindows, APublisherThatIsKilledIsToldToTheOperatorAndTheRecordingIsWhole) {
    RelayWindow publisher;
    ASSERT_TRUE(publisher.isOpen());
    RelayWindow receiver(publisher.shared());
    ASSERT_TRUE(receiver.isOpen());
    ASSERT_FALSE(receiver.ask("play", QStringLiteral("plays")).isNull());
    ASSERT_TRUE(publisher.waitForNumber(QStringLiteral("clients"), 1));
    ASSERT_FALSE(publisher.ask("play", QStringLiteral("plays")).isNull());
    ASSERT_TRUE(receiver.waitForNumber(QStringLiteral("tags"), kEnoughTags));
    publisher.send(SIGKILL);
    EXPECT_TRUE(receiver.waitFor(QStringLiteral("box")).contains(QStringLiteral("relay ")));
    const Bytes recorded = receiver.recorded();
    EXPECT_GE(recorded.size(), 8 * kEnoughTags);
    EXPECT_EQ(recorded.size() % 8, 0U);
    expectPeak(receiver);
    EXPECT_EQ(receiver.end(), 0);
}

TEST(RelayWindows, AReceiverThatStandsStillIsThrownOffAndTheCaptureGoesOn) {
    RelayWindow publisher({}, kFastScene);
    ASSERT_TRUE(publisher.isOpen());
    RelayWindow still(publisher.shared());
    ASSERT_TRUE(still.isOpen());
    ASSERT_FALSE(still.ask("play", QStringLiteral("plays")).isNull());
    ASSERT_TRUE(publisher.waitForNumber(QStringLiteral("clients"), 1));
    still.send(SIGSTOP);
    ASSERT_FALSE(publisher.ask("play", QStringLiteral("plays")).isNull());
    EXPECT_TRUE(publisher.waitForNumber(QStringLiteral("slow"), 1));
    still.send(SIGCONT);
    EXPECT_TRUE(still.waitFor(QStringLiteral("box")).contains(QStringLiteral("relay ")));
    ASSERT_FALSE(publisher.ask("stop", QStringLiteral("stopped")).isNull());
    const Bytes all = publisher.recorded();
    const Bytes part = still.recorded();
    ASSERT_LT(part.size(), all.size());
    EXPECT_GT(part.size(), 0U);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), all.begin()))
        << "the stream's beginning, without a hole";
    EXPECT_EQ(still.end(), 0);
    EXPECT_EQ(publisher.end(), 0);
}

} // namespace
} // namespace qorn::testing
