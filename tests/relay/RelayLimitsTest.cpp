// The fixed limits of the relay server: its queue, a client's backlog, and the process's descriptors.
#include "RelayServer.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::relay {
namespace {

using namespace test;

constexpr std::uint64_t kQueueLimit = 64 * kMiB;
constexpr std::uint64_t kBacklogLimit = 32 * kMiB;

TEST(RelayLimits, ABatchAboveTheQueueLimitIsAnOverrunAndLost) {
    TestServer server;
    server->publishRaw64(Bytes(kQueueLimit + 8), kQueueLimit / 8 + 1);
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.ingress_overruns, 1U);
    EXPECT_EQ(stats.tags_published, 0U);
    EXPECT_EQ(stats.bytes_published, 0U);
    EXPECT_EQ(stats.tags_lost, kQueueLimit / 8 + 1);
    EXPECT_TRUE(server->running());
}

TEST(RelayLimits, ABatchOfTheQueueLimitIsTaken) {
    TestServer server;
    server->publishRaw64(Bytes(kQueueLimit), kQueueLimit / 8);
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.ingress_overruns, 0U);
    EXPECT_EQ(stats.tags_published, kQueueLimit / 8);
    EXPECT_EQ(stats.bytes_published, kQueueLimit);
    EXPECT_EQ(stats.tags_lost, 0U);
}

TEST(RelayLimits, EveryBatchIsEitherPublishedOrAnOverrun) {
    TestServer server;
    std::vector<Bytes> batches(40, Bytes(4 * kMiB));
    for (Bytes& batch : batches)
        server->publishRaw64(std::move(batch), 4 * kMiB / 8);
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.bytes_published, (40 - stats.ingress_overruns) * 4 * kMiB);
    EXPECT_EQ(stats.tags_published, stats.bytes_published / 8);
    EXPECT_EQ(stats.tags_lost, (stats.bytes_refused + stats.bytes_dropped) / 8);
}

TEST(RelayLimits, AnOverrunDropsAllStreamClientsAndCountsOneSlowClient) {
    TestServer server;
    std::vector<Peer> peers = server.connectStreams(3);
    const std::vector<Peer> status = server.connectStatuses(1);
    server->publishRaw64(Bytes(kQueueLimit + 8), kQueueLimit / 8 + 1);
    ASSERT_TRUE(server.waitForStreamClients(0));
    for (Peer& peer : peers)
        EXPECT_TRUE(peer.isClosedByOther());
    RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.slow_clients_disconnected, 1U);
    EXPECT_EQ(stats.ingress_overruns, 1U);
    EXPECT_EQ(stats.status_clients, 1U);

    Peer again = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(80));
    EXPECT_EQ(again.read(80), patternRecords(80));
    stats = server->stats();
    EXPECT_EQ(stats.tags_published, 10U);
    EXPECT_EQ(stats.slow_clients_disconnected, 1U);
    EXPECT_EQ(stats.tags_lost, kQueueLimit / 8 + 1) << "nothing was on its way to the clients";
}

TEST(RelayLimits, TheLostTagsAreCountedBeyondAStopWhichLosesNone) {
    TestServer server;
    Peer peer = Peer::connectTo(server.streamPort(), 4096);
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(Bytes(kBacklogLimit)); // which cannot be sent now
    ASSERT_TRUE(server->start(0, 0, nullptr));
    EXPECT_EQ(server->stats().tags_lost, 0U);
    server->publishRaw64(Bytes(kQueueLimit + 8), kQueueLimit / 8 + 1);
    ASSERT_TRUE(server->start(0, 0, nullptr));
    EXPECT_EQ(server->stats().tags_lost, kQueueLimit / 8 + 1);
    EXPECT_EQ(server->stats().ingress_overruns, 0U);
}

TEST(RelayLimits, ABatchOfTheBacklogLimitReachesItsClient) {
    TestServer server;
    Peer peer = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    const Bytes batch = patternRecords(kBacklogLimit);
    server.publish(batch);
    EXPECT_TRUE(peer.read(kBacklogLimit) == batch);
    EXPECT_EQ(server->stats().slow_clients_disconnected, 0U);
}

TEST(RelayLimits, ABatchAboveTheBacklogLimitThrowsEveryClientOff) {
    TestServer server;
    Peer first = Peer::connectTo(server.streamPort());
    Peer second = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(2));
    server.publish(Bytes(kBacklogLimit + 8));
    EXPECT_TRUE(first.isClosedByOther());
    EXPECT_TRUE(second.isClosedByOther());
    ASSERT_TRUE(server.waitForStreamClients(0));
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.slow_clients_disconnected, 2U);
    EXPECT_EQ(stats.tags_lost, 2 * (kBacklogLimit / 8 + 1));
    EXPECT_EQ(stats.ingress_overruns, 0U);
    EXPECT_EQ(stats.bytes_sent, 0U);
}

// A second client reads everything. When it has a batch, the batch has been offered to the silent one too, so
// that after each step it is known on which side of the limit the silent one stands.
TEST(RelayLimits, AClientThatStopsReadingIsThrownOffAboveTheLimitAndNotAtIt) {
    TestServer server;
    Peer silent = Peer::connectTo(server.streamPort(), 4096);
    Peer reader = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(2));

    std::uint64_t published = 0;
    std::uint64_t last_step = 0;
    for (int round = 0; round < 100000 && server->stats().slow_clients_disconnected == 0; ++round) {
        // Of what was sent, the reader has all that was published; a little may not be counted yet.
        const std::uint64_t sent = std::max(server->stats().bytes_sent, published);
        const std::uint64_t backlog = published - (sent - published);
        last_step = backlog < kBacklogLimit ? (kBacklogLimit - backlog) / 8 * 8 : 0;
        last_step = std::max<std::uint64_t>(last_step, 8);
        const Bytes batch = patternRecords(last_step);
        server.publish(batch);
        published += last_step;
        ASSERT_TRUE(reader.read(last_step) == batch);
    }
    EXPECT_EQ(server->stats().slow_clients_disconnected, 1U);
    EXPECT_EQ(last_step, 8U);
    EXPECT_TRUE(server.waitForStreamClients(1));
    server->stop(); // from here on the counters stand still
    const std::uint64_t sent_to_silent = server->stats().bytes_sent - published;
    EXPECT_EQ(server->stats().tags_lost, (published - sent_to_silent + 7) / 8);
    EXPECT_GT(published - sent_to_silent, kBacklogLimit);
    EXPECT_LE(published - last_step - sent_to_silent, kBacklogLimit);
    EXPECT_TRUE(silent.isClosedByOther());
}

TEST(RelayLimits, AReceiverThatIsTooSlowSeesItsStreamClosed) {
    TestServer server;
    std::atomic<bool> release{false};
    Receiver receiver(server.endpoint(), [&](Tags&) { (void)eventually([&] { return release.load(); }); });
    ASSERT_TRUE(server.waitForStreamClients(1));
    for (int i = 0; i < 1000 && server->stats().slow_clients_disconnected == 0; ++i)
        server.publish(patternRecords(kMiB));
    EXPECT_TRUE(server.waitForStreamClients(0));
    EXPECT_EQ(server->stats().slow_clients_disconnected, 1U);
    release = true;
    EXPECT_EQ(receiver.join(), "relay stream closed by peer");
}

double processCpuSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// No new descriptor can be had while this lives.
class NoMoreDescriptors {
public:
    NoMoreDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const RelaySocket lowest_free(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        rlimit narrow = before;
        narrow.rlim_cur = static_cast<rlim_t>(lowest_free.fd());
        ::setrlimit(RLIMIT_NOFILE, &narrow);
    }
    ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

private:
    rlimit before{};
};

TEST(RelayLimits, WithoutDescriptorsClientsWaitAndTheServerDoesNotSpin) {
    TestServer server;
    Peer status = Peer::connectTo(server.statusPort());
    ASSERT_TRUE(server.waitForStatusClients(1));
    std::vector<RelaySocket> sockets;
    for (int i = 0; i < 4; ++i)
        sockets.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(server.streamPort());
    {
        const NoMoreDescriptors narrow;
        for (const RelaySocket& socket : sockets)
            ASSERT_EQ(::connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_FALSE(status.readLine().empty());
        const double before = processCpuSeconds();
        EXPECT_FALSE(status.readLine().empty()); // a second later
        EXPECT_LT(processCpuSeconds() - before, 0.5);
        EXPECT_EQ(server->stats().stream_clients, 0U);
        EXPECT_TRUE(server->running());
    }
    ASSERT_TRUE(server.waitForStreamClients(4));
    server.publish(patternRecords(80));
    EXPECT_EQ(Peer(std::move(sockets[3])).read(80), patternRecords(80));
}

} // namespace
} // namespace qorn::relay
