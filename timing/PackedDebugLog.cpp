#include "PackedDebugLog.h"

#include <cstdio>
#include <cstdlib>

namespace qorn::timing {

PackedDebugLog::PackedDebugLog() : enabled(std::getenv("QORN_PACKED_DEBUG") != nullptr) {}

void PackedDebugLog::packed_debug_log(const std::string& text) {
    std::fprintf(stderr, "packed-decoder: %s\n", text.c_str());
    ++debug_lines;
}

} // namespace qorn::timing
