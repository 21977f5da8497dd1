// One socket of the relay, owned: the descriptor is closed when its holder goes. Also the few ways in which
// the relay makes sockets and throws away what nobody should have sent. No call here can raise SIGPIPE.
#pragma once

#include "RelayEndpoint.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

namespace qorn::relay {

// A connection, made or accepted, asks a silent peer whether it is still there. Without an answer it fails
// after half a minute, as a rule with ETIMEDOUT. Not while bytes sent to the peer wait for their receipt:
// then the system's own patience counts, as a rule a quarter of an hour.
class RelaySocket {
public:
    RelaySocket() = default;
    explicit RelaySocket(int descriptor) noexcept : handle(descriptor) {} // negative: holds nothing
    RelaySocket(RelaySocket&& other) noexcept : handle(std::exchange(other.handle, -1)) {}
    RelaySocket& operator=(RelaySocket&& other) noexcept;
    ~RelaySocket() { close(); }

    explicit operator bool() const { return handle >= 0; }
    int fd() const { return handle; } // -1 when it holds nothing
    void close() noexcept;            // harmless when it holds nothing

private:
    int handle = -1;
};

// "<context>: <system error text> (socket error <number>)" of the present errno.
std::string socketErrorText(const char* context);

// True for an errno that says "nothing now, try again".
bool isTransientSocketError(int number);

// Connects to `host` at `stream_port`, address by address in the resolver's order, up to 3 s for each. The
// socket is non-blocking, without Nagle's delay. Holds nothing on failure, with the text in `error` (may be
// null). A set `stop` (may be null) ends the wait within 100 ms, as a failure; the resolver cannot be
// interrupted.
RelaySocket connectSocket(const RelayEndpoint& endpoint, std::string* error,
                          const std::atomic<bool>* stop = nullptr);

// Listens on all IPv4 interfaces, non-blocking; port 0 picks a free one. `actual` gets the port in use. Holds
// nothing on failure, with the text in `error` (may be null).
RelaySocket createListeningSocket(std::uint16_t port, std::uint16_t& actual, std::string* error);

// The next waiting connection, non-blocking and without Nagle's delay; holds nothing, with errno set, when
// none could be taken. A connection that cannot be set up is closed and the next one taken.
RelaySocket acceptSocket(const RelaySocket& listener);

// Sends what the socket takes at once: the count, 0 when it takes nothing now, -1 (errno) when it is gone.
std::ptrdiff_t sendSome(const RelaySocket& socket, std::span<const std::uint8_t> bytes);

// What became of a peer's input: none there, thrown away, or the peer is gone.
enum class DiscardResult { Nothing, Discarded, Closed };

// Acts on what poll answered for a client that has nothing to say: throws away one piece of its input.
DiscardResult discardInput(const RelaySocket& socket, int events);

} // namespace qorn::relay
