#include "Progress.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

namespace qorn::qornts {
namespace {

constexpr std::chrono::seconds kPatience{1};
constexpr std::chrono::milliseconds kInterval{100};
constexpr std::size_t kBarWidth = 40;

} // namespace

Progress::Progress(std::uint64_t totalWork)
    : total(totalWork), onTerminal(::isatty(STDERR_FILENO) != 0), next(Clock::now() + kPatience) {}

Progress::~Progress() {
    if (shown) {
        std::fputs("\r\033[K", stderr);
    }
}

void Progress::show(std::uint64_t done) {
    if (!onTerminal || Clock::now() < next) {
        return;
    }
    next = Clock::now() + kInterval;
    shown = true;
    std::fprintf(stderr, "\r%s", bar(done, total).c_str());
    std::fflush(stderr);
}

std::string Progress::bar(std::uint64_t done, std::uint64_t total) {
    const double part =
        total == 0 ? 1.0 : std::min(static_cast<double>(done) / static_cast<double>(total), 1.0);
    const auto full = static_cast<std::size_t>(part * static_cast<double>(kBarWidth));
    const std::string percent = std::to_string(static_cast<int>(part * 100.0));
    return '[' + std::string(full, '#') + std::string(kBarWidth - full, ' ') + "] " +
           std::string(3 - percent.size(), ' ') + percent + " %";
}

} // namespace qorn::qornts
