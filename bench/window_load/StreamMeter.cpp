#include "StreamMeter.h"

#include <algorithm>

namespace qorn::bench {
namespace {

constexpr std::chrono::seconds kKept{5};
constexpr double kPsPerMs = 1e9;

} // namespace

void StreamMeter::take(const timetagger::gui::UiTimeTagBatch& batch, Clock::time_point streamBegin) {
    if (batch.isEmpty()) {
        return;
    }
    const auto now = Clock::now();
    first = first.value_or(now);
    tags += static_cast<quint64>(batch.size());
    if (batch.first().timePs / blockPs == batch.last().timePs / blockPs) {
        block(batch.first().timePs) += static_cast<quint64>(batch.size());
    } else {
        for (const timetagger::gui::UiTimeTag& tag : batch) {
            ++block(tag.timePs);
        }
    }
    const double ms = std::chrono::duration<double, std::milli>(now - streamBegin).count() -
                      static_cast<double>(batch.last().timePs) / kPsPerMs;
    longestMs = std::max(longestMs, ms);
    delays.push_back({now, ms});
    while (now - delays.front().when > kKept) {
        delays.pop_front();
    }
}

quint64& StreamMeter::block(qint64 timePs) {
    const auto index = static_cast<std::size_t>(std::max<qint64>(timePs / blockPs, 0));
    if (index >= blocks.size()) {
        blocks.resize(index + 1);
    }
    return blocks[index];
}

// The first block lacks what came before the stream, the last what was still to come.
quint64 StreamMeter::missing() const {
    if (blocks.size() < 3) {
        return 0;
    }
    const auto begin = blocks.begin() + 1;
    const auto end = blocks.end() - 1;
    const quint64 most = *std::max_element(begin, end);
    quint64 sum = 0;
    std::for_each(begin, end, [&](quint64 count) { sum += most - count; });
    return sum;
}

double StreamMeter::delayMs(std::chrono::milliseconds latest) const {
    const auto since = Clock::now() - latest;
    double most = 0.0;
    for (const Delay& delay : delays) {
        if (delay.when >= since) {
            most = std::max(most, delay.ms);
        }
    }
    return most;
}

} // namespace qorn::bench
