// The network relay over loopback: server and client each beside a plain loop of send and recv with the same
// blocks, and what publishing costs the capture.
#include "BenchStreams.h"
#include "RelayClient.h"
#include "RelayServer.h"
#include "RelaySocket.h"
#include "StreamDecoder.h"
#include "TagFanOut.h"
#include "TagWords.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>

namespace {

using namespace qorn;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatchTags = 65536;
constexpr std::size_t kBatchBytes = kBatchTags * timing::kTagWordBytes;
constexpr std::size_t kBatches = 128; // of one iteration
constexpr std::size_t kRunBytes = kBatches * kBatchBytes;
constexpr std::size_t kReceiveBytes = 65536;          // of one recv
constexpr std::size_t kAheadBytes = 16 * kBatchBytes; // of the slowest client, well below the backlog limit
constexpr std::chrono::microseconds kPacePause{50};
constexpr std::chrono::seconds kStallLimit{30};

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void setBlocking(const relay::RelaySocket& socket) {
    ::fcntl(socket.fd(), F_SETFL, ::fcntl(socket.fd(), F_GETFL) & ~O_NONBLOCK);
}

void sendAll(const relay::RelaySocket& socket, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return; // the receiver has enough
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

// Receives and counts for as long as it lives.
class Drain {
public:
    explicit Drain(relay::RelaySocket connected) : socket(std::move(connected)) {}
    ~Drain() {
        ::shutdown(socket.fd(), SHUT_RDWR);
        thread.join();
    }
    Drain(const Drain&) = delete;
    Drain& operator=(const Drain&) = delete;
    std::uint64_t bytes() const { return received; }

private:
    void run() {
        setBlocking(socket);
        std::vector<std::uint8_t> block(kReceiveBytes);
        for (ssize_t count = 1; count > 0;
             received += static_cast<std::uint64_t>(std::max<ssize_t>(count, 0))) {
            count = ::recv(socket.fd(), block.data(), block.size(), 0);
            benchmark::DoNotOptimize(block.data());
        }
    }

    relay::RelaySocket socket;
    std::atomic<std::uint64_t> received{0};
    std::thread thread{[this] { run(); }};
};

using Drains = std::vector<std::unique_ptr<Drain>>;

std::uint64_t slowest(const Drains& drains) {
    std::uint64_t least = drains.front()->bytes();
    for (const auto& drain : drains)
        least = std::min(least, drain->bytes());
    return least;
}

// Waits until every client has so many bytes; false when they stall.
bool waitForBytes(const Drains& drains, std::uint64_t bytes) {
    const auto start = Clock::now();
    while (slowest(drains) < bytes) {
        if (Clock::now() - start > kStallLimit)
            return false;
        std::this_thread::sleep_for(kPacePause);
    }
    return true;
}

// A listener of loopback connections, with both ends of each.
class Loopback {
public:
    Loopback() : listener(relay::createListeningSocket(0, port, nullptr)) {}
    relay::RelayEndpoint endpoint() const { return {"127.0.0.1", port, port}; }
    relay::RelaySocket accept() const {
        relay::RelaySocket socket;
        while (!socket)
            socket = relay::acceptSocket(listener);
        setBlocking(socket);
        return socket;
    }

private:
    std::uint16_t port = 0;
    relay::RelaySocket listener;
};

std::vector<std::uint8_t> batchRecords() {
    std::vector<std::uint8_t> bytes = bench::raw64_stream(kBatchBytes);
    bytes.resize(kBatchBytes);
    return bytes;
}

// Seconds in which a plain loop sends the run to each of the clients.
double plainSeconds(std::size_t clients) {
    const std::vector<std::uint8_t> block = batchRecords();
    const Loopback loopback;
    std::vector<relay::RelaySocket> senders;
    Drains drains;
    for (std::size_t i = 0; i < clients; ++i) {
        drains.push_back(std::make_unique<Drain>(relay::connectSocket(loopback.endpoint(), nullptr)));
        senders.push_back(loopback.accept());
    }
    const auto start = Clock::now();
    for (std::size_t batch = 0; batch < kBatches; ++batch) {
        for (const relay::RelaySocket& sender : senders)
            sendAll(sender, block);
    }
    waitForBytes(drains, kRunBytes);
    return secondsSince(start);
}

// A running server and its clients.
struct Publication {
    explicit Publication(std::size_t clients) {
        std::string error;
        if (!server.start(0, 0, &error))
            throw std::runtime_error(error);
        const relay::RelayServer::Stats ports = server.stats();
        for (std::size_t i = 0; i < clients; ++i) {
            drains.push_back(std::make_unique<Drain>(
                relay::connectSocket({"127.0.0.1", ports.stream_port, ports.status_port}, &error)));
        }
        while (server.stats().stream_clients < clients)
            std::this_thread::sleep_for(kPacePause);
    }

    relay::RelayServer server;
    Drains drains;
};

// Seconds in which the server brings the run to each of its clients; negative when some did not get it.
double publishedSeconds(Publication& publication) {
    const std::vector<std::uint8_t> block = batchRecords();
    std::vector<std::vector<std::uint8_t>> batches(kBatches, block);
    const std::uint64_t before = slowest(publication.drains);
    const auto start = Clock::now();
    std::uint64_t published = 0;
    for (std::vector<std::uint8_t>& batch : batches) {
        publication.server.publishRaw64(std::move(batch), kBatchTags);
        published += kBatchBytes;
        if (published > kAheadBytes && !waitForBytes(publication.drains, before + published - kAheadBytes))
            return -1.0;
    }
    return waitForBytes(publication.drains, before + kRunBytes) ? secondsSince(start) : -1.0;
}

void relayClients(benchmark::State& state, std::size_t clients) {
    Publication publication(clients);
    double plain = 0.0;
    double total = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        plain += plainSeconds(clients);
        const double took = publishedSeconds(publication);
        if (took < 0.0) {
            state.SkipWithError("not every client got everything");
            return;
        }
        total += took;
        state.SetIterationTime(took);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatches * kBatchTags * clients));
    state.counters["vs_baseline"] = plain / total;
}
BENCHMARK_CAPTURE(relayClients, one, 1)->Name("relay/one_client")->UseManualTime()->MinTime(2.0);
BENCHMARK_CAPTURE(relayClients, ten, 10)->Name("relay/ten_clients")->UseManualTime()->MinTime(2.0);

class NoEvents final : public timetagger::gui::MeasurementEvents {
public:
    void clockStatus(const timing::ReferenceClockStatus&) override {}
    void counterSample(timetagger::gui::UiCounterSample) override {}
    void tagsBatch(timetagger::gui::UiTimeTagBatch) override {}
};

// What the capture's thread spends on a pass of tags that goes to one client.
void relayPublish(benchmark::State& state) {
    timing::StreamDecoder decoder(bench::stream_header(timing::StreamFormat::Raw64));
    const auto decoded = decoder.feed(batchRecords());
    const std::vector<timing::TimeTag> tags(decoded.begin(), decoded.end());
    if (tags.size() != kBatchTags) {
        state.SkipWithError("the stream did not decode");
        return;
    }
    Publication publication(1);
    NoEvents events;
    timetagger::gui::TagFanOut fanOut(nullptr, &publication.server, events, kBatchTags, 0, Clock::now());
    std::uint64_t published = 0;
    for ([[maybe_unused]] auto _ : state) {
        const auto start = Clock::now();
        fanOut.publish(tags);
        state.SetIterationTime(secondsSince(start));
        published += kBatchBytes;
        if (!waitForBytes(publication.drains, published - std::min(published, kAheadBytes))) {
            state.SkipWithError("the client did not get everything");
            return;
        }
    }
    if (!waitForBytes(publication.drains, published))
        state.SkipWithError("the client did not get everything");
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatchTags));
}
BENCHMARK(relayPublish)->Name("relay/publish")->UseManualTime()->MinTime(0.3)->Unit(benchmark::kMicrosecond);

// Sends the run once to the one who connects.
class Source {
public:
    explicit Source(const Loopback& loopback)
        : thread([&loopback] {
              const std::vector<std::uint8_t> block = batchRecords();
              const relay::RelaySocket socket = loopback.accept();
              for (std::size_t batch = 0; batch < kBatches; ++batch)
                  sendAll(socket, block);
              std::uint8_t end = 0;
              (void)::recv(socket.fd(), &end, 1, 0); // the receiver closes first
          }) {}
    ~Source() { thread.join(); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

private:
    std::thread thread;
};

double plainReceiveSeconds() {
    const Loopback loopback;
    const Source source(loopback);
    const auto start = Clock::now();
    Drains drains;
    drains.push_back(std::make_unique<Drain>(relay::connectSocket(loopback.endpoint(), nullptr)));
    waitForBytes(drains, kRunBytes);
    return secondsSince(start);
}

// Counts the tags of one run.
std::uint64_t receiveRun() {
    const Loopback loopback;
    const Source source(loopback);
    std::atomic<bool> stop{false};
    std::uint64_t tags = 0;
    relay::RelayClient().receive(loopback.endpoint(), stop, [&](std::vector<timing::TimeTag>& received) {
        benchmark::DoNotOptimize(received.data());
        tags += received.size();
        stop = tags >= kBatches * kBatchTags;
    });
    return tags;
}

void relayReceive(benchmark::State& state) {
    double plain = 0.0;
    double total = 0.0;
    for ([[maybe_unused]] auto _ : state) {
        plain += plainReceiveSeconds();
        const auto start = Clock::now();
        if (receiveRun() != kBatches * kBatchTags) {
            state.SkipWithError("not every tag was received");
            return;
        }
        const double took = secondsSince(start);
        total += took;
        state.SetIterationTime(took);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kBatches * kBatchTags));
    state.counters["vs_baseline"] = plain / total;
}
BENCHMARK(relayReceive)->Name("relay/receive")->UseManualTime()->MinTime(1.0);

} // namespace
