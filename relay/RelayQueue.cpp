#include "RelayQueue.h"

#include <utility>

namespace qorn::relay {

bool RelayQueue::add(const RelayBatch& batch) {
    if (waiting_bytes + batch->size() > kLimitBytes || waiting.size() >= kMostWaitingBatches)
        return false;
    waiting.push_back(batch);
    waiting_bytes += batch->size();
    return true;
}

std::uint64_t RelayQueue::moveTo(std::deque<RelayBatch>& taken) {
    taken.swap(waiting);
    return std::exchange(waiting_bytes, 0);
}

} // namespace qorn::relay
