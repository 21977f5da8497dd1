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

    // Those that are not asked to go.
    std::size_t count() const { return visitors.size(); }
    void come(const relay::RelayEndpoint& endpoint);
    // The visitor that came first is asked to go; nothing happens when there is none. It takes a moment, for
    // which nobody waits here: that would be a wait of the window's.
    void go();
    void allGo();
    // Forgets those that have gone; true when all who were asked to have.
    bool haveGone();

    // Visitors so far, and the tags that they have received.
    int visits() const { return visited; }
    std::uint64_t tags() const { return received; }
    // Visits that ended because what came was no record.
    int invalidRecords() const { return invalid; }

private:
    struct Visitor {
        std::atomic<bool> stop = false;
        std::atomic<bool> gone = false;
        std::jthread thread;
    };

    std::vector<std::unique_ptr<Visitor>> visitors;
    std::vector<std::unique_ptr<Visitor>> going;
    int visited = 0;
    std::atomic<std::uint64_t> received = 0;
    std::atomic<int> invalid = 0;
};

} // namespace qorn::soak
