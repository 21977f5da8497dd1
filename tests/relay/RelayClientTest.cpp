#include "RelayClient.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <span>
#include <stdexcept>
#include <thread>

#include <sys/socket.h>

namespace qorn::relay {
namespace {

using namespace test;

constexpr std::int64_t kWrapPs = 14315125997568;
constexpr const char* kInvalidRecord = "relay stream contains an invalid raw64-ps record";
constexpr const char* kClosed = "relay stream closed by peer";

// A publisher that the test plays, with one receiver connected to it.
class RelayClientStream : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(publisher.isOpen()); }

    Listener listener{AF_INET};
    Receiver receiver{RelayEndpoint{"127.0.0.1", listener.port(), 0}};
    Peer publisher = listener.accept();
};

TEST_F(RelayClientStream, ARecordOfChannelThreeAtTimeZeroIsValid) {
    ASSERT_TRUE(publisher.sendAll(Bytes{0x60, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(receiver.waitForTags(1));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_EQ(receiver.tags(), (Tags{{3, 0}}));
}

TEST_F(RelayClientStream, EveryBitOfTheTimeIsRead) {
    Bytes bytes;
    Tags expected;
    for (int bit = 0; bit < 43; ++bit) {
        expected.push_back({static_cast<std::uint8_t>(bit % 4), std::int64_t{1} << bit});
        appendRecord(bytes, bit % 4, std::int64_t{1} << bit);
    }
    expected.push_back({1, kWrapPs - 1});
    appendRecord(bytes, 1, kWrapPs - 1);
    ASSERT_TRUE(publisher.sendAll(bytes));
    ASSERT_TRUE(receiver.waitForTags(expected.size()));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_EQ(receiver.tags(), expected);
}

TEST_F(RelayClientStream, NothingOfAPieceWithAnInvalidRecordIsHandedOn) {
    Bytes bytes = patternRecords(80);
    bytes[8 * 9] |= 0x80;
    ASSERT_TRUE(publisher.sendAll(bytes)); // small enough to arrive as one piece
    EXPECT_EQ(receiver.join(), kInvalidRecord);
    EXPECT_TRUE(receiver.tags().empty());
}

TEST_F(RelayClientStream, APieceBeforeTheInvalidRecordIsHandedOn) {
    ASSERT_TRUE(publisher.sendAll(patternRecords(80)));
    ASSERT_TRUE(receiver.waitForTags(10));
    ASSERT_TRUE(publisher.sendAll(Bytes{0x80, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(receiver.join(), kInvalidRecord);
    EXPECT_EQ(receiver.tags().size(), 10U);
    EXPECT_TRUE(publisher.isClosedByOther());
}

TEST_F(RelayClientStream, AStreamOutOfStepEndsInsteadOfBeingSearched) {
    Bytes bytes = patternRecords(8000);
    bytes.insert(bytes.begin(), 0x20);
    (void)publisher.sendAll(bytes);
    EXPECT_EQ(receiver.join(), kInvalidRecord);
    EXPECT_TRUE(receiver.tags().empty());
}

TEST_F(RelayClientStream, HalfRecordsWaitForTheirRest) {
    const Tags expected = randomTags(50, 1000, 1000000, 7);
    for (const std::uint8_t byte : recordsOf(expected))
        ASSERT_TRUE(publisher.sendAll({&byte, 1}));
    ASSERT_TRUE(receiver.waitForTags(expected.size()));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_EQ(receiver.tags(), expected);
}

TEST_F(RelayClientStream, PiecesOfAnyLengthGiveTheSameTags) {
    const Tags expected = randomTags(40000, 1000, 1000000, 8);
    const Bytes bytes = recordsOf(expected);
    std::mt19937 random(9);
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = std::min<std::size_t>(random() % 5000 + 1, bytes.size() - at);
        ASSERT_TRUE(publisher.sendAll(std::span(bytes).subspan(at, length)));
        at += length;
    }
    ASSERT_TRUE(receiver.waitForTags(expected.size()));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_TRUE(receiver.tags() == expected);
}

TEST_F(RelayClientStream, AnEndInTheMiddleOfARecordLosesOnlyThatRecord) {
    Bytes bytes = patternRecords(24);
    bytes.pop_back();
    ASSERT_TRUE(publisher.sendAll(bytes));
    ASSERT_TRUE(receiver.waitForTags(2));
    publisher.close();
    EXPECT_EQ(receiver.join(), kClosed);
    EXPECT_EQ(receiver.tags().size(), 2U);
}

TEST_F(RelayClientStream, TimesGoOnOverTheWrapForEachChannelAlone) {
    Bytes bytes;
    for (const timing::TimeTag& tag : Tags{{0, kWrapPs - 5}, {1, 100}, {0, 7}, {1, 200}, {0, 3}, {1, 150}})
        appendRecord(bytes, tag.channel, tag.timestamp_ps);
    ASSERT_TRUE(publisher.sendAll(bytes));
    ASSERT_TRUE(receiver.waitForTags(6));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_EQ(receiver.tags(),
              (Tags{{0, kWrapPs - 5}, {1, 100}, {0, kWrapPs + 7}, {1, 200}, {0, kWrapPs + 3}, {1, 150}}));
}

TEST_F(RelayClientStream, AStepBackByLessThanHalfTheWrapStaysAsItIs) {
    const std::int64_t half = kWrapPs / 2;
    Bytes bytes;
    for (const timing::TimeTag& tag : Tags{{2, half + 10}, {2, 11}, {3, half + 10}, {3, 9}})
        appendRecord(bytes, tag.channel, tag.timestamp_ps);
    ASSERT_TRUE(publisher.sendAll(bytes));
    ASSERT_TRUE(receiver.waitForTags(4));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_EQ(receiver.tags(), (Tags{{2, half + 10}, {2, 11}, {3, half + 10}, {3, kWrapPs + 9}}));
}

TEST_F(RelayClientStream, AClosedStreamIsNamed) {
    publisher.close();
    EXPECT_EQ(receiver.join(), kClosed);
}

TEST_F(RelayClientStream, AResetStreamIsNamedWithTheSystemsText) {
    ASSERT_TRUE(publisher.sendAll(patternRecords(8)));
    ASSERT_TRUE(receiver.waitForTags(1)); // a reset during connecting would be another failure
    publisher.reset();
    EXPECT_EQ(receiver.join(), "relay receive failed: Connection reset by peer (socket error 104)");
}

TEST_F(RelayClientStream, AStopEndsQuietlyAndClosesTheConnection) {
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_TRUE(publisher.isClosedByOther());
}

TEST_F(RelayClientStream, AStopEndsAStreamThatNeverPauses) {
    const Bytes bytes = patternRecords(65536);
    std::thread sender([&] {
        while (publisher.sendAll(bytes)) {
        }
    });
    EXPECT_TRUE(receiver.waitForTags(100000));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    sender.join();
}

TEST(RelayClient, AStopWhileThePeerClosesEndsQuietly) {
    Listener listener(AF_INET);
    for (int i = 0; i < 60; ++i) {
        Receiver receiver(RelayEndpoint{"127.0.0.1", listener.port(), 0});
        Peer publisher = listener.accept();
        ASSERT_TRUE(publisher.isOpen());
        if (i % 3 == 0) {
            ASSERT_TRUE(publisher.sendAll(patternRecords(80)));
        }
        receiver.requestStop();
        if (i % 2 == 0)
            publisher.close();
        else
            publisher.reset();
        ASSERT_EQ(receiver.join(), "");
    }
}

TEST(RelayClient, AServerThatStopsEndsItsReceivers) {
    TestServer server;
    Receiver receiver(server.endpoint());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server->stop();
    EXPECT_EQ(receiver.join(), kClosed);
}

TEST(RelayClient, EveryBitThatMustBeZeroIsChecked) {
    Listener listener(AF_INET);
    std::vector<int> bits{63};
    for (int bit = 44; bit <= 60; ++bit)
        bits.push_back(bit);
    for (const int bit : bits) {
        Receiver receiver(RelayEndpoint{"127.0.0.1", listener.port(), 0});
        Peer publisher = listener.accept();
        Bytes bytes = patternRecords(24);
        bytes[8 + static_cast<std::size_t>(63 - bit) / 8] |= static_cast<std::uint8_t>(1 << bit % 8);
        ASSERT_TRUE(publisher.sendAll(bytes));
        ASSERT_EQ(receiver.join(), kInvalidRecord) << "bit " << bit;
    }
}

TEST(RelayClient, GarbageEndsTheStreamAndNothingElse) {
    Listener listener(AF_INET);
    std::mt19937 random(3);
    for (int i = 0; i < 20; ++i) {
        Receiver receiver(RelayEndpoint{"127.0.0.1", listener.port(), 0});
        Peer publisher = listener.accept();
        Bytes bytes(100000);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random());
        (void)publisher.sendAll(bytes);
        ASSERT_EQ(receiver.join(), kInvalidRecord);
    }
}

TEST(RelayClient, TheConnectionIsClosedHoweverItEnds) {
    Listener listener(AF_INET);
    const RefusingPort refusing;
    const std::size_t descriptors = openDescriptors();
    const RelayEndpoint endpoint{"127.0.0.1", listener.port(), refusing.port()};
    {
        Receiver invalid(endpoint);
        Peer publisher = listener.accept();
        ASSERT_TRUE(publisher.sendAll(Bytes(8, 0xFF)));
        EXPECT_EQ(invalid.join(), kInvalidRecord);
        EXPECT_TRUE(publisher.isClosedByOther());
    }
    {
        Receiver throwing(endpoint, [](Tags&) { throw std::runtime_error("enough"); });
        Peer publisher = listener.accept();
        ASSERT_TRUE(publisher.sendAll(Bytes(8)));
        EXPECT_EQ(throwing.join(), "enough");
        EXPECT_TRUE(publisher.isClosedByOther());
    }
    {
        Receiver closed(endpoint);
        listener.accept().close();
        EXPECT_EQ(closed.join(), kClosed);
    }
    EXPECT_FALSE(RelayClient().probe(endpoint, nullptr));
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(RelayClient, WithoutTrafficItStaysConnected) {
    TestServer server;
    Receiver receiver(server.endpoint());
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    EXPECT_FALSE(status.readLine().empty());
    EXPECT_FALSE(status.readLine().empty()); // more than a second has passed
    EXPECT_FALSE(receiver.hasEnded());
    server.publish(patternRecords(8));
    EXPECT_TRUE(receiver.waitForTags(1));
    EXPECT_EQ(receiver.stopAndJoin(), "");
}

TEST(RelayClient, IdlenessIsToldWhileNothingComesAndOnlyThen) {
    TestServer server;
    std::atomic<bool> stop{false};
    std::atomic<int> idle{0};
    std::atomic<int> received{0};
    std::thread receiver([&] {
        RelayClient().receive(
            server.endpoint(), stop, [&](Tags&) { ++received; }, [&] { ++idle; });
    });
    EXPECT_TRUE(server.waitForStreamClients(1));
    EXPECT_TRUE(eventually([&] { return idle >= 2; }));
    EXPECT_EQ(received, 0);
    server.publish(patternRecords(8));
    EXPECT_TRUE(eventually([&] { return received == 1; }));
    const int before = idle;
    EXPECT_TRUE(eventually([&] { return idle > before; }));
    EXPECT_EQ(received, 1);
    stop = true;
    receiver.join();
}

TEST(RelayClient, AnExceptionWhileIdleEndsTheReceiverAndPassesOn) {
    TestServer server;
    const std::atomic<bool> stop{false};
    EXPECT_THROW(RelayClient().receive(
                     server.endpoint(), stop, [](Tags&) {}, [] { throw std::logic_error("enough"); }),
                 std::logic_error);
    EXPECT_TRUE(server.waitForStreamClients(0));
}

TEST(RelayClient, AnExceptionOfTheCallbackEndsTheReceiverAndPassesOn) {
    TestServer server;
    Receiver receiver(server.endpoint(), [](Tags&) { throw std::runtime_error("enough"); });
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(8));
    EXPECT_EQ(receiver.join(), "enough");
    EXPECT_TRUE(server.waitForStreamClients(0));
}

TEST(RelayClient, TheCallbackMayKeepTheTags) {
    TestServer server;
    Tags kept;
    Receiver receiver(server.endpoint(), [&](Tags& tags) {
        const Tags taken = std::move(tags);
        kept.insert(kept.end(), taken.begin(), taken.end());
    });
    ASSERT_TRUE(server.waitForStreamClients(1));
    const Tags expected = randomTags(30000, 5, 1000, 4);
    const Bytes bytes = recordsOf(expected);
    server.publish(Bytes(bytes.begin(), bytes.begin() + 120000));
    server.publish(Bytes(bytes.begin() + 120000, bytes.end()));
    ASSERT_TRUE(receiver.waitForTags(expected.size()));
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_TRUE(kept == expected);
}

TEST(RelayClient, AFailedConnectionIsThrownWithItsText) {
    const RefusingPort port;
    Receiver refused(RelayEndpoint{"127.0.0.1", port.port(), 0});
    EXPECT_EQ(refused.join(), "could not connect to relay 127.0.0.1:" + std::to_string(port.port()));
    Receiver nameless(RelayEndpoint{"", port.port(), 0});
    EXPECT_EQ(nameless.join(), "relay host is empty");
}

TEST(RelayClient, ReceivesOverIpv6) {
    Listener listener(AF_INET6);
    if (!listener.isOpen())
        GTEST_SKIP() << "this host has no IPv6 loopback";
    Receiver receiver(RelayEndpoint{"::1", listener.port(), 0});
    Peer publisher = listener.accept();
    ASSERT_TRUE(publisher.sendAll(patternRecords(80)));
    EXPECT_TRUE(receiver.waitForTags(10));
    EXPECT_EQ(receiver.stopAndJoin(), "");
}

TEST(RelayClient, AProbeTouchesOnlyTheStatusPort) {
    Listener stream(AF_INET);
    Listener status(AF_INET);
    std::string error;
    EXPECT_TRUE(RelayClient().probe({"127.0.0.1", stream.port(), status.port()}, &error)) << error;
    Peer probing = status.accept();
    ASSERT_TRUE(probing.isOpen());
    EXPECT_TRUE(probing.isClosedByOther());
    EXPECT_FALSE(stream.hasWaiting());
}

TEST(RelayClient, AProbeOfAServerIsNoStreamClient) {
    TestServer server;
    EXPECT_TRUE(RelayClient().probe(server.endpoint(), nullptr));
    // The server takes connections in their order, so the probe has been seen when the next is.
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStatusClients(1));
    EXPECT_EQ(server->stats().stream_clients, 0U);
}

TEST(RelayClient, AFailedProbeNamesTheStatusPort) {
    Listener stream(AF_INET);
    const RefusingPort status;
    std::string error;
    EXPECT_FALSE(RelayClient().probe({"127.0.0.1", stream.port(), status.port()}, &error));
    EXPECT_EQ(error, "could not connect to relay 127.0.0.1:" + std::to_string(status.port()));
    EXPECT_FALSE(RelayClient().probe({"127.0.0.1", stream.port(), status.port()}, nullptr));
}

} // namespace
} // namespace qorn::relay
