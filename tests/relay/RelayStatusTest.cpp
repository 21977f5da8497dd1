#include "RelayStatusClients.h"
#include "RelayStatusLine.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>

#include <sys/socket.h>

namespace qorn::relay {
namespace {

using namespace test;

TEST(StatusLine, NumbersAreSeparatedByCommasButNotBeforeTheFirst) {
    std::string line;
    bool first = true;
    appendStatusNumber(line, "a", 0, first);
    EXPECT_FALSE(first);
    appendStatusNumber(line, "b", std::numeric_limits<std::uint64_t>::max(), first);
    EXPECT_EQ(line, R"("a":0,"b":18446744073709551615)");
}

TEST(StatusLine, HasAllKeysInOrderWithoutSpaces) {
    RelayServer::Stats stats;
    stats.running = true;
    stats.stream_port = 65535;
    stats.status_port = 2;
    stats.stream_clients = 3;
    stats.status_clients = 99;
    stats.tags_published = 4;
    stats.bytes_published = 5;
    stats.bytes_sent = 6;
    stats.slow_clients_disconnected = 7;
    stats.ingress_overruns = 8;
    EXPECT_EQ(relayStatusLine(stats),
              R"({"protocol":1,"stream_port":65535,"status_port":2,"stream_clients":3,"tags_published":4,)"
              R"("bytes_published":5,"bytes_sent":6,"slow_clients_disconnected":7,"ingress_overruns":8})"
              "\n");
}

TEST(StatusPort, SendsALineASecondToEveryClient) {
    TestServer server;
    server.publish(patternRecords(24)); // nobody listens: published, not sent
    std::vector<Peer> peers = server.connectStatuses(3);

    RelayServer::Stats expected;
    expected.stream_port = server.streamPort();
    expected.status_port = server.statusPort();
    expected.tags_published = 3;
    expected.bytes_published = 24;
    for (Peer& peer : peers)
        EXPECT_EQ(peer.readLine(), relayStatusLine(expected));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(peers[0].readLine(), relayStatusLine(expected));
    EXPECT_EQ(peers[0].readLine(), relayStatusLine(expected));
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(1500));
    EXPECT_LT(taken, std::chrono::seconds(20));
}

TEST(StatusPort, CountsStreamClientsAndSentBytes) {
    TestServer server;
    Peer stream = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    const Bytes batch = patternRecords(800);
    server.publish(batch);
    ASSERT_EQ(stream.read(800), batch);
    ASSERT_TRUE(eventually([&] { return server->stats().bytes_sent == 800; }));

    Peer status = Peer::connectTo(server.statusPort());
    const std::string line = status.readLine();
    EXPECT_NE(line.find(R"("stream_clients":1,"tags_published":100,"bytes_published":800,"bytes_sent":800,)"),
              std::string::npos)
        << line;
}

// Both ends of a connection on whose sending side little fits.
struct NarrowConnection {
    NarrowConnection() {
        std::uint16_t port = 0;
        const RelaySocket listener = createListeningSocket(0, port, nullptr);
        peer = Peer::connectTo(port, 1024);
        served = acceptSocket(listener);
        const int small = 1024;
        ::setsockopt(served.fd(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }
    Peer peer;
    RelaySocket served;
};

TEST(StatusClients, AClientThatCannotTakeALineAtOnceIsClosed) {
    NarrowConnection lazy;
    NarrowConnection attentive;
    RelayStatusClients clients;
    clients.add(std::move(lazy.served));
    clients.add(std::move(attentive.served));
    ASSERT_EQ(clients.size(), 2U);

    const std::string line = relayStatusLine({});
    int sent = 0;
    while (clients.size() == 2 && sent < 100000) {
        clients.sendLine(line);
        ++sent;
        ASSERT_EQ(attentive.peer.readLine(), line);
    }
    EXPECT_EQ(clients.size(), 1U);
    EXPECT_GT(sent, 1);
    // What the lazy one was sent before are whole lines, one after the other; then the end.
    for (int i = 0; i + 1 < sent; ++i)
        ASSERT_EQ(lazy.peer.readLine(), line);
    EXPECT_TRUE(lazy.peer.isClosedByOther());
    clients.sendLine(line);
    EXPECT_EQ(attentive.peer.readLine(), line);
}

TEST(StatusClients, ALineThatFitsOnlyInPartClosesTheClient) {
    NarrowConnection connection;
    RelayStatusClients clients;
    clients.add(std::move(connection.served));
    clients.sendLine(std::string(16 * kMiB, 'x'));
    EXPECT_EQ(clients.size(), 0U);
    EXPECT_TRUE(connection.peer.isClosedByOther());
}

} // namespace
} // namespace qorn::relay
