// Collects the packed decoder's debug log while it lives: switches the log on and captures standard error.
// Decoders are to be built after it.
//
// Owned by a test, used by its thread; one at a time.
#pragma once

#include <string>
#include <vector>

namespace qorn::testing {

class CapturedDebugLog {
public:
    explicit CapturedDebugLog(const char* value = "1");
    ~CapturedDebugLog();
    CapturedDebugLog(const CapturedDebugLog&) = delete;
    CapturedDebugLog& operator=(const CapturedDebugLog&) = delete;

    // The lines so far, without newlines; ends the capture.
    std::vector<std::string> take();

private:
    bool capturing = true;
};

// How the lines look on standard error: with the prefix, and only the first `limit`.
std::vector<std::string> asDebugLines(const std::vector<std::string>& texts, std::size_t limit = 200);

} // namespace qorn::testing
