// Sharing the source through the device menu: peers can connect, and the dialog tells of them.
#include "DeviceMenuStage.h"
#include "NetworkRelayDialog.h"
#include "QtPrinting.h"
#include "StoredSettings.h"

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QSpinBox>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::testing {
namespace {

using gui::NetworkRelayDialog;

constexpr const char* kEntry = "Network relay...";

// A TCP socket of this host, closed with its owner.
class Socket {
public:
    Socket() : descriptor(::socket(AF_INET, SOCK_STREAM, 0)) {}
    ~Socket() { ::close(descriptor); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // Takes a port that is free, and listens there; 0 when that is not possible.
    quint16 listen() {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof(address);
        if (::bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            ::listen(descriptor, 1) != 0 ||
            ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
            return 0;
        }
        return ntohs(address.sin_port);
    }
    bool connect(quint16 port) {
        const sockaddr_in address = loopback(port);
        return ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }

private:
    static sockaddr_in loopback(quint16 port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

    int descriptor;
};

struct Ports {
    quint16 stream = 0;
    quint16 status = 0;
};

// Two different ones that nobody had a moment ago.
Ports freePorts() {
    Socket first;
    Socket second;
    return {first.listen(), second.listen()};
}

void setPorts(const QWidget& dialog, const Ports& ports) {
    DeviceMenuStage::control<QSpinBox>(dialog, "streamPort").setValue(ports.stream);
    DeviceMenuStage::control<QSpinBox>(dialog, "statusPort").setValue(ports.status);
}

// Publishes on ports that are free. Somebody else on this machine may be quicker, so it is tried again.
Ports publish(DeviceMenuStage& stage) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        const Ports ports = freePorts();
        auto& dialog = stage.choose<NetworkRelayDialog>(kEntry);
        DeviceMenuStage::control<QCheckBox>(dialog, "publish").setChecked(true);
        setPorts(dialog, ports);
        DeviceMenuStage::click(dialog, "Apply");
        if (stage.boxes().isEmpty()) {
            return ports;
        }
        stage.takeBox();
    }
    throw std::runtime_error("no ports to publish on");
}

TEST(WindowDeviceMenuRelay, PublishesOnTheChosenPortsAndTellsOfPeers) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const Ports ports = publish(stage);
    EXPECT_EQ(stage.message(), QStringLiteral("Network relay listening on stream port %1 and status port %2.")
                                   .arg(ports.stream)
                                   .arg(ports.status));
    EXPECT_EQ(storedSettings().value(QStringLiteral("relay/streamPort")).toInt(), ports.stream);
    EXPECT_EQ(storedSettings().value(QStringLiteral("relay/statusPort")).toInt(), ports.status);

    auto& dialog = stage.choose<NetworkRelayDialog>(kEntry);
    EXPECT_EQ(dialog.sharing(), (gui::RelaySharing{true, ports.stream, ports.status}));
    const QLabel& connections = DeviceMenuStage::control<QLabel>(dialog, "connections");
    EXPECT_EQ(connections.text(), QStringLiteral("0 peer stream connection(s), 0 status connection(s)"));
    Socket stream;
    Socket secondStream;
    Socket status;
    ASSERT_TRUE(stream.connect(ports.stream) && secondStream.connect(ports.stream) &&
                status.connect(ports.status));
    EXPECT_TRUE(waitUntil([&] {
        return connections.text() == QStringLiteral("2 peer stream connection(s), 1 status connection(s)");
    })) << connections.text().toStdString();
    DeviceMenuStage::click(dialog, "Cancel");
    EXPECT_EQ(stage.controller().relayServerStats().stream_clients, 2U) << "looking disturbs nobody";
}

TEST(WindowDeviceMenuRelay, StopsPublishing) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const Ports ports = publish(stage);
    auto& dialog = stage.choose<NetworkRelayDialog>(kEntry);
    DeviceMenuStage::control<QCheckBox>(dialog, "publish").setChecked(false);
    DeviceMenuStage::click(dialog, "Apply");
    EXPECT_EQ(stage.message(), QStringLiteral("Network relay stopped."));
    EXPECT_FALSE(stage.controller().relayServerStats().running);
    auto& again = stage.choose<NetworkRelayDialog>(kEntry);
    EXPECT_EQ(again.sharing(), (gui::RelaySharing{false, ports.stream, ports.status})) << "ports are kept";
    EXPECT_TRUE(DeviceMenuStage::control<QLabel>(again, "connections").isHidden());
}

TEST(WindowDeviceMenuRelay, CancelPublishesNothingAndSavesNoPort) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    auto& dialog = stage.choose<NetworkRelayDialog>(kEntry);
    EXPECT_EQ(dialog.sharing(), (gui::RelaySharing{false, 7355, 7356}));
    DeviceMenuStage::control<QCheckBox>(dialog, "publish").setChecked(true);
    setPorts(dialog, {1234, 4321});
    DeviceMenuStage::click(dialog, "Cancel");
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("relay/streamPort")));
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("relay/statusPort")));
    EXPECT_FALSE(stage.controller().relayServerStats().running);
}

TEST(WindowDeviceMenuRelay, APortThatIsTakenIsToldInABox) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    Socket holder;
    const quint16 taken = holder.listen();
    ASSERT_NE(taken, 0);
    auto& dialog = stage.choose<NetworkRelayDialog>(kEntry);
    DeviceMenuStage::control<QCheckBox>(dialog, "publish").setChecked(true);
    setPorts(dialog, {taken, taken});
    DeviceMenuStage::click(dialog, "Apply");
    ASSERT_TRUE(stage.waitForBox("Network relay"));
    EXPECT_EQ(stage.boxes().constFirst()->icon(), QMessageBox::Warning);
    EXPECT_FALSE(stage.takeBox().isEmpty());
    EXPECT_FALSE(stage.controller().relayServerStats().running);
}

TEST(WindowDeviceMenuRelay, CanBeSwitchedOnWhileAMeasurementRuns) {
    DeviceMenuStage stage;
    ASSERT_TRUE(stage.connectUnit());
    gui::ExperimentTab& tags = stage.addTab("Time tags");
    WindowStage::press(tags, "Play");
    ASSERT_TRUE(stage.waitForData(tags));
    const Ports ports = publish(stage);
    Socket peer;
    ASSERT_TRUE(peer.connect(ports.stream));
    EXPECT_TRUE(waitUntil([&] { return stage.controller().relayServerStats().bytes_sent > 0; }));
    EXPECT_TRUE(tags.isRunning());
}

} // namespace
} // namespace qorn::testing
