#include "RelayVisitors.h"

#include "RelayClient.h"
#include "RelayDecoder.h"

#include <exception>

namespace qorn::soak {

RelayVisitors::~RelayVisitors() {
    allGo();
}

void RelayVisitors::come(const relay::RelayEndpoint& endpoint) {
    ++visited;
    auto& visitor = *visitors.emplace_back(std::make_unique<Visitor>());
    visitor.thread = std::thread([this, &visitor, endpoint] {
        try {
            relay::RelayClient().receive(endpoint, visitor.stop, [this](std::vector<timing::TimeTag>& tags) {
                received += tags.size();
                tags.clear();
            });
        } catch (const relay::InvalidRelayRecord&) {
            ++invalid;
        } catch (const std::exception&) {
            // The publisher went, which visitors have to expect.
        }
    });
}

void RelayVisitors::go() {
    if (!visitors.empty()) {
        visitors.front()->stop = true;
        visitors.front()->thread.join();
        visitors.erase(visitors.begin());
    }
}

void RelayVisitors::allGo() {
    while (!visitors.empty()) {
        go();
    }
}

} // namespace qorn::soak
