// The remote side of a network relay.
#pragma once

#include <cstdint>
#include <string>

namespace qorn::relay {

struct RelayEndpoint {
    std::string host; // name or IP address
    std::uint16_t stream_port = 0;
    std::uint16_t status_port = 0;
};

} // namespace qorn::relay
