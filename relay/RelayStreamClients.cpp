#include "RelayStreamClients.h"

#include <utility>

namespace qorn::relay {

bool RelayStreamClients::Client::hasRoomFor(const RelayBatch& batch) const {
    return pending_bytes + batch->size() <= kBacklogLimitBytes && pending.size() < kMostWaitingBatches;
}

void RelayStreamClients::add(RelaySocket socket) {
    clients.emplace_back().socket = std::move(socket);
}

std::size_t RelayStreamClients::distribute(const RelayBatch& batch) {
    for (Client& client : clients) {
        total.due += batch->size();
        if (!client.hasRoomFor(batch)) {
            closeAsSlow(client, batch->size());
            total.unsent += batch->size();
            continue;
        }
        client.pending.push_back(batch);
        client.pending_bytes += batch->size();
        total.pending += batch->size();
    }
    const std::size_t before = clients.size();
    removeClosed();
    return before - clients.size();
}

void RelayStreamClients::appendPollRequests(std::vector<pollfd>& requests, bool input) const {
    for (const Client& client : clients) {
        const int events = (input ? POLLIN : 0) | (client.pending.empty() ? 0 : POLLOUT);
        requests.push_back({client.socket.fd(), static_cast<short>(events), 0});
    }
}

bool RelayStreamClients::serve(std::span<const pollfd> answers) {
    bool discarded = false;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        Client& client = clients[i];
        const int events = answers[i].revents;
        const DiscardResult input = discardInput(client.socket, events);
        discarded |= input == DiscardResult::Discarded;
        if (input == DiscardResult::Closed)
            client.socket.close();
        else if (events & POLLOUT)
            sendFront(client);
    }
    removeClosed();
    return discarded;
}

void RelayStreamClients::sendFront(Client& client) {
    const std::span<const std::uint8_t> front(*client.pending.front());
    const std::ptrdiff_t result = sendSome(client.socket, front.subspan(client.offset));
    if (result < 0) {
        client.socket.close();
        return;
    }
    const std::size_t sent = static_cast<std::size_t>(result);
    client.offset += sent;
    client.pending_bytes -= sent;
    total.pending -= sent;
    total.sent += sent;
    if (client.offset == front.size()) {
        client.pending.pop_front();
        client.offset = 0;
    }
}

// A record of which a part was sent is lost.
void RelayStreamClients::closeAsSlow(Client& client, std::uint64_t further_bytes) {
    client.socket.close();
    total.lost_tags += (client.pending_bytes + further_bytes + kTagBytes - 1) / kTagBytes;
}

void RelayStreamClients::closeAll() {
    for (Client& client : clients)
        client.socket.close();
    removeClosed();
}

void RelayStreamClients::closeAllAsSlow() {
    for (Client& client : clients)
        closeAsSlow(client, 0);
    removeClosed();
}

void RelayStreamClients::removeClosed() {
    std::erase_if(clients, [this](const Client& client) {
        if (client.socket)
            return false;
        total.pending -= client.pending_bytes;
        total.unsent += client.pending_bytes;
        return true;
    });
}

} // namespace qorn::relay
