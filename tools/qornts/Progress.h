// A bar on the standard error, when that is a terminal and the work takes its time.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qorn::qornts {

class Progress {
public:
    explicit Progress(std::uint64_t total);
    ~Progress(); // clears the bar
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::uint64_t done);

    // The bar for `done` of `total`.
    static std::string bar(std::uint64_t done, std::uint64_t total);

private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t total;
    bool onTerminal;
    bool shown = false;
    Clock::time_point next;
};

} // namespace qorn::qornts
