#include "RelayServer.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <sys/socket.h>

namespace qorn::relay {
namespace {

using namespace test;

TEST(RelayServer, ANewOneDoesNotRun) {
    const RelayServer server;
    EXPECT_FALSE(server.running());
    const RelayServer::Stats stats = server.stats();
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.stream_port, 0);
}

TEST(RelayServer, StartWithPortZeroReportsTheRealPorts) {
    RelayServer server;
    std::string error;
    ASSERT_TRUE(server.start(0, 0, &error)) << error;
    EXPECT_TRUE(server.running());
    const RelayServer::Stats stats = server.stats();
    EXPECT_TRUE(stats.running);
    EXPECT_NE(stats.stream_port, 0);
    EXPECT_NE(stats.status_port, 0);
    EXPECT_NE(stats.stream_port, stats.status_port);
    EXPECT_TRUE(Peer::connectTo(stats.stream_port).isOpen());
    EXPECT_TRUE(Peer::connectTo(stats.status_port).isOpen());
}

TEST(RelayServer, ATakenStatusPortFailsAndClosesTheStreamPort) {
    Listener taken(AF_INET);
    RelayServer server;
    std::string error;
    ASSERT_TRUE(server.start(0, 0, nullptr));
    const std::uint16_t free_port = server.stats().stream_port;
    server.stop();
    EXPECT_FALSE(server.start(free_port, taken.port(), &error));
    EXPECT_EQ(error, "could not start relay listener: Address already in use (socket error 98)");
    EXPECT_FALSE(server.running());
    EXPECT_FALSE(server.stats().running);
    EXPECT_FALSE(Peer::connectTo(free_port).isOpen());
    EXPECT_FALSE(server.start(taken.port(), 0, nullptr));
    EXPECT_FALSE(server.running());
}

TEST(RelayServer, OnePortCannotServeBoth) {
    TestServer server;
    const std::uint16_t port = server.streamPort();
    server->stop();
    std::string error;
    EXPECT_FALSE(server->start(port, port, &error));
    EXPECT_EQ(error, "could not start relay listener: Address already in use (socket error 98)");
}

TEST(RelayServer, ARestartDropsClientsAndClearsCounters) {
    TestServer server;
    Peer stream = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(64));
    ASSERT_EQ(stream.read(64).size(), 64U);
    ASSERT_TRUE(server->start(0, 0, nullptr));
    EXPECT_TRUE(stream.isClosedByOther());
    const RelayServer::Stats stats = server->stats();
    EXPECT_TRUE(stats.running);
    EXPECT_EQ(stats.stream_clients, 0U);
    EXPECT_EQ(stats.tags_published, 0U);
    EXPECT_EQ(stats.bytes_published, 0U);
    EXPECT_EQ(stats.bytes_sent, 0U);
    Peer again = Peer::connectTo(stats.stream_port);
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(64));
    EXPECT_EQ(again.read(64), patternRecords(64));
}

TEST(RelayServer, ARestartMayTakeTheSamePortsFromItsClients) {
    TestServer server;
    Peer stream = Peer::connectTo(server.streamPort());
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    ASSERT_TRUE(server.waitForStatusClients(1));
    std::string error;
    EXPECT_TRUE(server->start(server.streamPort(), server.statusPort(), &error)) << error;
    EXPECT_TRUE(stream.isClosedByOther());
    EXPECT_TRUE(status.isClosedByOther());
    Peer again = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(64));
    EXPECT_EQ(again.read(64), patternRecords(64));
}

TEST(RelayServer, AStopDropsClientsAndKeepsTheCounters) {
    TestServer server;
    Peer stream = Peer::connectTo(server.streamPort());
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    ASSERT_TRUE(server.waitForStatusClients(1));
    server.publish(patternRecords(64));
    ASSERT_EQ(stream.read(64).size(), 64U);
    server->stop();
    server->stop();
    EXPECT_FALSE(server->running());
    EXPECT_TRUE(stream.isClosedByOther());
    EXPECT_TRUE(status.isClosedByOther());
    EXPECT_FALSE(Peer::connectTo(server.streamPort()).isOpen());
    const RelayServer::Stats stats = server->stats();
    EXPECT_FALSE(stats.running);
    EXPECT_EQ(stats.stream_clients, 0U);
    EXPECT_EQ(stats.status_clients, 0U);
    EXPECT_EQ(stats.tags_published, 8U);
    EXPECT_EQ(stats.bytes_sent, 64U);
}

TEST(RelayServer, NothingIsCountedForAnEmptyBatchOrAStoppedServer) {
    TestServer server;
    server->publishRaw64({}, 5);
    EXPECT_EQ(server->stats().tags_published, 0U);
    server->stop();
    server->publishRaw64(Bytes(8), 1);
    EXPECT_EQ(server->stats().tags_published, 0U);
    EXPECT_EQ(server->stats().bytes_published, 0U);
}

TEST(RelayServer, TheDestructorClosesConnectedClients) {
    TestServer server;
    std::vector<Peer> streams = server.connectStreams(5);
    std::vector<Peer> statuses = server.connectStatuses(5);
    server.publish(patternRecords(16 * kMiB)); // nobody reads: backlogs are left over
    server.destroy();
    for (Peer& peer : streams)
        EXPECT_TRUE(peer.isClosedByOther());
    for (Peer& peer : statuses)
        EXPECT_TRUE(peer.isClosedByOther());
}

TEST(RelayServer, EveryClientGetsEveryBatchInOrder) {
    TestServer server;
    std::vector<Peer> peers = server.connectStreams(10);
    Bytes all;
    for (std::uint32_t i = 1; i <= 50; ++i) {
        const Bytes batch = patternRecords(8 * i * i, i);
        all.insert(all.end(), batch.begin(), batch.end());
        server.publish(batch);
    }
    for (Peer& peer : peers)
        EXPECT_TRUE(peer.read(all.size()) == all);
    EXPECT_TRUE(eventually([&] { return server->stats().bytes_sent == 10 * all.size(); }));
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.bytes_published, all.size());
    EXPECT_EQ(stats.tags_published, all.size() / 8);
    EXPECT_EQ(stats.slow_clients_disconnected, 0U);
}

TEST(RelayServer, NothingEarlierIsReplayed) {
    TestServer server;
    Peer witness = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(80, 1));
    ASSERT_EQ(witness.read(80).size(), 80U); // the batch has been handed to all who were there
    Peer late = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(2));
    server.publish(patternRecords(80, 2));
    EXPECT_EQ(late.read(80), patternRecords(80, 2));
    EXPECT_EQ(witness.read(80), patternRecords(80, 2));
}

TEST(RelayServer, AClientThatComesInTheMiddleStartsWithAWholeBatch) {
    TestServer server;
    const std::jthread publisher([&](const std::stop_token& stop) {
        for (std::uint32_t i = 0; !stop.stop_requested(); i = (i + 1) % 100) {
            server.publish(patternRecords(800, i));
            std::this_thread::sleep_for(std::chrono::microseconds(50)); // no faster than it is sent
        }
    });
    for (int i = 0; i < 50; ++i) {
        const Bytes first = Peer::connectTo(server.streamPort()).read(1600);
        ASSERT_EQ(first.size(), 1600U);
        std::uint32_t seed = 0; // is in the first record's time
        for (std::size_t byte = 4; byte < 8; ++byte)
            seed = seed << 8 | first[byte];
        ASSERT_LT(seed, 100U);
        EXPECT_TRUE(std::equal(first.begin(), first.begin() + 800, patternRecords(800, seed).begin()));
        EXPECT_TRUE(
            std::equal(first.begin() + 800, first.end(), patternRecords(800, (seed + 1) % 100).begin()));
    }
}

TEST(RelayServer, BytesFromAClientHaveNoEffectOnEitherPort) {
    TestServer server;
    Peer stream = Peer::connectTo(server.streamPort());
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    ASSERT_TRUE(server.waitForStatusClients(1));
    Bytes garbage(300000);
    for (std::size_t i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
    ASSERT_TRUE(stream.sendAll(garbage));
    ASSERT_TRUE(status.sendAll(garbage));
    server.publish(patternRecords(8000));
    EXPECT_EQ(stream.read(8000), patternRecords(8000));
    EXPECT_TRUE(status.readLine().starts_with(R"({"protocol":1,)"));
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.stream_clients, 1U);
    EXPECT_EQ(stats.status_clients, 1U);
    EXPECT_EQ(stats.tags_published, 1000U);
    EXPECT_EQ(stats.slow_clients_disconnected, 0U);
    // And the end of such a client is seen behind its garbage.
    stream.close();
    status.finishSending();
    EXPECT_TRUE(server.waitForStreamClients(0));
    EXPECT_TRUE(server.waitForStatusClients(0));
}

// Sends to a port as fast as it goes, for as long as it lives.
class Flood {
public:
    explicit Flood(std::uint16_t port) : peer(Peer::connectTo(port)) {}
    std::uint64_t bytesSent() const { return sent; }

private:
    void run(const std::stop_token& stop) {
        const Bytes piece(65536, 0x55);
        while (!stop.stop_requested()) {
            const ssize_t count = ::send(peer.fd(), piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count > 0)
                sent += static_cast<std::uint64_t>(count);
            else
                std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    }

    Peer peer;
    std::atomic<std::uint64_t> sent{0};
    std::jthread thread{[this](const std::stop_token& stop) { run(stop); }};
};

TEST(RelayServer, AFloodOfInputDoesNotHoldUpTheStream) {
    TestServer server;
    const Flood flood(server.streamPort());
    Peer reader = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(2));
    for (std::uint32_t i = 0; i < 200; ++i) {
        server.publish(patternRecords(65536, i));
        ASSERT_TRUE(reader.read(65536) == patternRecords(65536, i));
    }
    EXPECT_EQ(server->stats().stream_clients, 2U);
}

TEST(RelayServer, AFloodOfInputIsReadSlowlyInsteadOfKeepingTheServerBusy) {
    TestServer server;
    const Flood to_stream(server.streamPort());
    const Flood to_status(server.statusPort());
    Peer status = Peer::connectTo(server.statusPort());
    EXPECT_FALSE(status.readLine().empty());
    EXPECT_FALSE(status.readLine().empty()); // by now the system's buffers are full
    const std::uint64_t before = to_stream.bytesSent() + to_status.bytesSent();
    EXPECT_FALSE(status.readLine().empty());
    EXPECT_LT(to_stream.bytesSent() + to_status.bytesSent() - before, 64 * kMiB);
}

TEST(RelayServer, ClientsThatLeaveAreNotCountedAsSlow) {
    TestServer server;
    Peer closing = Peer::connectTo(server.streamPort());
    Peer resetting = Peer::connectTo(server.streamPort());
    Peer half_closing = Peer::connectTo(server.streamPort());
    Peer leaving_behind_data = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(4));
    server.publish(patternRecords(16 * kMiB));
    closing.close();
    resetting.reset();
    half_closing.finishSending();
    (void)leaving_behind_data.read(8);
    leaving_behind_data.reset();
    EXPECT_TRUE(server.waitForStreamClients(0));
    EXPECT_TRUE(server->running());
    EXPECT_EQ(server->stats().slow_clients_disconnected, 0U);
}

TEST(RelayServer, TwoHundredClientsComeAndGo) {
    TestServer server;
    const std::size_t descriptors = openDescriptors();
    for (std::uint32_t round = 0; round < 3; ++round) {
        std::vector<Peer> streams = server.connectStreams(150);
        std::vector<Peer> statuses = server.connectStatuses(50);
        const Bytes batch = patternRecords(4096, round);
        server.publish(batch);
        for (std::size_t i = 0; i < streams.size(); ++i) {
            ASSERT_EQ(streams[i].read(batch.size()), batch);
            if (i % 2 == 0)
                streams[i].reset();
        }
        streams.clear();
        statuses.clear();
        ASSERT_TRUE(server.waitForStreamClients(0));
        ASSERT_TRUE(server.waitForStatusClients(0));
    }
    EXPECT_EQ(server->stats().slow_clients_disconnected, 0U);
    EXPECT_EQ(server->stats().bytes_sent, 3U * 150U * 4096U);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(RelayServer, PublishingStatsAndRestartsMayOverlap) {
    RelayServer server;
    ASSERT_TRUE(server.start(0, 0, nullptr));
    std::atomic<bool> stop{false};
    std::thread publisher([&] {
        while (!stop)
            server.publishRaw64(Bytes(800), 100);
    });
    std::thread observer([&] {
        while (!stop) {
            const RelayServer::Stats stats = server.stats();
            EXPECT_EQ(stats.bytes_published, 8 * stats.tags_published);
        }
    });
    for (int i = 0; i < 30; ++i) {
        Peer peer = Peer::connectTo(server.stats().stream_port);
        const std::size_t received = peer.read(800).size();
        // A publisher without pause may overrun the queue, and then its clients are dropped and that is
        // counted.
        EXPECT_TRUE(received == 800U || server.stats().ingress_overruns > 0) << received;
        if (i % 2 == 0)
            server.stop();
        EXPECT_TRUE(server.start(0, 0, nullptr));
    }
    stop = true;
    publisher.join();
    observer.join();
}

} // namespace
} // namespace qorn::relay
