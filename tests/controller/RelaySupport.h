// A relay server on free loopback ports, and a client of one in a thread of its own.
#pragma once

#include "LoopTestSupport.h"
#include "RelayClient.h"
#include "RelayServer.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace qorn::timetagger::gui::test {

class LoopbackServer {
public:
    LoopbackServer();
    relay::RelayServer* operator->() { return &server; }
    relay::RelayServer* get() { return &server; }
    relay::RelayEndpoint endpoint() const;
    bool waitForClients(std::uint32_t count);
    void publish(const Tags& tags);

private:
    relay::RelayServer server;
};

class LoopbackClient {
public:
    explicit LoopbackClient(const relay::RelayEndpoint& endpoint);
    ~LoopbackClient();
    bool waitForTags(std::size_t count);
    Tags tags() const;

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    Tags received;
    std::atomic<bool> stop{false};
    std::thread thread;
};

// A client of the server in the second half of every hundred runs.
class PassingListener {
public:
    explicit PassingListener(LoopbackServer& publishing) : server(publishing) {}
    // Comes or goes as run number `run` has it; false when the server does not notice.
    bool follow(unsigned run);

private:
    LoopbackServer& server;
    std::unique_ptr<LoopbackClient> client;
};

// A TCP peer of a relay client that sends what a test wants.
class RawPublisher {
public:
    RawPublisher();
    ~RawPublisher();
    RawPublisher(const RawPublisher&) = delete;
    RawPublisher& operator=(const RawPublisher&) = delete;

    relay::RelayEndpoint endpoint() const; // both ports are this one
    bool accept();                         // waits for a client
    bool send(const qorn::testing::Bytes& bytes);
    void closeClient();
    void resetClient(); // closes it with an RST

private:
    int listener = -1;
    int client = -1;
    std::uint16_t port = 0;
};

} // namespace qorn::timetagger::gui::test
