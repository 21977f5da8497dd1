// The clients of a relay server's stream port, each with the batches that it has not been sent yet. A batch
// is shared by all clients and freed when the last has it. Owned and used by the service thread alone.
#pragma once

#include "RelaySocket.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

#include <poll.h>

namespace qorn::relay {

using RelayBatch = std::shared_ptr<const std::vector<std::uint8_t>>;

class RelayStreamClients {
public:
    // A client that would have to keep more than this is closed.
    static constexpr std::uint64_t kBacklogLimitBytes = 33554432;

    // Bytes for all clients there ever were: due = sent + pending + unsent.
    struct Traffic {
        std::uint64_t due = 0;
        std::uint64_t sent = 0;
        std::uint64_t pending = 0;
        std::uint64_t unsent = 0; // when their clients went or were closed
    };

    struct Served {
        std::uint64_t bytes_sent = 0;
        bool discarded_input = false; // somebody talks although nobody listens
    };

    void add(RelaySocket socket);
    std::size_t size() const { return clients.size(); }
    Traffic traffic() const { return total; }
    void closeAll();

    // Queues the batch for every client; returns how many were closed because their backlog would pass the
    // limit.
    std::size_t distribute(const RelayBatch& batch);

    // Appends one request per client: for input if asked, for output where something is queued.
    void appendPollRequests(std::vector<pollfd>& requests, bool input) const;

    // Takes the answers to the requests of appendPollRequests: discards input, sends once to each client that
    // can take more, and removes the clients that are gone.
    Served serve(std::span<const pollfd> answers);

private:
    struct Client {
        RelaySocket socket;
        std::deque<RelayBatch> pending;
        std::size_t offset = 0;          // bytes of the front batch that are sent
        std::uint64_t pending_bytes = 0; // in `pending`, less the bytes sent
    };

    std::uint64_t sendFront(Client& client);
    void removeClosed();

    std::vector<Client> clients;
    Traffic total;
};

} // namespace qorn::relay
