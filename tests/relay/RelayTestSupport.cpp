#include "RelayTestSupport.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <random>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace qorn::relay::test {

namespace {

std::uint16_t boundPort(const RelaySocket& socket) {
    sockaddr_in6 address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        throw std::runtime_error(socketErrorText("getsockname"));
    return ntohs(address.sin6_port); // at the same place in both families
}

RelaySocket bindToLoopback(int family) {
    RelaySocket socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_addr = in6addr_loopback;
    const int result = family == AF_INET
                           ? ::bind(socket.fd(), reinterpret_cast<const sockaddr*>(&v4), sizeof v4)
                           : ::bind(socket.fd(), reinterpret_cast<const sockaddr*>(&v6), sizeof v6);
    if (result != 0)
        socket.close();
    return socket;
}

} // namespace

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    for (int i = 0; !condition(); ++i) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (i < 100)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator list("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(list), end(list))) - 1; // without the list's own
}

void appendRecord(Bytes& bytes, int channel, std::int64_t time_ps) {
    const auto time = static_cast<std::uint64_t>(time_ps % 14315125997568);
    const std::uint64_t word = static_cast<std::uint64_t>(channel) << 61 | time;
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(word >> shift & 0xFF));
}

Bytes recordsOf(std::span<const timing::TimeTag> tags) {
    Bytes bytes;
    bytes.reserve(tags.size() * 8);
    for (const timing::TimeTag& tag : tags)
        appendRecord(bytes, tag.channel, tag.timestamp_ps);
    return bytes;
}

Bytes patternRecords(std::uint64_t bytes, std::uint32_t seed) {
    Bytes records;
    records.reserve(bytes);
    for (std::uint64_t i = 0; i < bytes / 8; ++i)
        appendRecord(records, static_cast<int>((i + seed) % 4), static_cast<std::int64_t>(i * 1000 + seed));
    return records;
}

Tags randomTags(std::size_t count, std::int64_t start_ps, std::int64_t largest_step_ps, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::int64_t> step(0, largest_step_ps);
    std::uniform_int_distribution<int> channel(0, 3);
    Tags tags(count);
    std::int64_t time = start_ps;
    for (std::size_t i = 0; i < count; ++i) {
        const int input = i < 4 ? static_cast<int>(i) : channel(random);
        tags[i] = {static_cast<std::uint8_t>(input), time};
        if (i >= 4)
            time += step(random);
    }
    return tags;
}

Peer::Peer(RelaySocket connected) : socket(std::move(connected)) {
    if (!socket)
        return;
    ::fcntl(socket.fd(), F_SETFL, ::fcntl(socket.fd(), F_GETFL) & ~O_NONBLOCK);
    const timeval limit{std::chrono::seconds(kLimit).count(), 0};
    ::setsockopt(socket.fd(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket.fd(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Peer Peer::connectTo(std::uint16_t port, int receive_buffer) {
    RelaySocket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    if (receive_buffer > 0)
        ::setsockopt(socket.fd(), SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        socket.close();
    return Peer(std::move(socket));
}

bool Peer::sendAll(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

Bytes Peer::read(std::size_t count) {
    Bytes bytes(count);
    std::size_t have = 0;
    while (have < count) {
        const ssize_t got = ::recv(socket.fd(), bytes.data() + have, count - have, 0);
        if (got <= 0)
            break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

std::string Peer::readLine() {
    std::string line;
    char c = 0;
    while (c != '\n' && ::recv(socket.fd(), &c, 1, 0) == 1)
        line += c;
    return line;
}

bool Peer::isClosedByOther() {
    Bytes scratch(65536);
    while (true) {
        const ssize_t got = ::recv(socket.fd(), scratch.data(), scratch.size(), 0);
        if (got <= 0)
            return got == 0 || errno == ECONNRESET;
    }
}

void Peer::reset() {
    const linger now{1, 0};
    ::setsockopt(socket.fd(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket.close();
}

void Peer::finishSending() {
    ::shutdown(socket.fd(), SHUT_WR);
}

void Peer::vanish() {
    sock_filter drop = BPF_STMT(BPF_RET | BPF_K, 0);
    const sock_fprog everything{1, &drop};
    if (::setsockopt(socket.fd(), SOL_SOCKET, SO_ATTACH_FILTER, &everything, sizeof everything) != 0)
        throw std::runtime_error(socketErrorText("SO_ATTACH_FILTER"));
}

Listener::Listener(int family, int backlog) : socket(bindToLoopback(family)) {
    if (!socket)
        return;
    if (::listen(socket.fd(), backlog) != 0)
        throw std::runtime_error(socketErrorText("listen"));
    bound = boundPort(socket);
}

Peer Listener::accept() {
    pollfd request{socket.fd(), POLLIN, 0};
    if (::poll(&request, 1, static_cast<int>(std::chrono::milliseconds(kLimit).count())) != 1)
        return {};
    return Peer(acceptSocket(socket));
}

bool Listener::hasWaiting() const {
    pollfd request{socket.fd(), POLLIN, 0};
    return ::poll(&request, 1, 0) == 1;
}

RefusingPort::RefusingPort() : socket(bindToLoopback(AF_INET)), bound(boundPort(socket)) {}

Receiver::Receiver(const RelayEndpoint& endpoint, Callback callback) {
    thread = std::thread([this, endpoint, callback = std::move(callback)] {
        try {
            RelayClient().receive(endpoint, stop, [&](Tags& tags) {
                {
                    const std::lock_guard lock(mutex);
                    received.insert(received.end(), tags.begin(), tags.end());
                }
                if (callback)
                    callback(tags);
            });
        } catch (const std::exception& e) {
            const std::lock_guard lock(mutex);
            failure = e.what();
        }
        ended = true;
    });
}

Receiver::~Receiver() {
    stop = true;
    if (thread.joinable())
        thread.join();
}

bool Receiver::waitForTags(std::size_t count) {
    return eventually([&] {
        const std::lock_guard lock(mutex);
        return received.size() >= count;
    });
}

Tags Receiver::tags() const {
    const std::lock_guard lock(mutex);
    return received;
}

std::string Receiver::stopAndJoin() {
    stop = true;
    return join();
}

std::string Receiver::join() {
    if (!eventually([this] { return hasEnded(); }))
        return "still running";
    thread.join();
    return failure;
}

TestServer::TestServer() {
    std::string error;
    if (!server->start(0, 0, &error))
        throw std::runtime_error(error);
    ports = server->stats();
}

RelayEndpoint TestServer::endpoint() const {
    return {"127.0.0.1", ports.stream_port, ports.status_port};
}

std::vector<Peer> TestServer::connectStreams(std::uint32_t count) {
    std::vector<Peer> peers;
    const std::uint32_t before = server->stats().stream_clients;
    for (std::uint32_t i = 1; i <= count; ++i) {
        peers.push_back(Peer::connectTo(streamPort()));
        if (!waitForStreamClients(before + i))
            throw std::runtime_error("a stream client was not accepted");
    }
    return peers;
}

std::vector<Peer> TestServer::connectStatuses(std::uint32_t count) {
    std::vector<Peer> peers;
    const std::uint32_t before = server->stats().status_clients;
    for (std::uint32_t i = 1; i <= count; ++i) {
        peers.push_back(Peer::connectTo(statusPort()));
        if (!waitForStatusClients(before + i))
            throw std::runtime_error("a status client was not accepted");
    }
    return peers;
}

bool TestServer::waitForStreamClients(std::uint32_t count) {
    return eventually([&] { return server->stats().stream_clients == count; });
}

bool TestServer::waitForStatusClients(std::uint32_t count) {
    return eventually([&] { return server->stats().status_clients == count; });
}

} // namespace qorn::relay::test
