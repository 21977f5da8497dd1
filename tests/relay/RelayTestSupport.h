// What the relay tests share: a scripted peer on either end of a loopback connection, a receiver in a thread
// of its own, records built byte by byte, and waiting with a generous limit.
#pragma once

#include "RelayClient.h"
#include "RelayServer.h"
#include "RelaySocket.h"
#include "TimeTag.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace qorn::relay::test {

using Bytes = std::vector<std::uint8_t>;
using Tags = std::vector<timing::TimeTag>;

inline constexpr std::chrono::seconds kLimit{60};
inline constexpr std::uint64_t kMiB = 1048576;

// True as soon as the condition holds; false when the limit has passed.
bool eventually(const std::function<bool()>& condition);

std::size_t openDescriptors(); // of this process

// The record of one tag, built without the product's encoder.
void appendRecord(Bytes& bytes, int channel, std::int64_t time_ps);
Bytes recordsOf(std::span<const timing::TimeTag> tags);

// Records that differ from place to place, so that a lost or doubled one is seen. `bytes` is a multiple of 8.
Bytes patternRecords(std::uint64_t bytes, std::uint32_t seed = 1);

// Ascending tags from `start_ps` on, all four channels within the first four.
Tags randomTags(std::size_t count, std::int64_t start_ps, std::int64_t largest_step_ps, std::uint32_t seed);

// A blocking connection whose reads end at the limit.
class Peer {
public:
    Peer() = default;
    explicit Peer(RelaySocket connected);
    static Peer connectTo(std::uint16_t port, int receive_buffer = 0);

    bool isOpen() const { return static_cast<bool>(socket); }
    int fd() const { return socket.fd(); }
    bool sendAll(std::span<const std::uint8_t> bytes); // false when the other side is gone
    Bytes read(std::size_t count);                     // less than `count` at the end or at the limit
    std::string readLine();                            // with its line feed; without it at the end
    bool isClosedByOther();                            // reads up to the end; false at the limit
    void close() { socket.close(); }
    void reset(); // ends the connection with an RST
    void finishSending();
    void vanish(); // as without power: nothing reaches it any more, and it answers nothing

private:
    RelaySocket socket;
};

// A listener of the test's own, for a publisher that does what a real one never would.
class Listener {
public:
    explicit Listener(int family, int backlog = 8);
    std::uint16_t port() const { return bound; }
    bool isOpen() const { return static_cast<bool>(socket); }
    Peer accept();
    bool hasWaiting() const;

private:
    RelaySocket socket;
    std::uint16_t bound = 0;
};

// A port that refuses connections for as long as this lives: bound, but nobody listens.
class RefusingPort {
public:
    RefusingPort();
    std::uint16_t port() const { return bound; }

private:
    RelaySocket socket;
    std::uint16_t bound = 0;
};

// RelayClient::receive in a thread.
class Receiver {
public:
    using Callback = std::function<void(Tags&)>;
    explicit Receiver(const RelayEndpoint& endpoint, Callback callback = {});
    ~Receiver();

    bool waitForTags(std::size_t count);
    Tags tags() const;
    void requestStop() { stop = true; }
    std::string stopAndJoin(); // the failure's text, empty when it ended quietly
    std::string join();        // waits for an end that the peer causes
    bool hasEnded() const { return ended; }

private:
    mutable std::mutex mutex;
    Tags received;
    std::string failure;
    std::atomic<bool> stop{false};
    std::atomic<bool> ended{false};
    std::thread thread;
};

// A running server on free ports.
class TestServer {
public:
    TestServer();
    RelayServer& operator*() { return *server; }
    RelayServer* operator->() { return server.get(); }
    void destroy() { server.reset(); }
    RelayEndpoint endpoint() const;
    std::uint16_t streamPort() const { return ports.stream_port; }
    std::uint16_t statusPort() const { return ports.status_port; }
    // Connects peers one after the other, each accepted before the next: the listener's queue is short, and a
    // request that does not fit it is repeated by the system a second later.
    std::vector<Peer> connectStreams(std::uint32_t count);
    std::vector<Peer> connectStatuses(std::uint32_t count);
    bool waitForStreamClients(std::uint32_t count);
    bool waitForStatusClients(std::uint32_t count);
    void publish(const Bytes& bytes) { server->publishRaw64(bytes, bytes.size() / 8); }

private:
    std::unique_ptr<RelayServer> server = std::make_unique<RelayServer>();
    RelayServer::Stats ports;
};

} // namespace qorn::relay::test
