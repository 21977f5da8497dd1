#include "RelayVisitors.h"

#include "RelayClient.h"
#include "RelayDecoder.h"

#include <exception>

namespace qorn::soak {

RelayVisitors::~RelayVisitors() {
    allGo();
    going.clear(); // waits for their threads
}

void RelayVisitors::come(const relay::RelayEndpoint& endpoint) {
    ++visited;
    auto& visitor = *visitors.emplace_back(std::make_unique<Visitor>());
    visitor.thread = std::jthread([this, &visitor, endpoint] {
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
        visitor.gone = true;
    });
}

void RelayVisitors::go() {
    haveGone();
    if (!visitors.empty()) {
        visitors.front()->stop = true;
        going.push_back(std::move(visitors.front()));
        visitors.erase(visitors.begin());
    }
}

void RelayVisitors::allGo() {
    while (!visitors.empty()) {
        go();
    }
}

bool RelayVisitors::haveGone() {
    std::erase_if(going, [](const auto& visitor) { return visitor->gone.load(); });
    return going.empty();
}

} // namespace qorn::soak
