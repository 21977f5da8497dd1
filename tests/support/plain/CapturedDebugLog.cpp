#include "CapturedDebugLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace qorn::testing {

CapturedDebugLog::CapturedDebugLog(const char* value) {
    setenv("QORN_PACKED_DEBUG", value, 1);
    ::testing::internal::CaptureStderr();
}

CapturedDebugLog::~CapturedDebugLog() {
    if (capturing)
        ::testing::internal::GetCapturedStderr();
    unsetenv("QORN_PACKED_DEBUG");
}

std::vector<std::string> CapturedDebugLog::take() {
    capturing = false;
    const std::string output = ::testing::internal::GetCapturedStderr();
    std::vector<std::string> lines;
    std::size_t first = 0;
    for (std::size_t end = output.find('\n'); end != std::string::npos; end = output.find('\n', first)) {
        lines.push_back(output.substr(first, end - first));
        first = end + 1;
    }
    if (first < output.size())
        lines.push_back(output.substr(first) + " (no newline)");
    return lines;
}

std::vector<std::string> asDebugLines(const std::vector<std::string>& texts, std::size_t limit) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(texts.size(), limit); ++i)
        lines.push_back("packed-decoder: " + texts[i]);
    return lines;
}

} // namespace qorn::testing
