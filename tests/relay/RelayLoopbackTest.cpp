// Server and client together: what goes in at one end comes out at the other.
#include "RelayTestSupport.h"
#include "TagWords.h"

#include <gtest/gtest.h>

#include <memory>

namespace qorn::relay {
namespace {

using namespace test;

constexpr std::int64_t kWrapPs = 14315125997568;

void publishTags(RelayServer& server, std::span<const timing::TimeTag> tags) {
    Bytes bytes;
    timing::appendDecodedQorntsTags(bytes, tags);
    server.publishRaw64(std::move(bytes), tags.size());
}

void publishInBatches(RelayServer& server, std::span<const timing::TimeTag> tags, std::size_t batch) {
    for (std::size_t at = 0; at < tags.size(); at += batch)
        publishTags(server, tags.subspan(at, std::min(batch, tags.size() - at)));
}

// Starts below the wrap of the reduced times and goes over it several times.
Tags wrappingTags(std::size_t count) {
    return randomTags(count, kWrapPs - 1000000, 4 * kWrapPs / static_cast<std::int64_t>(count), 11);
}

TEST(RelayLoopback, TagsArriveAsTheyWerePublished) {
    TestServer server;
    Receiver first(server.endpoint());
    Receiver second(server.endpoint());
    ASSERT_TRUE(server.waitForStreamClients(2));
    const Tags expected = wrappingTags(1000000);
    ASSERT_GT(expected.back().timestamp_ps, 2 * kWrapPs);
    publishInBatches(*server, expected, 65536);
    for (Receiver* receiver : {&first, &second}) {
        EXPECT_TRUE(receiver->waitForTags(expected.size()));
        EXPECT_EQ(receiver->stopAndJoin(), "");
        EXPECT_TRUE(receiver->tags() == expected);
    }
}

TEST(RelayLoopback, AChainOfThreePassesEveryTagOn) {
    TestServer source;
    TestServer middle;
    TestServer last;
    Receiver end(last.endpoint());
    ASSERT_TRUE(last.waitForStreamClients(1));
    Receiver from_middle(middle.endpoint(), [&](Tags& tags) { publishTags(*last, tags); });
    ASSERT_TRUE(middle.waitForStreamClients(1));
    Receiver from_source(source.endpoint(), [&](Tags& tags) { publishTags(*middle, tags); });
    ASSERT_TRUE(source.waitForStreamClients(1));

    const Tags expected = wrappingTags(300000);
    publishInBatches(*source, expected, 10007);
    EXPECT_TRUE(end.waitForTags(expected.size()));
    for (Receiver* receiver : {&from_source, &from_middle, &end}) {
        EXPECT_EQ(receiver->stopAndJoin(), "");
        EXPECT_TRUE(receiver->tags() == expected);
    }
}

TEST(RelayLoopback, ALateReceiverStartsItsOwnTimeAxis) {
    TestServer server;
    Receiver early(server.endpoint());
    ASSERT_TRUE(server.waitForStreamClients(1));
    publishTags(*server, Tags{{0, kWrapPs - 10}, {0, kWrapPs + 10}});
    ASSERT_TRUE(early.waitForTags(2));
    Receiver late(server.endpoint());
    ASSERT_TRUE(server.waitForStreamClients(2));
    publishTags(*server, Tags{{0, kWrapPs + 20}});
    ASSERT_TRUE(early.waitForTags(3));
    ASSERT_TRUE(late.waitForTags(1));
    EXPECT_EQ(early.tags().back(), (timing::TimeTag{0, kWrapPs + 20}));
    EXPECT_EQ(late.tags().back(), (timing::TimeTag{0, 20}));
}

TEST(RelayLoopback, ReceiversThatComeAndGoDoNotDisturbTheOneThatStays) {
    TestServer server;
    Receiver staying(server.endpoint());
    ASSERT_TRUE(server.waitForStreamClients(1));
    const Tags expected = randomTags(200000, 0, 100000, 12);
    for (std::size_t round = 0; round < 20; ++round) {
        std::vector<std::unique_ptr<Receiver>> passing;
        for (std::uint32_t i = 0; i < 10; ++i) {
            passing.push_back(std::make_unique<Receiver>(server.endpoint()));
            ASSERT_TRUE(server.waitForStreamClients(i + 2));
        }
        const std::span<const timing::TimeTag> part = std::span(expected).subspan(round * 10000, 10000);
        publishTags(*server, part);
        ASSERT_TRUE(passing.front()->waitForTags(10000));
        for (const std::unique_ptr<Receiver>& receiver : passing)
            receiver->requestStop();
        passing.clear();
        ASSERT_TRUE(server.waitForStreamClients(1));
    }
    ASSERT_TRUE(staying.waitForTags(expected.size()));
    EXPECT_EQ(staying.stopAndJoin(), "");
    EXPECT_TRUE(staying.tags() == expected);
    EXPECT_EQ(server->stats().slow_clients_disconnected, 0U);
}

} // namespace
} // namespace qorn::relay
