#include "RelayClient.h"

#include "RelayDecoder.h"
#include "RelaySocket.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>

namespace qorn::relay {

namespace {

constexpr std::chrono::milliseconds kStopInterval{100};

// Waits for input for at most the interval in which a stop must be seen.
bool waitForInput(const RelaySocket& socket) {
    pollfd request{socket.fd(), POLLIN, 0};
    const int ready = ::poll(&request, 1, static_cast<int>(kStopInterval.count()));
    if (ready < 0 && !isTransientSocketError(errno))
        throw std::runtime_error(socketErrorText("relay receive failed"));
    return ready > 0;
}

// The bytes received into `free`; none when there is nothing now, or when the stream failed after a stop.
std::size_t receiveSome(const RelaySocket& socket, std::span<std::uint8_t> free,
                        const std::atomic<bool>& stop) {
    const ssize_t count = ::recv(socket.fd(), free.data(), free.size(), 0);
    if (count > 0)
        return static_cast<std::size_t>(count);
    const int number = errno;
    if (stop || (count < 0 && isTransientSocketError(number)))
        return 0;
    if (count == 0)
        throw std::runtime_error("relay stream closed by peer");
    errno = number;
    throw std::runtime_error(socketErrorText("relay receive failed"));
}

} // namespace

bool RelayClient::probe(const RelayEndpoint& endpoint, std::string* error) const {
    RelayEndpoint status = endpoint;
    status.stream_port = endpoint.status_port;
    return static_cast<bool>(connectSocket(status, error));
}

void RelayClient::receive(const RelayEndpoint& endpoint, const std::atomic<bool>& stop,
                          const std::function<void(std::vector<timing::TimeTag>&)>& on_tags,
                          const std::function<void()>& on_idle) const {
    std::string error;
    const RelaySocket socket = connectSocket(endpoint, &error, &stop);
    if (!socket) {
        if (stop)
            return;
        throw std::runtime_error(error);
    }

    RelayDecoder decoder;
    std::vector<timing::TimeTag> tags;
    while (!stop) {
        if (!waitForInput(socket)) {
            if (on_idle)
                on_idle();
            continue;
        }
        const std::span<const timing::TimeTag> decoded =
            decoder.take(receiveSome(socket, decoder.room(), stop));
        tags.assign(decoded.begin(), decoded.end());
        if (!tags.empty())
            on_tags(tags);
    }
}

} // namespace qorn::relay
