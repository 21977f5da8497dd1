#include "RelayClient.h"

#include "RelaySocket.h"
#include "StreamDecoder.h"
#include "StreamFileHeader.h"
#include "TagWords.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>

namespace qorn::relay {

namespace {

constexpr std::chrono::milliseconds kStopInterval{100};
constexpr std::size_t kReceiveBytes = 65536;

timing::StreamFileHeader relayStreamHeader() {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Raw64;
    header.mode = timing::StreamMode::External;
    header.transport = timing::Transport::Usb;
    header.channel_mask = 15;
    header.raw64_tag_format = "ps";
    return header;
}

// In every record bit 63 and bits 60 to 44 must be zero: the first byte on the wire holds bits 63 to 56.
bool areRelayRecords(std::span<const std::uint8_t> records) {
    std::uint64_t seen = 0;
    for (std::size_t at = 0; at < records.size(); at += timing::kTagWordBytes) {
        std::uint64_t word = 0;
        std::memcpy(&word, records.data() + at, sizeof word);
        seen |= word;
    }
    std::array<std::uint8_t, timing::kTagWordBytes> bits{};
    std::memcpy(bits.data(), &seen, sizeof seen);
    return (bits[0] & 0x9F) == 0 && bits[1] == 0 && (bits[2] & 0xF0) == 0;
}

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
                          const std::function<void(std::vector<timing::TimeTag>&)>& on_tags) const {
    std::string error;
    const RelaySocket socket = connectSocket(endpoint, &error, &stop);
    if (!socket) {
        if (stop)
            return;
        throw std::runtime_error(error);
    }

    timing::StreamDecoder decoder(relayStreamHeader());
    std::vector<timing::TimeTag> tags;
    std::vector<std::uint8_t> pending(kReceiveBytes + timing::kTagWordBytes);
    std::size_t held = 0; // of `pending`; between two rounds less than a record
    while (!stop) {
        if (!waitForInput(socket))
            continue;
        held += receiveSome(socket, std::span(pending).subspan(held, kReceiveBytes), stop);
        const std::size_t whole = held - held % timing::kTagWordBytes;
        const std::span<const std::uint8_t> records = std::span(pending).first(whole);
        if (!areRelayRecords(records))
            throw std::runtime_error("relay stream contains an invalid raw64-ps record");
        const std::span<const timing::TimeTag> decoded = decoder.feed(records);
        tags.assign(decoded.begin(), decoded.end());
        held -= whole;
        std::memmove(pending.data(), pending.data() + whole, held);
        if (!tags.empty())
            on_tags(tags);
    }
}

} // namespace qorn::relay
