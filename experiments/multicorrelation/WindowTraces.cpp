#include "WindowTraces.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr qint64 kLeastGates = 2;

} // namespace

void WindowTraces::Block::append(const Block& next) {
    for (std::size_t window = 0; window < windows.size(); ++window) {
        auto& [lowest, highest] = windows[window];
        const auto& [nextLowest, nextHighest] = next.windows[window];
        if (gates == 0 || nextLowest.value < lowest.value) {
            lowest = {nextLowest.value, lengthPs + nextLowest.atPs};
        }
        if (gates == 0 || nextHighest.value > highest.value) {
            highest = {nextHighest.value, lengthPs + nextHighest.atPs};
        }
    }
    gates += next.gates;
    lengthPs += next.lengthPs;
}

void WindowTraces::clear() {
    blocks.clear();
    gatesPerBlock = 1;
    heldGates = 0;
    heldPs = 0;
}

void WindowTraces::append(const Values& values, qint64 gatePs, qint64 windowPs) {
    if (windowPs / gatePs <= static_cast<qint64>(kMostBlocks)) {
        gatesPerBlock = 1;
    }
    appendAlike(values, 1, gatePs);
    trim(windowPs);
}

void WindowTraces::appendSilence(quint64 gates, qint64 gatePs, qint64 windowPs) {
    // More would drop silent gates only.
    const qint64 most = 2 * (windowPs / gatePs) + kLeastGates;
    auto left = static_cast<qint64>(std::min(gates, static_cast<quint64>(most)));
    while (left > 0) {
        const qint64 room = roomInNewestBlock();
        const qint64 added = std::min(left, room > 0 ? room : gatesPerBlock);
        appendAlike({}, added, gatePs);
        trim(windowPs);
        left -= added;
    }
}

qint64 WindowTraces::roomInNewestBlock() const {
    return blocks.empty() ? 0 : std::max<qint64>(gatesPerBlock - blocks.back().gates, 0);
}

// Gates with the same values, as many as go into the newest block if that has room, else into a new one.
void WindowTraces::appendAlike(const Values& values, qint64 gates, qint64 gatePs) {
    Block added;
    added.gates = gates;
    added.lengthPs = gates * gatePs;
    for (std::size_t window = 0; window < values.size(); ++window) {
        added.windows[window] = {{values[window], gatePs}, {values[window], gatePs}};
    }
    if (roomInNewestBlock() == 0) {
        blocks.emplace_back();
    }
    blocks.back().append(added);
    heldGates += added.gates;
    heldPs += added.lengthPs;
    if (blocks.size() > kMostBlocks) {
        shareBlocks();
    }
}

// Makes one block of every two.
void WindowTraces::shareBlocks() {
    std::deque<Block> shared;
    for (std::size_t place = 0; place < blocks.size(); ++place) {
        if (place % 2 == 0) {
            shared.push_back(blocks[place]);
        } else {
            shared.back().append(blocks[place]);
        }
    }
    blocks = std::move(shared);
    gatesPerBlock *= 2;
}

void WindowTraces::trim(qint64 windowPs) {
    while (heldPs > windowPs && heldGates - blocks.front().gates >= kLeastGates) {
        heldPs -= blocks.front().lengthPs;
        heldGates -= blocks.front().gates;
        blocks.pop_front();
    }
}

double WindowTraces::seconds() const {
    return static_cast<double>(heldPs) / kPsPerSecond;
}

Trace WindowTraces::trace(std::size_t window) const {
    Trace result;
    qint64 beginPs = 0;
    const auto append = [&](const Extreme& extreme) {
        result.xs.append(static_cast<double>(beginPs + extreme.atPs) / kPsPerSecond);
        result.ys.append(extreme.value);
    };
    for (const Block& block : blocks) {
        const auto& [lowest, highest] = block.windows[window];
        append(lowest.atPs <= highest.atPs ? lowest : highest);
        if (lowest.atPs != highest.atPs) {
            append(lowest.atPs <= highest.atPs ? highest : lowest);
        }
        beginPs += block.lengthPs;
    }
    return result;
}

} // namespace qorn::timetagger::gui
