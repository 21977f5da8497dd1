// The line of JSON that a relay server sends once a second on its status port.
#pragma once

#include "RelayServer.h"

#include <cstdint>
#include <string>

namespace qorn::relay {

inline constexpr std::uint64_t kProtocolVersion = 1;

// Appends one member of the object: a comma unless it is the first, the quoted key, a colon, the decimal
// value.
void appendStatusNumber(std::string& line, const char* key, std::uint64_t value, bool& first);

// The whole line without spaces, ended by a line feed.
std::string relayStatusLine(const RelayServer::Stats& stats);

} // namespace qorn::relay
