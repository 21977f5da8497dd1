#include "RelayStatusLine.h"

namespace qorn::relay {

void appendStatusNumber(std::string& line, const char* key, std::uint64_t value, bool& first) {
    if (!first)
        line += ',';
    first = false;
    line += '"';
    line += key;
    line += "\":";
    line += std::to_string(value);
}

std::string relayStatusLine(const RelayServer::Stats& stats) {
    std::string line = "{";
    bool first = true;
    appendStatusNumber(line, "protocol", kProtocolVersion, first);
    appendStatusNumber(line, "stream_port", stats.stream_port, first);
    appendStatusNumber(line, "status_port", stats.status_port, first);
    appendStatusNumber(line, "stream_clients", stats.stream_clients, first);
    appendStatusNumber(line, "tags_published", stats.tags_published, first);
    appendStatusNumber(line, "bytes_published", stats.bytes_published, first);
    appendStatusNumber(line, "bytes_sent", stats.bytes_sent, first);
    appendStatusNumber(line, "slow_clients_disconnected", stats.slow_clients_disconnected, first);
    appendStatusNumber(line, "ingress_overruns", stats.ingress_overruns, first);
    line += "}\n";
    return line;
}

} // namespace qorn::relay
