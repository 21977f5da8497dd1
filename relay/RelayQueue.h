// The batches that a relay server's publisher has handed over and its service thread has not taken yet. The
// server guards it.
#pragma once

#include "RelayStreamClients.h"

#include <cstdint>
#include <deque>

namespace qorn::relay {

class RelayQueue {
public:
    static constexpr std::uint64_t kLimitBytes = 67108864;

    // False, and nothing changed, when the queue would pass kLimitBytes or kMostWaitingBatches.
    bool add(const RelayBatch& batch);
    std::uint64_t bytes() const { return waiting_bytes; }
    // Empties the queue into `taken`, which is empty; returns the bytes.
    std::uint64_t moveTo(std::deque<RelayBatch>& taken);

private:
    std::deque<RelayBatch> waiting;
    std::uint64_t waiting_bytes = 0;
};

} // namespace qorn::relay
