// Feeds the decoder under test and the slow reference the same pieces and holds one against the other: tags,
// bytes left over, lock.
//
// Owned by a test, used by its thread.
#pragma once

#include "ReferenceDecoder.h"
#include "StreamDecoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <vector>

namespace qorn::testing {

class ComparedDecoder {
public:
    explicit ComparedDecoder(const timing::StreamFileHeader& header);

    // Fails the running test when the two differ; returns the tags of this piece.
    std::vector<timing::TimeTag> feed(std::span<const std::uint8_t> piece);

    // False after the first difference: what follows means nothing.
    bool agrees() const { return same; }

    // All tags so far.
    const std::vector<timing::TimeTag>& tags() const { return all; }

    const ReferenceDecoder& reference() const { return slow; }
    const timing::StreamDecoder& decoder() const { return fast; }

private:
    timing::StreamDecoder fast;
    ReferenceDecoder slow;
    std::vector<timing::TimeTag> all;
    std::size_t pieces = 0;
    bool same = true;
};

// Whether two lists of tags are the same; names the first difference.
::testing::AssertionResult sameTags(std::span<const timing::TimeTag> expected,
                                    std::span<const timing::TimeTag> actual);

} // namespace qorn::testing
