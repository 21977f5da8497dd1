#include "ComparedDecoder.h"

#include <algorithm>
#include <string>

namespace qorn::testing {
namespace {

std::string toText(const timing::TimeTag& tag) {
    return "(" + std::to_string(tag.channel) + ", " + std::to_string(tag.timestamp_ps) + " ps)";
}

} // namespace

::testing::AssertionResult sameTags(std::span<const timing::TimeTag> expected,
                                    std::span<const timing::TimeTag> actual) {
    const auto [e, a] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    if (e == expected.end() && a == actual.end())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "tag " << e - expected.begin() << " is " << (a == actual.end() ? "missing" : toText(*a))
           << " and should be " << (e == expected.end() ? "absent" : toText(*e)) << "; " << actual.size()
           << " tags, " << expected.size() << " expected";
}

ComparedDecoder::ComparedDecoder(const timing::StreamFileHeader& header) : fast(header), slow(header) {}

std::vector<timing::TimeTag> ComparedDecoder::feed(std::span<const std::uint8_t> piece) {
    const std::vector<timing::TimeTag> expected = slow.feed(piece);
    if (!same)
        return expected;
    const std::span<const timing::TimeTag> actual = fast.feed(piece);
    const ::testing::AssertionResult tags = sameTags(expected, actual);
    EXPECT_TRUE(tags) << "piece " << pieces;
    const bool raw = std::ranges::equal(fast.raw(), slow.raw());
    EXPECT_TRUE(raw) << "piece " << pieces << ": " << fast.raw().size() << " bytes left over, expected "
                     << slow.raw().size();
    const bool locked = fast.packed() != nullptr && fast.packed()->is_locked();
    EXPECT_EQ(locked, slow.isLocked()) << "piece " << pieces;
    same = tags && raw && locked == slow.isLocked();
    all.insert(all.end(), actual.begin(), actual.end());
    ++pieces;
    return {actual.begin(), actual.end()};
}

} // namespace qorn::testing
