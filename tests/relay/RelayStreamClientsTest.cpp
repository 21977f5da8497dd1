#include "RelayStreamClients.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <utility>

namespace qorn::relay {
namespace {

using namespace test;

class StreamClients : public testing::Test {
protected:
    Peer connect() {
        Peer peer = Peer::connectTo(port);
        clients.add(acceptSocket(listener));
        return peer;
    }

    // One round of waiting and serving, as the service thread does it.
    bool serveOnce(int timeout_ms = 1000) {
        std::vector<pollfd> requests;
        clients.appendPollRequests(requests, true);
        ::poll(requests.data(), requests.size(), timeout_ms);
        return clients.serve(requests);
    }

    // The same; the bytes that were sent.
    std::uint64_t sendOnce() {
        const std::uint64_t before = clients.traffic().sent;
        serveOnce();
        return clients.traffic().sent - before;
    }

    static RelayBatch batchOf(Bytes bytes) { return std::make_shared<const Bytes>(std::move(bytes)); }

    std::uint16_t port = 0;
    RelaySocket listener = createListeningSocket(0, port, nullptr);
    RelayStreamClients clients;
};

TEST_F(StreamClients, ABacklogOfExactlyTheLimitIsKept) {
    const Peer peer = connect();
    EXPECT_EQ(clients.distribute(batchOf(Bytes(32 * kMiB - 8))), 0U);
    EXPECT_EQ(clients.distribute(batchOf(Bytes(8))), 0U);
    EXPECT_EQ(clients.size(), 1U);
    EXPECT_EQ(clients.distribute(batchOf(Bytes(1))), 1U);
    EXPECT_EQ(clients.size(), 0U);
}

TEST_F(StreamClients, OnlyWhatIsNotSentYetCountsForTheLimit) {
    const Peer peer = connect();
    clients.distribute(batchOf(Bytes(32 * kMiB)));
    const std::uint64_t sent = sendOnce();
    ASSERT_GT(sent, 0U);
    ASSERT_LT(sent, 32 * kMiB);
    EXPECT_EQ(clients.distribute(batchOf(Bytes(sent))), 0U);
    EXPECT_EQ(clients.distribute(batchOf(Bytes(1))), 1U);
}

struct StandingClient {
    const char* name;
    std::uint64_t batch_bytes;
    std::size_t batches; // as many as are kept
};

TEST_F(StreamClients, AStandingClientIsKeptAtTheLimitsOfBytesAndNumberAndThrownOffAbove) {
    for (const StandingClient& row :
         {StandingClient{"bytes", 32 * kMiB, 1}, StandingClient{"bytes, many batches", 4096, 8192},
          StandingClient{"number, smallest batches", 8, 262144},
          StandingClient{"number and bytes", 128, 262144}}) {
        SCOPED_TRACE(row.name);
        const Peer peer = connect();
        const RelayBatch batch = batchOf(Bytes(row.batch_bytes));
        const std::uint64_t lost_before = clients.traffic().lost_tags;
        std::size_t thrown_off = 0;
        for (std::size_t i = 0; i < row.batches; ++i)
            thrown_off += clients.distribute(batch);
        ASSERT_EQ(thrown_off, 0U);
        EXPECT_EQ(clients.traffic().pending, row.batches * row.batch_bytes);
        EXPECT_EQ(clients.distribute(batchOf(Bytes(8))), 1U);
        EXPECT_EQ(clients.size(), 0U);
        EXPECT_EQ(clients.traffic().lost_tags - lost_before, row.batches * row.batch_bytes / 8 + 1);
        EXPECT_EQ(clients.traffic().pending, 0U);
        EXPECT_EQ(batch.use_count(), 1) << "its backlog is freed";
    }
}

TEST_F(StreamClients, ABatchThatIsSentMakesRoomForAnother) {
    const Peer peer = connect();
    const RelayBatch batch = batchOf(Bytes(8));
    for (std::size_t i = 0; i < kMostWaitingBatches; ++i)
        clients.distribute(batch);
    ASSERT_EQ(sendOnce(), 8U);
    EXPECT_EQ(clients.distribute(batch), 0U);
    EXPECT_EQ(clients.distribute(batch), 1U);
}

TEST_F(StreamClients, WhatASlowClientWasStillToGetIsLostAndNothingElse) {
    Peer slow = connect();
    Peer going = connect();
    clients.distribute(batchOf(Bytes(32 * kMiB)));
    const std::uint64_t sent = sendOnce(); // to both
    going.close();
    ASSERT_TRUE(eventually([&] {
        serveOnce(10);
        return clients.size() == 1;
    }));
    EXPECT_EQ(clients.traffic().lost_tags, 0U) << "it went by itself";
    const std::uint64_t left = clients.traffic().pending;
    ASSERT_GT(sent, 0U);
    ASSERT_GT(left, 0U);
    EXPECT_EQ(clients.distribute(batchOf(Bytes(32 * kMiB))), 1U);
    EXPECT_EQ(clients.traffic().lost_tags, (left + 32 * kMiB + 7) / 8);

    const Peer first = connect();
    const Peer second = connect();
    const std::uint64_t before = clients.traffic().lost_tags;
    clients.distribute(batchOf(patternRecords(80)));
    clients.closeAllAsSlow();
    EXPECT_EQ(clients.traffic().lost_tags - before, 20U) << "ten for each";
    EXPECT_EQ(clients.size(), 0U);
}

TEST_F(StreamClients, ABatchIsSharedAndFreedWhenTheLastClientHasIt) {
    Peer first = connect();
    Peer second = connect();
    RelayBatch batch = batchOf(patternRecords(4096));
    const std::weak_ptr<const Bytes> watched = batch;
    clients.distribute(batch);
    EXPECT_EQ(batch.use_count(), 3);
    batch.reset();
    std::uint64_t sent = 0;
    EXPECT_TRUE(eventually([&] { return (sent += sendOnce()) == 2 * 4096; }));
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(first.read(4096), patternRecords(4096));
    EXPECT_EQ(second.read(4096), patternRecords(4096));
}

TEST_F(StreamClients, AsksForOutputOnlyWhereSomethingIsQueued) {
    const Peer peer = connect();
    std::vector<pollfd> requests;
    clients.appendPollRequests(requests, true);
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].events, POLLIN);
    clients.distribute(batchOf(Bytes(8)));
    requests.clear();
    clients.appendPollRequests(requests, false);
    EXPECT_EQ(requests[0].events, POLLOUT);
}

TEST_F(StreamClients, AServedClientIsSentToOncePerRound) {
    Peer peer = connect();
    clients.distribute(batchOf(patternRecords(16, 1)));
    clients.distribute(batchOf(patternRecords(16, 2)));
    EXPECT_EQ(sendOnce(), 16U);
    EXPECT_EQ(sendOnce(), 16U);
    EXPECT_EQ(peer.read(16), patternRecords(16, 1));
    EXPECT_EQ(peer.read(16), patternRecords(16, 2));
}

TEST_F(StreamClients, InputIsDiscardedAndReported) {
    Peer peer = connect();
    ASSERT_TRUE(peer.sendAll(Bytes(100, 0xFF)));
    EXPECT_TRUE(serveOnce());
    EXPECT_FALSE(serveOnce(0));
    EXPECT_EQ(clients.size(), 1U);
}

TEST_F(StreamClients, TheClientThatGoesIsRemovedAndTheOthersStay) {
    Peer staying = connect();
    Peer closing = connect();
    Peer resetting = connect();
    Peer half_closing = connect();
    Peer last = connect();
    closing.close();
    resetting.reset();
    half_closing.finishSending();
    EXPECT_TRUE(eventually([&] {
        serveOnce(10);
        return clients.size() == 2;
    }));
    clients.distribute(batchOf(patternRecords(64)));
    serveOnce();
    EXPECT_EQ(staying.read(64), patternRecords(64));
    EXPECT_EQ(last.read(64), patternRecords(64));
}

} // namespace
} // namespace qorn::relay
