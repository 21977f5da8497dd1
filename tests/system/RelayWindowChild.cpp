// The whole window in a process of its own: it opens the simulated instrument, or the relay of another window
// whose ports it is given, shares what it has on free ports, and records into a folder. What it sees it tells
// on standard output, and what it is told on standard input it does as an operator would:
//   relay_window FOLDER SCENE [STREAM_PORT STATUS_PORT]
#include "PhysicsStage.h"
#include "RelayConnectDialog.h"
#include "WidgetFinder.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QSpinBox>
#include <QTimer>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include <poll.h>
#include <unistd.h>

namespace qorn::testing {
namespace {

constexpr int kLookMs = 5;

void tell(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class RelayWindow {
public:
    RelayWindow(const QString& recordings, const QByteArray& scene) : folder(recordings), stage(scene) {}

    bool openUnit() { return stage.connectUnit(); }

    bool openRelay(int streamPort, int statusPort) {
        stage.openWindow();
        QAbstractButton* button = findButton(stage.window().setupPage(), QStringLiteral("Connect relay..."));
        if (!waitUntil([button] { return button->isEnabled(); })) {
            return false;
        }
        QTimer::singleShot(0, [=] {
            auto* dialog = qobject_cast<gui::RelayConnectDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(dialog, nullptr);
            dialog->findChild<QLineEdit*>()->setText(QStringLiteral("localhost"));
            const QList<QSpinBox*> ports = dialog->findChildren<QSpinBox*>();
            ASSERT_EQ(ports.size(), 2);
            ports[0]->setValue(streamPort);
            ports[1]->setValue(statusPort);
            dialog->accept();
        });
        QTest::mouseClick(button, Qt::LeftButton);
        return waitUntil([this] { return stage.controller().hasRelay() && stage.tabs().isVisible(); });
    }

    bool share() {
        QString message;
        if (!stage.controller().setRelayServerEnabled(true, 0, 0, &message)) {
            return false;
        }
        const auto ports = stage.controller().relayServerStats();
        tell("shares " + std::to_string(ports.stream_port) + ' ' + std::to_string(ports.status_port));
        return true;
    }

    void prepare() {
        QObject::connect(&stage.controller(), &gui::DeviceController::tagsBatch,
                         [this](const gui::UiTimeTagBatch& batch) { tags += batch.size(); });
        tab = &stage.addTab("Correlation");
        tab->setTimeTagRecordingDirectory(folder);
        WindowStage::press(*tab, "Complete time-tag recording");
    }

    // Obeys until there is nothing more to read.
    void serve() {
        for (bool open = true; open; look()) {
            pollfd request{STDIN_FILENO, POLLIN, 0};
            if (::poll(&request, 1, 0) == 1) {
                open = readCommands();
            }
            QTest::qWait(kLookMs);
        }
    }

private:
    bool readCommands() {
        std::array<char, 64> text{};
        const ssize_t count = ::read(STDIN_FILENO, text.data(), text.size());
        for (const char letter : std::string(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0)) {
            if (letter == '\n') {
                obey();
                command.clear();
            } else {
                command += letter;
            }
        }
        return count > 0;
    }

    void obey() {
        if (command == "play") {
            WindowStage::press(*tab, "Play");
            tell("plays");
        } else if (command == "stop") {
            WindowStage::press(*tab, "Stop");
            tell(stage.waitForIdle() ? "stopped" : "busy");
        } else if (command == "offset") {
            tell("offset " + statisticOf(*tab, "Offset").toStdString());
        }
    }

    // Tells what has changed.
    void look() {
        tellChange("clients", stage.controller().relayServerStats().stream_clients, clientsTold);
        tellChange("slow", stage.controller().relayServerStats().slow_clients_disconnected, slowTold);
        tellChange("tags", static_cast<quint64>(tags), tagsTold);
        const QString box = stage.takeBox();
        if (!box.isEmpty()) {
            tell("box " + box.toStdString());
        }
    }

    static void tellChange(const char* name, quint64 value, quint64& told) {
        if (value != told) {
            told = value;
            tell(std::string(name) + ' ' + std::to_string(value));
        }
    }

    QString folder;
    WindowStage stage;
    gui::ExperimentTab* tab = nullptr;
    std::string command;
    qsizetype tags = 0;
    quint64 clientsTold = 0;
    quint64 slowTold = 0;
    quint64 tagsTold = 0;
};

int run(const QStringList& arguments) {
    if (arguments.size() != 3 && arguments.size() != 5) {
        return 2;
    }
    QFile scene(arguments[2]);
    if (!scene.open(QIODevice::ReadOnly)) {
        return 2;
    }
    RelayWindow window(arguments[1], scene.readAll());
    const bool open = arguments.size() == 3 ? window.openUnit()
                                            : window.openRelay(arguments[3].toInt(), arguments[4].toInt());
    if (!open || !window.share()) {
        return 1;
    }
    window.prepare();
    window.serve();
    return ::testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed() ? 1 : 0;
}

} // namespace
} // namespace qorn::testing

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Qorn Timing"));
    QCoreApplication::setOrganizationName(QStringLiteral("QORN"));
    testing::InitGoogleTest(&argc, argv);
    return qorn::testing::run(QCoreApplication::arguments());
}
