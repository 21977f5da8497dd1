// The clients of a relay server's status port. Nothing is queued for them: who cannot take a line at once is
// closed. Owned and used by the service thread alone.
#pragma once

#include "RelaySocket.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include <poll.h>

namespace qorn::relay {

class RelayStatusClients {
public:
    void add(RelaySocket socket);
    std::size_t size() const { return clients.size(); }
    void closeAll() { clients.clear(); }

    // Appends one request per client: for input if asked, else only for errors.
    void appendPollRequests(std::vector<pollfd>& requests, bool input) const;

    // Takes the answers to the requests of appendPollRequests: discards input and removes the clients that
    // are gone. True when somebody had sent something.
    bool serve(std::span<const pollfd> answers);

    // Sends the line to all; closes those that do not take the whole of it.
    void sendLine(std::string_view line);

private:
    void removeClosed();

    std::vector<RelaySocket> clients;
};

} // namespace qorn::relay
