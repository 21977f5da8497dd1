// A network relay as a controller's source, and sharing a source by the relay server.
#include "ControllerTest.h"

#include "RelaySupport.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::tagsFrom;
using test::Texts;

const char* const kSourceOpen = "openFailed(A data source is already open in this window. Close it first.)";
const char* const kDeviceOpen =
    "openFailed(A device is already open in this window. Close it first, or start a "
    "second GUI instance for another TDC.)";

class RelaySource : public test::ControllerTest {
protected:
    void openRelay(const relay::RelayEndpoint& endpoint) {
        controller->openRelay(QString::fromStdString(endpoint.host), endpoint.stream_port,
                              endpoint.status_port);
    }
    void openSource() {
        openRelay(source.endpoint());
        ASSERT_TRUE(signalled->waitFor("opened"));
        signalled->clear();
    }
    std::string identity() const {
        return "Network relay 127.0.0.1:" + std::to_string(source.endpoint().stream_port);
    }

    test::LoopbackServer source;
};

TEST_F(RelaySource, OpensAfterAnAnswerOfTheStatusPort) {
    const auto endpoint = source.endpoint();
    controller->openRelay(QStringLiteral("  127.0.0.1 "), endpoint.stream_port, endpoint.status_port);
    EXPECT_FALSE(controller->hasSource()); // not before the answer
    ASSERT_TRUE(signalled->waitFor("opened"));
    EXPECT_EQ(signalled->texts(), Texts{"opened(" + identity() + ")"});
    EXPECT_TRUE(controller->hasRelay());
    EXPECT_TRUE(controller->hasSource());
    EXPECT_FALSE(controller->hasDevice());
    EXPECT_EQ(controller->sourceIdentity().toStdString(), identity());
    EXPECT_EQ(controller->sourceSerial(), QStringLiteral("127.0.0.1"));
    EXPECT_FALSE(controller->hasHostCalibration());
    EXPECT_EQ(source->stats().stream_clients, 0U);
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(RelaySource, AHostAndPortsAreNeeded) {
    controller->openRelay(QStringLiteral("  "), 0, 0);
    controller->openRelay(QStringLiteral("host"), 0, 5);
    controller->openRelay(QStringLiteral("host"), 5, 0);
    EXPECT_EQ(signalled->texts(), (Texts{"openFailed(Enter a relay host name or IP address.)",
                                         "openFailed(Relay ports must be between 1 and 65535.)",
                                         "openFailed(Relay ports must be between 1 and 65535.)"}));
    test::runFor(20ms);
    EXPECT_EQ(signalled->texts().size(), 3U);
}

TEST_F(RelaySource, AHostThatDoesNotAnswerIsToldWithTheClientsText) {
    relay::RelayEndpoint endpoint;
    { endpoint = test::RawPublisher().endpoint(); }
    openRelay(endpoint);
    ASSERT_TRUE(signalled->waitFor("openFailed"));
    EXPECT_EQ(signalled->texts(), Texts{"openFailed(could not connect to relay 127.0.0.1:" +
                                        std::to_string(endpoint.status_port) + ")"});
    EXPECT_FALSE(controller->hasSource());
}

TEST_F(RelaySource, AnAnswerToAFailureMayTryAgain) {
    relay::RelayEndpoint nobody;
    { nobody = test::RawPublisher().endpoint(); }
    int failures = 0;
    signalled->onSignal = [&](const std::string& name) {
        if (name == "openFailed") {
            openRelay(++failures < 5 ? nobody : source.endpoint());
        }
    };
    openRelay(nobody);
    ASSERT_TRUE(signalled->waitFor("opened"));
    EXPECT_EQ(signalled->count("openFailed"), 5);
    for (const std::string& text : signalled->textsOf("openFailed")) {
        EXPECT_EQ(text.rfind("openFailed(could not connect", 0), 0U) << text;
    }
}

TEST_F(RelaySource, OneSourceIsOpenAtATime) {
    openSource();
    controller->openRelay(QString(), 0, 0); // also before a look at what was given
    controller->openPort(QStringLiteral("A"));
    controller->openFirst();
    EXPECT_EQ(signalled->texts(), (Texts{kSourceOpen, kDeviceOpen, kDeviceOpen}));
    controller->close();
    openDevice();
    openRelay(source.endpoint());
    EXPECT_EQ(signalled->texts(), Texts{kSourceOpen});
}

TEST_F(RelaySource, OpeningWhileTheProbeRunsIsRefused) {
    // An address behind which nobody answers or refuses: its probe runs until it is stopped or times out.
    int blocked = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(blocked, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(blocked, 0), 0);
    ASSERT_EQ(getsockname(blocked, reinterpret_cast<sockaddr*>(&address), &length), 0);
    std::vector<int> fillers;
    for (int index = 0; index < 4; ++index) { // fill the listener's queue, so that more must wait
        fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(fillers.back(), reinterpret_cast<sockaddr*>(&address), length);
    }
    openRelay({"127.0.0.1", ntohs(address.sin_port), ntohs(address.sin_port)});
    controller->openPort(QStringLiteral("A"));
    controller->openFirst();
    openRelay(source.endpoint());
    EXPECT_EQ(signalled->texts(), (Texts{kDeviceOpen, kDeviceOpen, kSourceOpen}));
    EXPECT_TRUE(driver->calls().empty());
    ASSERT_TRUE(signalled->waitFor("openFailed", 4)); // the probe's own end
    for (const int filler : fillers) {
        ::close(filler);
    }
    ::close(blocked);
}

TEST_F(RelaySource, AProbeThatEndsAfterSomethingElseWasOpenedDoesNothing) {
    openRelay(source.endpoint());
    // The probe's answer waits in this thread's queue: no events run until the device is open.
    ASSERT_TRUE(test::eventually([&] {
        controller->openPort(QStringLiteral("A"));
        return controller->hasDevice();
    }));
    signalled->clear();
    ASSERT_TRUE(signalled->waitFor("clockStatusChanged"));
    test::processQueued();
    EXPECT_EQ(signalled->count("opened"), 0);
    EXPECT_FALSE(controller->hasRelay());
    EXPECT_EQ(controller->sourceSerial(), QStringLiteral("SN0001"));
}

TEST_F(RelaySource, ClosingDropsTheAnswerOfARunningProbe) {
    openRelay(source.endpoint());
    controller->close();
    test::runFor(50ms);
    EXPECT_TRUE(signalled->texts().empty());
    EXPECT_FALSE(controller->hasSource());
}

TEST_F(RelaySource, ClosingForgetsIt) {
    openSource();
    controller->close();
    EXPECT_EQ(signalled->texts(), Texts{"closed()"});
    EXPECT_FALSE(controller->hasSource());
    EXPECT_EQ(controller->sourceIdentity(), QString());
    EXPECT_EQ(controller->sourceSerial(), QString());
}

TEST_F(RelaySource, ItsTagsAreCaptured) {
    openSource();
    controller->startCapture(QStringLiteral("external"), 0.0, 10, 5, 0, {});
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 1000));
    ASSERT_TRUE(test::runUntil([&] { return signalled->tags.size() >= 500; }));
    stopAndWait();
    test::Tags expected;
    for (const auto& tag : tagsFrom(0, 1000)) {
        if (tag.channel == 0 || tag.channel == 2) {
            expected.push_back(tag);
        }
    }
    EXPECT_EQ(signalled->tags, expected);
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(RelaySource, TheLastBatchComesBeforeTheEnd) {
    openSource();
    QString message;
    ASSERT_TRUE(controller->setRelayServerEnabled(true, 0, 0, &message));
    const auto ports = controller->relayServerStats();
    test::LoopbackClient witness({"127.0.0.1", ports.stream_port, ports.status_port});
    ASSERT_TRUE(test::eventually([&] { return controller->relayServerStats().stream_clients == 1; }));
    controller->startCapture(QStringLiteral("external"), 0.0, 65536, 15, 0, {});
    ASSERT_TRUE(source.waitForClients(1));
    source.publish(tagsFrom(0, 3));
    ASSERT_TRUE(witness.waitForTags(3));
    stopAndWait();
    EXPECT_EQ(signalled->tags, tagsFrom(0, 3));
    EXPECT_EQ(signalled->texts().back(), "captureStopped()");
}

TEST_F(RelaySource, ItsFailureIsToldBeforeTheEnd) {
    openSource();
    controller->startCapture(QStringLiteral("external"), 0.0, 10, 15, 0, {});
    ASSERT_TRUE(source.waitForClients(1));
    source->stop();
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(), (Texts{"captureError(relay stream closed by peer)", "captureStopped()"}));
    EXPECT_TRUE(controller->hasRelay()); // until it is closed
}

TEST_F(RelaySource, HasNoHardwareCounterAndNoSettings) {
    openSource();
    controller->startCounterMeasurements(0.1, false, 0.0);
    EXPECT_EQ(signalled->texts(), Texts{"captureError(Device is not open)"});
    QString error;
    EXPECT_FALSE(controller->setThresholds({1, 1, 1, 1}, &error));
    EXPECT_EQ(error, QStringLiteral("Device is not open"));
    EXPECT_FALSE(controller->applyCalibration(false, false, &error));
    EXPECT_EQ(error, QStringLiteral("Device is not open"));
    signalled->clear();
    controller->uploadSavedCalibration();
    EXPECT_EQ(signalled->texts(), Texts{"calibrationUploadFinished(0, Device is not open)"});
    controller->refreshClockStatus();
    ASSERT_FALSE(signalled->clocks.empty());
    EXPECT_FALSE(signalled->clocks.back().deviceOpen);
    EXPECT_FALSE(signalled->clocks.back().available);
}

TEST_F(RelaySource, ClosingEndsItsCapture) {
    openSource();
    controller->startCapture(QStringLiteral("external"), 0.0, 10, 15, 0, {});
    ASSERT_TRUE(source.waitForClients(1));
    controller->close();
    EXPECT_FALSE(controller->isCapturing());
    ASSERT_TRUE(signalled->waitFor("captureStopped"));
    EXPECT_EQ(signalled->texts(), (Texts{"closed()", "captureStopped()"}));
}

class Sharing : public test::ControllerTest {
protected:
    bool share(bool enabled, quint16 streamPort = 0, quint16 statusPort = 0) {
        return controller->setRelayServerEnabled(enabled, streamPort, statusPort, &message);
    }
    QString message = QStringLiteral("earlier");
};

TEST_F(Sharing, NeedsASource) {
    EXPECT_FALSE(share(true));
    EXPECT_EQ(message, QStringLiteral("Open a local device or network relay before sharing data."));
    EXPECT_FALSE(controller->setRelayServerEnabled(true, 0, 0, nullptr));
    EXPECT_FALSE(controller->relayServerStats().running);
}

TEST_F(Sharing, TellsTheRealPorts) {
    openDevice();
    ASSERT_TRUE(share(true));
    const auto stats = controller->relayServerStats();
    EXPECT_TRUE(stats.running);
    EXPECT_GT(stats.stream_port, 0);
    EXPECT_GT(stats.status_port, 0);
    EXPECT_EQ(message, QStringLiteral("Network relay listening on stream port %1 and status port %2.")
                           .arg(stats.stream_port)
                           .arg(stats.status_port));
}

TEST_F(Sharing, EndsWhenSwitchedOffOrClosed) {
    openDevice();
    ASSERT_TRUE(share(true));
    EXPECT_TRUE(share(false));
    EXPECT_EQ(message, QString());
    EXPECT_FALSE(controller->relayServerStats().running);
    ASSERT_TRUE(share(true));
    controller->close();
    EXPECT_FALSE(controller->relayServerStats().running);
    message = QStringLiteral("earlier");
    EXPECT_TRUE(share(false)); // switching off needs no source
    EXPECT_EQ(message, QString());
    EXPECT_TRUE(controller->setRelayServerEnabled(false, 0, 0, nullptr));
}

TEST_F(Sharing, APortInUseIsToldWithTheServersText) {
    openDevice();
    test::LoopbackServer other;
    const auto used = other.endpoint();
    EXPECT_FALSE(share(true, used.stream_port, 0));
    EXPECT_FALSE(message.isEmpty());
    EXPECT_NE(message, QStringLiteral("earlier"));
    relay::RelayServer plain;
    std::string text;
    ASSERT_FALSE(plain.start(used.stream_port, 0, &text));
    EXPECT_EQ(message.toStdString(), text);
    EXPECT_FALSE(controller->relayServerStats().running);
}

} // namespace
} // namespace qorn::timetagger::gui
