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

inline constexpr std::uint64_t kTagBytes = 8; // of a record

// The most batches that may wait in one place: each takes over 100 bytes besides its records. At a batch
// every 2 ms, the pause of a capture that finds no tags, over eight minutes of a standing client, some 30
// MiB.
inline constexpr std::size_t kMostWaitingBatches = 262144;

using RelayBatch = std::shared_ptr<const std::vector<std::uint8_t>>;

class RelayStreamClients {
public:
    // A client that would have to keep more than this, or more than kMostWaitingBatches, is closed.
    static constexpr std::uint64_t kBacklogLimitBytes = 33554432;

    // Bytes for all clients there ever were: due = sent + pending + unsent.
    struct Traffic {
        std::uint64_t due = 0;
        std::uint64_t sent = 0;
        std::uint64_t pending = 0;
        std::uint64_t unsent = 0;    // when their clients went or were closed
        std::uint64_t lost_tags = 0; // of these, due to clients that were closed for being slow
    };

    void add(RelaySocket socket);
    std::size_t size() const { return clients.size(); }
    Traffic traffic() const { return total; }
    void closeAll();
    void closeAllAsSlow(); // the same, and what they were still to get is lost

    // Queues the batch for every client; returns how many were closed because their backlog would pass a
    // limit.
    std::size_t distribute(const RelayBatch& batch);

    // Appends one request per client: for input if asked, for output where something is queued.
    void appendPollRequests(std::vector<pollfd>& requests, bool input) const;

    // Takes the answers to the requests of appendPollRequests: discards input, sends once to each client that
    // can take more, and removes the clients that are gone. True when somebody talks although nobody listens.
    bool serve(std::span<const pollfd> answers);

private:
    struct Client {
        bool hasRoomFor(const RelayBatch& batch) const;

        RelaySocket socket;
        std::deque<RelayBatch> pending;
        std::size_t offset = 0;          // bytes of the front batch that are sent
        std::uint64_t pending_bytes = 0; // in `pending`, less the bytes sent
    };

    void sendFront(Client& client);
    void closeAsSlow(Client& client, std::uint64_t further_bytes);
    void removeClosed();

    std::vector<Client> clients;
    Traffic total;
};

} // namespace qorn::relay
