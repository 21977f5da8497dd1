#include "RelaySocket.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace qorn::relay {
namespace {

using namespace test;

bool isOpenDescriptor(int fd) {
    return ::fcntl(fd, F_GETFD) >= 0;
}

RelaySocket anySocket() {
    return RelaySocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

TEST(RelaySocket, ClosesItsDescriptorWhenItGoes) {
    int fd = -1;
    {
        const RelaySocket socket = anySocket();
        fd = socket.fd();
        EXPECT_TRUE(isOpenDescriptor(fd));
    }
    EXPECT_FALSE(isOpenDescriptor(fd));
}

TEST(RelaySocket, MovingHandsOverTheDescriptorAndClosesTheOverwrittenOne) {
    RelaySocket source = anySocket();
    RelaySocket target = anySocket();
    const int moved = source.fd();
    const int overwritten = target.fd();
    target = std::move(source);
    EXPECT_EQ(target.fd(), moved);
    EXPECT_TRUE(isOpenDescriptor(moved));
    EXPECT_FALSE(isOpenDescriptor(overwritten));
    const RelaySocket last(std::move(target));
    EXPECT_EQ(last.fd(), moved);
    EXPECT_TRUE(isOpenDescriptor(moved));
}

TEST(RelaySocket, ClosingTwiceIsHarmless) {
    RelaySocket socket = anySocket();
    socket.close();
    EXPECT_FALSE(socket);
    EXPECT_EQ(socket.fd(), -1);
    socket.close();
    EXPECT_FALSE(socket);
}

TEST(SocketErrorText, NamesContextSystemTextAndTheAbsoluteNumber) {
    for (const int number : {ECONNRESET, -ECONNRESET}) {
        errno = number;
        EXPECT_EQ(socketErrorText("relay receive failed"),
                  "relay receive failed: Connection reset by peer (socket error 104)");
    }
}

TEST(ConnectSocket, RefusesAnEmptyHost) {
    std::string error;
    EXPECT_FALSE(connectSocket({"", 1, 0}, &error));
    EXPECT_EQ(error, "relay host is empty");
    EXPECT_FALSE(connectSocket({"", 1, 0}, nullptr));
}

TEST(ConnectSocket, NamesHostAndPortOfARefusedConnection) {
    const RefusingPort port;
    std::string error;
    EXPECT_FALSE(connectSocket({"127.0.0.1", port.port(), 0}, &error));
    EXPECT_EQ(error, "could not connect to relay 127.0.0.1:" + std::to_string(port.port()));
    EXPECT_FALSE(connectSocket({"127.0.0.1", port.port(), 0}, nullptr));
}

TEST(ConnectSocket, NamesTheHostThatDoesNotResolveWithTheResolversText) {
    for (const std::string& host :
         {std::string("no-such-relay.invalid"), std::string(300, 'x'), std::string("not a host"),
          std::string("fe80:::1"), std::string("[::1]"), std::string("\xFF\n")}) {
        std::string error;
        EXPECT_FALSE(connectSocket({host, 1, 0}, &error));
        const std::string start = "could not resolve relay host " + host + ": ";
        EXPECT_TRUE(error.starts_with(start) && error.size() > start.size()) << error;
        EXPECT_FALSE(connectSocket({host, 1, 0}, nullptr));
    }
}

TEST(ConnectSocket, GivesANonBlockingSocketWithoutNaglesDelay) {
    Listener listener(AF_INET);
    std::string error = "untouched";
    const RelaySocket socket = connectSocket({"127.0.0.1", listener.port(), 0}, &error);
    ASSERT_TRUE(socket) << error;
    EXPECT_EQ(error, "untouched");
    EXPECT_TRUE(::fcntl(socket.fd(), F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(::fcntl(socket.fd(), F_GETFD) & FD_CLOEXEC);
    int no_delay = 0;
    socklen_t length = sizeof no_delay;
    ASSERT_EQ(::getsockopt(socket.fd(), IPPROTO_TCP, TCP_NODELAY, &no_delay, &length), 0);
    EXPECT_NE(no_delay, 0);
}

TEST(ConnectSocket, TakesAHostName) {
    Listener listener(AF_INET);
    std::string error;
    EXPECT_TRUE(connectSocket({"localhost", listener.port(), 0}, &error)) << error;
}

TEST(ConnectSocket, TakesAnIpv6Address) {
    Listener listener(AF_INET6);
    if (!listener.isOpen())
        GTEST_SKIP() << "this host has no IPv6 loopback";
    std::string error;
    EXPECT_TRUE(connectSocket({"::1", listener.port(), 0}, &error)) << error;
    EXPECT_TRUE(listener.accept().isOpen());
}

// A listener whose queue is full: the system drops further connection requests without an answer.
class SilentHost {
public:
    SilentHost() {
        // One place more than the backlog, and some for good measure.
        for (int i = 0; i < 8; ++i)
            waiting.push_back(startConnect());
    }
    RelayEndpoint endpoint() const { return {"127.0.0.1", listener.port(), listener.port()}; }

private:
    RelaySocket startConnect() const {
        RelaySocket socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(listener.port());
        (void)::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        return socket;
    }

    Listener listener{AF_INET, 0};
    std::vector<RelaySocket> waiting;
};

TEST(ConnectSocket, GivesUpOnASilentHostAfterThreeSeconds) {
    const SilentHost host;
    std::string error;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(RelayClient().probe(host.endpoint(), &error));
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(error, "could not connect to relay 127.0.0.1:" + std::to_string(host.endpoint().status_port));
    EXPECT_GE(taken, std::chrono::milliseconds(2900));
    EXPECT_LT(taken, std::chrono::seconds(20));
}

TEST(ConnectSocket, AStopEndsTheWaitForASilentHostQuietly) {
    const SilentHost host;
    Receiver receiver(host.endpoint());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(receiver.stopAndJoin(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
}

TEST(CreateListeningSocket, ReportsThePortItGot) {
    std::uint16_t port = 0;
    std::string error;
    const RelaySocket socket = createListeningSocket(0, port, &error);
    ASSERT_TRUE(socket) << error;
    EXPECT_NE(port, 0);
    EXPECT_TRUE(::fcntl(socket.fd(), F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(Peer::connectTo(port).isOpen());
}

TEST(CreateListeningSocket, SaysThatThePortIsTaken) {
    Listener other(AF_INET);
    std::uint16_t port = 0;
    std::string error;
    EXPECT_FALSE(createListeningSocket(other.port(), port, &error));
    EXPECT_EQ(error, "could not start relay listener: Address already in use (socket error 98)");
    EXPECT_EQ(port, 0);
    EXPECT_FALSE(createListeningSocket(other.port(), port, nullptr));
}

TEST(SendSome, ToAPeerThatIsGoneFailsWithoutASignal) {
    std::uint16_t port = 0;
    const RelaySocket listener = createListeningSocket(0, port, nullptr);
    Peer peer = Peer::connectTo(port);
    const RelaySocket socket = acceptSocket(listener);
    peer.reset();
    const Bytes bytes(8);
    EXPECT_TRUE(eventually([&] { return sendSome(socket, bytes) < 0; }));
    EXPECT_EQ(sendSome(socket, bytes), -1); // where a signal would end the process
    EXPECT_EQ(errno, EPIPE);
}

TEST(SendSome, TakesNothingWhenTheSocketIsFull) {
    std::uint16_t port = 0;
    const RelaySocket listener = createListeningSocket(0, port, nullptr);
    const Peer peer = Peer::connectTo(port);
    const RelaySocket socket = acceptSocket(listener);
    const Bytes bytes(kMiB);
    EXPECT_TRUE(eventually([&] { return sendSome(socket, bytes) == 0; }));
}

TEST(AcceptSocket, GivesNothingWhenNobodyWaits) {
    std::uint16_t port = 0;
    const RelaySocket listener = createListeningSocket(0, port, nullptr);
    EXPECT_FALSE(acceptSocket(listener));
    EXPECT_TRUE(isTransientSocketError(errno));
}

} // namespace
} // namespace qorn::relay
