// Receivers of the published stream that come, stay a while and go, as other hosts do. Each has a thread of
// its own. Owned by the soak, used on the GUI thread.
#pragma once

#include "RelayEndpoint.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace qorn::soak {

class RelayVisitors {
public:
    ~RelayVisitors();

    std::size_t count() const { return visitors.size(); }
    void come(const relay::RelayEndpoint& endpoint);
    // The visitor that came first goes; nothing happens when there is none.
    void go();
    void allGo();

    // Visitors so far, and the tags that they have received.
    int visits() const { return visited; }
    std::uint64_t tags() const { return received; }
    // Visits that ended because what came was no record.
    int invalidRecords() const { return invalid; }

private:
    struct Visitor {
        std::atomic<bool> stop = false;
        std::thread thread;
    };

    std::vector<std::unique_ptr<Visitor>> visitors;
    int visited = 0;
    std::atomic<std::uint64_t> received = 0;
    std::atomic<int> invalid = 0;
};

} // namespace qorn::soak
