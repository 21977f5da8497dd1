#include "RelayQueue.h"
#include "RelayTestSupport.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

namespace qorn::relay {
namespace {

using namespace test;

RelayBatch batchOf(std::uint64_t bytes) {
    return std::make_shared<const Bytes>(bytes);
}

struct FullQueue {
    const char* name;
    std::uint64_t batch_bytes;
    std::size_t batches;
    std::uint64_t further_bytes; // what does not fit
};

TEST(RelayQueue, TakesBatchesUpToItsLimitsOfBytesAndNumberAndNoneAbove) {
    for (const FullQueue& row : {FullQueue{"bytes, one batch", 64 * kMiB, 1, 8},
                                 FullQueue{"bytes, one byte above", 64 * kMiB - 8, 1, 9},
                                 FullQueue{"bytes, many batches", 4096, 16384, 8},
                                 FullQueue{"number, smallest batches", 8, 262144, 8},
                                 FullQueue{"number and bytes", 256, 262144, 8}}) {
        SCOPED_TRACE(row.name);
        RelayQueue queue;
        const RelayBatch batch = batchOf(row.batch_bytes);
        std::size_t taken = 0;
        while (taken < row.batches && queue.add(batch))
            ++taken;
        ASSERT_EQ(taken, row.batches);
        EXPECT_EQ(queue.bytes(), row.batches * row.batch_bytes);
        EXPECT_FALSE(queue.add(batchOf(row.further_bytes)));
        EXPECT_EQ(queue.bytes(), row.batches * row.batch_bytes);

        std::deque<RelayBatch> moved;
        EXPECT_EQ(queue.moveTo(moved), row.batches * row.batch_bytes);
        EXPECT_EQ(moved.size(), row.batches);
        EXPECT_EQ(queue.bytes(), 0U);
        EXPECT_TRUE(queue.add(batchOf(row.further_bytes)));
    }
}

} // namespace
} // namespace qorn::relay
