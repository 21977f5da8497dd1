// Publishes batches of raw64 "ps" records to any number of TCP clients and a status line a second to others.
// One service thread does all socket work; publishing never waits for a socket.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qorn::relay {

class RelayServer {
public:
    struct Stats {
        bool running = false;
        std::uint16_t stream_port = 0;
        std::uint16_t status_port = 0;
        std::uint32_t stream_clients = 0;
        std::uint32_t status_clients = 0;
        std::uint64_t tags_published = 0;
        std::uint64_t bytes_published = 0;
        std::uint64_t bytes_sent = 0;
        std::uint64_t slow_clients_disconnected = 0;
        std::uint64_t ingress_overruns = 0;

        // Where the bytes went. At every moment
        // offered = published + refused, published = taken + queued + dropped, and, summed over the clients,
        // due = sent + pending + unsent.
        std::uint64_t bytes_offered = 0; // to publishRaw64 of the running server
        std::uint64_t bytes_refused = 0; // by the full queue
        std::uint64_t bytes_taken = 0;   // from the queue, for whoever is a client then
        std::uint64_t bytes_queued = 0;
        std::uint64_t bytes_dropped = 0; // with the queue
        std::uint64_t bytes_due = 0;     // to clients
        std::uint64_t bytes_pending = 0;
        std::uint64_t bytes_unsent = 0; // when their clients went or were thrown off

        // Tags that clients lost because they, or this server, were too slow, since the server was made:
        // those of the refused and of the dropped batches once, those that were thrown off with a client for
        // each. Such a client is disconnected. A stop, and a client that leaves, lose nothing.
        std::uint64_t tags_lost = 0;
    };

    RelayServer();
    ~RelayServer(); // as stop()
    RelayServer(const RelayServer&) = delete;
    RelayServer& operator=(const RelayServer&) = delete;

    // Stops an earlier run and listens on both ports of all interfaces; a port of 0 gets a free one, see
    // stats(). False with a text in `error` (may be null) when a listener cannot be made.
    bool start(std::uint16_t stream_port, std::uint16_t status_port, std::string* error);
    void stop();
    bool running() const;
    Stats stats() const; // a copy; any thread

    // An empty buffer for publishRaw64, with the memory of a batch that has been sent, if there is one. Any
    // thread.
    std::vector<std::uint8_t> takeBuffer();
    // Hands over whole records (8 bytes per tag) for all stream clients; any one thread. What does not fit
    // the queue of 64 MiB and 262144 batches drops the queue and all stream clients, and is counted as an
    // overrun. False when the records were not taken.
    bool publishRaw64(std::vector<std::uint8_t> bytes, std::uint64_t tag_count);

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace qorn::relay
