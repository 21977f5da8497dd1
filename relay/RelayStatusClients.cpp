#include "RelayStatusClients.h"

#include <cstdint>
#include <utility>

namespace qorn::relay {

void RelayStatusClients::add(RelaySocket socket) {
    clients.push_back(std::move(socket));
}

void RelayStatusClients::appendPollRequests(std::vector<pollfd>& requests, bool input) const {
    for (const RelaySocket& client : clients)
        requests.push_back({client.fd(), static_cast<short>(input ? POLLIN : 0), 0});
}

bool RelayStatusClients::serve(std::span<const pollfd> answers) {
    bool discarded = false;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        const DiscardResult input = discardInput(clients[i], answers[i].revents);
        discarded |= input == DiscardResult::Discarded;
        if (input == DiscardResult::Closed)
            clients[i].close();
    }
    removeClosed();
    return discarded;
}

void RelayStatusClients::sendLine(std::string_view line) {
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(line.data()),
                                              line.size());
    for (RelaySocket& client : clients) {
        if (sendSome(client, bytes) != std::ssize(line))
            client.close();
    }
    removeClosed();
}

void RelayStatusClients::removeClosed() {
    std::erase_if(clients, [](const RelaySocket& client) { return !client; });
}

} // namespace qorn::relay
