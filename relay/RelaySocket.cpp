#include "RelaySocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::relay {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kConnectTimeout{3000}; // for each address
constexpr std::chrono::milliseconds kStopInterval{100};
constexpr int kListenBacklog = 8;

// A silent peer is asked after 10 s whether it is there, then every 5 s, and given up without an answer to
// four questions: half a minute. Long enough for a switch that restarts, short enough for an operator.
constexpr int kKeepAliveIdleSeconds = 10;
constexpr int kKeepAliveIntervalSeconds = 5;
constexpr int kKeepAliveProbes = 4;
constexpr std::size_t kDiscardBytes = 65536;

struct AddressListDeleter {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

void report(std::string* error, std::string text) {
    if (error)
        *error = std::move(text);
}

bool disableNagle(const RelaySocket& socket) {
    const int on = 1;
    return ::setsockopt(socket.fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
}

// Without it a peer that lost its power or its cable would count as silent for ever. No failure of the
// connection: all else works as well.
void noticeVanishedPeer(const RelaySocket& socket) {
    const int on = 1;
    ::setsockopt(socket.fd(), IPPROTO_TCP, TCP_KEEPIDLE, &kKeepAliveIdleSeconds, sizeof(int));
    ::setsockopt(socket.fd(), IPPROTO_TCP, TCP_KEEPINTVL, &kKeepAliveIntervalSeconds, sizeof(int));
    ::setsockopt(socket.fd(), IPPROTO_TCP, TCP_KEEPCNT, &kKeepAliveProbes, sizeof(int));
    ::setsockopt(socket.fd(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

bool setUpConnection(const RelaySocket& socket) {
    noticeVanishedPeer(socket);
    return disableNagle(socket);
}

AddressList resolve(const RelayEndpoint& endpoint, std::string* error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* list = nullptr;
    const std::string service = std::to_string(endpoint.stream_port);
    const int failure = ::getaddrinfo(endpoint.host.c_str(), service.c_str(), &hints, &list);
    if (failure == 0)
        return AddressList(list);
    report(error, "could not resolve relay host " + endpoint.host + ": " + ::gai_strerror(failure));
    return nullptr;
}

// Waits in short slices, so that a stop is seen in time.
bool waitUntilWritable(const RelaySocket& socket, const std::atomic<bool>* stop) {
    const Clock::time_point deadline = Clock::now() + kConnectTimeout;
    while (!stop || !*stop) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd request{socket.fd(), POLLOUT, 0};
        const int ready = ::poll(&request, 1, static_cast<int>(std::min(left, kStopInterval).count()));
        if (ready > 0)
            return true;
        if (ready < 0 && !isTransientSocketError(errno))
            return false;
    }
    return false;
}

bool finishConnect(const RelaySocket& socket, const std::atomic<bool>* stop) {
    if (!waitUntilWritable(socket, stop))
        return false;
    int failure = 0;
    socklen_t length = sizeof failure;
    return ::getsockopt(socket.fd(), SOL_SOCKET, SO_ERROR, &failure, &length) == 0 && failure == 0;
}

RelaySocket connectAddress(const addrinfo& address, const std::atomic<bool>* stop) {
    RelaySocket socket(
        ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol));
    if (!socket)
        return {};
    const bool connected = ::connect(socket.fd(), address.ai_addr, address.ai_addrlen) == 0 ||
                           (errno == EINPROGRESS && finishConnect(socket, stop));
    if (!connected || !setUpConnection(socket))
        return {};
    return socket;
}

std::optional<std::uint16_t> localPort(const RelaySocket& socket) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket.fd(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return std::nullopt;
    return ntohs(address.sin_port);
}

bool bindAndListen(const RelaySocket& socket, std::uint16_t port) {
    const int on = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    return ::setsockopt(socket.fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
           ::bind(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
           ::listen(socket.fd(), kListenBacklog) == 0;
}

} // namespace

RelaySocket& RelaySocket::operator=(RelaySocket&& other) noexcept {
    if (this != &other) {
        close();
        handle = std::exchange(other.handle, -1);
    }
    return *this;
}

void RelaySocket::close() noexcept {
    if (handle >= 0)
        ::close(std::exchange(handle, -1));
}

std::string socketErrorText(const char* context) {
    const int number = errno < 0 ? -errno : errno;
    return std::string(context) + ": " + std::generic_category().message(number) + " (socket error " +
           std::to_string(number) + ")";
}

bool isTransientSocketError(int number) {
    return number == EAGAIN || number == EWOULDBLOCK || number == EINPROGRESS || number == EINTR;
}

RelaySocket connectSocket(const RelayEndpoint& endpoint, std::string* error, const std::atomic<bool>* stop) {
    if (endpoint.host.empty()) {
        report(error, "relay host is empty");
        return {};
    }
    const AddressList addresses = resolve(endpoint, error);
    if (!addresses)
        return {};
    for (const addrinfo* address = addresses.get(); address; address = address->ai_next) {
        if (RelaySocket socket = connectAddress(*address, stop))
            return socket;
    }
    report(error, "could not connect to relay " + endpoint.host + ":" + std::to_string(endpoint.stream_port));
    return {};
}

RelaySocket createListeningSocket(std::uint16_t port, std::uint16_t& actual, std::string* error) {
    RelaySocket socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!socket) {
        report(error, socketErrorText("could not create relay listener"));
        return {};
    }
    if (!bindAndListen(socket, port)) {
        report(error, socketErrorText("could not start relay listener"));
        return {};
    }
    const std::optional<std::uint16_t> bound = localPort(socket);
    if (!bound) {
        report(error, socketErrorText("could not query relay listener port"));
        return {};
    }
    actual = *bound;
    return socket;
}

RelaySocket acceptSocket(const RelaySocket& listener) {
    while (true) {
        RelaySocket socket(::accept4(listener.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket || setUpConnection(socket))
            return socket;
    }
}

std::ptrdiff_t sendSome(const RelaySocket& socket, std::span<const std::uint8_t> bytes) {
    const ssize_t count = ::send(socket.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return count < 0 && isTransientSocketError(errno) ? 0 : count;
}

DiscardResult discardInput(const RelaySocket& socket, int events) {
    if (events & (POLLERR | POLLHUP | POLLNVAL))
        return DiscardResult::Closed;
    if (!(events & POLLIN))
        return DiscardResult::Nothing;
    std::array<char, kDiscardBytes> bytes;
    const ssize_t count = ::recv(socket.fd(), bytes.data(), bytes.size(), 0);
    if (count > 0)
        return DiscardResult::Discarded;
    return count < 0 && isTransientSocketError(errno) ? DiscardResult::Nothing : DiscardResult::Closed;
}

} // namespace qorn::relay
