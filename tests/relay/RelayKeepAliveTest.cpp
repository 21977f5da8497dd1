// That a peer which vanished without a word is noticed, on either end.
#include "RelaySocket.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace qorn::relay {
namespace {

using namespace test;

int optionOf(int fd, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    return ::getsockopt(fd, level, name, &value, &length) == 0 ? value : -1;
}

void expectKeepAlive(int fd) {
    EXPECT_EQ(optionOf(fd, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(optionOf(fd, IPPROTO_TCP, TCP_KEEPIDLE), 10);
    EXPECT_EQ(optionOf(fd, IPPROTO_TCP, TCP_KEEPINTVL), 5);
    EXPECT_EQ(optionOf(fd, IPPROTO_TCP, TCP_KEEPCNT), 4);
}

using AddressCall = int (*)(int, sockaddr*, socklen_t*);

int portOf(int fd, AddressCall call) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    return call(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 ? ntohs(address.sin_port) : -1;
}

// The descriptor in this process of what the peer is connected to, or -1.
int otherEndOf(const Peer& peer) {
    const int near = portOf(peer.fd(), ::getsockname);
    const int far = portOf(peer.fd(), ::getpeername);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int fd = std::stoi(entry.path().filename());
        if (portOf(fd, ::getsockname) == far && portOf(fd, ::getpeername) == near)
            return fd;
    }
    return -1;
}

// Shortens the waiting from half a minute to two seconds. Switches nothing on.
void hurry(int fd) {
    const int one = 1;
    ASSERT_EQ(::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &one, sizeof one), 0);
    ASSERT_EQ(::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &one, sizeof one), 0);
    ASSERT_EQ(::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &one, sizeof one), 0);
}

TEST(RelayKeepAlive, AConnectedSocketAsksASilentPeer) {
    Listener listener(AF_INET);
    const RelaySocket socket = connectSocket({"127.0.0.1", listener.port(), 0}, nullptr);
    ASSERT_TRUE(socket);
    expectKeepAlive(socket.fd());
}

TEST(RelayKeepAlive, AnAcceptedSocketAsksASilentPeer) {
    std::uint16_t port = 0;
    const RelaySocket listener = createListeningSocket(0, port, nullptr);
    const Peer peer = Peer::connectTo(port);
    const RelaySocket socket = acceptSocket(listener);
    ASSERT_TRUE(socket);
    expectKeepAlive(socket.fd());
}

TEST(RelayKeepAlive, AServerAsksTheSilentClientsOfBothPorts) {
    TestServer server;
    const std::vector<Peer> stream = server.connectStreams(1);
    const std::vector<Peer> status = server.connectStatuses(1);
    expectKeepAlive(otherEndOf(stream[0]));
    expectKeepAlive(otherEndOf(status[0]));
}

TEST(RelayKeepAlive, AReceiverWhosePublisherVanishedEndsWithAText) {
    Listener listener(AF_INET);
    Receiver receiver(RelayEndpoint{"127.0.0.1", listener.port(), 0});
    Peer publisher = listener.accept();
    ASSERT_TRUE(publisher.sendAll(patternRecords(80)));
    ASSERT_TRUE(receiver.waitForTags(10)); // and so is set up
    publisher.vanish();
    hurry(otherEndOf(publisher));
    EXPECT_EQ(receiver.join(), "relay receive failed: Connection timed out (socket error 110)");
    EXPECT_EQ(receiver.tags().size(), 10U);
    publisher.reset();
}

TEST(RelayKeepAlive, APublisherThatIsThereAndSilentIsKept) {
    Listener listener(AF_INET);
    Receiver receiver(RelayEndpoint{"127.0.0.1", listener.port(), 0});
    Peer publisher = listener.accept();
    ASSERT_TRUE(publisher.sendAll(patternRecords(8)));
    ASSERT_TRUE(receiver.waitForTags(1));
    const int fd = otherEndOf(publisher);
    hurry(fd);
    // Its answer to a first question, and to a second one, came after so long a silence.
    EXPECT_TRUE(eventually([&] {
        tcp_info info{};
        socklen_t length = sizeof info;
        return ::getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
               info.tcpi_last_data_recv > 2500 && info.tcpi_last_ack_recv < 1500;
    }));
    EXPECT_FALSE(receiver.hasEnded());
    EXPECT_EQ(receiver.stopAndJoin(), "");
}

TEST(RelayKeepAlive, AServerForgetsTheClientThatVanished) {
    TestServer server;
    std::vector<Peer> peers = server.connectStreams(2);
    peers[0].vanish();
    hurry(otherEndOf(peers[0]));
    hurry(otherEndOf(peers[1]));
    EXPECT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(80));
    EXPECT_EQ(peers[1].read(80), patternRecords(80));
    EXPECT_EQ(server->stats().slow_clients_disconnected, 0U);
    EXPECT_EQ(server->stats().tags_lost, 0U) << "nothing was on its way to it";
    peers[0].reset();
}

} // namespace
} // namespace qorn::relay
