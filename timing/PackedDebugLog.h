// The decoder's diagnostic channel: lines on standard error while QORN_PACKED_DEBUG is set in the
// environment, at most 200 per decoder. Texts are put together only when they will be written.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>

namespace qorn::timing {

class PackedDebugLog {
public:
    PackedDebugLog(); // reads the environment

    // Writes the parts as one line. Called for rare events only, never per record.
    template <typename... Parts>
    void line(const Parts&... parts) {
        if (enabled && debug_lines < kMaxLines) {
            std::ostringstream text;
            (text << ... << parts);
            packed_debug_log(text.str());
        }
    }

private:
    static constexpr std::uint64_t kMaxLines = 200;

    void packed_debug_log(const std::string& text);

    bool enabled = false;
    std::uint64_t debug_lines = 0;
};

} // namespace qorn::timing
