// Reads another host's tag stream over TCP. Stateless: each call owns its socket.
#pragma once

#include "RelayEndpoint.h"
#include "TimeTag.h"

#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace qorn::relay {

class RelayClient {
public:
    // Connects to the status port and closes at once; true when that succeeded, else `error` (may be null)
    // holds the text. Blocks, up to 3 s per address. Any thread.
    bool probe(const RelayEndpoint& endpoint, std::string* error) const;

    // Receives tags until `stop` is set (polled at least every 100 ms) or the stream fails, and hands each
    // received batch to `on_tags` on the caller's thread. While nothing comes, `on_idle` (may be empty) is
    // called there every 100 ms. Throws std::runtime_error; an exception of a callback ends the receiver and
    // passes on.
    void receive(const RelayEndpoint& endpoint, const std::atomic<bool>& stop,
                 const std::function<void(std::vector<timing::TimeTag>&)>& on_tags,
                 const std::function<void()>& on_idle = {}) const;
};

} // namespace qorn::relay
