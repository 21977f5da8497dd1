// That the relay server accounts for every byte that it was given.
#include "RelayServer.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

namespace qorn::relay {
namespace {

using namespace test;

bool balances(const RelayServer::Stats& stats) {
    return stats.bytes_offered == stats.bytes_published + stats.bytes_refused &&
           stats.bytes_published == stats.bytes_taken + stats.bytes_queued + stats.bytes_dropped &&
           stats.bytes_due == stats.bytes_sent + stats.bytes_pending + stats.bytes_unsent;
}

// Clients that read, that do not, that come and that go, and batches of all sizes.
TEST(RelayTraffic, EveryByteIsAccountedForAtEveryMoment) {
    constexpr int kSeeds = 20;
    std::uint64_t unsent = 0;
    std::uint64_t refused = 0;
    for (unsigned seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        TestServer server;
        std::atomic<bool> done{false};
        std::atomic<int> wrong{0};
        std::thread watcher([&] {
            while (!done) {
                wrong += balances(server->stats()) ? 0 : 1;
                std::this_thread::yield();
            }
        });
        std::vector<std::unique_ptr<Receiver>> readers;
        std::vector<Peer> silent;
        std::uint64_t offered = 0;
        for (int step = 0; step < 40; ++step) {
            const auto choice = static_cast<unsigned>(random() % 10);
            if (choice == 0) {
                readers.push_back(std::make_unique<Receiver>(server.endpoint()));
            } else if (choice == 1) {
                silent.push_back(Peer::connectTo(server.streamPort(), 4096));
            } else if (choice == 2 && !readers.empty()) {
                readers.pop_back();
            } else if (choice == 3 && !silent.empty()) {
                silent.pop_back();
            } else if (choice == 4 && step % 8 == 0) {
                const Bytes huge(65 * kMiB);
                server.publish(huge);
                offered += huge.size();
            } else {
                const Bytes batch = patternRecords(8 * (1 + random() % 50000));
                server.publish(batch);
                offered += batch.size();
            }
            EXPECT_TRUE(balances(server->stats()));
        }
        server->stop();
        done = true;
        watcher.join();
        const RelayServer::Stats stats = server->stats();
        EXPECT_EQ(wrong, 0);
        EXPECT_TRUE(balances(stats));
        EXPECT_EQ(stats.bytes_offered, offered);
        EXPECT_EQ(stats.bytes_queued + stats.bytes_pending, 0U) << "nothing waits for what has ended";
        unsent += stats.bytes_unsent;
        refused += stats.bytes_refused;
    }
    EXPECT_GT(unsent, 0U);
    EXPECT_GT(refused, 0U);
}

TEST(RelayTraffic, WhatAClientDoesNotGetIsCountedWhenItIsThrownOff) {
    TestServer server;
    const Peer peer = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(Bytes(33 * kMiB)); // more than a client may have waiting
    ASSERT_TRUE(server.waitForStreamClients(0));
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.bytes_due, 33 * kMiB);
    EXPECT_EQ(stats.bytes_unsent, 33 * kMiB);
    EXPECT_EQ(stats.bytes_taken, 33 * kMiB);
}

TEST(RelayTraffic, ANewStartCountsFromZero) {
    TestServer server;
    Peer peer = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(800));
    ASSERT_EQ(peer.read(800), patternRecords(800));
    ASSERT_TRUE(server->start(0, 0, nullptr));
    const RelayServer::Stats stats = server->stats();
    EXPECT_EQ(stats.bytes_offered + stats.bytes_due + stats.bytes_sent + stats.bytes_unsent, 0U);
}

TEST(RelayTraffic, PublishingSaysWhetherTheRecordsWereTaken) {
    TestServer server;
    EXPECT_TRUE(server->publishRaw64(Bytes(8), 1));
    EXPECT_FALSE(server->publishRaw64({}, 0));
    EXPECT_FALSE(server->publishRaw64(Bytes(65 * kMiB), 65 * kMiB / 8));
    server->stop();
    EXPECT_FALSE(server->publishRaw64(Bytes(8), 1));
}

} // namespace
} // namespace qorn::relay
