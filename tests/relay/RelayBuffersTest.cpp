#include "RelayBuffers.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <utility>

namespace qorn::relay {
namespace {

using namespace test;

TEST(RelayBuffers, TheMemoryOfAFreedBatchIsUsedAgain) {
    const auto buffers = std::make_shared<RelayBuffers>();
    EXPECT_EQ(buffers->take().capacity(), 0U);
    Bytes bytes = patternRecords(4096);
    const std::uint8_t* const memory = bytes.data();
    RelayBatch batch = buffers->makeBatch(std::move(bytes));
    RelayBatch second = batch;
    EXPECT_EQ(*batch, patternRecords(4096));
    batch.reset();
    EXPECT_EQ(buffers->take().capacity(), 0U); // a client still has it
    second.reset();
    const Bytes again = buffers->take();
    EXPECT_TRUE(again.empty());
    EXPECT_EQ(again.data(), memory);
    EXPECT_GE(again.capacity(), 4096U);
}

TEST(RelayBuffers, NoMoreMemoryIsKeptThanItsLimits) {
    const auto buffers = std::make_shared<RelayBuffers>();
    buffers->makeBatch(Bytes(RelayBuffers::kMostBytes + 1)).reset();
    EXPECT_EQ(buffers->take().capacity(), 0U);
    std::vector<RelayBatch> batches;
    for (std::size_t i = 0; i <= RelayBuffers::kMostBuffers; ++i)
        batches.push_back(buffers->makeBatch(Bytes(8)));
    batches.clear();
    std::vector<Bytes> kept;
    for (std::size_t i = 0; i < RelayBuffers::kMostBuffers; ++i) {
        kept.push_back(buffers->take());
        EXPECT_GE(kept.back().capacity(), 8U) << i;
    }
    EXPECT_EQ(buffers->take().capacity(), 0U);
}

TEST(RelayBuffers, TheMemoryAtHandCanBeGivenUp) {
    const auto buffers = std::make_shared<RelayBuffers>();
    buffers->makeBatch(Bytes(8)).reset();
    buffers->clear();
    EXPECT_EQ(buffers->take().capacity(), 0U);
    buffers->makeBatch(Bytes(8)).reset();
    EXPECT_GE(buffers->take().capacity(), 8U);
}

TEST(RelayBuffers, ABatchMayOutliveItsOwner) {
    auto buffers = std::make_shared<RelayBuffers>();
    const RelayBatch batch = buffers->makeBatch(patternRecords(64));
    buffers.reset();
    EXPECT_EQ(*batch, patternRecords(64));
}

TEST(RelayBuffers, AServerGivesTheMemoryOfASentBatch) {
    TestServer server;
    Peer peer = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    server.publish(patternRecords(4096));
    EXPECT_EQ(peer.read(4096), patternRecords(4096));
    EXPECT_TRUE(eventually([&] { return server->takeBuffer().capacity() >= 4096; }));
}

TEST(RelayBuffers, AServerThatIsStoppedKeepsNoMemory) {
    TestServer server;
    Peer peer = Peer::connectTo(server.streamPort());
    ASSERT_TRUE(server.waitForStreamClients(1));
    for (int batch = 0; batch < 4; ++batch) { // of which some are still with the client or wait
        server.publish(patternRecords(65536));
    }
    server->stop();
    EXPECT_EQ(server->takeBuffer().capacity(), 0U);
}

} // namespace
} // namespace qorn::relay
